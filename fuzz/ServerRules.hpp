#pragma once

#include <optional>
#include <string>
#include <vector>

/// A second form of the rules that name servers and find their debuggers, to compare the library with. The
/// library's form is a chain of conditions, and this one is a table of texts.
namespace tavrin::fuzz::ServerRules {

std::optional<std::string> name(const std::string& command, const std::vector<std::string>& arguments);
std::optional<std::string> script(const std::vector<std::string>& arguments);

/// The port on which Node waits for a debugger, 0 if its arguments do not show the port; nullopt if it does
/// not wait for one.
std::optional<int> nodeInspectorPort(const std::string& command, const std::vector<std::string>& arguments);

}  // namespace tavrin::fuzz::ServerRules
