// What a run finds out about a session's surroundings: its directory and repository, its host and terminal,
// its title.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "tests/TavrinHook/HookRun.hpp"

namespace tavrin {
namespace {

using test::writeFile;
using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::Not;
using Application = ProcessTable::Application;

class HookCommandContext : public test::HookRun {
 protected:
  static std::string eventIn(std::string_view cwd, std::string_view name = "PreToolUse") {
    return R"({"session_id":"s1","hook_event_name":")" + std::string(name) + R"(","cwd":")" +
           std::string(cwd) + "\"}";
  }

  void forgetQuestions() {
    processes.asked.clear();
    files.asked.clear();
  }

  void hostIn(std::string_view bundleId) { processes.processes[100].application->bundleId = bundleId; }

  void writeTitle(std::string_view title, std::string_view id = "s1") const {
    writeFile(home.path() / "Library/Application Support/Claude/claude-code-sessions" /
                  ("local_" + std::string(id) + ".json"),
              R"({"sessionId":"local_)" + std::string(id) + R"(","title":")" + std::string(title) + "\"}");
  }
};

TEST_F(HookCommandContext, TheDirectoryOfTheEventIsTheSessions) {
  run(eventIn("/Users/dev/app/src"));
  EXPECT_EQ(record().cwd, "/Users/dev/app/src");
  EXPECT_EQ(record().repoRoot, "/Users/dev/app");
  EXPECT_EQ(record().worktreeName, std::nullopt);
  run(eventIn("/tmp"));
  EXPECT_EQ(record().cwd, "/tmp");
}

TEST_F(HookCommandContext, AnEmptyOrMissingDirectoryLeavesTheStoredOne) {
  run(eventIn("/Users/dev/app"));
  forgetQuestions();
  run(eventIn(""));
  run(R"({"session_id":"s1","hook_event_name":"Stop"})");
  run(R"({"session_id":"s1","hook_event_name":"Stop","cwd":7})");
  EXPECT_EQ(record().cwd, "/Users/dev/app");
  EXPECT_EQ(record().repoRoot, "/Users/dev/app");
  EXPECT_THAT(files.asked, IsEmpty());
}

TEST_F(HookCommandContext, ANewSessionWithoutADirectoryHasNoRepository) {
  run(eventIn(""));
  EXPECT_EQ(record().cwd, "");
  EXPECT_EQ(record().repoRoot, std::nullopt);
}

TEST_F(HookCommandContext, TheRepositoryIsLookedUpOncePerDirectory) {
  run(eventIn("/Users/dev/app"));
  EXPECT_THAT(files.asked, Not(IsEmpty()));
  forgetQuestions();
  for (const char* const name : {"PreToolUse", "Stop", "SessionStart", "UserPromptSubmit"})
    run(eventIn("/Users/dev/app", name));
  EXPECT_THAT(files.asked, IsEmpty());
  run(eventIn("/Users/dev/app/src"));
  EXPECT_THAT(files.asked, Not(IsEmpty()));
}

TEST_F(HookCommandContext, AMissingRepositoryIsLookedUpAgain) {
  files.directories.clear();
  run(eventIn("/Users/dev/app"));
  EXPECT_EQ(record().repoRoot, std::nullopt);
  files.directories = {"/Users/dev/app/.git"};
  run(eventIn("/Users/dev/app"));
  EXPECT_EQ(record().repoRoot, "/Users/dev/app");
}

TEST_F(HookCommandContext, ASessionMovesFromRepositoryToRepository) {
  files.directories = {"/a/.git", "/b/.git"};
  files.files["/t/.git"] = "gitdir: /b/.git/worktrees/tree\n";
  run(eventIn("/a/x"));
  EXPECT_EQ(record().repoRoot, "/a");
  run(eventIn("/t/x"));
  EXPECT_EQ(record().repoRoot, "/b");
  EXPECT_EQ(record().worktreeName, "tree");
  run(eventIn("/b"));
  EXPECT_EQ(record().repoRoot, "/b");
  EXPECT_EQ(record().worktreeName, std::nullopt);
}

