// Values that agents send and that a careless reader would cut, drop or reject.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "tests/TavrinHook/HookRun.hpp"

namespace tavrin::test {
namespace {

using HookCommandOddValues = HookRun;

TEST_F(HookCommandOddValues, APathMayHoldSpaces) {
  const std::string transcript = (home.path() / "My Projects/the transcript.jsonl").string();
  writeFile(transcript, "four");
  run(event("PermissionRequest", R"("tool_name":"Bash","transcript_path":")" + transcript + "\""));
  EXPECT_EQ(record().transcriptPath, transcript);
  EXPECT_EQ(record().attentionTranscriptOffset, 4U);
}

TEST_F(HookCommandOddValues, TheRootIsAWorkingDirectoryLikeAnyOther) {
  run(event("SessionStart"));
  ASSERT_EQ(record().cwd, "/Users/dev/app");
  run(R"({"session_id":"s1","hook_event_name":"Stop","cwd":"/"})");
  EXPECT_EQ(record().cwd, "/");
}

TEST_F(HookCommandOddValues, AnAppWhoseNameOnlyBeginsTheSameHasNoTitle) {
  writeFile(home.path() / "Library/Application Support/Claude/claude-code-sessions/local_s1.json",
            R"({"sessionId":"local_s1","title":"Fix the build"})");
  const std::string desktop(ClaudeSessionTitles::desktopBundleIdentifier);
  processes.processes[100].application = {.bundleId = desktop + ".helper", .isRegular = true};
  run(event("SessionStart"));
  EXPECT_EQ(record().title, std::nullopt);
  processes.processes[100].application = {.bundleId = desktop, .isRegular = true};
  run(event("SessionStart"));
  EXPECT_EQ(record().title, "Fix the build");
}

TEST_F(HookCommandOddValues, AnIdOfSpacesIsAnId) {
  run(R"({"session_id":"  ","hook_event_name":"SessionStart","cwd":"/Users/dev/app"})");
  const std::optional<Session> session = stored("  ");
  ASSERT_TRUE(session.has_value());
  EXPECT_EQ(session->sessionId, "  ");
}

}  // namespace
}  // namespace tavrin::test
