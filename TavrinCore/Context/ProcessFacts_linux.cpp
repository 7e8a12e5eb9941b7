#include "TavrinCore/Context/ProcessFacts_linux.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <string_view>

#include "TavrinCore/Context/ProcFormats.hpp"
#include "TavrinCore/Context/ProcessTree_linux.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Integer.hpp"

namespace tavrin {

namespace {

using Pids = std::vector<std::int32_t>;

// The names in a directory that are whole numbers.
Pids numbersIn(const std::string& directory) {
  Pids numbers;
  const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(directory.c_str()), ::closedir);
  if (!open) return numbers;
  while (const dirent* const entry = ::readdir(open.get())) {
    if (const auto number = Integer::int32(entry->d_name)) numbers.push_back(*number);
  }
  return numbers;
}

// CLOCK_BOOTTIME counts suspend (clock_gettime(2)), and so do the start times in /proc/PID/stat.
Date bootTime() {
  timespec sinceBoot{};
  ::clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
  const std::chrono::duration<double> up(static_cast<double>(sinceBoot.tv_sec) +
                                         static_cast<double>(sinceBoot.tv_nsec) * 1e-9);
  return Date(std::chrono::system_clock::now()) - up;
}

// The files of /proc below a root directory.
class Proc {
 public:
  explicit Proc(std::string root) : root_(std::move(root)) {}

  std::string path(std::int32_t pid, std::string_view file) const {
    return ProcFormats::procPath(pid, file, root_);
  }

  std::optional<ProcessFact> process(std::int32_t pid) const {
    const std::optional<Status> status = statusOf(pid);
    if (!status) return std::nullopt;
    const auto ticksPerSecond = static_cast<double>(::sysconf(_SC_CLK_TCK));
    const std::chrono::duration<double> sinceBoot(static_cast<double>(status->lifetime.startTicks) /
                                                  ticksPerSecond);
    return ProcessFact{.parent = status->stat.parent,
                       .name = status->stat.name,
                       .startedAt = bootTime() + sinceBoot,
                       .terminal = terminalOf(pid, status->stat.terminal)};
  }

  std::vector<std::string> arguments(std::int32_t pid) const {
    constexpr std::size_t mostBytes = std::size_t{128} * 1024;
    const FileDescriptor file = FileDescriptor::open(path(pid, "cmdline"), O_RDONLY);
    std::string text(file.isOpen() ? mostBytes : 0, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
      const ssize_t count = File::read(file.number(), text.data() + size, text.size() - size);
      if (count <= 0) break;
      size += static_cast<std::size_t>(count);
    }
    text.resize(size);
    return ProcFormats::arguments(text);
  }

  // Each thread has a list of the children that it started. Kernels without CONFIG_PROC_CHILDREN have none;
  // then every process is asked for its parent.
  Pids children(std::int32_t pid) const {
    Pids found;
    bool hasList = false;
    for (const std::int32_t thread : numbersIn(path(pid, "task"))) {
      const auto text = File::contents(path(pid, "task/" + std::to_string(thread) + "/children"));
      if (!text) continue;
      hasList = true;
      for (const std::int32_t child : ProcFormats::processIds(*text)) {
        if (statusOf(child)) found.push_back(child);
      }
    }
    if (hasList) return found;
    for (const std::int32_t other : all()) {
      const std::optional<Status> status = statusOf(other);
      if (status && status->stat.parent == pid) found.push_back(other);
    }
    return found;
  }

  Pids all() const { return numbersIn(root_ + "/proc"); }

  std::optional<std::int32_t> lockHolder(const std::string& path) const {
    struct ::stat file {};
    if (::stat(path.c_str(), &file) != 0) return std::nullopt;
    const std::optional<std::string> locks = File::contents(root_ + "/proc/locks");
    if (!locks) return std::nullopt;
    for (const ProcFormats::FileLock& lock : ProcFormats::fileLocks(*locks)) {
      if (lock.inode != file.st_ino) continue;
      // On Btrfs and overlayfs the device in /proc/locks is not the one that stat(2) reports.
      const bool isThisDevice =
          lock.majorNumber == major(file.st_dev) && lock.minorNumber == minor(file.st_dev);
      if (isThisDevice || hasOpen(lock.pid, path)) return lock.pid;
    }
    return std::nullopt;
  }

 private:
  struct Status {
    ProcFormats::Stat stat;
    ProcFormats::Lifetime lifetime;
  };

  // nullopt for a zombie ('Z') and a process that is about to vanish ('X').
  std::optional<Status> statusOf(std::int32_t pid) const {
    const std::optional<std::string> text = File::oneRead(path(pid, "stat"));
    const auto stat = text ? ProcFormats::parseStat(*text) : std::nullopt;
    const auto lifetime = text ? ProcFormats::parseLifetime(*text) : std::nullopt;
    if (!stat || !lifetime || lifetime->state == 'Z' || lifetime->state == 'X') return std::nullopt;
    return Status{.stat = *stat, .lifetime = *lifetime};
  }

  std::optional<std::string> terminalOf(std::int32_t pid, std::uint32_t device) const {
    if (device == 0) return std::nullopt;
    std::optional<std::string> path = ProcFormats::terminalPath(device);
    return path ? path : processTableBelow(root_).terminal(pid);
  }

  bool hasOpen(std::int32_t pid, const std::string& path) const {
    return std::ranges::any_of(numbersIn(this->path(pid, "fd")), [&](std::int32_t number) {
      return File::readLink(this->path(pid, "fd/" + std::to_string(number))) == path;
    });
  }

  std::string root_;
};

}  // namespace

ProcessFacts processFactsBelow(const std::string& root) {
  const Proc proc(root);
  return {.process = [proc](std::int32_t pid) { return proc.process(pid); },
          .executable = [proc](std::int32_t pid) { return File::readLink(proc.path(pid, "exe")); },
          .folder = [proc](std::int32_t pid) { return File::readLink(proc.path(pid, "cwd")); },
          .arguments = [proc](std::int32_t pid) { return proc.arguments(pid); },
          .children = [proc](std::int32_t pid) { return proc.children(pid); },
          .all = [proc] { return proc.all(); },
          .lockHolder = [proc](const std::string& path) { return proc.lockHolder(path); },
          .bootedAt = bootTime};
}

ProcessFacts ProcessFacts::ofThisSystem() {
  return processFactsBelow("");
}

}  // namespace tavrin
