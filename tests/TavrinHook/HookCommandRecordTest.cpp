// What a run writes to a session's record: its state, its calls, its transcript, its processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/TavrinHook/HookRun.hpp"

namespace tavrin {
namespace {

using test::readFile;
using test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using enum SessionState;

class HookCommandRecord : public test::HookRun {
 protected:
  std::string transcript() const { return (home.path() / "transcript.jsonl").string(); }
  std::string transcriptMember() const { return R"("transcript_path":")" + transcript() + "\""; }
  void growTranscriptTo(std::size_t size) const { writeFile(transcript(), std::string(size, 't')); }
};

TEST_F(HookCommandRecord, ANewRecordHasEveryFieldFromItsEvent) {
  growTranscriptTo(1'234);
  processes.processes[100].application->bundleId = "com.example.terminal";
  files.directories.clear();
  files.files["/Users/dev/app/.git"] = "gitdir: /Users/dev/main/.git/worktrees/app\n";
  run(event("PreToolUse", R"("tool_name":"AskUserQuestion","tool_use_id":"toolu_1","agent_id":"sub",)" +
                              transcriptMember()));
  Session expected;
  expected.sessionId = "s1";
  expected.agent = Agent::claude;
  expected.state = needsYou;
  expected.needsYouTool = "AskUserQuestion";
  expected.attentionId = "ID-1";
  expected.attentionTranscriptOffset = 1'234;
  expected.inFlight = {"toolu_1"};
  expected.waitingOn = {"toolu_1"};
  expected.transcriptPath = transcript();
  expected.updatedAt = now;
  expected.stateSince = now;
  expected.cwd = "/Users/dev/app";
  expected.agentPid = 200;
  expected.tty = "/dev/ttys004";
  expected.hostPid = 100;
  expected.hostBundleId = "com.example.terminal";
  expected.repoRoot = "/Users/dev/main";
  expected.worktreeName = "app";
  EXPECT_EQ(stored(), expected);
  EXPECT_EQ(lastMessage(), "claude s1 PreToolUse AskUserQuestion#oolu_1 agent:sub \u2192 needsYou holding 1");
}

TEST_F(HookCommandRecord, ANewRecordOfABareEventHasNoMore) {
  parentPid = 1;
  run(R"({"session_id":"s1","hook_event_name":"Stop"})");
  Session expected;
  expected.sessionId = "s1";
  expected.state = idle;
  expected.updatedAt = now;
  expected.stateSince = now;
  expected.agentPid = 1;
  EXPECT_EQ(stored(), expected);
}

TEST_F(HookCommandRecord, StatesFollowTheEvents) {
  const Date start = now;
  int count = 0;
  for (const auto& [name, state] :
       std::vector<std::pair<const char*, SessionState>>{{"SessionStart", idle},
                                                         {"UserPromptSubmit", working},
                                                         {"PreToolUse", working},
                                                         {"PermissionRequest", needsYou},
                                                         {"PermissionDenied", working},
                                                         {"PostToolUse", working},
                                                         {"Elicitation", needsYou},
                                                         {"Stop", idle}}) {
    now = start + std::chrono::seconds(count++);
    run(event(name));
    EXPECT_EQ(record().state, state) << name;
    EXPECT_EQ(record().updatedAt, now) << name;
  }
  EXPECT_EQ(count, 8);
}

TEST_F(HookCommandRecord, TheStateKeepsItsBeginningWhileItLasts) {
  const Date start = now;
  run(event("UserPromptSubmit"));
  now = start + std::chrono::seconds(5);
  run(event("PreToolUse", R"("tool_name":"Bash","tool_use_id":"u")"));
  EXPECT_EQ(record().stateSince, start);
  EXPECT_EQ(record().updatedAt, now);
  now = start + std::chrono::seconds(9);
  run(event("Stop"));
  EXPECT_EQ(record().stateSince, now);
}

TEST_F(HookCommandRecord, TheOutcomeCountsWhatTheUserIsAskedAbout) {
  run(event("PreToolUse", R"("tool_name":"Bash","tool_use_id":"a")"));
  EXPECT_EQ(lastMessage(), "claude s1 PreToolUse Bash#a \u2192 working");
  run(event("PreToolUse", R"("tool_name":"Read","tool_use_id":"b")"));
  run(event("PermissionRequest", R"("tool_name":"Bash")"));
  EXPECT_EQ(lastMessage(), "claude s1 PermissionRequest Bash \u2192 needsYou holding 2");
  EXPECT_THAT(record().waitingOn, ElementsAre("a", "b"));
  run(event("PostToolUse", R"("tool_name":"Bash","tool_use_id":"a")"));
  EXPECT_EQ(lastMessage(), "claude s1 PostToolUse Bash#a \u2192 needsYou holding 1");
  run(event("PostToolUse", R"("tool_name":"Read","tool_use_id":"b")"));
  EXPECT_EQ(lastMessage(), "claude s1 PostToolUse Read#b \u2192 working");
  run(event("Notification", R"("notification_type":"permission_prompt")"));
  EXPECT_EQ(lastMessage(), "claude s1 Notification(permission_prompt)  \u2192 needsYou holding 0");
  run(event("Stop"));
  EXPECT_EQ(lastMessage(), "claude s1 Stop  \u2192 idle");
}

TEST_F(HookCommandRecord, CallsThatTheUserIsNotAskedAboutAreNotCounted) {
  run(event("PreToolUse", R"("tool_name":"Bash","tool_use_id":"a")"));
  run(event("PreToolUse", R"("tool_name":"AskUserQuestion","tool_use_id":"q")"));
  EXPECT_THAT(record().inFlight, ElementsAre("a", "q"));
  EXPECT_EQ(lastMessage(), "claude s1 PreToolUse AskUserQuestion#q \u2192 needsYou holding 1");
}

TEST_F(HookCommandRecord, OneEpisodeOfAttentionKeepsItsIdentifier) {
  run(event("PermissionRequest", R"("tool_name":"Bash")"));
  EXPECT_EQ(record().attentionId, "ID-1");
  run(event("Elicitation"));
  EXPECT_EQ(record().attentionId, "ID-1");
  EXPECT_EQ(record().needsYouTool, "Bash");
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().attentionId, std::nullopt);
  EXPECT_EQ(record().needsYouTool, std::nullopt);
  run(event("Elicitation"));
  EXPECT_EQ(record().attentionId, "ID-2");
}

TEST_F(HookCommandRecord, AnExistingRecordIsBoundToTheSendersAgentAndProcess) {
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().agent, Agent::claude);
  EXPECT_EQ(record().agentPid, 200);
  processes.processes[400] = {.parent = 100, .name = "codex"};
  parentPid = 400;
  run(event("PreToolUse"), {"--agent", "codex"});
  EXPECT_EQ(record().agent, Agent::codex);
  EXPECT_EQ(record().agentPid, 400);
  EXPECT_EQ(record().sessionId, "s1");
}

