#pragma once

// Part of TavrinTerminal, which is not installed. Needs POSIX and the standard library.

#include <sys/types.h>

#include <cstdint>
#include <mutex>

/// Kills the children of this process should it be killed itself.
///
/// The guard is a process that does nothing but read a pipe. The write end closes with this process, however
/// that ends; then the guard kills each process group that is still on its list. A child puts itself on the
/// list as soon as fork(2) has made it, and has the write end open until it runs its program. So the guard
/// knows of each child before it sees this process end. A child that moves its own children into other
/// sessions can leave those behind.
namespace tavrin::ChildGuard {

/// A child's place on the list. No two children of a process ever have the same.
using Place = std::uint32_t;

/// The start of one child, from before fork(2) until its program runs. Only one thread starts a child at a
/// time. If the guard cannot be started, children are only ended by those who started them.
class Starting {
 public:
  /// Starts the guard unless it runs already.
  Starting();
  /// Takes the child off the list again unless it was started.
  ~Starting();
  Starting(const Starting&) = delete;
  Starting& operator=(const Starting&) = delete;

  /// `group` is the child's process id; it is the head of its own process group.
  Place started(pid_t group);

 private:
  std::unique_lock<std::mutex> alone_;
  Place place_ = 0;
};

/// Takes a child off the list, before it is waited for: its process id may then be another's.
void remove(Place place);

}  // namespace tavrin::ChildGuard
