#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Support/File.hpp"

/// Which agents are on this computer at all.
namespace tavrin::AgentPresence {

/// Whether one of the definition's presence paths exists, "~" standing for the current user's home directory.
/// `exists` is asked path by path, in order, up to the first that does.
bool isPresent(const AgentDefinition& definition,
               const std::function<bool(const std::string& path)>& exists = File::exists);

/// One line for the user about the agents that are absent, by their names in the order given, such as
/// "Codex and Grok aren’t on this Mac."; nothing without names.
std::optional<std::string> absentLine(const std::vector<std::string>& names);

}  // namespace tavrin::AgentPresence
