// Prints once what a panel shows: panel SESSIONS [LSOF-OUTPUT PROCESSES]
//
// SESSIONS is the folder of session files, LSOF-OUTPUT what `lsof -nP -iTCP -sTCP:LISTEN -F pcn` printed,
// PROCESSES what the system says of these processes, one JSON object a line: "pid", "executable", "cwd",
// "arguments".

#include <boost/json/parse.hpp>
#include <boost/json/value_to.hpp>
#include <cstdio>
#include <exception>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "TavrinCore/Panel/ActivityEmptyContent.hpp"
#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Panel/ServerPlacement.hpp"
#include "TavrinCore/Panel/SessionAggregator.hpp"
#include "TavrinCore/Servers/PortScan.hpp"
#include "TavrinCore/Servers/ServerFilter.hpp"
#include "TavrinCore/Servers/ServerIdentity.hpp"
#include "TavrinCore/Servers/ServerPortRoles.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Sessions/SessionLabels.hpp"
#include "TavrinCore/Sessions/SessionRowText.hpp"
#include "TavrinCore/Support/File.hpp"

namespace {

using namespace tavrin;

void print(const std::string& line) {
  std::printf("%s\n", line.c_str());
}

// What an application asks the system about a process.
struct Process {
  std::string executable;
  std::string cwd;
  std::vector<std::string> arguments;
};

std::string contents(const std::string& path) {
  std::optional<std::string> contents = File::contents(path);
  if (!contents) throw std::runtime_error("cannot read " + path);
  return *std::move(contents);
}

std::map<std::int32_t, Process> processes(const std::string& lines) {
  std::map<std::int32_t, Process> processes;
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) {
    const boost::json::value value = boost::json::parse(line);
    processes[value.at("pid").to_number<std::int32_t>()] = {
        .executable = boost::json::value_to<std::string>(value.at("executable")),
        .cwd = boost::json::value_to<std::string>(value.at("cwd")),
        .arguments = boost::json::value_to<std::vector<std::string>>(value.at("arguments"))};
  }
  return processes;
}

// The servers among the processes that listen.
std::vector<LocalServer> servers(const std::string& lsofOutput, std::map<std::int32_t, Process> known) {
  const std::vector<PortScan::Listener> listeners = PortScan::dedupe(PortScan::parse(lsofOutput));
  std::vector<LocalServer> servers;
  for (PortScan::ProcessListener& listening : PortScan::byProcess(listeners)) {
    const Process& process = known[listening.pid];
    if (ServerFilter::isNoise(process.executable)) continue;
    const std::set<int> inspectors = ServerPortRoles::inspectorPorts(listening.command, process.arguments);
    std::erase_if(listening.ports, [&](int port) { return inspectors.contains(port); });
    if (listening.ports.empty()) continue;

    LocalServer server;
    server.pid = listening.pid;
    server.ports = listening.ports;
    server.command = listening.command;
    server.cwd = process.cwd;
    server.repo = RepoLabel::find(process.cwd).value_or(RepoLabel{.root = process.cwd, .worktree = {}});
    server.framework = ServerIdentity::name(listening.command, process.arguments);
    server.script = ServerIdentity::script(process.arguments);
    server.isDocker = ServerFilter::isDocker(listening.command, process.executable);
    server.needsNodeInspectorProbe =
        ServerPortRoles::needsNodeInspectorProbe(listening.command, process.arguments);
    for (const PortScan::Listener& listener : listeners) {
      if (listener.pid == server.pid && listener.port == server.port()) {
        server.host = listener.host;
        break;
      }
    }
    servers.push_back(std::move(server));
  }
  return servers;
}

void printServer(const LocalServer& server) {
  print("  " + server.displayName() + " " + server.portLabel(server.host != "127.0.0.1") + "  " +
        server.url());
}

void printEmptyContent(const ActivityEmptyContent& content) {
  print(std::string(content.title()));
  if (const std::optional<std::string> subtitle = content.subtitle()) print(*subtitle);
  if (content.action()) print("[Settings]");
}

int run(const std::vector<std::string>& arguments) {
  if (arguments.size() != 1 && arguments.size() != 3) {
    std::fputs("usage: panel SESSIONS [LSOF-OUTPUT PROCESSES]\n", stderr);
    return 2;
  }
  const std::vector<Session> sessions = SessionFileStore(arguments[0]).loadAll().sessions;
  std::vector<LocalServer> found;
  if (arguments.size() == 3) found = servers(contents(arguments[1]), processes(contents(arguments[2])));

  print(SessionAggregator::summary(sessions).statusLine() + "\n");

  const std::vector<Session> visible = PanelNavigation::visible(sessions, false);
  const std::map<std::string, std::string> labels = SessionLabels::display(visible);
  const ServerPlacement::Placed placed = ServerPlacement::place(found, visible);
  for (const Session& session : visible) {
    print(SessionRowText::title(session, labels.at(session.sessionId)));
    const auto own = placed.bySession.find(session.sessionId);
    if (own == placed.bySession.end()) continue;
    for (const LocalServer& server : own->second) printServer(server);
  }
  print("\nOther servers");
  for (const LocalServer& server : placed.orphans) printServer(server);

  // What stands there instead when nothing is listed.
  using Agents = ActivityEmptyContent::Agents;
  using Localhost = ActivityEmptyContent::Localhost;
  print("");
  for (const Agents agents : {Agents::connected(5), Agents::off(), Agents::checking()}) {
    for (const Localhost localhost :
         {Localhost::off, Localhost::checking, Localhost::unavailable, Localhost::quiet}) {
      printEmptyContent({.agents = agents, .localhost = localhost, .hiddenIdleCount = 2});
    }
  }
  return 0;
}

}  // namespace

int main(int count, char** words) {
  try {
    return run(std::vector<std::string>(words + 1, words + count));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "panel: %s\n", error.what());
    return 1;
  }
}
