#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <vector>

#include "TavrinCore/Servers/PortScan.hpp"

/// The TCP ports that processes of this machine listen on.
namespace tavrin::ServerListing {

/// From /proc on Linux; from lsof(8), with a time-out of 5 s, on macOS. Sockets of processes that this user
/// may not look at are left out. Empty when nothing can be found out.
std::vector<PortScan::Listener> now();

}  // namespace tavrin::ServerListing
