#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <optional>
#include <span>
#include <string_view>

#include "TavrinCore/Context/ProcessNode.hpp"
#include "TavrinCore/Context/ProcessTree.hpp"

/// Picks a session's two processes from a hook's ancestors. The list starts with the hook's parent.
namespace tavrin::HostResolver {

/// The agent: the first process that is one of `names` (ProcessTree::isNamed). If there is none, the first
/// process that is not a shell. Returns nullopt if there are only shells.
std::optional<ProcessNode> pickAgent(std::span<const ProcessNode> ancestors,
                                     std::span<const std::string_view> names);

/// The application that hosts the agent: the last regular application in the list. An application that runs
/// inside a terminal or an editor is thus not picked. Returns nullopt if there is none.
std::optional<ProcessNode> pickHost(std::span<const ProcessNode> ancestors);

/// The same for a chain without applications, such as that of ProcessTree::ancestorsUpTo. Asks `table` for
/// applications, from the outermost process to the host. The result has its application filled in.
std::optional<ProcessNode> findHost(std::span<const ProcessNode> ancestors, const ProcessTable& table);

}  // namespace tavrin::HostResolver
