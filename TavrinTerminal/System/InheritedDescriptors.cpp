#include "TavrinTerminal/System/InheritedDescriptors.hpp"

#include <fcntl.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/syscall.h>
#endif

#include <algorithm>

namespace tavrin::InheritedDescriptors {

namespace {

// close_range(2), which Linux has from 5.9 and its flag from 5.11. The C libraries got a function for it
// later.
bool closeRange([[maybe_unused]] int first, [[maybe_unused]] bool onlyOnExec) {
#ifdef SYS_close_range
  constexpr unsigned closeRangeCloseOnExec = 1U << 2U;
  return ::syscall(SYS_close_range, static_cast<unsigned>(first), ~0U,
                   onlyOnExec ? closeRangeCloseOnExec : 0U) == 0;
#else
  return false;
#endif
}

// Descriptors are given out from the lowest free number up: those beyond this were chosen on purpose.
int limit() {
  constexpr long most = 4096;
  const long allowed = ::sysconf(_SC_OPEN_MAX);
  return static_cast<int>(allowed < 0 ? most : std::min(allowed, most));
}

}  // namespace

void closeOnExecFrom(int first) {
  if (closeRange(first, true)) return;
  for (int number = first; number < limit(); ++number) {
    const int flags = ::fcntl(number, F_GETFD);
    if (flags >= 0) ::fcntl(number, F_SETFD, flags | FD_CLOEXEC);
  }
}

void closeFrom(int first) {
  if (closeRange(first, false)) return;
  for (int number = first; number < limit(); ++number) ::close(number);
}

}  // namespace tavrin::InheritedDescriptors
