#pragma once

// Part of TavrinTerminal, which is not installed. Needs POSIX and the standard library.

#include <sys/types.h>

/// Kills the children of this process should it be killed itself.
///
/// The guard is a process that does nothing but read a pipe. The write end closes with this process, however
/// that ends; then the guard kills each process group that is still on its list. A process killed between
/// the start of a child and the next system call leaves that child behind, and so does a child that moves
/// its own children into other sessions.
namespace tavrin::ChildGuard {

/// Starts the guard unless it runs already. Call it before the first child is started. If it cannot be
/// started, children are only ended by those who started them.
void start();

/// Puts a process group on the list, by the process id of its head.
void add(pid_t group);

/// Takes it off the list, before its head is waited for: the number may then be another's.
void remove(pid_t group);

}  // namespace tavrin::ChildGuard
