#include "TavrinTerminal/Panel/TerminalUndo.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace tavrin::TerminalUndo {

namespace {

// A handler can be handed nothing, so what it needs lies here.
struct List {
  std::array<char, 128> bytes{};
  std::size_t size = 0;
  int descriptor = -1;
  termios modes{};
};
List list;                             // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
std::atomic<bool> isPrepared = false;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
static_assert(std::atomic<bool>::is_always_lock_free);

constexpr std::array<int, 5> crashes = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

void crashed(int signal) {
  undo();
  // SA_RESETHAND has put the default back, which ends the process as the crash would have.
  ::raise(signal);
}

}  // namespace

void prepare(int descriptor, std::string_view bytes, const termios& modes) {
  isPrepared = false;
  list.size = std::min(bytes.size(), list.bytes.size());
  std::copy_n(bytes.begin(), list.size, list.bytes.begin());
  list.descriptor = descriptor;
  list.modes = modes;
  isPrepared = true;
  struct sigaction action {};
  action.sa_handler = crashed;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
  for (const int signal : crashes) {
    struct sigaction current {};
    ::sigaction(signal, nullptr, &current);
    // Whoever has a handler already, such as a sanitizer, keeps it.
    const bool isDefault = (current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == SIG_DFL;
    if (isDefault) ::sigaction(signal, &action, nullptr);
  }
}

void undo() {
  if (!isPrepared.exchange(false)) return;
  const int saved = errno;
  constexpr int patience = 200;  // ms
  for (std::size_t written = 0; written < list.size;) {
    const ssize_t count = ::write(list.descriptor, list.bytes.data() + written, list.size - written);
    if (count > 0) {
      written += static_cast<std::size_t>(count);
      continue;
    }
    if (count < 0 && errno == EINTR) continue;
    pollfd writable = {.fd = list.descriptor, .events = POLLOUT, .revents = 0};
    const bool mayGoOn = count < 0 && errno == EAGAIN && ::poll(&writable, 1, patience) > 0;
    if (!mayGoOn) break;
  }
  ::tcsetattr(list.descriptor, TCSANOW, &list.modes);
  errno = saved;
}

void forget() {
  isPrepared = false;
}

}  // namespace tavrin::TerminalUndo
