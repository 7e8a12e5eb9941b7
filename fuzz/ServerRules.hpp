#pragma once

#include <optional>
#include <string>
#include <vector>

/// The rules by which servers are named and their debuggers found a second time, written one after the other
/// without tables and without the library's code, to hold the first against.
namespace tavrin::fuzz::ServerRules {

std::optional<std::string> name(const std::string& command, const std::vector<std::string>& arguments);
std::optional<std::string> script(const std::vector<std::string>& arguments);

/// The port on which Node waits for a debugger, 0 when its arguments do not tell; nothing when it does not.
std::optional<int> nodeInspectorPort(const std::string& command, const std::vector<std::string>& arguments);

}  // namespace tavrin::fuzz::ServerRules
