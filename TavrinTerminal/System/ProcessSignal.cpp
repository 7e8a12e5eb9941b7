#include "TavrinTerminal/System/ProcessSignal.hpp"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#ifdef __linux__
#include <sys/syscall.h>
#include <unistd.h>
#endif

#include "TavrinTerminal/System/EndDescriptors.hpp"

namespace tavrin {

namespace {

// Signals the process behind a descriptor, which never means another process. Fails with ENOSYS where the
// system has no such call.
int signalHeld([[maybe_unused]] int descriptor, [[maybe_unused]] int number) {
#ifdef SYS_pidfd_send_signal
  return static_cast<int>(::syscall(SYS_pidfd_send_signal, descriptor, number, nullptr, 0));
#else
  errno = ENOSYS;
  return -1;
#endif
}

}  // namespace

HeldProcess::HeldProcess(std::int32_t pid, std::function<bool()> isSame)
    : pid_(pid), isSame_(std::move(isSame)), end_(EndDescriptors::ofProcess(pid)) {
  isHeld_ = isSame_();
}

HeldProcess::Signalled HeldProcess::signal(int number) const {
  if (!isHeld_ || !isSame_()) return Signalled::gone;
  int result = -1;
  errno = ENOSYS;
  if (end_.isOpen()) result = signalHeld(end_.number(), number);
  if (result != 0 && errno == ENOSYS) result = ::kill(pid_, number);
  if (result == 0) return Signalled::sent;
  return errno == EPERM ? Signalled::denied : Signalled::gone;
}

bool HeldProcess::endsWithin(std::chrono::milliseconds time, int interrupt) const {
  const auto deadline = std::chrono::steady_clock::now() + time;
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const int milliseconds = static_cast<int>(std::max(left, std::chrono::milliseconds::zero()).count());
    // A negative descriptor is ignored (poll(2)).
    std::array<pollfd, 2> waited = {{{.fd = interrupt, .events = POLLIN, .revents = 0},
                                     {.fd = end_.number(), .events = POLLIN, .revents = 0}}};
    if (end_.isOpen()) {
      const int count = ::poll(waited.data(), waited.size(), milliseconds);
      if (count > 0) return waited[1].revents != 0;
      if (count == 0) return false;
    } else {
      // Without a descriptor for its end, look again every 100 ms.
      constexpr int interval = 100;
      if (!isSame_()) return true;
      if (milliseconds == 0) return false;
      if (::poll(waited.data(), 1, std::min(interval, milliseconds)) > 0) return false;
    }
  }
}

}  // namespace tavrin
