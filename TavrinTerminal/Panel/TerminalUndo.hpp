#pragma once

// Part of TavrinTerminal, which is not installed. Needs POSIX and the standard library.

#include <termios.h>

#include <string_view>

/// What puts a terminal back. It is one list for every way out: the normal end, signals, exceptions, crashes.
namespace tavrin::TerminalUndo {

/// From now on `undo` writes `bytes` to `descriptor` and sets its modes to `modes`. A process that crashes
/// (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT) does so before it ends. At most 128 bytes.
void prepare(int descriptor, std::string_view bytes, const termios& modes);

/// Does it, if it is prepared and was not done. A terminal that is gone is no failure, and one that takes no
/// bytes is not waited for longer than 200 ms. Only functions that a signal handler may call are called.
void undo();

/// Does nothing of it any more.
void forget();

}  // namespace tavrin::TerminalUndo
