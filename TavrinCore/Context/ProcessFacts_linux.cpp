// What /proc (proc(5)) reports about processes.
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
#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Context/ProcessTree.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Integer.hpp"

namespace tavrin {

namespace {

using ProcFormats::procPath;
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

// The text of the process's stat file; nullopt for a zombie ('Z') and a process that is about to vanish
// ('X').
std::optional<std::string> statOf(std::int32_t pid) {
  std::optional<std::string> text = File::oneRead(procPath(pid, "stat"));
  const auto lifetime = text ? ProcFormats::parseLifetime(*text) : std::nullopt;
  if (!lifetime || lifetime->state == 'Z' || lifetime->state == 'X') return std::nullopt;
  return text;
}

std::optional<std::string> terminalOf(std::int32_t pid, std::uint32_t device) {
  if (device == 0) return std::nullopt;
  std::optional<std::string> path = ProcFormats::terminalPath(device);
  return path ? path : ProcessTable::ofThisSystem().terminal(pid);
}

std::optional<ProcessFact> processOf(std::int32_t pid) {
  const std::optional<std::string> text = statOf(pid);
  if (!text) return std::nullopt;
  const auto stat = ProcFormats::parseStat(*text);
  const auto lifetime = ProcFormats::parseLifetime(*text);
  if (!stat || !lifetime) return std::nullopt;
  const auto ticksPerSecond = static_cast<double>(::sysconf(_SC_CLK_TCK));
  const std::chrono::duration<double> sinceBoot(static_cast<double>(lifetime->startTicks) / ticksPerSecond);
  return ProcessFact{.parent = stat->parent,
                     .name = stat->name,
                     .startedAt = bootTime() + sinceBoot,
                     .terminal = terminalOf(pid, stat->terminal)};
}

std::vector<std::string> argumentsOf(std::int32_t pid) {
  constexpr std::size_t mostBytes = std::size_t{128} * 1024;
  std::vector<std::string> found;
  const FileDescriptor file = FileDescriptor::open(procPath(pid, "cmdline"), O_RDONLY);
  if (!file.isOpen()) return found;
  std::string text(mostBytes, '\0');
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
Pids childrenOf(std::int32_t pid) {
  Pids found;
  bool hasList = false;
  for (const std::int32_t thread : numbersIn(procPath(pid, "task"))) {
    const auto text = File::contents(procPath(pid, "task/" + std::to_string(thread) + "/children"));
    if (!text) continue;
    hasList = true;
    for (const std::int32_t child : ProcFormats::processIds(*text)) {
      if (statOf(child)) found.push_back(child);
    }
  }
  if (hasList) return found;
  for (const std::int32_t other : numbersIn("/proc")) {
    const std::optional<std::string> text = statOf(other);
    const auto stat = text ? ProcFormats::parseStat(*text) : std::nullopt;
    if (stat && stat->parent == pid) found.push_back(other);
  }
  return found;
}

bool hasOpen(std::int32_t pid, const std::string& path) {
  return std::ranges::any_of(numbersIn(procPath(pid, "fd")), [&](std::int32_t number) {
    return File::readLink(procPath(pid, "fd/" + std::to_string(number))) == path;
  });
}

std::optional<std::int32_t> lockHolderOf(const std::string& path) {
  struct ::stat file {};
  if (::stat(path.c_str(), &file) != 0) return std::nullopt;
  const std::optional<std::string> locks = File::contents("/proc/locks");
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

}  // namespace

ProcessFacts ProcessFacts::ofThisSystem() {
  return {.process = processOf,
          .executable = [](std::int32_t pid) { return File::readLink(procPath(pid, "exe")); },
          .folder = [](std::int32_t pid) { return File::readLink(procPath(pid, "cwd")); },
          .arguments = argumentsOf,
          .children = childrenOf,
          .all = [] { return numbersIn("/proc"); },
          .lockHolder = lockHolderOf,
          .bootedAt = bootTime};
}

}  // namespace tavrin
