#include "TavrinTerminal/System/ChildGuard.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <utility>

#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/System/InheritedDescriptors.hpp"

namespace tavrin::ChildGuard {

namespace {

// A message to the guard. It is shorter than PIPE_BUF, so it arrives whole (pipe(7)).
struct Message {
  Place place;
  pid_t group;  // 0 takes it off the list
};

struct Lifeline {
  pid_t owner = 0;  // the process that started the guard: a fork of it needs one of its own
  FileDescriptor writeEnd;
  std::mutex starting;
  Place expected = 0;  // the place of the child that is being started
  Place last = 0;
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

  constexpr std::size_t mostChildren = 256;
  std::array<Message, mostChildren> children{};
  for (;;) {
    Message message{};
    const ssize_t count = ::read(STDIN_FILENO, &message, sizeof message);
    if (count < 0 && errno == EINTR) continue;
    if (count != static_cast<ssize_t>(sizeof message)) break;
    auto at = std::ranges::find(children, message.place, &Message::place);
    if (at == children.end()) at = std::ranges::find(children, Place{0}, &Message::place);
    if (at != children.end()) *at = message.group > 0 ? message : Message{};
  }
  for (const Message& child : children) {
    if (child.group > 0) ::kill(-child.group, SIGKILL);
  }
  ::_exit(0);
}

void write(const Message& message) {
  const FileDescriptor& end = lifeline().writeEnd;
  if (end.isOpen()) File::write(end.number(), {reinterpret_cast<const char*>(&message), sizeof message});
}

// Runs in each process that fork(2) makes. Only async-signal-safe calls are allowed.
void announceThisChild() {
  const Place expected = lifeline().expected;
  if (expected != 0) write({.place = expected, .group = ::getpid()});
}

void send(const Message& message) {
  if (lifeline().owner == ::getpid()) write(message);
}

void startGuard() {
  Lifeline& line = lifeline();
  if (line.owner == ::getpid()) return;
  line.owner = ::getpid();
  line.writeEnd.close();
  [[maybe_unused]] static const int onceForAll = ::pthread_atfork(nullptr, nullptr, announceThisChild);
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  FileDescriptor readEnd(ends[0]);
  FileDescriptor writeEnd(ends[1]);
  const pid_t pid = ::fork();
  if (pid == 0) guard(readEnd.number());
  if (pid > 0) line.writeEnd = std::move(writeEnd);
}

}  // namespace

Starting::Starting() : alone_(lifeline().starting) {
  startGuard();
  place_ = ++lifeline().last;
  lifeline().expected = place_;
}

Starting::~Starting() {
  lifeline().expected = 0;
  if (place_ != 0) remove(place_);
}

Place Starting::started(pid_t group) {
  // The child has said so itself, unless libuv starts children by another call than fork(2) one day.
  send({.place = place_, .group = group});
  return std::exchange(place_, 0);
}

void remove(Place place) {
  send({.place = place, .group = 0});
}

}  // namespace tavrin::ChildGuard
