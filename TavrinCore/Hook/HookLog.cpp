#include "TavrinCore/Hook/HookLog.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

namespace {

constexpr off_t largestLog = 1'000'000;

// If a pipe is in the log's place, O_NONBLOCK loses the line. Without it, the agent would have to wait.
FileDescriptor openToAppend(const std::string& path) {
  return FileDescriptor::open(path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK, 0600);
}

FileDescriptor openWithDirectory(const std::string& path) {
  FileDescriptor file = openToAppend(path);
  if (!file.isOpen() && errno == ENOENT && File::makeDirectories(std::string(Path::parent(path)))) {
    file = openToAppend(path);
  }
  return file;
}

// If fstat(2) fails, the log counts as not full.
bool isFull(const FileDescriptor& file) {
  struct stat status = {};
  ::fstat(file.number(), &status);
  return status.st_size > largestLog;
}

// Renames the log and opens a new one. A writer that opened the log before and waits for its lock finds it
// too large and rotates again. That loses the older log, but never splits a line.
FileDescriptor rotate(const std::string& path) {
  const std::string previous = Path::replacingExtension(path, "1.log");
  File::remove(previous);
  File::rename(path, previous);
  return openToAppend(path);
}

}  // namespace

std::string HookLog::defaultURL(std::string_view home) {
  return Path::joined(home, "Library/Logs/Tavrin/hook.log");
}

void HookLog::write(std::string_view message) const {
  std::string line = Iso8601::text(now_());
  line += ' ';
  line += message;
  line += '\n';
  line.resize(std::min(line.find('\0'), line.size()));

  FileDescriptor file = openWithDirectory(url_);
  if (!file.isOpen() || !file.lock()) return;
  if (isFull(file)) {
    const FileDescriptor fresh = rotate(url_);
    if (fresh.isOpen()) File::write(fresh.number(), line);
  } else {
    File::write(file.number(), line);
  }
  file.unlock();
  file.finish(afterUse_);
}

}  // namespace tavrin
