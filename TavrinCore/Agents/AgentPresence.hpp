#pragma once

// Part of Tavrin::Core. Needs POSIX and the standard library.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Support/File.hpp"

/// Which agents are installed on this computer.
namespace tavrin::AgentPresence {

/// Whether one of the definition's presence paths exists. "~" is the current user's home directory. Calls
/// `exists` for each path in order, up to the first that exists.
bool isPresent(const AgentDefinition& definition,
               const std::function<bool(const std::string& path)>& exists = File::exists);

/// One line that names the absent agents in the given order, such as "Codex and Grok aren’t on this Mac.", or
/// nullopt if there are no names.
std::optional<std::string> absentLine(const std::vector<std::string>& names);

}  // namespace tavrin::AgentPresence
