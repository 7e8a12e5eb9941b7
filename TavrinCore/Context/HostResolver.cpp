#include "TavrinCore/Context/HostResolver.hpp"

#include <algorithm>
#include <array>

namespace tavrin::HostResolver {

namespace {

// Programs that start a shell or a command for another user. They may leave the application's cgroup to do so
// (pam_systemd(8)).
bool changesUser(const ProcessNode& node) {
  constexpr std::array<std::string_view, 5> names = {"sudo", "su", "doas", "pkexec", "login"};
  return node.name && std::ranges::find(names, *node.name) != names.end();
}

// Whether there may be an application in the chain. Processes enter the user's manager below a desktop that
// the manager did not start, and leave it below a program that changes the user. So this asks about both ends
// of the chain, and about each process right above such a program. If all of these are outside, the chain
// belongs to ssh(1), a container or a text console.
bool mayHaveHost(std::span<const ProcessNode> ancestors, const ProcessTable& table) {
  if (!table.mayBeOfApplication) return true;
  if (table.mayBeOfApplication(ancestors.back().pid)) return true;
  if (ancestors.size() > 1 && table.mayBeOfApplication(ancestors.front().pid)) return true;
  for (std::size_t i = 1; i + 1 < ancestors.size(); ++i) {
    if (changesUser(ancestors[i - 1]) && table.mayBeOfApplication(ancestors[i].pid)) return true;
  }
  return false;
}

}  // namespace

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
  if (ancestors.empty() || !mayHaveHost(ancestors, table)) return std::nullopt;
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
