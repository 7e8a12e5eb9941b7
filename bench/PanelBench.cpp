// What the panel's model costs: rows and servers in the numbers of a busy machine and far beyond, and lsof's
// output. 10,000 sessions with 2,000 servers should take at most 100 ms on one core, and so should 10 MB of
// lsof's output.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "TavrinCore/Panel/Collation.hpp"
#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Panel/PanelRows.hpp"
#include "TavrinCore/Panel/ServerPlacement.hpp"
#include "TavrinCore/Panel/SessionAggregator.hpp"
#include "TavrinCore/Servers/PortScan.hpp"
#include "TavrinCore/Servers/ServerIdentity.hpp"
#include "TavrinCore/Sessions/SessionLabels.hpp"
#include "TavrinCore/Sessions/SessionRowText.hpp"

namespace {

using namespace tavrin;

const std::string home = "/Users/dev";

// Sessions in half as many repositories, in all states and of all agents. One name in ten is not ASCII, and
// one in twenty belongs to a linked work tree.
std::vector<Session> sessions(std::size_t count) {
  std::mt19937 random(1);
  std::vector<Session> sessions(count);
  for (std::size_t i = 0; i < count; ++i) {
    Session& session = sessions[i];
    const std::size_t repository = random() % (count / 2 + 1);
    session.sessionId = "0198c2a4-7d31-7c60-9a1f-" + std::to_string(100'000'000'000 + random() % 900'000'000);
    session.agent = allAgents[random() % allAgents.size()];
    session.state = allSessionStates[random() % allSessionStates.size()];
    session.repoRoot = home + "/src/" +
                       (repository % 10 == 0  ? "größe-"
                        : repository % 3 == 0 ? "Web-"
                                              : "app-") +
                       std::to_string(repository);
    session.cwd = *session.repoRoot + "/src";
    if (i % 20 == 0) session.worktreeName = "feature-" + std::to_string(i % 7);
    session.tty = "/dev/ttys" + std::to_string(i % 1000);
    session.agentPid = static_cast<std::int32_t>(1000 + i);
    session.hostPid = 612;
  }
  return sessions;
}

// Half of them in repositories without a session.
std::vector<LocalServer> servers(std::size_t count) {
  std::mt19937 random(2);
  std::vector<LocalServer> servers(count);
  for (std::size_t i = 0; i < count; ++i) {
    LocalServer& server = servers[i];
    server.pid = static_cast<std::int32_t>(50'000 + i);
    server.ports = {static_cast<int>(3000 + random() % 5000), static_cast<int>(10'000 + random() % 5000)};
    server.command = "node";
    server.repo.root =
        home + (i % 2 == 0 ? "/src/app-" : "/other/lib-") + std::to_string(random() % (count * 2));
    server.cwd = server.repo.root;
    server.framework = "Vite";
  }
  return servers;
}

// A machine with `count` sessions, all of them on the screen, and a fifth as many servers.
struct Machine {
  explicit Machine(std::size_t count)
      : sessions(::sessions(count)), servers(::servers(std::max<std::size_t>(1, count / 5))) {
    for (const Session& session : sessions) onScreen.push_back(session.sessionId);
  }

  std::vector<Session> sessions;
  std::vector<LocalServer> servers;
  std::vector<std::string> onScreen;  // session ids
};

void shownPanel(benchmark::State& state) {
  const Machine machine(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(SessionAggregator::summary(machine.sessions).statusLine());
    benchmark::DoNotOptimize(PanelRows::sorted(machine.sessions, home));
    const PanelRows::Rows visible = PanelRows::visible(machine.sessions, false, home);
    const PanelRows::Rows held = PanelRows::holding(visible, machine.onScreen);
    const std::vector<std::string> labels = SessionLabels::ofEach(held, home);
    for (std::size_t i = 0; i < held.size(); ++i) {
      benchmark::DoNotOptimize(SessionRowText::title(*held[i], labels[i], home));
    }
    const ServerPlacement::Placed placed = PanelRows::place(machine.servers, held);
    benchmark::DoNotOptimize(PanelRows::focusOrder(held, placed.orphans, true, true));
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(shownPanel)
    ->Arg(100)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

// The same with functions that take and return whole records.
void copiedPanel(benchmark::State& state) {
  const Machine machine(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(SessionAggregator::summary(machine.sessions).statusLine());
    const std::vector<Session> sorted = SessionAggregator::sorted(machine.sessions, home);
    const std::map<std::string, std::string> labels = SessionLabels::display(sorted, home);
    const std::vector<Session> visible = PanelNavigation::visible(sorted, false, home);
    const std::vector<Session> held = PanelNavigation::holding(visible, machine.onScreen);
    for (const Session& session : held) {
      benchmark::DoNotOptimize(SessionRowText::title(session, labels.at(session.sessionId), home));
    }
    const ServerPlacement::Placed placed = ServerPlacement::place(machine.servers, held);
    benchmark::DoNotOptimize(PanelNavigation::focusOrder(held, placed.orphans, true, true));
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(copiedPanel)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oNLogN);

void rankedNames(benchmark::State& state) {
  std::vector<std::string> names;
  for (const Session& session : sessions(static_cast<std::size_t>(state.range(0)))) {
    names.push_back(session.projectName(home));
  }
  const std::vector<std::string_view> views(names.begin(), names.end());
  for (auto _ : state) benchmark::DoNotOptimize(Collation::ranks(views, "en"));
}
BENCHMARK(rankedNames)->Arg(10'000)->Unit(benchmark::kMillisecond);

// Processes with four sockets each, as the lines that lsof prints about them.
std::string lsofOutput(std::size_t size) {
  std::string text;
  for (std::size_t pid = 300; text.size() < size; ++pid) {
    text += "p" + std::to_string(pid) + "\ncnode\n";
    for (std::size_t i = 0; i < 4; ++i) {
      text += "f" + std::to_string(20 + i) + "\n";
      text += (i % 2 == 0 ? "n127.0.0.1:" : "n[::1]:") + std::to_string(1 + (pid + i / 2) % 65'535) + "\n";
    }
  }
  return text;
}

void parsedLsof(benchmark::State& state) {
  const std::string text = lsofOutput(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(PortScan::parse(text));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(parsedLsof)->Arg(10'000'000)->Unit(benchmark::kMillisecond);

void scannedLsof(benchmark::State& state) {
  const std::string text = lsofOutput(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(PortScan::byProcess(PortScan::dedupe(PortScan::parse(text))));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
// The second size is 100,000 lines.
BENCHMARK(scannedLsof)->Arg(100'000)->Arg(850'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond);

void namedServer(benchmark::State& state) {
  const std::vector<std::string> arguments = {"/opt/homebrew/bin/node", "--enable-source-maps",
                                              "/Users/dev/src/app/node_modules/.bin/something", "--port",
                                              "5173"};
  for (auto _ : state) benchmark::DoNotOptimize(ServerIdentity::name("node", arguments));
}
BENCHMARK(namedServer);

}  // namespace
