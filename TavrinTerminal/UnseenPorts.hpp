#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <string>
#include <vector>

/// Listening ports whose processes are not visible, because they belong to another user.
namespace tavrin::UnseenPorts {

/// Says so in a line, such as "2 ports belong to processes that you cannot see: 22, 631"; "" without ports.
/// Ports that do not fit into `columns` give way to one "…". A line too narrow for the words is as long as
/// they are.
std::string sentence(const std::vector<int>& ports, std::size_t columns);

}  // namespace tavrin::UnseenPorts
