#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

/// Open descriptors that a process was started with, or that a library opened without O_CLOEXEC.
namespace tavrin::InheritedDescriptors {

/// Marks every descriptor from `first` up so that a program started from here does not get it.
void closeOnExecFrom(int first);

/// Closes every descriptor from `first` up. Async-signal-safe (signal-safety(7)).
void closeFrom(int first);

}  // namespace tavrin::InheritedDescriptors
