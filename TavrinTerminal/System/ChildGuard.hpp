#pragma once

// Part of TavrinTerminal, which is not installed. Needs POSIX and the standard library.

#include <sys/types.h>

#include <cstdint>

/// Kills the children of this process should it be killed itself.
///
/// The guard is a process that does nothing but read a pipe. The write end closes with this process, however
/// that ends; then the guard kills each process group that is still on its list. A child that is started with
/// fork(2), as libuv does on Linux, puts itself on the list before it does anything else, and has the write
/// end open until it runs its program. So the guard knows of each such child before it sees this process end.
///
/// On macOS libuv starts a child with posix_spawn(2), in which no code of ours runs. This process itself then
/// puts the child on the list. If it is killed right before, it leaves that child behind. A child that moves
/// its own children into other sessions can leave those behind anywhere.
namespace tavrin::ChildGuard {

/// A place on the list. No two children of a process ever have the same.
using Place = std::uint32_t;

/// Starts the guard unless it runs already. Call it before the first child is started. If it cannot be
/// started, children are only ended by those who started them.
void start();

/// A place for the child that this thread starts next.
Place expect();

/// Ends the expectation. `group` is the process id of the child, the head of its own process group, or 0 if
/// it was not started.
void started(Place place, pid_t group);

/// Takes a child off the list, before it is waited for: its process id may then be another's.
void remove(Place place);

}  // namespace tavrin::ChildGuard
