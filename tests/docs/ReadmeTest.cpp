// Compares what README and docs/files.md ask people to type and to expect with the code.
#include <gtest/gtest.h>

#include <string>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/AgentHome.hpp"
#include "tests/docs/Documents.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin {
namespace {

using test::document;

TEST(Readme, IsShort) {
  EXPECT_LE(test::linesOf(document("README.md")).size(), 150U);
}

TEST(Readme, NamesThePackagesOfThisVersion) {
  const std::string text = document("README.md");
  for (const char* name :
       {"tavrin-hook_" TAVRIN_VERSION "_amd64.deb", "tavrin-hook-" TAVRIN_VERSION "-linux-x86_64.tar.gz",
        "tavrin-hook-" TAVRIN_VERSION "-linux-x86_64/install.sh"}) {
    EXPECT_NE(text.find(name), std::string::npos) << name;
  }
}

TEST(Files, ItsSampleLogLinesAreWhatTheCommandWrites) {
  const std::string text = document("docs/files.md");
  const test::ScratchHome home;
  for (const std::string_view rest :
       {R"("PreToolUse","tool_name":"Bash","tool_use_id":"toolu_a1b2c3"})",
        R"("Notification","notification_type":"permission_prompt"})", R"("SessionEnd"})"}) {
    const std::string event = R"({"session_id":"3f2a9c1d-0","hook_event_name":)" + std::string(rest);
    EXPECT_EQ(test::runHook(home.path(), event), test::silentSuccess);
  }
  const std::vector<std::string> lines = test::linesOf(home.logMessages());
  for (const std::string& line : lines) EXPECT_NE(text.find("Z " + line + "\n"), std::string::npos) << line;
  EXPECT_EQ(lines.size(), 3U);
}

TEST(Files, NamesEachAgentsFoldersThatTheMonitorReads) {
  const std::string text = document("docs/files.md");
  for (const Agent agent : allAgents) {
    const AgentHome home = AgentHome::standard(agent, "~");
    const std::string sessions = home.sessionsDirectory() + "/";
    EXPECT_NE(text.find("`" + sessions), std::string::npos) << sessions;
    if (const auto status = home.statusDirectory()) {
      EXPECT_NE(text.find("`" + *status + "/`"), std::string::npos) << *status;
    }
    if (const auto open = home.activeSessionsFile()) {
      EXPECT_NE(text.find("`" + *open + "`"), std::string::npos) << *open;
    }
  }
}

}  // namespace
}  // namespace tavrin
