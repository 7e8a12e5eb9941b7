#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TavrinCore/Hook/HookTransitions.hpp"
#include "tests/TavrinCore/Hook/TransitionSamples.hpp"

namespace tavrin::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// One session and its events, as the hook command applies them. The n-th event comes at second n, and the
// n-th identifier is "ID-n".
class Life {
 public:
  explicit Life(Agent agent) : agent_(agent) {}
  Life(Agent agent, Session stored) : agent_(agent), record_(std::move(stored)) {}

  HookAction take(const HookEvent& event) {
    ++seconds_;
    const HookAction action =
        HookTransitions::resolve(HookTransitions::action(event), event, record_, agent_);
    if (action.isRemove()) record_.reset();
    if (action.state()) set(*action.state(), event);
    return action;
  }

  const Session& record() const { return record_.value(); }
  bool hasRecord() const { return record_.has_value(); }
  void stampOffset(std::uint64_t offset) { record_.value().attentionTranscriptOffset = offset; }

 private:
  void set(SessionState state, const HookEvent& event) {
    const Date now = dateFromSeconds(seconds_);
    const auto previous = record_ ? std::optional(record_->state) : std::nullopt;
    const Session session = record_ ? *record_ : HookTransitions::newRecord(event, agent_, now);
    record_ = HookTransitions::advance(session, state, event, previous, now,
                                       [this] { return "ID-" + std::to_string(++identifiers_); });
  }

  Agent agent_;
  std::optional<Session> record_;
  double seconds_ = 0;
  int identifiers_ = 0;
};

TEST(HookTransitionsLife, TheSixtyFifthOpenCallPushesOutTheOldest) {
  Life life(Agent::claude);
  for (int i = 1; i <= 64; ++i) life.take(toolEvent("PreToolUse", "Bash", std::to_string(i)));
  ASSERT_EQ(life.record().inFlight.size(), 64U);
  EXPECT_EQ(life.record().inFlight.front(), "1");

  life.take(toolEvent("PreToolUse", "Bash", "1"));
  ASSERT_EQ(life.record().inFlight.size(), 64U);
  EXPECT_EQ(life.record().inFlight.front(), "1");
  EXPECT_EQ(life.record().inFlight.back(), "64");

  life.take(toolEvent("PreToolUse", "Bash", "65"));
  ASSERT_EQ(life.record().inFlight.size(), 64U);
  EXPECT_EQ(life.record().inFlight.front(), "2");
  EXPECT_EQ(life.record().inFlight.back(), "65");
}

TEST(HookTransitionsLife, ASessionExistsFromItsFirstStateToItsEnd) {
  Life life(Agent::claude);
  EXPECT_EQ(life.take(event("PreCompact")), ignore);
  EXPECT_FALSE(life.hasRecord());
  EXPECT_EQ(life.take(event("UserPromptSubmit")), working);
  EXPECT_EQ(life.record().state, SessionState::working);
  EXPECT_EQ(life.record().stateSince, dateFromSeconds(2));
  EXPECT_EQ(life.take(event("SessionEnd")), remove);
  EXPECT_FALSE(life.hasRecord());
  EXPECT_EQ(life.take(event("SessionEnd")), remove);
}

TEST(HookTransitionsLife, ARecordMadeByAnEventThatNeedsTheUserBeginsAStretchOfAttention) {
  Life life(Agent::claude);
  EXPECT_EQ(life.take(toolEvent("PermissionRequest", "Bash")), needsYou);
  EXPECT_EQ(life.record().needsYouTool, "Bash");
  EXPECT_EQ(life.record().attentionId, "ID-1");
  EXPECT_THAT(life.record().waitingOn, IsEmpty());
  EXPECT_EQ(life.record().updatedAt, dateFromSeconds(1));
  EXPECT_EQ(life.record().stateSince, dateFromSeconds(1));
}

TEST(HookTransitionsLife, AStartEmptiesTheOpenCallsAndOneAfterCompactionChangesNothing) {
  Life life(Agent::claude);
  life.take(toolEvent("PreToolUse", "Bash", "a"));
  const Session before = life.record();
  EXPECT_EQ(life.take(start("compact")), ignore);
  EXPECT_EQ(life.record(), before);
  EXPECT_EQ(life.take(start("resume")), idle);
  EXPECT_THAT(life.record().inFlight, IsEmpty());

  Life waiting(Agent::claude, waitingFor({"a"}));
  EXPECT_EQ(waiting.take(start("compact")), ignore);
  EXPECT_EQ(waiting.record(), waitingFor({"a"}));
  EXPECT_EQ(waiting.take(event("SessionStart")), idle);
  EXPECT_THAT(waiting.record().inFlight, IsEmpty());
}