TEST_F(HookCommandRecord, TheIdOfTheStoredRecordStays) {
  run(R"({"session_id":"s/1","hook_event_name":"Stop"})");
  run(event("Stop"));
  EXPECT_EQ(record().sessionId, "s/1");
}

TEST_F(HookCommandRecord, WithoutAKnownAgentTheHooksParentStandsIn) {
  // Only shells, an empty table, and an orphan whose parent is the first process.
  processes.processes = {{300, {.parent = 200, .name = "sh"}}, {200, {.parent = 1, .name = "zsh"}}};
  run(event("Stop"));
  EXPECT_EQ(record().agentPid, 300);
  processes.processes.clear();
  parentPid = 301;
  run(event("Stop"));
  EXPECT_EQ(record().agentPid, 301);
  parentPid = 1;
  run(event("Stop"));
  EXPECT_EQ(record().agentPid, 1);
}

TEST_F(HookCommandRecord, WithoutAKnownNameTheFirstThatIsNotAShellIsTheAgent) {
  processes.processes[200].name = "wrapper";
  run(event("Stop"));
  EXPECT_EQ(record().agentPid, 200);
}

TEST_F(HookCommandRecord, EachAgentIsFoundByItsOwnProcessNames) {
  int count = 0;
  for (const auto& [agent, name] :
       std::vector<std::pair<std::string_view, std::string>>{{"claude", "claude"},
                                                             {"codex", "codex"},
                                                             {"codex", "ChatGPT"},
                                                             {"gemini", "gemini"},
                                                             {"gemini", "node"},
                                                             {"copilot", "copilot"},
                                                             {"copilot", "node"},
                                                             {"grok", "grok"}}) {
    processes.processes[300].name = "wrapper";
    processes.processes[200].name = name;
    run(event("Stop"), {"--agent", agent});
    EXPECT_EQ(record().agentPid, 200) << agent << " " << name;
    ++count;
  }
  EXPECT_EQ(count, 8);
  processes.processes[200].name = "claude";
  run(event("Stop"), {"--agent", "codex"});
  EXPECT_EQ(record().agentPid, 300);
}

