#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <functional>
#include <string>
#include <vector>

#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The command `panel`: the full screen.
namespace tavrin::Panel {

/// Draws sessions and servers until the person quits, a signal comes, or nobody is at the terminal any more.
/// Whatever ends it, the terminal is as it was before. Nothing is polled. A change of a session's files, the
/// end of its agent, a key and a new size wake it. So does the clock: once a second while an age is shown in
/// seconds, else once a minute. ListingSchedule says when servers are listed.
///
/// Where there is no terminal to draw on, or a dumb one, it does what `list` does.
Outcome run(const Surroundings& surroundings, const Console& console);

}  // namespace tavrin::Panel
