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

// Linux counts a process's start from a boot time in whole seconds, so it can seem to be slightly in the
// future.
constexpr double clockTolerance = 2;

// Unknown values are empty.
struct Process {
  std::string executable;
  std::string cwd;
  std::vector<std::string> arguments;
  std::optional<Date> startedAt;
  bool isNoise = false;
  std::set<int> inspectorPorts;

  bool hides(int port) const { return isNoise || inspectorPorts.contains(port); }
};

std::unordered_map<std::int32_t, Process> processesOf(const std::vector<PortScan::Listener>& listeners,
                                                      const ProcessFacts& processFacts) {
  std::unordered_map<std::int32_t, Process> processes;
  for (const PortScan::ProcessListener& listener : PortScan::byProcess(listeners)) {
    Process& process = processes[listener.pid];
    process.executable = processFacts.executable(listener.pid).value_or("");
    process.cwd = processFacts.folder(listener.pid).value_or("");
    process.arguments = processFacts.arguments(listener.pid);
    if (const auto fact = processFacts.process(listener.pid)) process.startedAt = fact->startedAt;
    process.isNoise = ServerFilter::isNoise(process.executable);
    process.inspectorPorts = ServerPortRoles::inspectorPorts(listener.command, process.arguments);
  }
  return processes;
}

// Looks for each directory's repository once.
class Repositories {
 public:
  explicit Repositories(const RepoLabel::Probes& probes) : probes_(probes) {}

  const RepoLabel& of(const std::string& cwd) {
    const auto [entry, isNew] = labels_.try_emplace(cwd, RepoLabel{.root = cwd, .worktree = {}});
    // An unknown directory must not be taken for the working directory of this process.
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

std::vector<LocalServer> servers(const std::vector<PortScan::Listener>& listeners,
                                 const ProcessFacts& processFacts, Date now,
                                 const RepoLabel::Probes& probes) {
  std::vector<PortScan::Listener> endpoints = PortScan::dedupe(listeners);
  const std::unordered_map<std::int32_t, Process> processes = processesOf(endpoints, processFacts);
  std::erase_if(endpoints, [&](const PortScan::Listener& endpoint) {
    const auto process = processes.find(endpoint.pid);
    return process == processes.end() || process->second.hides(endpoint.port);
  });

  Repositories repositories(probes);
  std::vector<LocalServer> servers;
  for (PortScan::ProcessListener& listener : PortScan::byProcess(endpoints)) {
    const Process& process = processes.at(listener.pid);
    LocalServer server;
    server.pid = listener.pid;
    server.ports = std::move(listener.ports);
    server.cwd = process.cwd;
    server.host = std::move(listener.host);
    server.needsNodeInspectorProbe =
        ServerPortRoles::needsNodeInspectorProbe(listener.command, process.arguments);
    server.repo = repositories.of(process.cwd);
    server.framework = ServerIdentity::name(listener.command, process.arguments);
    server.script = ServerIdentity::script(process.arguments);
    if (isPlausibleStart(process.startedAt, now)) server.startedAt = process.startedAt;
    server.isDocker = ServerFilter::isDocker(listener.command, process.executable);
    server.command = std::move(listener.command);
    servers.push_back(std::move(server));
  }
  return servers;
}

}  // namespace tavrin::ServerScan
