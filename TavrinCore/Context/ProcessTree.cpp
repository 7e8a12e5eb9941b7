#include "TavrinCore/Context/ProcessTree.hpp"

#include <algorithm>
#include <array>

namespace tavrin::ProcessTree {

namespace {

// The lowest id of a process that a person or an agent can have started. Lower ids belong to the kernel and
// to the system's first process.
constexpr std::int32_t firstPid = 2;

std::optional<std::string> nameOf(const ProcessTable::Record& record, std::int32_t pid,
                                  const ProcessTable& table) {
  return record.name.empty() ? table.longName(pid) : std::optional(record.name);
}

// Follows the chain of parents. `finish` completes each node and returns whether to go on.
template <class Finish>
std::vector<ProcessNode> walk(std::int32_t pid, const ProcessTable& table, int limit, Finish finish) {
  std::vector<ProcessNode> nodes;
  while (pid >= firstPid && static_cast<int>(nodes.size()) < limit) {
    const std::optional<ProcessTable::Record> record = table.record(pid);
    if (!record) break;
    nodes.push_back({.pid = pid, .name = nameOf(*record, pid, table), .bundleId = {}, .isRegularApp = false});
    if (!finish(nodes.back())) break;
    pid = record->parent;
  }
  return nodes;
}

// Whether the node is the agent, for which it may need the name of the executable.
bool isAgent(ProcessNode& node, std::span<const std::string_view> names, const ProcessTable& table) {
  if (isNamed(node, names)) return true;
  if (!table.executable || isShell(node.name.value_or(""))) return false;
  node.executable = table.executable(node.pid);
  return isNamed(node, names);
}

}  // namespace

std::vector<ProcessNode> ancestors(std::int32_t pid, const ProcessTable& table, int limit) {
  return walk(pid, table, limit, [&](ProcessNode& node) {
    if (std::optional<ProcessTable::Application> application = table.application(node.pid)) {
      node.bundleId = std::move(application->bundleId);
      node.isRegularApp = application->isRegular;
    }
    return true;
  });
}

std::vector<ProcessNode> ancestorsWithAgent(std::span<const std::string_view> names, std::int32_t pid,
                                            const ProcessTable& table, int limit) {
  bool isFound = false;
  return walk(pid, table, limit, [&](ProcessNode& node) {
    isFound = isFound || isAgent(node, names, table);
    return true;
  });
}

std::vector<ProcessNode> ancestorsUpTo(std::span<const std::string_view> names, std::int32_t pid,
                                       const ProcessTable& table, int limit) {
  return walk(pid, table, limit, [&](ProcessNode& node) { return !isAgent(node, names, table); });
}

bool isNamed(const ProcessNode& node, std::span<const std::string_view> names) {
  const auto isIn = [names](const std::optional<std::string>& name) {
    return name && std::ranges::find(names, *name) != names.end();
  };
  return isIn(node.name) || (!isShell(node.name.value_or("")) && isIn(node.executable));
}

bool isShell(std::string_view name) {
  constexpr std::array<std::string_view, 5> shells = {"sh", "bash", "zsh", "fish", "dash"};
  return std::ranges::find(shells, name) != shells.end();
}

std::optional<std::int32_t> parent(std::int32_t pid, const ProcessTable& table) {
  const std::optional<ProcessTable::Record> record = table.record(pid);
  return record ? std::optional(record->parent) : std::nullopt;
}

std::optional<std::string> name(std::int32_t pid, const ProcessTable& table) {
  const std::optional<ProcessTable::Record> record = table.record(pid);
  return record ? nameOf(*record, pid, table) : table.longName(pid);
}

std::optional<std::string> tty(std::int32_t pid, const ProcessTable& table) {
  return table.terminal(pid);
}

}  // namespace tavrin::ProcessTree
