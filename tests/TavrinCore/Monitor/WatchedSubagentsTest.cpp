// How a sub-agent's files show in the session that started it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Watching.hpp"

namespace tavrin {
namespace {

using enum SessionState;
using test::claudeStatus;
using test::day;
using test::later;
using test::lockOf;
using test::sessions;
using test::thread;
using test::Watching;
using testing::Contains;
using testing::Not;

TEST_F(Watching, ASubagentOfGrokAsksForItsParent) {
  const std::string folder = "/Users/dev/.grok/sessions/%2Fsrc%2Fapp/";
  save("parent", Agent::grok, working, 100);
  save("child", Agent::grok, working, 101);
  files.write(folder + "child/summary.json", R"({"session_kind":"subagent"})", 101);
  files.write(folder + "parent/summary.json", R"({})", 101);
  files.write(folder + "parent/events.jsonl",
              R"({"ts":"1970-01-01T00:01:40Z","type":"turn_started"})"
              "\n",
              101);
  files.write(folder + "parent/subagents/child/meta.json", "{}", 101);
  files.write(folder + "child/events.jsonl",
              R"({"ts":"1970-01-01T00:01:42Z","type":"permission_requested","tool_name":"run"})"
              "\n",
              102);
  EXPECT_EQ(stateOf("child", 102.05), std::nullopt);
  EXPECT_EQ(last.next, dateFromSeconds(102.1));
  EXPECT_EQ(stateOf("parent", 102.1), needsYou);
  files.append(
      folder + "child/events.jsonl",
      R"({"ts":"1970-01-01T00:01:44Z","type":"permission_resolved","tool_name":"run","decision":"allow"})"
      "\n",
      104);
  EXPECT_EQ(stateOf("parent", 105), working);
}

TEST_F(Watching, ASubagentOfGrokInTheBackgroundWaitsAfterItsParentsTurn) {
  const std::string folder = "/Users/dev/.grok/sessions/%2Fsrc%2Fapp/";
  files.write(folder + "parent/events.jsonl",
              R"({"ts":"1970-01-01T00:01:40Z","type":"turn_started"})"
              "\n"
              R"({"ts":"1970-01-01T00:01:44Z","type":"turn_ended","outcome":"completed"})"
              "\n",
              104);
  files.write(folder + "parent/subagents/child/meta.json", "{}", 101);
  files.write(folder + "child/events.jsonl",
              R"({"ts":"1970-01-01T00:01:42Z","type":"permission_requested","tool_name":"run"})"
              "\n",
              102);
  save("parent", Agent::grok, idle, 104);
  EXPECT_EQ(stateOf("parent", 105), needsYou);
  files.append(
      folder + "child/events.jsonl",
      R"({"ts":"1970-01-01T00:01:46Z","type":"permission_resolved","tool_name":"run","decision":"allow"})"
      "\n",
      106);
  EXPECT_EQ(stateOf("parent", 107), idle);
}

TEST_F(Watching, ASubagentOfASubagentOfGrokAsksForTheSession) {
  const std::string folder = "/Users/dev/.grok/sessions/%2Fsrc%2Fapp/";
  save("parent", Agent::grok, working, 100);
  files.write(folder + "parent/events.jsonl", "", 100);
  files.write(folder + "parent/subagents/child/meta.json", "{}", 101);
  files.write(folder + "child/subagents/grandchild/meta.json", "{}", 101);
  files.write(folder + "grandchild/subagents/child/meta.json", "{}", 101);
  files.write(folder + "grandchild/subagents/../meta.json", "{}", 101);
  files.write(folder + "grandchild/events.jsonl",
              R"({"ts":"1970-01-01T00:01:42Z","type":"permission_requested","tool_name":"run"})"
              "\n",
              102);
  EXPECT_EQ(stateOf("parent", 103), needsYou);
}

TEST_F(Watching, AnAnswerToASubagentOfClaudeIsInItsOwnTranscript) {
  const std::string folder = "/Users/dev/.claude/projects/-src-app/";
  Session record = save("a", Agent::claude, needsYou, 100);
  record.transcriptPath = folder + "a.jsonl";
  record.waitingOn = {"call"};
  save(record, 100);
  files.write(folder + "a.jsonl", "{}\n", 100);
  files.write(folder + "a/subagents/agent-1.meta.json", "{}", 100);
  files.write(folder + "a/subagents/agent-1.jsonl", "{}\n", 100);
  EXPECT_EQ(stateOf("a", 101), needsYou);
  EXPECT_THAT(last.files, Contains(folder + "a/subagents/agent-1.jsonl"));
  EXPECT_THAT(last.files, Not(Contains(folder + "a/subagents/agent-1.meta.json")));
  files.append(folder + "a/subagents/agent-1.jsonl",
               R"({"timestamp":"1970-01-01T00:01:42Z","type":"user","message":{"content":)"
               R"([{"type":"tool_result","tool_use_id":"call"}]}})"
               "\n",
               102);
  EXPECT_EQ(stateOf("a", 103), working);
}

TEST_F(Watching, WhereTheStatusFileDecidesSubagentsAreNotRead) {
  const std::string folder = "/Users/dev/.claude/projects/-src-app/";
  save("a", Agent::claude, needsYou, 100);
  files.write(folder + "a.jsonl", "{}\n", 100);
  files.write(folder + "a/subagents/agent-1.jsonl", "{}\n", 100);
  files.write("/Users/dev/.claude/sessions/18.json", claudeStatus(18, "a", "waiting", 101), 101);
  EXPECT_EQ(stateOf("a", 102), needsYou);
  EXPECT_THAT(last.files, Contains(folder + "a.jsonl"));
  EXPECT_THAT(last.files, Not(Contains(folder + "a/subagents/agent-1.jsonl")));
}

TEST_F(Watching, ASubagentOfCopilotIsNotASession) {
  const std::string folder = "/Users/dev/.copilot/session-state/parent/";
  save("parent", Agent::copilot, working, 100);
  save("child", Agent::copilot, working, 101);
  files.write(folder + "events.jsonl",
              R"({"timestamp":"1970-01-01T00:01:41Z","type":"subagent.started","agentId":"child"})"
              "\n",
              101);
  EXPECT_EQ(stateOf("child", 103), std::nullopt);
  EXPECT_EQ(stateOf("parent", 103), working);
}

TEST_F(Watching, ALockOfASubagentShowsNothingAndItsQuestionIsTheParents) {
  save(std::string(thread), Agent::codex, working, 100);
  for (const std::string_view id : {thread, later}) {
    files.write(lockOf(id), "", 100);
    locks[lockOf(id)] = 18;
  }
  files.write(day + std::string(thread) + ".jsonl",
              R"({"type":"session_meta","payload":{"id":")" + std::string(thread) + "\"}}\n", 100);
  files.write(day + std::string(later) + ".jsonl",
              R"({"type":"session_meta","payload":{"id":"x","parent_thread_id":")" + std::string(thread) +
                  "\"}}\n"
                  R"({"timestamp":"1970-01-01T00:01:42Z","type":"response_item","payload":)"
                  R"({"type":"function_call","call_id":"c","name":"request_user_input"}})"
                  "\n",
              102);
  EXPECT_EQ(stateOf(std::string(later), 104), std::nullopt);
  EXPECT_EQ(stateOf(std::string(thread), 104), needsYou);
}

TEST_F(Watching, ASubagentOfASubagentOfCodexAsksForTheSession) {
  // Its id is below that of its parent, so it is met first.
  const std::string inner(later);
  const std::string outer = "01a20056-7c97-7890-932d-c7bd65f0f20c";
  save(std::string(thread), Agent::codex, working, 100);
  std::string parent;
  for (const std::string& id : {std::string(thread), outer, inner}) {
    files.write(lockOf(id), "", 100);
    locks[lockOf(id)] = 18;
    files.write(
        day + id + ".jsonl",
        R"({"type":"session_meta","payload":{"id":")" + id + R"(","parent_thread_id":")" + parent + "\"}}\n",
        100);
    parent = id;
  }
  EXPECT_EQ(stateOf(std::string(thread), 101), working);
  files.append(day + inner + ".jsonl",
               R"({"timestamp":"1970-01-01T00:01:42Z","type":"response_item","payload":)"
               R"({"type":"function_call","call_id":"c","name":"request_user_input"}})"
               "\n",
               102);
  EXPECT_EQ(stateOf(std::string(thread), 104), needsYou);
  EXPECT_EQ(stateOf(inner, 104), std::nullopt);
}

}  // namespace
}  // namespace tavrin
