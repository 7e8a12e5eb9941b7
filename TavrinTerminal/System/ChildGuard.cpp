#include "TavrinTerminal/System/ChildGuard.hpp"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>

#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/System/InheritedDescriptors.hpp"

namespace tavrin::ChildGuard {

namespace {

// A message to the guard. It is shorter than PIPE_BUF, so it arrives whole (pipe(7)).
struct Message {
  pid_t group;
  bool isAdded;
};

struct Lifeline {
  pid_t owner = 0;  // the process that started the guard: a fork of it needs one of its own
  FileDescriptor writeEnd;
};

Lifeline& lifeline() {
  static Lifeline line;
  return line;
}

// The life of the guard. Between fork(2) and here only async-signal-safe calls are allowed
// (signal-safety(7)).
[[noreturn]] void guard(int readEnd) {
  ::setsid();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) std::signal(signal, SIG_IGN);
  // Whoever reads this process's output waits for the last writer to close it.
  ::dup2(readEnd, STDIN_FILENO);
  InheritedDescriptors::closeFrom(STDOUT_FILENO);

  constexpr std::size_t mostGroups = 256;
  std::array<pid_t, mostGroups> groups{};
  for (;;) {
    Message message{};
    const ssize_t count = ::read(STDIN_FILENO, &message, sizeof message);
    if (count < 0 && errno == EINTR) continue;
    if (count != static_cast<ssize_t>(sizeof message)) break;
    for (pid_t& group : groups) {
      if (group != (message.isAdded ? 0 : message.group)) continue;
      group = message.isAdded ? message.group : 0;
      break;
    }
  }
  for (const pid_t group : groups) {
    if (group > 0) ::kill(-group, SIGKILL);
  }
  ::_exit(0);
}

void send(pid_t group, bool isAdded) {
  const Lifeline& line = lifeline();
  if (group <= 0 || line.owner != ::getpid() || !line.writeEnd.isOpen()) return;
  const Message message{.group = group, .isAdded = isAdded};
  File::write(line.writeEnd.number(), {reinterpret_cast<const char*>(&message), sizeof message});
}

}  // namespace

void start() {
  Lifeline& line = lifeline();
  if (line.owner == ::getpid()) return;
  line.owner = ::getpid();
  line.writeEnd.close();
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  FileDescriptor readEnd(ends[0]);
  FileDescriptor writeEnd(ends[1]);
  const pid_t pid = ::fork();
  if (pid == 0) guard(readEnd.number());
  if (pid > 0) line.writeEnd = std::move(writeEnd);
}

void add(pid_t group) {
  send(group, true);
}

void remove(pid_t group) {
  send(group, false);
}

}  // namespace tavrin::ChildGuard