TEST_F(HookCommandContext, OutsideOfAnyRepositoryTheLastOneIsKept) {
  files.files["/t/.git"] = "gitdir: /b/.git/worktrees/tree\n";
  run(eventIn("/t"));
  run(eventIn("/somewhere/else"));
  EXPECT_EQ(record().cwd, "/somewhere/else");
  EXPECT_EQ(record().repoRoot, "/b");
  EXPECT_EQ(record().worktreeName, "tree");
}

TEST_F(HookCommandContext, ARelativeDirectoryStartsWhereTheHookRuns) {
  files.currentDirectory = "/Users/dev";
  run(eventIn("app/src"));
  EXPECT_EQ(record().cwd, "app/src");
  EXPECT_EQ(record().repoRoot, "/Users/dev/app");
}

TEST_F(HookCommandContext, TheHostIsLookedUpOncePerSession) {
  run(event("PreToolUse"));
  EXPECT_THAT(processes.asked, Contains("application 100"));
  EXPECT_EQ(record().hostPid, 100);
  hostIn("com.example.changed");
  processes.processes[200].terminal = "/dev/ttys099";
  forgetQuestions();
  for (const char* const name :
       {"PreToolUse", "PostToolUse", "Stop", "PermissionRequest", "BeforeAgent", "Resumed"})
    run(event(name));
  EXPECT_EQ(processes.countOf("application"), 0U);
  EXPECT_EQ(processes.countOf("terminal"), 0U);
  EXPECT_EQ(record().hostBundleId, "com.apple.Terminal");
  EXPECT_EQ(record().tty, "/dev/ttys004");
}

TEST_F(HookCommandContext, WithTheHostKnownTheWalkEndsAtTheAgent) {
  run(event("PreToolUse"));
  forgetQuestions();
  run(event("PreToolUse"));
  EXPECT_THAT(processes.asked, ::testing::ElementsAre("record 300", "record 200"));
}

TEST_F(HookCommandContext, TheHostIsLookedUpAgainAtEachStartAndEachPrompt) {
  run(event("PreToolUse"));
  int round = 0;
  for (const char* const name : {"SessionStart", "UserPromptSubmit", "userPromptSubmitted", "sessionStart"}) {
    const std::string bundle = "com.example.host" + std::to_string(++round);
    hostIn(bundle);
    processes.processes[200].terminal = "/dev/ttys" + std::to_string(round);
    run(event(name));
    EXPECT_EQ(record().hostBundleId, bundle) << name;
    EXPECT_EQ(record().tty, "/dev/ttys" + std::to_string(round)) << name;
  }
  EXPECT_EQ(round, 4);
}

TEST_F(HookCommandContext, TheAgentsProcessIsRecordedAtEveryEvent) {
  run(event("PreToolUse"));
  processes.processes[201] = {.parent = 100, .name = "claude", .terminal = "/dev/ttys077"};
  processes.processes[300].parent = 201;
  run(event("PostToolUse"));
  EXPECT_EQ(record().agentPid, 201);
  EXPECT_EQ(record().tty, "/dev/ttys004");
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().tty, "/dev/ttys077");
}

TEST_F(HookCommandContext, TheOutermostRegularApplicationIsTheHost) {
  processes.processes[200].application = Application{.bundleId = "com.example.nested", .isRegular = true};
  run(event("PreToolUse"));
  EXPECT_EQ(record().hostPid, 100);
  EXPECT_EQ(record().hostBundleId, "com.apple.Terminal");
  processes.processes[100].application->isRegular = false;
  run(event("SessionStart"));
  EXPECT_EQ(record().hostPid, 200);
  EXPECT_EQ(record().hostBundleId, "com.example.nested");
}

TEST_F(HookCommandContext, AHostThatHasEndedIsForgotten) {
  run(event("PreToolUse"));
  processes.processes[100].application.reset();
  processes.processes[200].terminal.reset();
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().hostPid, std::nullopt);
  EXPECT_EQ(record().hostBundleId, std::nullopt);
  EXPECT_EQ(record().tty, std::nullopt);
}

TEST_F(HookCommandContext, ATerminalIsKnownEvenWithoutAHost) {
  processes.processes[100].application.reset();
  run(event("PreToolUse"));
  EXPECT_EQ(record().hostPid, std::nullopt);
  EXPECT_EQ(record().tty, "/dev/ttys004");
}

