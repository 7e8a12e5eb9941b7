#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "TavrinCore/Context/ProcessNode.hpp"
#include "TavrinCore/Context/ProcessTree.hpp"

/// Picks the two processes that matter to a session out of the chain of a hook's ancestors, child first.
namespace tavrin::HostResolver {

/// The agent: the first process that goes by one of `names` (ProcessTree::isNamed); without one, the first
/// that is no shell. Nothing when the chain is empty or all of shells.
std::optional<ProcessNode> pickAgent(std::span<const ProcessNode> ancestors,
                                     std::span<const std::string_view> names);

/// The application that hosts the agent: the regular application nearest the root, so that one nested in a
/// terminal or an editor never wins over these. Nothing when there is none.
std::optional<ProcessNode> pickHost(std::span<const ProcessNode> ancestors);

/// The same process of a chain whose applications were not asked for. `table` is asked from the root on, as
/// far as the host. The node that is returned has its application filled in.
std::optional<ProcessNode> findHost(std::span<const ProcessNode> ancestors, const ProcessTable& table);

}  // namespace tavrin::HostResolver