TEST_F(HookCommandRecord, AnAgentMoreThanThirtyTwoProcessesAwayIsOutOfReach) {
  processes.processes.clear();
  for (std::int32_t pid = 1'000; pid < 1'033; ++pid)
    processes.processes[pid] = {.parent = pid + 1, .name = pid == 1'032 ? "claude" : "sh"};
  parentPid = 1'001;
  run(event("Stop"));
  EXPECT_EQ(record().agentPid, 1'032);
  parentPid = 1'000;
  run(event("Stop"));
  EXPECT_EQ(record().agentPid, 1'000);
}

TEST_F(HookCommandRecord, ATranscriptIsRememberedAndReplaced) {
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().transcriptPath, std::nullopt);
  run(event("UserPromptSubmit", R"("transcript_path":"/a.jsonl")"));
  EXPECT_EQ(record().transcriptPath, "/a.jsonl");
  run(event("Stop"));
  EXPECT_EQ(record().transcriptPath, "/a.jsonl");
  run(event("Stop", R"("transcript_path":"")"));
  EXPECT_EQ(record().transcriptPath, "/a.jsonl");
  run(event("Stop", R"("transcript_path":null,"transcriptPath":"/b.jsonl")"));
  EXPECT_EQ(record().transcriptPath, "/b.jsonl");
}

TEST_F(HookCommandRecord, AnEmptyTranscriptPathLeavesANewRecordWithoutOne) {
  run(event("Stop", R"("transcript_path":"")"));
  EXPECT_EQ(record().transcriptPath, std::nullopt);
}

TEST_F(HookCommandRecord, TheEndOfTheTranscriptIsMarkedOncePerEpisode) {
  growTranscriptTo(10);
  run(event("UserPromptSubmit", transcriptMember()));
  EXPECT_EQ(record().attentionTranscriptOffset, std::nullopt);
  growTranscriptTo(20);
  run(event("PermissionRequest"));
  EXPECT_EQ(record().attentionTranscriptOffset, 20U);
  growTranscriptTo(30);
  run(event("Elicitation", transcriptMember()));
  EXPECT_EQ(record().attentionTranscriptOffset, 20U);
  run(event("PreToolUse", R"("agent_id":"sub","tool_name":"Bash")"));
  EXPECT_EQ(record().state, needsYou);
  EXPECT_EQ(record().attentionTranscriptOffset, 20U);
  run(event("UserPromptSubmit"));
  EXPECT_EQ(record().attentionTranscriptOffset, std::nullopt);
  run(event("PermissionRequest"));
  EXPECT_EQ(record().attentionTranscriptOffset, 30U);
}

TEST_F(HookCommandRecord, AnEpisodeAfterIdlenessIsMarkedToo) {
  growTranscriptTo(7);
  run(event("Stop", transcriptMember()));
  run(event("Elicitation"));
  EXPECT_EQ(record().attentionTranscriptOffset, 7U);
}

TEST_F(HookCommandRecord, AnEmptyTranscriptIsMarkedAtZero) {
  growTranscriptTo(0);
  run(event("PermissionRequest", transcriptMember()));
  EXPECT_EQ(record().attentionTranscriptOffset, 0U);
}

TEST_F(HookCommandRecord, TheTranscriptOfTheEventItselfIsMarked) {
  growTranscriptTo(11);
  writeFile(home.path() / "other.jsonl", "12345");
  run(event("UserPromptSubmit", transcriptMember()));
  run(event("PermissionRequest", R"("transcript_path":")" + (home.path() / "other.jsonl").string() + "\""));
  EXPECT_EQ(record().attentionTranscriptOffset, 5U);
}

TEST_F(HookCommandRecord, WithoutATranscriptNothingIsMarked) {
  run(event("PermissionRequest"));
  EXPECT_EQ(record().attentionTranscriptOffset, std::nullopt);
  // A transcript that is named only later in the episode is not marked.
  growTranscriptTo(9);
  run(event("Elicitation", transcriptMember()));
  EXPECT_EQ(record().transcriptPath, transcript());
  EXPECT_EQ(record().attentionTranscriptOffset, std::nullopt);
}

TEST_F(HookCommandRecord, AMissingTranscriptIsNotMarkedAndIsNotAnError) {
  run(event("PermissionRequest", R"("transcript_path":"/nowhere/at/all.jsonl")"));
  EXPECT_EQ(record().state, needsYou);
  EXPECT_EQ(record().transcriptPath, "/nowhere/at/all.jsonl");
  EXPECT_EQ(record().attentionTranscriptOffset, std::nullopt);
  EXPECT_EQ(lastMessage(), "claude s1 PermissionRequest  \u2192 needsYou holding 0");
}

TEST_F(HookCommandRecord, CallsAreKeptAcrossRuns) {
  for (const char* const id : {"a", "b", "c"})
    run(event("PreToolUse", R"("tool_name":"Bash","tool_use_id":")" + std::string(id) + "\""));
  run(event("PostToolUse", R"("tool_name":"Bash","tool_use_id":"b")"));
  EXPECT_THAT(record().inFlight, ElementsAre("a", "c"));
  run(event("Stop"));
  EXPECT_THAT(record().inFlight, IsEmpty());
}

