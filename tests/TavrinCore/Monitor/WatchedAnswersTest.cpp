// Answers that only the process table shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Watching.hpp"

namespace tavrin {
namespace {

using enum SessionState;
using test::day;
using test::lockOf;
using test::thread;
using test::Watching;

class WatchedAnswers : public Watching {
 protected:
  // A session of Gemini that waits for two calls. A command on a terminal of its own has come and gone.
  Session answeredGemini(std::vector<std::string> waitingOn) {
    Session record = save("e", Agent::gemini, needsYou, 100);
    record.waitingOn = std::move(waitingOn);
    save(record, 100);
    addProcess(51, "bash", 18, 103, "/dev/pts/9");
    EXPECT_EQ(stateOf("e", 103.2), working);
    processes.erase(51);
    return record;
  }
};

TEST_F(WatchedAnswers, AnApprovedCommandOfCodexIsSeenInTheProcessTable) {
  save(std::string(thread), Agent::codex, working, 100);
  files.write(
      day + std::string(thread) + ".jsonl",
      R"({"timestamp":"1970-01-01T00:01:42Z","type":"response_item","payload":{"type":"function_call",)"
      R"("call_id":"c","name":"exec_command","arguments":"{\"cmd\": \"touch a; sleep 9\", )"
      R"(\"sandbox_permissions\": \"require_escalated\"}"}})"
      "\n",
      102);
  EXPECT_EQ(stateOf(std::string(thread), 103), needsYou);
  ASSERT_TRUE(last.next);
  EXPECT_LE(secondsOf(*last.next), 103.5);
  addProcess(50, "git", 18, 104);
  arguments[50] = {"git", "status"};
  EXPECT_EQ(stateOf(std::string(thread), 104), needsYou);
  addProcess(51, "sleep", 18, 105);
  arguments[51] = {"sleep", "9"};
  EXPECT_EQ(stateOf(std::string(thread), 105.2), working);
  // The answer stays when the command has ended and its result is not written yet.
  processes.erase(51);
  files.append(day + std::string(thread) + ".jsonl",
               R"({"timestamp":"1970-01-01T00:01:50Z","type":"event_msg","payload":{"type":"token_count"}})"
               "\n",
               110);
  EXPECT_EQ(stateOf(std::string(thread), 111), working);
}

TEST_F(WatchedAnswers, AnApprovedCommandOfGeminiRunsOnItsOwnTerminal) {
  Session record = save("e", Agent::gemini, needsYou, 100);
  EXPECT_EQ(stateOf("e", 101), needsYou);
  addProcess(50, "sh", 18, 102);
  EXPECT_EQ(stateOf("e", 102.2), needsYou);
  // What ran before the question is not its answer.
  addProcess(49, "bash", 18, 99, "/dev/pts/8");
  EXPECT_EQ(stateOf("e", 102.4), needsYou);
  addProcess(51, "bash", 18, 103, "/dev/pts/9");
  EXPECT_EQ(stateOf("e", 103.2), working);
  // A new question is a new wait, though the command still runs.
  record.updatedAt = dateFromSeconds(104);
  save(record, 104);
  EXPECT_EQ(stateOf("e", 104.2), needsYou);
}

TEST_F(WatchedAnswers, AHookThatClosesOneOfGeminisCallsLeavesTheWaitAnswered) {
  Session record = answeredGemini({"name:invoke_agent", "name:run_shell_command"});
  record.waitingOn = {"name:invoke_agent"};
  save(record, 105);
  EXPECT_EQ(stateOf("e", 105.2), working);
}

TEST_F(WatchedAnswers, ACommandOfASessionThatAnotherProcessOpenedIsThatProcesss) {
  save(std::string(thread), Agent::codex, idle, 100);
  addProcess(60, "codex", 1, 150);
  files.write(lockOf(thread), "", 160);
  locks[lockOf(thread)] = 60;
  files.write(day + std::string(thread) + ".jsonl",
              R"({"type":"session_meta","payload":{}})"
              "\n",
              160);
  EXPECT_EQ(stateOf(std::string(thread), 165), idle);
  files.append(
      day + std::string(thread) + ".jsonl",
      R"({"timestamp":"1970-01-01T00:02:50Z","type":"response_item","payload":{"type":"function_call",)"
      R"("call_id":"c","name":"exec_command","arguments":"{\"cmd\": \"make\", )"
      R"(\"sandbox_permissions\": \"require_escalated\"}"}})"
      "\n",
      170);
  EXPECT_EQ(stateOf(std::string(thread), 172), needsYou);
  addProcess(61, "make", 18, 173);
  arguments[61] = {"make"};
  EXPECT_EQ(stateOf(std::string(thread), 174), needsYou);
  addProcess(62, "make", 60, 175);
  arguments[62] = {"make"};
  EXPECT_NE(stateOf(std::string(thread), 176), needsYou);
}

TEST_F(WatchedAnswers, AChildOfGeminiWithoutATerminalIsNoAnswer) {
  save("e", Agent::gemini, needsYou, 100);
  addProcess(50, "node", 18, 102, std::nullopt);
  EXPECT_EQ(stateOf("e", 103), needsYou);
}

TEST_F(WatchedAnswers, AnotherQuestionOfGeminiIsNotAnsweredByTheFirst) {
  Session record = answeredGemini({"name:a", "name:b"});
  record.waitingOn = {"name:c"};
  save(record, 105);
  EXPECT_EQ(stateOf("e", 105.2), needsYou);
  record.waitingOn = {"name:a"};
  record.attentionId = "ANOTHER";
  save(record, 106);
  EXPECT_EQ(stateOf("e", 106.2), needsYou);
}

}  // namespace
}  // namespace tavrin
