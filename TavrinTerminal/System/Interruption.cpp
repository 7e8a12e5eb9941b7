#include "TavrinTerminal/System/Interruption.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "TavrinCore/Support/Uninterrupted.hpp"

namespace tavrin {

namespace {

constexpr std::array signals = {SIGINT, SIGTERM, SIGHUP};

// For the handler, which may use nothing else (signal-safety(7)).
volatile std::sig_atomic_t firstSignal = 0;
volatile std::sig_atomic_t pipeEnd = -1;

void take(int signal) {
  const int code = errno;
  if (firstSignal == 0) {
    firstSignal = signal;
    static_cast<void>(!::write(pipeEnd, "!", 1));
  }
  errno = code;
}

}  // namespace

Interruption::Interruption() {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) == 0) {
    for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
    readEnd_ = FileDescriptor(ends[0]);
    writeEnd_ = FileDescriptor(ends[1]);
  }
  firstSignal = 0;
  pipeEnd = writeEnd_.number();
  for (const int signal : signals) {
    struct sigaction before {};
    ::sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) continue;
    struct sigaction action {};
    action.sa_handler = take;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
  }
}

Interruption::~Interruption() {
  for (const int signal : signals) {
    struct sigaction now {};
    ::sigaction(signal, nullptr, &now);
    if (now.sa_handler == take) std::signal(signal, SIG_DFL);
  }
}

std::optional<int> Interruption::signal() {
  return firstSignal == 0 ? std::nullopt : std::optional<int>(firstSignal);
}

bool Interruption::isReadable(int descriptor) {
  // poll(2) passes over -1.
  pollfd asked = {.fd = descriptor, .events = POLLIN, .revents = 0};
  return uninterrupted([&] { return ::poll(&asked, 1, 0); }) > 0;
}

}  // namespace tavrin
