#include "TavrinCore/Agents/AgentPresence.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "TavrinCore/Support/Home.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A file system that holds only the given paths and remembers what it was asked.
struct FakeFiles {
  std::set<std::string> existing;
  std::vector<std::string> asked = {};

  bool isPresent(const AgentDefinition& definition) {
    return AgentPresence::isPresent(definition, [this](const std::string& path) {
      asked.push_back(path);
      return existing.contains(path);
    });
  }
};

AgentDefinition withPresence(AgentDefinition::Names presence) {
  AgentDefinition definition = AgentDefinition::claude;
  definition.presence = presence;
  return definition;
}

TEST(AgentPresence, AnAgentWhoseThirdPathIsTheFirstThatExistsIsPresentAfterThreeQuestions) {
  FakeFiles files{.existing = {"/opt/homebrew/bin/claude", "/usr/local/bin/claude"}};
  EXPECT_TRUE(files.isPresent(AgentDefinition::claude));
  EXPECT_THAT(files.asked, ElementsAre(Home::directory() + "/.claude",
                                       Home::directory() + "/.local/bin/claude", "/opt/homebrew/bin/claude"));
}

TEST(AgentPresence, AsksNothingAfterTheFirstPathThatExists) {
  FakeFiles files{.existing = {Home::directory() + "/.codex", "/Applications/ChatGPT.app"}};
  EXPECT_TRUE(files.isPresent(AgentDefinition::codex));
  EXPECT_THAT(files.asked, ElementsAre(Home::directory() + "/.codex"));
}

TEST(AgentPresence, AnAgentWithoutAnyOfItsPathsIsAbsent) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    FakeFiles files{.existing = {}};
    EXPECT_FALSE(files.isPresent(definition)) << definition.name;
    EXPECT_EQ(files.asked.size(), definition.presence.size()) << definition.name;
  }
}

TEST(AgentPresence, AnEmptyListIsAbsentWithoutAQuestion) {
  FakeFiles files{.existing = {"", "/", Home::directory()}};
  EXPECT_FALSE(files.isPresent(withPresence({})));
  EXPECT_THAT(files.asked, IsEmpty());
}

TEST(AgentPresence, OnlyATildeAsTheFirstComponentMeansTheHomeDirectory) {
  FakeFiles files{.existing = {}};
  EXPECT_FALSE(files.isPresent(withPresence({"~/.claude", "/usr/local/bin/claude", "~", "/a/~/b"})));
  EXPECT_THAT(files.asked, ElementsAre(Home::directory() + "/.claude", "/usr/local/bin/claude",
                                       Home::directory(), "/a/~/b"));
}

TEST(AgentPresence, AsksTheRealFileSystemForFilesAndDirectoriesByDefault) {
  const test::ScratchDirectory scratch;
  const std::string folder = scratch.string();
  const std::string file = (scratch / "agent").string();
  EXPECT_TRUE(AgentPresence::isPresent(withPresence({folder})));
  EXPECT_FALSE(AgentPresence::isPresent(withPresence({file})));
  test::writeFile(file, "");
  EXPECT_TRUE(AgentPresence::isPresent(withPresence({file})));
}

TEST(AbsentLine, IsNulloptWithoutNames) {
  EXPECT_EQ(AgentPresence::absentLine({}), std::nullopt);
}

TEST(AbsentLine, OneNameIsNotOnThisMac) {
  EXPECT_EQ(AgentPresence::absentLine({"Grok"}), "Grok isn’t on this Mac.");
}

TEST(AbsentLine, SeveralNamesAreJoinedWithoutACommaBeforeAnd) {
  EXPECT_EQ(AgentPresence::absentLine({"Codex", "Grok"}), "Codex and Grok aren’t on this Mac.");
  EXPECT_EQ(AgentPresence::absentLine({"Codex", "Gemini CLI", "Grok"}),
            "Codex, Gemini CLI and Grok aren’t on this Mac.");
  EXPECT_EQ(AgentPresence::absentLine({"Claude Code", "Codex", "Gemini CLI", "Copilot CLI", "Grok"}),
            "Claude Code, Codex, Gemini CLI, Copilot CLI and Grok aren’t on this Mac.");
}

TEST(AbsentLine, NamesKeepTheCallersOrderAndSpelling) {
  EXPECT_EQ(AgentPresence::absentLine({"b", ""}), "b and  aren’t on this Mac.");
  EXPECT_EQ(AgentPresence::absentLine({"b", "a", "b"}), "b, a and b aren’t on this Mac.");
}

TEST(AbsentLine, ItsApostropheIsTheTypographicOne) {
  const std::string line = AgentPresence::absentLine({"Codex"}).value_or("");
  EXPECT_NE(line.find("isn\xE2\x80\x99t"), std::string::npos);
  EXPECT_EQ(line.find('\''), std::string::npos);
}

}  // namespace
}  // namespace tavrin
