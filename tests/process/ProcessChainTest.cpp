// The real executable finds the agent's process and terminal among real processes. In such chains of
// processes the agents were seen to run their hooks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <sstream>

#include "tests/process/ProcessSupport.hpp"
#include "tests/support/Terminals.hpp"

namespace tavrin::test {
namespace {

struct Link {
  std::int32_t pid = 0;
  std::string terminal;  // the one that the process has taken for its own
};

std::vector<Link> reported(const std::filesystem::path& file) {
  std::istringstream lines(readFile(file));
  std::vector<Link> links;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t space = line.find(' ');
    links.push_back({.pid = std::stoi(line.substr(0, space)), .terminal = line.substr(space + 1)});
  }
  return links;
}

// The record that a run of tavrin-hook in a chain of processes makes, and the processes themselves.
struct ChainRun {
  std::vector<Link> links;
  Session session;
};

ChainRun runInChain(const std::vector<std::string>& links, const std::string& agent,
                    const std::filesystem::path& program = chainLink(), const std::string& separator = "--") {
  const ScratchHome home;
  std::vector<std::string> words = {program, home / "links"};
  words.insert(words.end(), links.begin(), links.end());
  words.insert(words.end(), {separator, hookExecutable(), "--agent", agent});
  EXPECT_EQ(run(words, toolStart("s", "call-1"), {{"HOME", home.string()}}), silentSuccess);
  ChainRun result{.links = reported(home / "links"), .session = stored(home, "s").value()};
  EXPECT_EQ(result.links.size(), links.size());
  return result;
}

struct Chain {
  std::string name;
  std::string agent;
  std::vector<std::string> links;  // outermost first; the run of tavrin-hook is the child of the last
  std::size_t agentLink;
  std::optional<std::size_t> terminalLink;  // the one whose terminal the agent has
  std::string separator = "--";
};

const std::vector<Chain> chains = {
    {"claude printing", "claude", {"harness+session", "claude", "sh+session"}, 1, {}},
    {"claude in a terminal", "claude", {"harness+session", "claude+terminal", "sh+session"}, 1, 1},
    {"claude whose shell gives way", "claude", {"harness+session", "claude+terminal"}, 1, 1, "--+session"},
    {"claude under a terminal's shell",
     "claude",
     {"kitty+session", "zsh+terminal", "claude", "sh+session"},
     2,
     1},
    {"codex exec", "codex", {"python3+session", "codex"}, 1, {}, "--+session"},
    {"codex from a package", "codex", {"python3+session", "launch.sh", "node", "codex"}, 3, {}, "--+session"},
    {"codex in a terminal", "codex", {"tmux: server+session", "codex+terminal"}, 1, 1, "--+session"},
    {"codex with a daemon",
     "codex",
     {"tmux: server+session", "codex+terminal", "codex+session"},
     2,
     {},
     "--+session"},
    {"codex whose daemon is left", "codex", {"sh+session", "codex"}, 1, {}, "--+session"},
    {"copilot without a terminal", "copilot", {"harness+session", "node", "MainThread"}, 1, {}},
    {"copilot in a terminal", "copilot", {"harness+session", "node+terminal", "MainThread"}, 1, 1},
    {"gemini without a terminal", "gemini", {"harness+session", "node", "node"}, 2, {}},
    {"gemini in a terminal", "gemini", {"harness+session", "node+terminal", "node"}, 2, 1},
    {"grok without a terminal", "grok", {"harness+session", "grok", "sh+session"}, 1, {}},
    {"grok in a terminal", "grok", {"harness+session", "grok+terminal", "sh+session"}, 1, 1},
    {"an agent within an agent", "claude", {"claude+terminal", "zsh", "claude+terminal", "sh+session"}, 2, 2},
    {"names that only begin alike", "claude", {"claude+terminal", "claude-code", "claud", "Claude"}, 0, 0},
    {"a name like the rest of a line", "claude", {"claude+terminal", ") S 1 1 1 0", "a b) (c"}, 0, 0},
    {"a name that is not UTF-8", "claude", {"claude+terminal", "\xff\xfe", "\n"}, 0, 0},
};

TEST(ProcessChain, EachAgentIsFoundWithItsTerminalWhereItRunsItsHooks) {
  const bool hasTerminals = canOpenTerminals();
  for (const auto& [name, agent, links, agentLink, terminalLink, separator] : chains) {
    SCOPED_TRACE(name);
    const auto opensTerminal = [](const std::string& link) { return link.ends_with("+terminal"); };
    if (!hasTerminals && std::any_of(links.begin(), links.end(), opensTerminal)) continue;
    const ChainRun chain = runInChain(links, agent, chainLink(), separator);
    ASSERT_EQ(chain.links.size(), links.size());
    EXPECT_EQ(chain.session.agentPid, chain.links[agentLink].pid);
    std::optional<std::string> terminal;
    if (terminalLink) terminal = chain.links[*terminalLink].terminal;
    EXPECT_EQ(chain.session.tty, terminal);
    EXPECT_TRUE(!terminal || terminal->starts_with("/dev/")) << *terminal;
  }
  EXPECT_EQ(chains.size(), 19U);
  if (!hasTerminals) GTEST_SKIP() << withoutTerminals << " The chains without a terminal were tested.";
}

// The walk ends after 32 processes, so that 32 of the test's own keep whoever runs the test out of it.
std::vector<std::string> chainOf32(std::vector<std::string> innermost) {
  const std::vector<std::string> shells = {"sh", "bash", "zsh", "fish", "dash"};
  std::vector<std::string> links = {"sh+session"};
  while (links.size() + innermost.size() < 32) links.push_back(shells[links.size() % shells.size()]);
  links.insert(links.end(), innermost.begin(), innermost.end());
  return links;
}

TEST(ProcessChain, AnAgentOfAnUnknownNameIsTheNearestProcessThatIsNotAShell) {
  const ChainRun chain = runInChain(chainOf32({"launcher", "claude-next", "bash", "sh"}), "claude");
  ASSERT_EQ(chain.links.size(), 32U);
  EXPECT_EQ(chain.session.agentPid, chain.links[29].pid);
}

TEST(ProcessChain, AmongShellsAloneTheParentCountsAsTheAgent) {
  const ChainRun chain = runInChain(chainOf32({}), "claude");
  ASSERT_EQ(chain.links.size(), 32U);
  EXPECT_EQ(chain.session.agentPid, chain.links.back().pid);
}

TEST(ProcessChain, TheAgentIsLookedForAmong32ProcessesAndNoFurther) {
  std::vector<std::string> links = chainOf32({});
  links[0] = "claude+session";
  const ChainRun within = runInChain(links, "claude");
  ASSERT_EQ(within.links.size(), 32U);
  EXPECT_EQ(within.session.agentPid, within.links.front().pid);

  links.emplace_back("sh");
  const ChainRun beyond = runInChain(links, "claude");
  ASSERT_EQ(beyond.links.size(), 33U);
  EXPECT_EQ(beyond.session.agentPid, beyond.links.back().pid);
}

TEST(ProcessChain, AProcessWithoutANameGoesByThatOfItsExecutable) {
  if (!canOpenTerminals()) GTEST_SKIP() << withoutTerminals;
  const ScratchDirectory directory;
  const auto program = directory / "claude";
  std::filesystem::copy_file(chainLink(), program);
  const ChainRun chain = runInChain({"harness+session", "+terminal", "sh+session"}, "claude", program);
  ASSERT_EQ(chain.links.size(), 3U);
  EXPECT_EQ(chain.session.agentPid, chain.links[1].pid);
  EXPECT_EQ(chain.session.tty, chain.links[1].terminal);

  // Under another name it is not a shell. A process with the right name is preferred to it.
  std::filesystem::rename(program, directory / "other");
  const ChainRun named = runInChain({"claude+terminal", "", "sh+session"}, "claude", directory / "other");
  ASSERT_EQ(named.links.size(), 3U);
  EXPECT_EQ(named.session.agentPid, named.links[0].pid);
  const ChainRun unnamed = runInChain(chainOf32({"", "sh"}), "claude", directory / "other");
  ASSERT_EQ(unnamed.links.size(), 32U);
  EXPECT_EQ(unnamed.session.agentPid, unnamed.links[30].pid);

  // A nameless shell is a shell.
  std::filesystem::rename(directory / "other", directory / "zsh");
  const ChainRun shell = runInChain(chainOf32({"node", "", "sh"}), "claude", directory / "zsh");
  ASSERT_EQ(shell.links.size(), 32U);
  EXPECT_EQ(shell.session.agentPid, shell.links[29].pid);
}

// A folder with copies of the program that links are, by the names of what stands in for them.
class Programs : public ScratchDirectory {
 public:
  explicit Programs(const std::vector<std::string>& names) {
    for (const std::string& name : names) std::filesystem::copy_file(chainLink(), path() / name);
  }
  std::string at(const std::string& name) const { return "@" + (path() / name).string(); }
};

TEST(ProcessChain, AThreadByAnotherNameGoesByItsExecutableToo) {
  const Programs programs({"node", "codex", "claude.exe", "bash", "x"});
  const std::vector<Chain> renamed = {
      {"copilot below another node",
       "copilot",
       {"node+terminal", "bash", "MainThread" + programs.at("node")},
       2,
       0},
      {"gemini below another node",
       "gemini",
       {"node+session", "MainThread" + programs.at("node"), "sh"},
       1,
       {}},
      {"a launcher with its native client",
       "codex",
       {"python3+session", "MainThread" + programs.at("node"), "codex" + programs.at("codex")},
       2,
       {}},
      {"a native client whose thread has a name of its own",
       "codex",
       {"codex+session", "MainThread" + programs.at("node"), "tokio-runtime" + programs.at("codex")},
       2,
       {}},
      {"claude's own name before its executable's",
       "claude",
       {"harness+session", "MainThread" + programs.at("node"), "claude" + programs.at("claude.exe"), "sh"},
       2,
       {}},
      {"a shell by its name, whatever its executable",
       "codex",
       {"codex+session", "sh" + programs.at("codex")},
       0,
       {}},
      {"an agent by its name, whatever its executable",
       "claude",
       {"claude+session", "claude" + programs.at("bash"), "x" + programs.at("x")},
       1,
       {}},
  };
  for (const auto& [name, agent, links, agentLink, terminalLink, separator] : renamed) {
    SCOPED_TRACE(name);
    const ChainRun chain = runInChain(links, agent, chainLink(), separator);
    ASSERT_EQ(chain.links.size(), links.size());
    EXPECT_EQ(chain.session.agentPid, chain.links[agentLink].pid);
    EXPECT_EQ(chain.session.tty.has_value(), terminalLink.has_value());
  }
}

// Runs tavrin-hook at the end of a chain, and calls `meanwhile` with the links while it waits for its input.
ChainRun runWhile(const std::vector<std::string>& links, const std::string& agent,
                  const std::function<void(const std::vector<Link>&)>& meanwhile) {
  const ScratchHome home;
  std::vector<std::string> words = {chainLink(), home / "links"};
  words.insert(words.end(), links.begin(), links.end());
  words.insert(words.end(), {"--", hookExecutable(), "--agent", agent});
  const Running chain = start(words, {{"HOME", home.string()}});
  chain->write(toolStart("s", "call-1"));
  chain->waitUntilInputIsRead();
  const std::vector<Link> started = reported(home / "links");
  EXPECT_EQ(started.size(), links.size());
  meanwhile(started);
  chain->wait();
  return {.links = started, .session = stored(home, "s").value()};
}

TEST(ProcessChain, AClientWhoseLauncherIsKilledIsStillFound) {
  const Programs programs({"node", "copilot"});
  for (const std::string& client : {"MainThread" + programs.at("node"), "worker" + programs.at("copilot")}) {
    const ChainRun chain =
        runWhile({"node+session", "MainThread" + programs.at("node"), client, "sh"}, "copilot",
                 [](const std::vector<Link>& links) { ASSERT_EQ(::kill(links.at(1).pid, SIGKILL), 0); });
    EXPECT_EQ(chain.session.agentPid, chain.links.at(2).pid);
  }
}

TEST(ProcessChain, AnExecutableThatWasReplacedKeepsItsName) {
  const Programs programs({"node"});
  const ChainRun chain =
      runWhile({"harness+session", "MainThread" + programs.at("node"), "sh"}, "copilot",
               [&](const std::vector<Link>&) { std::filesystem::remove(programs.path() / "node"); });
  EXPECT_EQ(chain.session.agentPid, chain.links.at(1).pid);
}

TEST(ProcessChain, AStoredSessionIsBoundToTheProcessThatSentTheLastEvent) {
  if (!canOpenTerminals()) GTEST_SKIP() << withoutTerminals;
  const ScratchHome home;
  for (const std::string terminal : {"terminal", "session"}) {
    std::filesystem::remove(home / "links");
    EXPECT_EQ(run({chainLink(), home / "links", "harness+session", "claude+" + terminal, "sh+session", "--",
                   hookExecutable()},
                  toolStart("s", "call-1"), {{"HOME", home.string()}}),
              silentSuccess);
    const std::vector<Link> links = reported(home / "links");
    ASSERT_EQ(links.size(), 3U);
    EXPECT_EQ(stored(home, "s").value().agentPid, links[1].pid);
    // Without a known host the terminal is looked up at each event, and this agent may have lost its own.
    EXPECT_EQ(stored(home, "s").value().tty.value_or(""), links[1].terminal);
    EXPECT_EQ(links[1].terminal.empty(), terminal == "session");
  }
}

TEST(ProcessChain, ARunWhoseParentsEndMeanwhileKeepsToTheProcessThatRanIt) {
  const ScratchHome home;
  const Running chain =
      start({chainLink(), home / "links", "claude+session", "sh+session", "--", hookExecutable()},
            {{"HOME", home.string()}});
  chain->write(toolStart("s", "call-1"));
  chain->waitUntilInputIsRead();
  const std::vector<Link> links = reported(home / "links");
  ASSERT_EQ(links.size(), 2U);
  ASSERT_EQ(::kill(links[1].pid, SIGKILL), 0);
  // The agent ends after its shell, and leaves the run without any of them.
  siginfo_t ended{};
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(chain->pid()), &ended, WEXITED | WNOWAIT), 0);
  const Outcome outcome = chain->wait();  // of the chain, which lasts until the run has closed its streams
  EXPECT_EQ(outcome.output + outcome.error, "");
  EXPECT_EQ(stored(home, "s").value().agentPid, links[1].pid);
  EXPECT_EQ(stored(home, "s").value().tty, std::nullopt);
}

}  // namespace
}  // namespace tavrin::test
