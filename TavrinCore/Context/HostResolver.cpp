#include "TavrinCore/Context/HostResolver.hpp"

#include <algorithm>
#include <array>

namespace tavrin::HostResolver {

namespace {

// Agents start their hooks through these.
constexpr std::array<std::string_view, 5> shells = {"sh", "bash", "zsh", "fish", "dash"};

std::string_view nameOf(const ProcessNode& node) {
  return node.name ? std::string_view(*node.name) : std::string_view();
}

}  // namespace

std::optional<ProcessNode> pickAgent(std::span<const ProcessNode> ancestors,
                                     std::span<const std::string_view> names) {
  const auto isNamed = [&](const ProcessNode& node) {
    return node.name && std::ranges::find(names, nameOf(node)) != names.end();
  };
  const auto isNoShell = [](const ProcessNode& node) {
    return std::ranges::find(shells, nameOf(node)) == shells.end();
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

}  // namespace tavrin::HostResolver
