#include "tests/support/RecordedServers.hpp"

#include <boost/json/value_to.hpp>
#include <map>

#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {

std::vector<RecordedServer> recordedServers() {
  std::vector<RecordedServer> servers;
  for (const boost::json::value& line : jsonLines("servers/processes.jsonl")) {
    const auto text = [&](const char* key) { return boost::json::value_to<std::string>(line.at(key)); };
    servers.push_back({.server = text("server"),
                       .pid = line.at("pid").to_number<std::int32_t>(),
                       .command = text("command"),
                       .executable = text("executable"),
                       .cwd = text("cwd"),
                       .arguments = boost::json::value_to<std::vector<std::string>>(line.at("arguments"))});
  }
  return servers;
}

std::vector<PortScan::Listener> recordedListeners() {
  return PortScan::parse(readFile(dataDirectory() / "servers/lsof.txt"));
}

ProcessFacts recordedProcessFacts(Date startedAt) {
  std::map<std::int32_t, RecordedServer> byPid;
  for (RecordedServer& server : recordedServers()) byPid[server.pid] = std::move(server);
  ProcessFacts facts;
  facts.process = [=](std::int32_t pid) -> std::optional<ProcessFact> {
    if (!byPid.contains(pid)) return std::nullopt;
    return ProcessFact{.parent = 1, .name = byPid.at(pid).command, .startedAt = startedAt, .terminal = {}};
  };
  facts.executable = [=](std::int32_t pid) { return std::optional(byPid.at(pid).executable); };
  facts.folder = [=](std::int32_t pid) { return std::optional(byPid.at(pid).cwd); };
  facts.arguments = [=](std::int32_t pid) { return byPid.at(pid).arguments; };
  return facts;
}

}  // namespace tavrin::test
