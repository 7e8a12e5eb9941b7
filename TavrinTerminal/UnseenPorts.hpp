#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <string>
#include <vector>

/// Listening ports whose processes are not visible, because they belong to another user.
namespace tavrin::UnseenPorts {

/// One line about them, such as "2 ports belong to processes that you cannot see: 22, 631"; "" without ports.
/// One "…" stands for the ports that do not fit into `columns`. The words before the ports are never cut.
std::string sentence(const std::vector<int>& ports, std::size_t columns);

}  // namespace tavrin::UnseenPorts
