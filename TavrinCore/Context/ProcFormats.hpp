#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Reads the texts of Linux's /proc that describe processes.
namespace tavrin::ProcFormats {

/// The path of one of a process's files, such as "/proc/4242/stat", below `root`.
std::string procPath(std::int32_t pid, std::string_view file, std::string_view root = "");

/// The fields of /proc/PID/stat (proc(5)) that Tavrin uses.
struct Stat {
  std::string name;  ///< at most 15 bytes, any bytes
  std::int32_t parent = 0;
  std::uint32_t terminal = 0;  ///< the controlling terminal's device number, 0 for none

  bool operator==(const Stat&) const = default;
};

/// Reads the text of /proc/PID/stat. Returns nullopt if it does not have that form.
std::optional<Stat> parseStat(std::string_view text);

/// The part of /proc/PID/stat that shows whether a process has ended, and whether its id now belongs to
/// another process.
struct Lifetime {
  char state = 0;                ///< 'Z' for a zombie
  std::uint64_t startTicks = 0;  ///< clock ticks (sysconf(3), _SC_CLK_TCK) from the system's start

  bool operator==(const Lifetime&) const = default;
};

/// Reads the text of /proc/PID/stat. Returns nullopt if it does not have that form.
std::optional<Lifetime> parseLifetime(std::string_view text);

/// The arguments in a text of /proc/PID/cmdline. Each ends with a zero byte, which may be missing from the
/// last one.
std::vector<std::string> arguments(std::string_view cmdline);

/// The process ids in a text of /proc/PID/task/TID/children: numbers separated by spaces. Other words are
/// left out.
std::vector<std::int32_t> processIds(std::string_view children);

/// One lock that a process holds on a file.
struct FileLock {
  std::int32_t pid = 0;
  std::uint32_t majorNumber = 0;  ///< of the file system's device
  std::uint32_t minorNumber = 0;
  std::uint64_t inode = 0;

  bool operator==(const FileLock&) const = default;
};

/// The locks of flock(2) in the text of /proc/locks (proc_locks(5)). Processes that wait for a lock, other
/// kinds of locks and lines that cannot be read are left out.
std::vector<FileLock> fileLocks(std::string_view locks);

/// The application that a text of /proc/PID/cgroup (cgroups(7)) puts its process into: the ID of the
/// innermost unit named by the desktop convention of systemd, app[-LAUNCHER]-ID-RANDOM.scope,
/// app[-LAUNCHER]-ID[@RANDOM].service or app[-LAUNCHER]-ID[-RANDOM].slice, its \xXX escapes undone.
std::optional<std::string> applicationId(std::string_view cgroup);

/// Whether a process with this text of /proc/PID/cgroup, or a process below it, may belong to an application.
/// The user's manager (user@.service(5)) starts applications, or their units are named after them.
bool mayBeOfApplication(std::string_view cgroup);

/// The path of a terminal that has a fixed name for its device number (makedev(3)): "/dev/pts/N", "/dev/ttyN"
/// or "/dev/ttySN". Returns nullopt for other devices.
std::optional<std::string> terminalPath(std::uint32_t device);

}  // namespace tavrin::ProcFormats
