#include "TavrinCore/Hook/AgentArgument.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {
namespace {

using AgentArgument::Parsed;
using Words = std::vector<std::string_view>;

// The words of a command line after the program's name.
Parsed parsed(Words words) {
  words.insert(words.begin(), "/opt/tavrin/bin/tavrin-hook");
  return AgentArgument::parseAll(words);
}

Parsed agentOnly(Agent agent) {
  return {.agent = agent, .event = {}};
}

Parsed eventOnly(std::string event) {
  return {.agent = Agent::claude, .event = std::move(event)};
}

std::string shown(const Words& words) {
  std::string text;
  for (const auto word : words) text += "[" + std::string(word) + "]";
  return text;
}

TEST(AgentArgument, NoWordsAtAllAreClaudeCodeWithoutAnEvent) {
  EXPECT_EQ(AgentArgument::parseAll({}), Parsed{});
  EXPECT_EQ(parsed({}), Parsed{});
  EXPECT_EQ(Parsed{}, agentOnly(Agent::claude));
}

TEST(AgentArgument, EachAgentIsTakenInBothForms) {
  for (const Agent agent : allAgents) {
    const std::string name(rawValue(agent));
    EXPECT_EQ(parsed({"--agent", name}), agentOnly(agent)) << name;
    EXPECT_EQ(parsed({"--agent=" + name}), agentOnly(agent)) << name;
  }
}

TEST(AgentArgument, TheEventIsTakenInBothForms) {
  EXPECT_EQ(parsed({"--event", "sessionStart"}), eventOnly("sessionStart"));
  EXPECT_EQ(parsed({"--event=sessionStart"}), eventOnly("sessionStart"));
}

TEST(AgentArgument, TheProgramsOwnNameIsNeverLookedAt) {
  for (const Words& words : {Words{"--agent=codex"}, Words{"--event=Stop"}}) {
    EXPECT_EQ(AgentArgument::parseAll(words), Parsed{}) << shown(words);
  }
  EXPECT_EQ(AgentArgument::parseAll(Words{"--agent", "codex"}), Parsed{});
  EXPECT_EQ(AgentArgument::parseAll(Words{"--event", "--agent", "grok"}), agentOnly(Agent::grok));
}

TEST(AgentArgument, TheLastOfEachOptionCounts) {
  EXPECT_EQ(parsed({"--agent", "codex", "--agent=grok"}), agentOnly(Agent::grok));
  EXPECT_EQ(parsed({"--agent=grok", "--agent", "codex"}), agentOnly(Agent::codex));
  EXPECT_EQ(parsed({"--event", "a", "--event=b"}), eventOnly("b"));
  EXPECT_EQ(parsed({"--event=b", "--event", "a"}), eventOnly("a"));
}

TEST(AgentArgument, AnUnknownAgentResetsToClaudeCode) {
  for (const std::string_view value : {"nonsense", "", "Codex", "CODEX", " codex", "codex ", "=codex"}) {
    EXPECT_EQ(parsed({"--agent", "codex", "--agent", value}), Parsed{}) << value;
    EXPECT_EQ(parsed({"--agent", "codex", "--agent=" + std::string(value)}), Parsed{}) << value;
  }
}

TEST(AgentArgument, AnAgentAfterAnUnknownOneCounts) {
  EXPECT_EQ(parsed({"--agent", "nonsense", "--agent", "gemini"}), agentOnly(Agent::gemini));
}

TEST(AgentArgument, AnEmptyEventRemovesAnEarlierOne) {
  EXPECT_EQ(parsed({"--event="}), Parsed{});
  EXPECT_EQ(parsed({"--event", ""}), Parsed{});
  EXPECT_EQ(parsed({"--event=Stop", "--event="}), Parsed{});
  EXPECT_EQ(parsed({"--event=Stop", "--event", ""}), Parsed{});
  EXPECT_EQ(parsed({"--event=", "--event", "Stop"}), eventOnly("Stop"));
}

TEST(AgentArgument, AnOptionAsTheLastWordIsIgnored) {
  EXPECT_EQ(parsed({"--agent"}), Parsed{});
  EXPECT_EQ(parsed({"--event"}), Parsed{});
  EXPECT_EQ(parsed({"--agent", "codex", "--agent"}), agentOnly(Agent::codex));
  EXPECT_EQ(parsed({"--event", "Stop", "--event"}), eventOnly("Stop"));
}

TEST(AgentArgument, AValueInItsOwnWordIsTakenEvenIfItLooksLikeAnOption) {
  EXPECT_EQ(parsed({"--event", "--agent", "codex"}), eventOnly("--agent"));
  EXPECT_EQ(parsed({"--event", "--agent=codex"}), eventOnly("--agent=codex"));
  EXPECT_EQ(parsed({"--event", "--event", "--event"}), eventOnly("--event"));
  EXPECT_EQ(parsed({"--agent", "--agent", "codex"}), Parsed{});
  EXPECT_EQ(parsed({"--agent", "--event", "Stop"}), Parsed{});
}

TEST(AgentArgument, OfTheJoinedFormEverythingAfterTheFirstEqualsSignIsTheValue) {
  EXPECT_EQ(parsed({"--event=a=b"}), eventOnly("a=b"));
  EXPECT_EQ(parsed({"--event==Stop"}), eventOnly("=Stop"));
  EXPECT_EQ(parsed({"--event= Stop "}), eventOnly(" Stop "));
  EXPECT_EQ(parsed({"--event=--agent=codex"}), eventOnly("--agent=codex"));
}

TEST(AgentArgument, OtherWordsAreIgnored) {
  const Words others = {
      "",        "-",        "--",       "codex",    "--agents", "--agents=codex", "--agent:codex",
      "-agent",  "--Agent=", "--AGENT",  "--eventX", "--event:", " --agent=codex", "-event=Stop",
      "agent=x", "--help",   "--agentX", "\xff",     "--even",   "--age=codex"};
  EXPECT_EQ(parsed(others), Parsed{});
  for (const auto word : others) {
    EXPECT_EQ(parsed({word, "--agent", "grok", word, "--event=x", word}),
              (Parsed{.agent = Agent::grok, .event = "x"}))
        << word;
  }
}

TEST(AgentArgument, AnEventThatIsNotUtf8IsRepaired) {
  const Words joined = {"tavrin-hook", "--event=St\xffop\xc3"};
  EXPECT_EQ(AgentArgument::parseAll(joined).event, "St\ufffdop\ufffd");
  const Words apart = {"tavrin-hook", "--event", "\xe2\x82\u00e9"};
  EXPECT_EQ(AgentArgument::parseAll(apart).event, "\ufffd\ufffd\u00e9");
}

TEST(AgentArgument, ParseGivesTheAgentOfParseAll) {
  EXPECT_EQ(AgentArgument::parse({}), Agent::claude);
  const Words words = {"tavrin-hook", "--event", "agentStop", "--agent=copilot"};
  EXPECT_EQ(AgentArgument::parse(words), Agent::copilot);
}

// The same grammar, written as plainly as possible.
Parsed byTheGrammar(const Words& words) {
  Parsed result;
  const auto setAgent = [&](std::string_view value) {
    result.agent = Agent::claude;
    for (const Agent agent : allAgents) {
      if (rawValue(agent) == value) result.agent = agent;
    }
  };
  const auto setEvent = [&](std::string_view value) {
    result.event.reset();
    if (!value.empty()) result.event = std::string(value);
  };
  std::size_t i = 1;
  while (i < words.size()) {
    const bool hasNext = i + 1 < words.size();
    if (words[i] == "--agent" && hasNext) {
      setAgent(words[i + 1]);
      i += 2;
    } else if (words[i] == "--event" && hasNext) {
      setEvent(words[i + 1]);
      i += 2;
    } else {
      if (words[i].substr(0, 8) == "--agent=") setAgent(words[i].substr(8));
      if (words[i].substr(0, 8) == "--event=") setEvent(words[i].substr(8));
      ++i;
    }
  }
  return result;
}

TEST(AgentArgument, AllCommandLinesOfUpToFourWordsAreReadByTheGrammar) {
  constexpr std::array<std::string_view, 12> alphabet = {
      "--agent",  "--event",      "--agent=", "--event=", "--agent=codex", "--agent=x",
      "--agents", "--event=Stop", "codex",    "grok",     "sessionEnd",    ""};
  std::size_t count = 0;
  std::vector<Words> lines = {{"tavrin-hook"}};
  for (std::size_t length = 0; length <= 4; ++length) {
    std::vector<Words> longer;
    for (const Words& words : lines) {
      ASSERT_EQ(AgentArgument::parseAll(words), byTheGrammar(words)) << shown(words);
      ++count;
      if (length == 4) continue;
      for (const auto word : alphabet) {
        longer.push_back(words);
        longer.back().push_back(word);
      }
    }
    lines = std::move(longer);
  }
  EXPECT_EQ(count, 1U + 12U + 144U + 1'728U + 20'736U);
}

}  // namespace
}  // namespace tavrin
