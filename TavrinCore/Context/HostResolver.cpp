#include "TavrinCore/Context/HostResolver.hpp"

#include <algorithm>

namespace tavrin::HostResolver {

std::optional<ProcessNode> pickAgent(std::span<const ProcessNode> ancestors,
                                     std::span<const std::string_view> names) {
  const auto isNamed = [&](const ProcessNode& node) { return ProcessTree::isNamed(node, names); };
  const auto isNoShell = [](const ProcessNode& node) {
    return !ProcessTree::isShell(node.name.value_or(""));
  };
  auto found = std::ranges::find_if(ancestors, isNamed);
  if (found == ancestors.end()) found = std::ranges::find_if(ancestors, isNoShell);
  return found == ancestors.end() ? std::nullopt : std::optional(*found);
}

std::optional<ProcessNode> pickHost(std::span<const ProcessNode> ancestors) {
  const auto found = std::find_if(ancestors.rbegin(), ancestors.rend(),
                                  [](const ProcessNode& node) { return node.isRegularApp; });
  return found == ancestors.rend() ? std::nullopt : std::optional(*found);
}

std::optional<ProcessNode> findHost(std::span<const ProcessNode> ancestors, const ProcessTable& table) {
  if (ancestors.empty()) return std::nullopt;
  if (table.mayHaveApplications && !table.mayHaveApplications(ancestors.front().pid, ancestors.back().pid))
    return std::nullopt;
  for (std::size_t i = ancestors.size(); i > 0; --i) {
    const ProcessNode& node = ancestors[i - 1];
    const std::optional<ProcessTable::Application> application = table.application(node.pid);
    if (!application || !application->isRegular) continue;
    ProcessNode host = node;
    host.bundleId = application->bundleId;
    host.isRegularApp = true;
    return host;
  }
  return std::nullopt;
}

}  // namespace tavrin::HostResolver