TEST_F(HookCommandRecord, FieldsThatTheEventDoesNotConcernAreKept) {
  Session session = usualRecord(working);
  session.transcriptPath = "/t.jsonl";
  session.title = "A title";
  session.worktreeName = "tree";
  session.inFlight = {"x"};
  session.hostPid = 55;
  session.hostBundleId = "com.example.other";
  session.tty = "/dev/ttys009";
  store().save(session);
  now += std::chrono::seconds(60);
  run(event("PostToolUse", R"("tool_use_id":"y")"));
  session.updatedAt = now;
  EXPECT_EQ(stored(), session);
}

TEST_F(HookCommandRecord, AnOlderRecordIsReadAndRewritten) {
  writeFile(home.sessionFile("s1"),
            R"({"sessionId":"s1","state":"working","updatedAt":"2024-01-01T00:00:00Z",
                "stateSince":"2024-01-01T00:00:00Z","cwd":"/old","claudePid":77})");
  run(event("PostToolUse"));
  const std::string text = readFile(home.sessionFile("s1"));
  EXPECT_EQ(text.find("claudePid"), std::string::npos);
  EXPECT_EQ(record().agentPid, 200);
  EXPECT_EQ(Iso8601::text(record().stateSince), "2024-01-01T00:00:00Z");
}

TEST_F(HookCommandRecord, IdsOfEmojiAndOddCharactersAreSessionsToo) {
  run(R"({"session_id":"\ud83d\ude00\ud83d\ude00","hook_event_name":"Stop"})");
  EXPECT_EQ(lastMessage(), "claude \U0001F600\U0001F600 Stop  \u2192 idle");
  EXPECT_EQ(stored("\U0001F600\U0001F600")->sessionId, "\U0001F600\U0001F600");
  EXPECT_TRUE(std::filesystem::exists(home.sessionFile("")));
  run(R"({"session_id":"caf\u00e9 \ud83d\ude00 42","hook_event_name":"Stop"})");
  EXPECT_EQ(lastMessage(), "claude caf\u00e9 \U0001F600 4 Stop  \u2192 idle");
  EXPECT_TRUE(std::filesystem::exists(home.sessionFile("caf\u00e942")));
}

TEST_F(HookCommandRecord, AZeroByteInAToolsNameCutsTheLineAndNotTheRecord) {
  run(event("PreToolUse", R"("tool_name":"Ba\u0000sh")"));
  EXPECT_THAT(record().inFlight, ElementsAre(std::string("name:Ba\0sh", 10)));
  EXPECT_EQ(readFile(home.logFile()), "2025-01-31T09:15:02Z claude s1 PreToolUse Ba");
}

}  // namespace
}  // namespace tavrin
