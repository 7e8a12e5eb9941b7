#include "TavrinCore/Servers/ServerScan.hpp"

#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "TavrinCore/Servers/ServerFilter.hpp"
#include "TavrinCore/Servers/ServerIdentity.hpp"
#include "TavrinCore/Servers/ServerPortRoles.hpp"

namespace tavrin::ServerScan {

namespace {

// Linux counts a process's start from a boot time in whole seconds, so it can seem to lie a little ahead.
constexpr double clockTolerance = 2;

struct Process {
  Facts facts;
  bool isNoise = false;
  std::set<int> inspectorPorts;

  bool hides(int port) const { return isNoise || inspectorPorts.contains(port); }
};

std::unordered_map<std::int32_t, Process> processesOf(const std::vector<PortScan::Listener>& listeners,
                                                      const FactsOf& factsOf) {
  std::unordered_map<std::int32_t, Process> processes;
  for (const PortScan::ProcessListener& listener : PortScan::byProcess(listeners)) {
    Facts facts = factsOf(listener.pid).value_or(Facts{});
    const bool isNoise = ServerFilter::isNoise(facts.executable);
    std::set<int> inspectorPorts = ServerPortRoles::inspectorPorts(listener.command, facts.arguments);
    processes.emplace(
        listener.pid,
        Process{.facts = std::move(facts), .isNoise = isNoise, .inspectorPorts = std::move(inspectorPorts)});
  }
  return processes;
}

// Looks for each directory's repository once.
class Repositories {
 public:
  explicit Repositories(const RepoLabel::Probes& probes) : probes_(probes) {}

  const RepoLabel& of(const std::string& cwd) {
    const auto [entry, isNew] = labels_.try_emplace(cwd, RepoLabel{.root = cwd, .worktree = {}});
    // A directory that is not known must not be taken for the one that this process is in.
    if (isNew && cwd.starts_with('/')) {
      if (std::optional<RepoLabel> label = RepoLabel::find(cwd, probes_)) entry->second = *std::move(label);
    }
    return entry->second;
  }

 private:
  const RepoLabel::Probes& probes_;
  std::map<std::string, RepoLabel> labels_;
};

bool isPlausibleStart(const std::optional<Date>& start, Date now) {
  return start && secondsOf(*start) <= secondsOf(now) + clockTolerance;
}

}  // namespace

std::vector<LocalServer> servers(const std::vector<PortScan::Listener>& listeners, const FactsOf& factsOf,
                                 Date now, const RepoLabel::Probes& probes) {
  std::vector<PortScan::Listener> endpoints = PortScan::dedupe(listeners);
  const std::unordered_map<std::int32_t, Process> processes = processesOf(endpoints, factsOf);
  std::erase_if(endpoints, [&](const PortScan::Listener& endpoint) {
    const auto process = processes.find(endpoint.pid);
    return process == processes.end() || process->second.hides(endpoint.port);
  });

  Repositories repositories(probes);
  std::vector<LocalServer> servers;
  for (PortScan::ProcessListener& listener : PortScan::byProcess(endpoints)) {
    const Facts& facts = processes.at(listener.pid).facts;
    LocalServer server;
    server.pid = listener.pid;
    server.ports = std::move(listener.ports);
    server.cwd = facts.cwd;
    server.host = std::move(listener.host);
    server.needsNodeInspectorProbe =
        ServerPortRoles::needsNodeInspectorProbe(listener.command, facts.arguments);
    server.repo = repositories.of(facts.cwd);
    server.framework = ServerIdentity::name(listener.command, facts.arguments);
    server.script = ServerIdentity::script(facts.arguments);
    if (isPlausibleStart(facts.startedAt, now)) server.startedAt = facts.startedAt;
    server.isDocker = ServerFilter::isDocker(listener.command, facts.executable);
    server.command = std::move(listener.command);
    servers.push_back(std::move(server));
  }
  return servers;
}

}  // namespace tavrin::ServerScan
