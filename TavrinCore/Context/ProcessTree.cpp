#include "TavrinCore/Context/ProcessTree.hpp"

#include <algorithm>

namespace tavrin::ProcessTree {

namespace {

// The first process that a person or an agent can have started; below it are the kernel and the system's own.
constexpr std::int32_t firstPid = 2;

std::optional<std::string> nameOf(const ProcessTable::Record& record, std::int32_t pid,
                                  const ProcessTable& table) {
  return record.name.empty() ? table.longName(pid) : std::optional(record.name);
}

// Follows the chain of parents, making each node whole with `finish`, which says whether to go on.
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

std::vector<ProcessNode> ancestorsUpTo(std::span<const std::string_view> names, std::int32_t pid,
                                       const ProcessTable& table, int limit) {
  return walk(pid, table, limit, [&](const ProcessNode& node) {
    return !node.name || std::ranges::find(names, *node.name) == names.end();
  });
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
