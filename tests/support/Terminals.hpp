#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace tavrin::test {

/// The message of a test that leaves out what needs a terminal, if canOpenTerminals() is false.
constexpr const char* withoutTerminals =
    "Left out: no pseudo-terminal can be opened here. Is /dev/pts mounted?";

/// Whether a process here can open a new pseudo-terminal. A container or chroot without devpts cannot.
inline bool canOpenTerminals() {
  const int leader = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (leader < 0) return false;
  bool opened = false;
  if (::grantpt(leader) == 0 && ::unlockpt(leader) == 0) {
    const char* const path = ::ptsname(leader);
    const int terminal = path == nullptr ? -1 : ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    opened = terminal >= 0;
    if (opened) ::close(terminal);
  }
  ::close(leader);
  return opened;
}

}  // namespace tavrin::test
