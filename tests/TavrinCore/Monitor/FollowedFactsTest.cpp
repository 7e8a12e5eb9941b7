#include "TavrinCore/Monitor/FollowedFacts.hpp"

#include <gtest/gtest.h>

#include "FakeFiles.hpp"

namespace tavrin {
namespace {

using Kind = SessionFact::Kind;

std::string grok(int second, const std::string& rest) {
  return R"({"ts":"2026-11-21T22:40:)" + std::string(second < 10 ? "0" : "") + std::to_string(second) +
         R"(Z",)" + rest + "}\n";
}

std::vector<Kind> kinds(const FollowedFacts& followed) {
  std::vector<Kind> found;
  for (const SessionFact& fact : followed.facts()) found.push_back(fact.kind);
  return found;
}

const std::string started = R"("type":"turn_started")";
const std::string asked = R"("type":"permission_requested","tool_name":"run")";
const std::string ended = R"("type":"turn_ended","outcome":"completed")";

TEST(FollowedFacts, AreThoseOfThePresentTurn) {
  test::FakeFiles files;
  files.write("/e", grok(1, started) + grok(2, asked) + grok(3, ended));
  FollowedFacts followed("/e", Agent::grok, false);
  EXPECT_TRUE(followed.look(files.access()));
  EXPECT_EQ(kinds(followed), (std::vector{Kind::turnStarted, Kind::asked, Kind::turnEnded}));
  files.append("/e", grok(4, started));
  EXPECT_TRUE(followed.look(files.access()));
  EXPECT_EQ(kinds(followed), std::vector{Kind::turnStarted});
  EXPECT_FALSE(followed.look(files.access()));
}

