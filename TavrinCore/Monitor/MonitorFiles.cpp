#include "TavrinCore/Monitor/MonitorFiles.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Uninterrupted.hpp"

namespace tavrin {

namespace {

Date dateOf(const timespec& time) {
  return dateFromSeconds(static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9);
}

std::optional<FileStatus> statusOf(const std::string& path) {
  struct ::stat status {};
  if (uninterrupted([&] { return ::stat(path.c_str(), &status); }) != 0) return std::nullopt;
#ifdef __APPLE__
  const timespec& modified = status.st_mtimespec;
#else
  const timespec& modified = status.st_mtim;
#endif
  return FileStatus{.size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0,
                    .modifiedAt = dateOf(modified),
                    .identity = static_cast<std::uint64_t>(status.st_ino),
                    .isDirectory = S_ISDIR(status.st_mode)};
}

std::optional<std::string> readPiece(const std::string& path, std::uint64_t offset, std::size_t most) {
  // Without waiting, so that a pipe in the place of a file does not stop the process.
  const FileDescriptor file = FileDescriptor::open(path, O_RDONLY | O_NONBLOCK);
  if (!file.isOpen()) return std::nullopt;
  // Most files are far smaller than `most`, so the buffer grows with what is read.
  constexpr std::size_t firstPiece = 8192;
  std::string bytes;
  std::size_t size = 0;
  while (size < most) {
    if (size == bytes.size()) bytes.resize(std::min(most, std::max(firstPiece, 2 * size)));
    const auto at = static_cast<off_t>(offset + size);
    const ssize_t count =
        uninterrupted([&] { return ::pread(file.number(), bytes.data() + size, bytes.size() - size, at); });
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  bytes.resize(size);
  return bytes;
}

std::vector<std::string> namesIn(const std::string& path) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(path.c_str()), ::closedir);
  if (!open) return names;
  while (const dirent* const entry = uninterrupted([&] { return ::readdir(open.get()); })) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return names;
}

}  // namespace

MonitorFiles MonitorFiles::ofThisSystem() {
  return {.status = statusOf, .read = readPiece, .list = namesIn};
}

}  // namespace tavrin