TEST(HookTransitionsLife, AnAnsweredQuestionTakesTheSessionBackToWork) {
  Life life(Agent::claude);
  life.take(toolEvent("PreToolUse", "Bash", "a"));
  EXPECT_EQ(life.take(toolEvent("PreToolUse", "AskUserQuestion", "q")), needsYou);
  life.stampOffset(4711);
  EXPECT_EQ(life.record().needsYouTool, "AskUserQuestion");
  EXPECT_EQ(life.record().attentionId, "ID-1");
  EXPECT_THAT(life.record().waitingOn, ElementsAre("q"));
  EXPECT_THAT(life.record().inFlight, ElementsAre("a", "q"));
  EXPECT_EQ(life.record().stateSince, dateFromSeconds(2));

  EXPECT_EQ(life.take(toolEvent("PostToolUse", "AskUserQuestion", "q")), working);
  EXPECT_EQ(life.record().needsYouTool, std::nullopt);
  EXPECT_EQ(life.record().attentionId, std::nullopt);
  EXPECT_EQ(life.record().attentionTranscriptOffset, std::nullopt);
  EXPECT_THAT(life.record().waitingOn, IsEmpty());
  EXPECT_THAT(life.record().inFlight, ElementsAre("a"));
  EXPECT_EQ(life.record().stateSince, dateFromSeconds(3));
}

TEST(HookTransitionsLife, OfTwoCallsAskedAboutTheLastOneToEndEndsTheWait) {
  Life life(Agent::claude);
  life.take(toolEvent("PreToolUse", "Bash", "a"));
  life.take(toolEvent("PreToolUse", "Write", "b"));
  EXPECT_EQ(life.take(toolEvent("PermissionRequest", "Bash")), needsYou);
  EXPECT_THAT(life.record().waitingOn, ElementsAre("a", "b"));
  const std::optional<std::string> attention = life.record().attentionId;

  EXPECT_EQ(life.take(toolEvent("PostToolUse", "Bash", "a")), needsYou);
  EXPECT_THAT(life.record().waitingOn, ElementsAre("b"));
  EXPECT_EQ(life.record().attentionId, attention);
  EXPECT_EQ(life.record().needsYouTool, "Bash");

  EXPECT_EQ(life.take(toolEvent("PostToolUse", "Write", "b")), working);
  EXPECT_THAT(life.record().waitingOn, IsEmpty());
  EXPECT_EQ(life.record().attentionId, std::nullopt);
}

TEST(HookTransitionsLife, ASecondEventOfOneStretchKeepsItsAttentionFields) {
  Life life(Agent::claude);
  life.take(toolEvent("PermissionRequest", "Bash"));
  life.stampOffset(4711);
  EXPECT_EQ(life.take(notification("permission_prompt")), needsYou);
  EXPECT_EQ(life.record().attentionId, "ID-1");
  EXPECT_EQ(life.record().attentionTranscriptOffset, 4711U);
  EXPECT_EQ(life.record().stateSince, dateFromSeconds(1));
  EXPECT_EQ(life.record().updatedAt, dateFromSeconds(2));
  EXPECT_EQ(life.record().needsYouTool, "Bash");
}

TEST(HookTransitionsLife, ASecondEventThatNamesAToolReplacesTheTool) {
  Life life(Agent::claude);
  life.take(toolEvent("PermissionRequest", "Bash"));
  life.take(toolEvent("PermissionRequest", "Write"));
  EXPECT_EQ(life.record().needsYouTool, "Write");
  EXPECT_EQ(life.record().attentionId, "ID-1");
}

TEST(HookTransitionsLife, AStretchWithoutAnIdentifierGetsOneWithItsNextEvent) {
  Session stored = waitingFor({"a"});
  stored.attentionId.reset();
  stored.attentionTranscriptOffset = 4711;
  Life life(Agent::claude, stored);
  life.take(event("Elicitation"));
  EXPECT_EQ(life.record().attentionId, "ID-1");
  EXPECT_EQ(life.record().attentionTranscriptOffset, 4711U);
}