TEST_F(HookCommandContext, AMissingHostIsLookedUpAtEveryEvent) {
  const auto application = processes.processes[100].application;
  processes.processes[100].application.reset();
  run(event("PreToolUse"));
  processes.processes[100].application = application;
  run(event("PostToolUse"));
  EXPECT_EQ(record().hostPid, 100);
  EXPECT_EQ(record().hostBundleId, "com.apple.Terminal");
}

TEST_F(HookCommandContext, AHostMayHaveNoBundle) {
  run(event("PreToolUse"));
  processes.processes[100].application->bundleId.reset();
  run(event("SessionStart"));
  EXPECT_EQ(record().hostPid, 100);
  EXPECT_EQ(record().hostBundleId, std::nullopt);
  // The repository is not looked up again because of that.
  const std::size_t before = processes.countOf("application");
  run(event("PostToolUse"));
  EXPECT_EQ(processes.countOf("application"), before);
}

TEST_F(HookCommandContext, TheTerminalIsThatOfTheProcessTakenAsTheAgent) {
  processes.processes = {{300, {.parent = 1, .name = "sh", .terminal = "/dev/ttys005"}}};
  run(event("PreToolUse"));
  EXPECT_EQ(record().agentPid, 300);
  EXPECT_EQ(record().tty, "/dev/ttys005");
}

TEST_F(HookCommandContext, TheTerminalOfTheAgentCountsAndNotThatOfItsShell) {
  processes.processes[300].terminal = "/dev/ttys001";
  processes.processes[100].terminal = "/dev/ttys002";
  run(event("PreToolUse"));
  EXPECT_EQ(record().tty, "/dev/ttys004");
}

TEST_F(HookCommandContext, ASessionOfClaudeCodeInTheDesktopAppGetsItsTitle) {
  hostIn(ClaudeSessionTitles::desktopBundleIdentifier);
  writeTitle("  Fix   the build ");
  run(event("PreToolUse"));
  EXPECT_EQ(record().title, "Fix the build");
  writeTitle("Fix the tests");
  run(event("PostToolUse"));
  EXPECT_EQ(record().title, "Fix the tests");
}

TEST_F(HookCommandContext, TheOldTitleIsKeptWhenNoneIsFound) {
  hostIn(ClaudeSessionTitles::desktopBundleIdentifier);
  writeTitle("Fix the build");
  run(event("PreToolUse"));
  writeTitle("   ");
  run(event("PreToolUse"));
  EXPECT_EQ(record().title, "Fix the build");
  std::filesystem::remove_all(home.path() / "Library/Application Support/Claude");
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().title, "Fix the build");
}

TEST_F(HookCommandContext, ASessionInATerminalGetsNoTitle) {
  writeTitle("Fix the build");
  run(event("PreToolUse"));
  EXPECT_EQ(record().title, std::nullopt);
}

TEST_F(HookCommandContext, AnotherAgentInTheDesktopAppGetsNoTitle) {
  hostIn(ClaudeSessionTitles::desktopBundleIdentifier);
  writeTitle("Fix the build");
  for (const std::string_view agent : {"codex", "gemini", "copilot", "grok"}) {
    run(event("Stop"), {"--agent", agent});
    EXPECT_EQ(record().title, std::nullopt) << agent;
  }
}

TEST_F(HookCommandContext, TheHostOfThisVeryEventDecidesAboutTheTitle) {
  writeTitle("Fix the build");
  run(event("PreToolUse"));
  hostIn(ClaudeSessionTitles::desktopBundleIdentifier);
  run(event("PreToolUse"));
  EXPECT_EQ(record().title, std::nullopt);
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().title, "Fix the build");
  // A title, once found, stays with the session when its host changes.
  hostIn("com.apple.Terminal");
  writeTitle("Another");
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().title, "Fix the build");
}

TEST_F(HookCommandContext, TheTitleIsLookedUpByTheIdOfTheRecord) {
  hostIn(ClaudeSessionTitles::desktopBundleIdentifier);
  Session session = usualRecord(SessionState::working);
  session.sessionId = "s/1";
  store().save(session);
  writeTitle("Fix the build");
  // "s1" shares the record of "s/1", an id that cannot be a file name.
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().sessionId, "s/1");
  EXPECT_EQ(record().title, std::nullopt);
}

}  // namespace
}  // namespace tavrin
