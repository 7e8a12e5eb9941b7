#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a server is, told from the way it was started: its command name and its arguments, the program first.
namespace tavrin::ServerIdentity {

/// The name of the framework or tool, such as "Next.js"; nothing for a program that is not known.
std::optional<std::string> name(std::string_view command, const std::vector<std::string>& arguments);

/// The file name of the script that a runtime runs, as "server.js"; nothing when no argument is one. What
/// lies in node_modules is not the user's.
std::optional<std::string> script(const std::vector<std::string>& arguments);

}  // namespace tavrin::ServerIdentity
