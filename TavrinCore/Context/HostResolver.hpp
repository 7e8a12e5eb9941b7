#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "TavrinCore/Context/ProcessNode.hpp"

/// Picks the two processes that matter to a session out of the chain of a hook's ancestors, child first.
namespace tavrin::HostResolver {

/// The agent: the first process named by `names`; without one, the first that is no shell. Nothing when the
/// chain is empty or all of shells.
std::optional<ProcessNode> pickAgent(std::span<const ProcessNode> ancestors,
                                     std::span<const std::string_view> names);

/// The application that hosts the agent: the regular application nearest the root, so that one nested in a
/// terminal or an editor never wins over these. Nothing when there is none.
std::optional<ProcessNode> pickHost(std::span<const ProcessNode> ancestors);

}  // namespace tavrin::HostResolver
