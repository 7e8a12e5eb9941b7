#include "TavrinTerminal/StaleFiles.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin::StaleFiles {

namespace {

using Kind = StaleFile::Kind;

constexpr std::size_t largestRecord = 16'000'000;

// The status of a regular file that belongs to this user and is not a link; nullopt for any other.
std::optional<struct stat> ownFile(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != ::geteuid())
    return std::nullopt;
  return status;
}

// Whether a session's agent is gone: no such process, or another one that got its id, or a system that was
// started since. A record whose folder is not here belongs to another machine that shares this home.
bool isDead(const Session& session, const ProcessFacts& processes) {
  constexpr std::chrono::seconds tolerance(5);
  if (!File::isDirectory(session.cwd)) return false;
  if (session.updatedAt < processes.bootedAt()) return true;
  const std::optional<ProcessFact> process = processes.process(session.agentPid);
  return !process || process->startedAt > session.updatedAt + tolerance;
}

bool isOverADayOld(const struct stat& status, Date now) {
  constexpr std::chrono::hours day(24);
  return dateFromSeconds(static_cast<double>(status.st_mtime)) + day < now;
}

std::vector<std::string> pathsIn(const std::string& directory) {
  std::vector<std::string> paths;
  const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(directory.c_str()), ::closedir);
  if (!open) return paths;
  while (const dirent* const entry = ::readdir(open.get()))
    paths.push_back(Path::joined(directory, static_cast<const char*>(entry->d_name)));
  std::ranges::sort(paths);
  return paths;
}

// "DIRECTORY/.NAME.lock" for "DIRECTORY/NAME.json".
std::string lockOf(const std::string& record) {
  const std::string_view name = Path::lastComponent(record);
  return Path::joined(
      Path::parent(record),
      "." + std::string(name.substr(0, name.size() - std::string_view(".json").size())) + ".lock");
}

std::string systemReason() {
  return std::generic_category().message(errno);
}

}  // namespace

std::vector<StaleFile> find(const Surroundings& surroundings) {
  std::vector<StaleFile> found;
  const Date now = surroundings.now();
  for (const std::string& path : pathsIn(surroundings.sessionsDirectory())) {
    const std::string_view name = Path::lastComponent(path);
    const std::optional<struct stat> status = ownFile(path);
    if (!status) continue;
    const bool isOld = isOverADayOld(*status, now);
    if (name.starts_with('.') && name.ends_with(".tmp")) {
      if (isOld) found.push_back({.kind = Kind::temporary, .path = path, .bytes = "", .isOld = true});
    } else if (name.ends_with(".json") && !name.starts_with('.')) {
      const std::optional<std::string> bytes = File::contents(path, largestRecord);
      const std::optional<Session> session = bytes ? Session::decode(*bytes) : std::nullopt;
      const bool isOfDeadAgent = session && isDead(*session, surroundings.processes);
      if (session && !isOfDeadAgent) continue;
      found.push_back({.kind = isOfDeadAgent ? Kind::deadRecord : Kind::unreadable,
                       .path = path,
                       .bytes = bytes.value_or(""),
                       .isOld = isOld});
    }
  }
  return found;
}

std::string remove(const StaleFile& file, const Surroundings& surroundings) {
  if (file.kind == Kind::unreadable) return "it may be somebody\u2019s; look at it, then remove it by hand";
  FileDescriptor lock;
  if (file.kind == Kind::deadRecord) {
    lock = FileDescriptor::open(lockOf(file.path), O_RDWR | O_CREAT, 0600);
    if (!lock.isOpen()) return "its lock cannot be opened: " + systemReason();
    // The process that has the lock is about to write the record.
    if (::flock(lock.number(), LOCK_EX | LOCK_NB) != 0) return "a hook is writing it";
  }
  const std::optional<struct stat> status = ownFile(file.path);
  if (!status) return "it is gone, or not yours";
  if (!isOverADayOld(*status, surroundings.now())) return "it is less than a day old";
  if (file.kind == Kind::deadRecord && File::contents(file.path, largestRecord) != file.bytes)
    return "it has changed";
  return ::unlink(file.path.c_str()) == 0 ? "" : systemReason();
}

}  // namespace tavrin::StaleFiles
