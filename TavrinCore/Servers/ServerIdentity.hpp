#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a server is. The command name of its process and its arguments, the program first, show it.
namespace tavrin::ServerIdentity {

/// The name of the framework or tool, such as "Next.js", or nullopt for an unknown program.
std::optional<std::string> name(std::string_view command, const std::vector<std::string>& arguments);

/// The file name of the script that a runtime runs, such as "server.js", or nullopt if no argument is one.
/// Scripts in node_modules do not count, because they are not the user's.
std::optional<std::string> script(const std::vector<std::string>& arguments);

}  // namespace tavrin::ServerIdentity