TEST(HookTransitionsLife, EachNewStretchHasANewIdentifierAndNoOffsetOfTheLastOne) {
  Life life(Agent::claude);
  life.take(toolEvent("PermissionRequest", "Bash"));
  life.stampOffset(4711);
  life.take(event("UserPromptSubmit"));
  EXPECT_EQ(life.record().attentionId, std::nullopt);
  EXPECT_EQ(life.record().attentionTranscriptOffset, std::nullopt);
  EXPECT_EQ(life.record().needsYouTool, std::nullopt);
  life.take(event("Elicitation"));
  EXPECT_EQ(life.record().attentionId, "ID-2");
  EXPECT_EQ(life.record().attentionTranscriptOffset, std::nullopt);
  EXPECT_EQ(life.record().needsYouTool, std::nullopt);
}

TEST(HookTransitionsLife, StopClearsTheAttentionAndForgetsTheCalls) {
  Life life(Agent::claude, waitingFor({"a", "b"}));
  EXPECT_EQ(life.take(event("Stop")), idle);
  EXPECT_EQ(life.record().attentionId, std::nullopt);
  EXPECT_THAT(life.record().waitingOn, IsEmpty());
  EXPECT_THAT(life.record().inFlight, IsEmpty());
}

TEST(HookTransitionsLife, StayingInAStateKeepsItsBeginning) {
  Life life(Agent::claude);
  life.take(event("UserPromptSubmit"));
  life.take(toolEvent("PreToolUse", "Bash", "a"));
  EXPECT_EQ(life.record().stateSince, dateFromSeconds(1));
  EXPECT_EQ(life.record().updatedAt, dateFromSeconds(2));
}

TEST(HookTransitionsLife, WhileWaitingAToolOfASubagentIsOpenedButNotWaitedOn) {
  Life life(Agent::claude, waitingFor({"a"}));
  EXPECT_EQ(life.take(fromSubagent(toolEvent("PreToolUse", "Read", "s"))), needsYou);
  EXPECT_THAT(life.record().inFlight, ElementsAre("a", "s"));
  EXPECT_THAT(life.record().waitingOn, ElementsAre("a"));
  EXPECT_EQ(life.take(fromSubagent(toolEvent("PostToolUse", "Read", "s"))), needsYou);
  EXPECT_THAT(life.record().waitingOn, ElementsAre("a"));
  EXPECT_EQ(life.take(toolEvent("PreToolUse", "Read", "b")), working);
  EXPECT_THAT(life.record().waitingOn, IsEmpty());
}

TEST(HookTransitionsLife, ASubagentsQuestionAsksTheUserToo) {
  Life life(Agent::claude);
  EXPECT_EQ(life.take(fromSubagent(toolEvent("PreToolUse", "AskUserQuestion", "q"))), needsYou);
  EXPECT_THAT(life.record().waitingOn, ElementsAre("q"));
}

TEST(HookTransitionsLife, IfNoCallIsWaitedForAnyFinishedCallEndsTheWait) {
  Life life(Agent::claude);
  life.take(event("Elicitation"));
  EXPECT_THAT(life.record().waitingOn, IsEmpty());
  EXPECT_EQ(life.take(toolEvent("PostToolUse", "Bash", "z")), working);
}

TEST(HookTransitionsLife, AdvanceLeavesAllThatIsNotItsOwnAsItWas) {
  Session stored = sessionOf(Agent::grok, SessionState::working);
  stored.transcriptPath = "/t.jsonl";
  stored.cwd = "/project";
  stored.agentPid = 12;
  stored.tty = "/dev/ttys004";
  stored.hostPid = 34;
  stored.hostBundleId = "com.example.terminal";
  stored.repoRoot = "/project/repo";
  stored.worktreeName = "tree";
  stored.title = "Title";
  HookEvent sent = event("Stop");
  sent.cwd = "/elsewhere";
  sent.transcriptPath = "/other.jsonl";

  Session expected = stored;
  expected.state = SessionState::idle;
  expected.updatedAt = expected.stateSince = dateFromSeconds(9);
  EXPECT_EQ(HookTransitions::advance(stored, SessionState::idle, sent, stored.state, dateFromSeconds(9)),
            expected);
}

TEST(HookTransitionsLife, WithoutAnotherSourceTheIdentifierIsAnUpperCaseUuid) {
  const Session stored = sessionOf(Agent::claude, SessionState::working);
  const Session asked = HookTransitions::advance(stored, SessionState::needsYou, event("Elicitation"),
                                                 stored.state, dateFromSeconds(1));
  ASSERT_TRUE(asked.attentionId);
  EXPECT_THAT(*asked.attentionId, ::testing::MatchesRegex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
}

}  // namespace
}  // namespace tavrin::test
