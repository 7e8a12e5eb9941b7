// pidfd_open(2) is newer than some C libraries, and epoll(7) always reports an error or a hang-up.
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "TavrinTerminal/System/EndDescriptors.hpp"

namespace tavrin::EndDescriptors {

FileDescriptor ofProcess(std::int32_t pid) {
  return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
}

FileDescriptor ofReader(int output) {
  FileDescriptor set(::epoll_create1(EPOLL_CLOEXEC));
  epoll_event nothing{};
  if (!set.isOpen() || ::epoll_ctl(set.number(), EPOLL_CTL_ADD, output, &nothing) != 0) return {};
  return set;
}

bool readerIsGone(int descriptor) {
  epoll_event event{};
  return ::epoll_wait(descriptor, &event, 1, 0) == 1 && (event.events & (EPOLLERR | EPOLLHUP)) != 0;
}

}  // namespace tavrin::EndDescriptors