TEST(FollowedFacts, AStartThatTakesTheOnlyFactsPlaceIsAChange) {
  test::FakeFiles files;
  files.write("/e", grok(1, started));
  FollowedFacts followed("/e", Agent::grok, false);
  followed.look(files.access());
  files.append("/e", grok(4, started));
  EXPECT_TRUE(followed.look(files.access()));
  ASSERT_EQ(followed.facts().size(), 1U);
  EXPECT_EQ(followed.facts()[0].at, dateFromSeconds(1'795'300'804));
}

TEST(FollowedFacts, OfASubagentAreItsQuestionsOnly) {
  test::FakeFiles files;
  files.write("/e", grok(1, started) + grok(2, asked) + grok(3, R"("type":"first_token")"));
  FollowedFacts followed("/e", Agent::grok, true);
  followed.look(files.access());
  EXPECT_EQ(kinds(followed), std::vector{Kind::asked});
  files.append("/e", grok(4, ended));
  followed.look(files.access());
  EXPECT_EQ(kinds(followed), (std::vector{Kind::asked, Kind::withdrawn}));
}

TEST(FollowedFacts, OfASubagentThatAskedTwiceAboutOneToolEndBothQuestions) {
  test::FakeFiles files;
  const std::string resolved = R"("type":"permission_resolved","tool_name":"run","decision":"allow")";
  files.write("/e", grok(1, started) + grok(1, resolved) + grok(2, asked) + grok(3, asked) +
                        grok(4, resolved) + grok(5, ended));
  FollowedFacts followed("/e", Agent::grok, true);
  followed.look(files.access());
  EXPECT_EQ(kinds(followed),
            (std::vector{Kind::answered, Kind::asked, Kind::asked, Kind::answered, Kind::withdrawn}));
}

TEST(FollowedFacts, KeepTheOpenQuestionOfASubagentWhenTheNextTurnStarts) {
  test::FakeFiles files;
  const auto line = [](const std::string& rest) {
    return R"({"timestamp":"2026-11-21T22:40:00Z",)" + rest + "}\n";
  };
  const auto question = [&](const std::string& id, const std::string& agent) {
    return line(R"("type":"permission.requested","data":{"requestId":")" + id + "\"}" + agent);
  };
  const std::string child = R"(,"agentId":"child")";
  files.write("/e", line(R"("type":"user.message")") + question("a", child) + question("b", "") +
                        question("c", child) +
                        line(R"("type":"permission.completed","data":{"requestId":"c"})" + child) +
                        line(R"("type":"user.message")"));
  FollowedFacts followed("/e", Agent::copilot, false);
  followed.look(files.access());
  ASSERT_EQ(kinds(followed), (std::vector{Kind::asked, Kind::turnStarted}));
  EXPECT_EQ(followed.facts().front().call, "a");
}

TEST(FollowedFacts, OfASubagentLeaveOutItsSteps) {
  test::FakeFiles files;
  files.write("/e", R"({"timestamp":"2026-11-21T22:40:00Z","type":"assistant.turn_start"})"
                    "\n");
  FollowedFacts followed("/e", Agent::copilot, true);
  EXPECT_TRUE(followed.look(files.access()));
  EXPECT_TRUE(followed.facts().empty());
}

TEST(FollowedFacts, AWithdrawnPromptInterruptsTheTurn) {
  test::FakeFiles files;
  const std::string before = R"({"timestamp":"2026-11-21T22:40:00Z","type":"session.start"})"
                             "\n";
  files.write("/e", before + R"({"timestamp":"2026-11-21T22:40:01Z","type":"user.message"})"
                             "\n");
  FollowedFacts followed("/e", Agent::copilot, false);
  followed.look(files.access());
  EXPECT_EQ(kinds(followed), std::vector{Kind::turnStarted});
  files.write("/e", before, 1'795'300'805);
  EXPECT_TRUE(followed.look(files.access()));
  ASSERT_EQ(kinds(followed), std::vector{Kind::interrupted});
  EXPECT_EQ(followed.facts().front().at, dateFromSeconds(1'795'300'805));
}

// The kinds of facts after two looks, between which the file was rewritten.
std::vector<Kind> kindsOfRewritten(const std::string& before, const std::string& after) {
  test::FakeFiles files;
  files.write("/e", before);
  FollowedFacts followed("/e", Agent::grok, false);
  followed.look(files.access());
  files.write("/e", after, 9);
  followed.look(files.access());
  return kinds(followed);
}

TEST(FollowedFacts, AFileRewrittenBetweenTurnsInterruptsNothing) {
  EXPECT_EQ(kindsOfRewritten(grok(1, started) + grok(2, ended), grok(1, R"("type":"first_token")")),
            std::vector{Kind::output});
}

TEST(FollowedFacts, AFileRewrittenWithTheEndOfItsTurnHasThatEnd) {
  EXPECT_EQ(kindsOfRewritten(grok(1, started), grok(1, started) + grok(2, ended)),
            (std::vector{Kind::turnStarted, Kind::turnEnded}));
}

TEST(FollowedFacts, OfALargeFileBeginWhereItsLastTurnStarts) {
  const std::string filler = grok(1, R"("type":"first_token")");
  std::string text = grok(1, started) + grok(2, asked);
  while (text.size() < 300'000) text += filler;
  test::FakeFiles files;
  files.write("/e", text + grok(3, started) + grok(4, asked));
  FollowedFacts followed("/e", Agent::grok, false);
  followed.look(files.access());
  EXPECT_EQ(kinds(followed), (std::vector{Kind::turnStarted, Kind::asked}));
  EXPECT_LT(files.bytesRead, 600'000U);

  // Claude's prompts start a turn, but are not facts.
  const std::string prompt =
      R"({"type":"user","promptId":"1","timestamp":"2026-11-21T22:40:03Z","message":{"content":"Go"}})"
      "\n";
  const std::string result = R"({"type":"user","timestamp":"2026-11-21T22:40:04Z","message":{"content":)"
                             R"([{"type":"tool_result","tool_use_id":"c"}]}})"
                             "\n";
  files.write("/c", text + prompt + result);
  files.bytesRead = 0;
  FollowedFacts claude("/c", Agent::claude, false);
  claude.look(files.access());
  EXPECT_EQ(kinds(claude), std::vector{Kind::callEnded});
  EXPECT_LT(files.bytesRead, 600'000U);
}

TEST(FollowedFacts, AFileRewrittenWithItsTurnGoesOn) {
  EXPECT_EQ(kindsOfRewritten(grok(1, started), grok(1, started) + grok(2, asked)),
            (std::vector{Kind::turnStarted, Kind::asked}));
}

TEST(FollowedFacts, LeaveOutWhatASubagentsRolloutCopiesFromItsParent) {
  test::FakeFiles files;
  const auto call = [](int ordinal) {
    return R"({"timestamp":"2026-11-21T22:40:01Z","ordinal":)" + std::to_string(ordinal) +
           R"(,"type":"response_item","payload":{"type":"function_call","name":"request_user_input","call_id":"c)" +
           std::to_string(ordinal) + "\"}}\n";
  };
  files.write("/e", R"({"type":"session_meta","payload":{"id":"b","parent_thread_id":"a",)"
                    R"("subagent_history_start_ordinal":16}})"
                    "\n" +
                        call(15) + call(16));
  FollowedFacts followed("/e", Agent::codex, true);
  followed.look(files.access());
  ASSERT_EQ(followed.facts().size(), 1U);
  EXPECT_EQ(followed.facts().front().call, "c16");
}

TEST(FollowedFacts, OfALongTurnKeepTheOpenQuestion) {
  test::FakeFiles files;
  std::string text = grok(1, started) + grok(2, R"("type":"permission_requested","tool_name":"old")");
  for (int i = 0; i < 5000; ++i) text += grok(3, R"("type":"first_token")");
  files.write("/e", text);
  FollowedFacts followed("/e", Agent::grok, false);
  followed.look(files.access());
  EXPECT_LE(followed.facts().size(), 512U);
  EXPECT_EQ(followed.facts()[0].kind, Kind::turnStarted);
  EXPECT_EQ(followed.facts()[1].call, "permission:old");
}

TEST(FollowedFacts, OfALongTurnForgetTheAnsweredQuestion) {
  test::FakeFiles files;
  std::string text = grok(1, started) + grok(2, R"("type":"permission_requested","tool_name":"old")") +
                     grok(2, R"("type":"permission_resolved","tool_name":"old","decision":"allow")");
  for (int i = 0; i < 5000; ++i) text += grok(3, R"("type":"first_token")");
  files.write("/e", text);
  FollowedFacts followed("/e", Agent::grok, false);
  followed.look(files.access());
  EXPECT_EQ(followed.facts()[0].kind, Kind::turnStarted);
  EXPECT_EQ(followed.facts()[1].kind, Kind::output);
}

TEST(FollowedFacts, CountLinesThatNobodyKnows) {
  test::FakeFiles files;
  files.write("/e", grok(1, R"("type":"tea_break")") + grok(2, started) + "not JSON\n");
  FollowedFacts followed("/e", Agent::grok, false);
  followed.look(files.access());
  EXPECT_EQ(followed.unknown(), 2U);
}

}  // namespace
}  // namespace tavrin
