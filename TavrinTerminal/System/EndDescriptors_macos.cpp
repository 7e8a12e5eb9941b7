// kqueue(2): its descriptor is readable while an event is pending.
#include <fcntl.h>
#include <sys/event.h>
#include <unistd.h>

#include "TavrinTerminal/System/EndDescriptors.hpp"

namespace tavrin::EndDescriptors {

namespace {

FileDescriptor queueOf(struct kevent change) {
  FileDescriptor queue(::kqueue());
  if (!queue.isOpen()) return {};
  ::fcntl(queue.number(), F_SETFD, FD_CLOEXEC);
  if (::kevent(queue.number(), &change, 1, nullptr, 0, nullptr) != 0) return {};
  return queue;
}

}  // namespace

FileDescriptor ofProcess(std::int32_t pid) {
  struct kevent change {};
  EV_SET(&change, static_cast<uintptr_t>(pid), EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT, 0, nullptr);
  return queueOf(change);
}

FileDescriptor ofReader(int output) {
  struct kevent change {};
  // Edge-triggered: once because the pipe can be written to, and again at the end of its reader.
  EV_SET(&change, static_cast<uintptr_t>(output), EVFILT_WRITE, EV_ADD | EV_CLEAR, 0, 0, nullptr);
  return queueOf(change);
}

bool readerIsGone(int descriptor) {
  struct kevent event {};
  const timespec now{};
  return ::kevent(descriptor, nullptr, 0, &event, 1, &now) == 1 && (event.flags & EV_EOF) != 0;
}

}  // namespace tavrin::EndDescriptors
