#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The texts of Linux's /proc that tell about a process.
namespace tavrin::ProcFormats {

/// What is used of /proc/PID/stat (proc(5)).
struct Stat {
  std::string name;  ///< at most 15 bytes, any bytes
  std::int32_t parent = 0;
  std::uint32_t terminal = 0;  ///< the controlling terminal's device number, 0 for none

  bool operator==(const Stat&) const = default;
};

/// Reads the text of /proc/PID/stat; nothing when it is not of that form.
std::optional<Stat> parseStat(std::string_view text);

/// The application that a text of /proc/PID/cgroup (cgroups(7)) puts its process into: the ID of the
/// innermost unit named by the desktop convention of systemd, app[-LAUNCHER]-ID-RANDOM.scope,
/// app[-LAUNCHER]-ID[@RANDOM].service or app[-LAUNCHER]-ID[-RANDOM].slice, its \xXX escapes undone.
std::optional<std::string> applicationId(std::string_view cgroup);

/// Whether a process with this text of /proc/PID/cgroup, or one below it, may be of an application: those are
/// started by the user's manager (user@.service(5)), or are units by their names.
bool mayBeOfApplication(std::string_view cgroup);

/// The path of a terminal known by its device number (makedev(3)) alone: "/dev/pts/N", "/dev/ttyN" or
/// "/dev/ttySN"; nothing for other devices.
std::optional<std::string> terminalPath(std::uint32_t device);

}  // namespace tavrin::ProcFormats
