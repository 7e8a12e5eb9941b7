#include "TavrinCore/Agents/Agent.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrin {
namespace {

TEST(Agent, RawValuesAndDisplayNamesComeInTheFixedOrder) {
  std::vector<std::string> names;
  for (const Agent agent : allAgents)
    names.push_back(std::string(rawValue(agent)) + " " + std::string(displayName(agent)));
  EXPECT_EQ(names, (std::vector<std::string>{"claude Claude", "codex Codex", "gemini Gemini",
                                             "copilot Copilot", "grok Grok"}));
}

TEST(Agent, EachRawValueReadsBackAsItsAgent) {
  for (const Agent agent : allAgents) EXPECT_EQ(agentFromRawValue(rawValue(agent)), agent);
}

TEST(Agent, AnyOtherTextIsNotAnAgent) {
  for (const char* text : {"", "Claude", "CODEX", " claude", "claude ", "cursor", "Grok"}) {
    EXPECT_EQ(agentFromRawValue(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace tavrin
