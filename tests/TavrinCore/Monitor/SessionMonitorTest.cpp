#include "TavrinCore/Monitor/SessionMonitor.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrin {
namespace {

using enum SessionState;
using Kind = SessionFact::Kind;

constexpr double saved = 1000;
constexpr double now = 1010;
const Date booted = dateFromSeconds(100);

SessionFact fact(Kind kind, double at, std::string call = {}) {
  return {.kind = kind, .at = dateFromSeconds(at), .call = std::move(call), .command = {}};
}

// What a MonitoredSession is made of, for tests to change.
struct Known {
  Session record;
  Date savedAt;
  SessionEvidence evidence;
};

// A session of a live process, in this state since its record was saved.
Known sessionIn(SessionState state, Agent agent = Agent::claude) {
  Known session;
  session.record.sessionId = "s";
  session.record.agent = agent;
  session.record.state = state;
  session.record.updatedAt = session.record.stateSince = session.savedAt = dateFromSeconds(saved);
  session.record.cwd = "/src";
  session.record.agentPid = 18;
  session.record.tty = "/dev/pts/3";
  if (state == needsYou) session.record.attentionId = "ATTENTION";
  session.evidence.process = ProcessFact{
      .parent = 1, .name = "agent", .startedAt = dateFromSeconds(500), .terminal = std::string("/dev/pts/3")};
  session.evidence.wasSeen = true;
  return session;
}

MonitoredSession monitored(const Known& session) {
  return {.record = session.record, .savedAt = session.savedAt, .evidence = session.evidence};
}

std::optional<ObservedSession> judged(const Known& session, double at = now) {
  return SessionMonitor::judge(monitored(session), dateFromSeconds(at), booted);
}

OpenSession openBy(std::int32_t pid, double since, Agent agent = Agent::codex) {
  return {.agent = agent,
          .sessionId = "s",
          .pid = pid,
          .folder = "/src",
          .terminal = std::string("/dev/pts/3"),
          .since = dateFromSeconds(since),
          .state = std::nullopt,
          .stateSince = dateFromSeconds(since)};
}

TEST(Judge, WithoutEvidenceTheRecordIsRight) {
  for (const SessionState state : allSessionStates) {
    const Known session = sessionIn(state);
    const auto seen = judged(session);
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->state, state);
    EXPECT_EQ(*seen->record, session.record);
    EXPECT_EQ(seen->reason, "");
    EXPECT_EQ(seen->attentionId, session.record.attentionId);
  }
}

TEST(Judge, ALineCountsOnlyIfItIsLaterThanTheRecord) {
  Known session = sessionIn(working);
  session.evidence.facts = {fact(Kind::failed, saved)};
  EXPECT_EQ(judged(session)->state, working);
  session.evidence.facts = {fact(Kind::failed, saved + 0.001)};
  EXPECT_EQ(judged(session)->state, idle);
  EXPECT_EQ(judged(session)->reason, "failed, according to its transcript");
  EXPECT_EQ(judged(session)->since, dateFromSeconds(saved + 0.001));
}

TEST(Judge, EveryEndOfATurnMakesTheSessionIdle) {
  for (const auto& [kind, reason] : std::vector<std::pair<Kind, std::string>>{
           {Kind::turnEnded, "the turn ended, according to its transcript"},
           {Kind::interrupted, "interrupted, according to its transcript"},
           {Kind::refused, "refused, according to its transcript"},
           {Kind::failed, "failed, according to its transcript"}})
    for (const SessionState state : {working, needsYou}) {
      Known session = sessionIn(state);
      session.evidence.facts = {fact(kind, saved + 1)};
      EXPECT_EQ(judged(session)->state, idle);
      EXPECT_EQ(judged(session)->reason, reason);
      EXPECT_EQ(judged(session)->attentionId, std::nullopt);
    }
}

TEST(Judge, AnInterruptionAfterARefusalIsARefusal) {
  Known session = sessionIn(needsYou);
  session.evidence.facts = {fact(Kind::withdrawn, saved + 1, "a"), fact(Kind::interrupted, saved + 1)};
  EXPECT_EQ(judged(session)->reason, "refused, according to its transcript");
}

TEST(Judge, AResultEndsOnlyTheWaitForItsCall) {
  Known session = sessionIn(needsYou);
  session.record.waitingOn = {"a", "b"};
  session.evidence.facts = {fact(Kind::callEnded, saved + 1, "a")};
  EXPECT_EQ(judged(session)->state, needsYou);
  EXPECT_EQ(judged(session)->attentionId, "ATTENTION");
  session.evidence.facts.push_back(fact(Kind::callEnded, saved + 2, "b"));
  EXPECT_EQ(judged(session)->state, working);
  EXPECT_EQ(judged(session)->since, dateFromSeconds(saved + 2));
}

TEST(Judge, OutputEndsAWaitOnlyIfNoCallIsWaitedFor) {
  Known session = sessionIn(needsYou);
  session.evidence.facts = {fact(Kind::output, saved + 1)};
  EXPECT_EQ(judged(session)->state, working);
  session.record.waitingOn = {"a"};
  EXPECT_EQ(judged(session)->state, needsYou);
}

TEST(Judge, OutputDoesNotEndAWaitWithAnOpenQuestion) {
  Known session = sessionIn(needsYou, Agent::copilot);
  session.evidence.facts = {fact(Kind::asked, 999, "r"), fact(Kind::output, 1001)};
  EXPECT_EQ(judged(session)->state, needsYou);
}

TEST(Judge, AnAnswerToEverythingAndAWithdrawalOfNothingDiffer) {
  Known session = sessionIn(working, Agent::copilot);
  session.evidence.facts = {fact(Kind::asked, 1001, "r"), fact(Kind::withdrawn, 1002)};
  EXPECT_EQ(judged(session)->state, needsYou);
  session.evidence.facts = {fact(Kind::asked, 1001, "r"), fact(Kind::answered, 1002)};
  EXPECT_EQ(judged(session)->state, working);
}

TEST(Judge, OnlyATurnWakesAnIdleSession) {
  Known session = sessionIn(idle);
  for (const Kind kind : {Kind::output, Kind::answered, Kind::callEnded, Kind::withdrawn}) {
    session.evidence.facts = {fact(kind, saved + 1, "a")};
    EXPECT_EQ(judged(session)->state, idle);
  }
  session.evidence.facts = {fact(Kind::turnStarted, saved + 1)};
  EXPECT_EQ(judged(session)->state, working);
}

// Grok's record says idle, and its file has a turn from this many seconds before.
Known idleInATurn(Agent agent, double before) {
  Known session = sessionIn(idle, agent);
  session.evidence.facts = {fact(Kind::turnStarted, saved - before)};
  return session;
}

TEST(Judge, ATurnOfGrokWithoutAnEndRunsThoughTheHooksCameInTheOtherOrder) {
  Known session = idleInATurn(Agent::grok, 0.1);
  EXPECT_EQ(judged(session, saved + 0.4)->state, idle);
  EXPECT_EQ(judged(session, saved + 0.5)->state, working);
  EXPECT_EQ(judged(session)->since, dateFromSeconds(saved - 0.1));
  EXPECT_EQ(judged(session)->reason, "a prompt was sent, according to its transcript");
  session.evidence.facts.push_back(fact(Kind::turnEnded, saved - 0.05));
  EXPECT_EQ(judged(session)->state, idle);
}

TEST(Judge, ATurnOfAnEarlierProcessRunsNoMore) {
  EXPECT_EQ(judged(idleInATurn(Agent::grok, 500))->state, working);
  EXPECT_EQ(judged(idleInATurn(Agent::grok, 501))->state, idle);
  Known unseen = idleInATurn(Agent::grok, 1);
  unseen.evidence.process.reset();
  unseen.evidence.wasSeen = false;
  EXPECT_EQ(judged(unseen)->state, idle);
}

TEST(Judge, ATurnOfAnotherAgentEndsWithTheHooks) {
  EXPECT_EQ(judged(idleInATurn(Agent::codex, 1))->state, idle);
}

TEST(Judge, AHookThatEndsAMomentAfterItsTurnWasStoppedIsNotTheNextTurn) {
  for (const Agent agent : {Agent::codex, Agent::gemini, Agent::copilot, Agent::grok}) {
    Known session = sessionIn(working, agent);
    session.evidence.facts = {fact(Kind::interrupted, saved - 0.2)};
    EXPECT_EQ(judged(session, saved + 0.4)->state, working);
    EXPECT_EQ(judged(session, saved + 0.5)->state, idle);
    EXPECT_EQ(judged(session)->since, dateFromSeconds(saved - 0.2));
    EXPECT_EQ(judged(session)->reason, "interrupted, according to its transcript");
  }
  Known failed = sessionIn(working, Agent::codex);
  failed.evidence.facts = {fact(Kind::turnStarted, saved - 0.3), fact(Kind::failed, saved)};
  EXPECT_EQ(judged(failed)->state, idle);
}

TEST(Judge, AHookAfterAStoppedTurnIsBelievedIfTheFileGoesOnOrCannotShowIt) {
  for (const Kind kind : {Kind::turnStarted, Kind::stepStarted}) {
    Known session = sessionIn(working, Agent::copilot);
    session.evidence.facts = {fact(Kind::failed, saved - 0.2), fact(kind, saved - 0.1)};
    EXPECT_EQ(judged(session)->state, working);
  }
  Known late = sessionIn(working, Agent::grok);
  late.evidence.facts = {fact(Kind::interrupted, saved - 0.5)};
  EXPECT_EQ(judged(late)->state, working);
  Known reported = sessionIn(working, Agent::codex);
  reported.evidence.facts = {fact(Kind::turnEnded, saved - 0.1)};
  EXPECT_EQ(judged(reported)->state, working);
  Known claude = sessionIn(working, Agent::claude);
  claude.evidence.facts = {fact(Kind::interrupted, saved - 0.1)};
  EXPECT_EQ(judged(claude)->state, working);
  Known gemini = sessionIn(working, Agent::gemini);
  gemini.evidence.facts = {fact(Kind::failed, saved - 0.1)};
  EXPECT_EQ(judged(gemini)->state, working);
  Known waiting = sessionIn(needsYou, Agent::copilot);
  waiting.evidence.facts = {fact(Kind::interrupted, saved - 0.1)};
  EXPECT_EQ(judged(waiting)->state, needsYou);
}

TEST(Judge, AStepAfterAnErrorIsWorkAgain) {
  Known session = sessionIn(working, Agent::copilot);
  session.evidence.facts = {fact(Kind::failed, saved + 1), fact(Kind::stepStarted, saved + 2)};
  EXPECT_EQ(judged(session)->state, working);
  EXPECT_EQ(judged(session)->since, dateFromSeconds(saved + 2));
  session.evidence.facts.push_back(fact(Kind::failed, saved + 3));
  EXPECT_EQ(judged(session)->state, idle);
}

TEST(Judge, AStepFromBeforeTheRecordDoesNotWakeTheSession) {
  Known session = sessionIn(idle, Agent::copilot);
  session.evidence.facts = {fact(Kind::stepStarted, saved - 1)};
  EXPECT_EQ(judged(session)->state, idle);
}

TEST(Judge, AStepDoesNotAnswerAQuestion) {
  Known session = sessionIn(needsYou, Agent::copilot);
  session.evidence.facts = {fact(Kind::asked, saved, "q"), fact(Kind::stepStarted, saved + 1)};
  EXPECT_EQ(judged(session)->state, needsYou);
}

TEST(Judge, AnOpenQuestionIsASeparateWait) {
  Known session = sessionIn(working, Agent::grok);
  session.evidence.facts = {fact(Kind::asked, saved - 1, "q")};
  const auto seen = judged(session);
  EXPECT_EQ(seen->state, needsYou);
  EXPECT_EQ(seen->since, dateFromSeconds(saved - 1));
  EXPECT_EQ(seen->attentionId, SessionMonitor::derivedAttentionId("s", dateFromSeconds(saved - 1)));
  EXPECT_EQ(seen->record->attentionId, std::nullopt);
  session.evidence.facts.push_back(fact(Kind::answered, saved + 1, "q"));
  EXPECT_EQ(judged(session)->state, working);
}

TEST(Judge, AQuestionFromBeforeTheHooksSawTheTurnEndIsOver) {
  Known session = sessionIn(idle, Agent::grok);
  session.evidence.facts = {fact(Kind::asked, saved - 1, "q")};
  EXPECT_EQ(judged(session)->state, idle);
  session.evidence.facts = {fact(Kind::asked, saved + 1, "q")};
  EXPECT_EQ(judged(session)->state, needsYou);
}

TEST(Judge, ASubagentsQuestionOutlivesTheTurnButNotTheProcess) {
  SessionFact question = fact(Kind::asked, saved - 2, "q");
  question.isSubagents = true;
  Known session = sessionIn(idle, Agent::copilot);
  session.evidence.facts = {question, fact(Kind::turnEnded, saved - 0.1)};
  EXPECT_EQ(judged(session)->state, needsYou);
  EXPECT_EQ(judged(session)->since, dateFromSeconds(saved - 2));
  session.evidence.facts.push_back(fact(Kind::turnStarted, saved + 1));
  EXPECT_EQ(judged(session)->state, needsYou);
  session.evidence.facts.push_back(fact(Kind::interrupted, saved + 2));
  EXPECT_EQ(judged(session)->state, idle);
  session.evidence.facts.resize(2);
  session.evidence.process->startedAt = dateFromSeconds(saved - 1);
  EXPECT_EQ(judged(session)->state, idle);
}

TEST(Judge, AnAnswerThatDoesNotSayWhoseItIsAnswersTheSubagentsQuestion) {
  SessionFact question = fact(Kind::asked, saved + 1, "r");
  question.isSubagents = true;
  Known session = sessionIn(working, Agent::copilot);
  session.evidence.facts = {question, fact(Kind::answered, saved + 2, "r")};
  EXPECT_EQ(judged(session)->state, working);
}

TEST(Judge, AnAnswerToTheMainAgentIsNotOneToItsSubagent) {
  SessionFact question = fact(Kind::asked, saved + 1, "permission:run");
  question.isSubagents = true;
  Known session = sessionIn(working, Agent::grok);
  session.evidence.facts = {question, fact(Kind::asked, saved + 1, "permission:run"),
                            fact(Kind::answered, saved + 2, "permission:run"),
                            fact(Kind::turnEnded, saved + 3)};
  EXPECT_EQ(judged(session)->state, needsYou);
  question.kind = Kind::answered;
  question.at = dateFromSeconds(saved + 4);
  session.evidence.facts.push_back(question);
  EXPECT_EQ(judged(session)->state, idle);
}

TEST(Judge, OfTwoQuestionsBothMustBeAnswered) {
  Known session = sessionIn(needsYou, Agent::copilot);
  session.evidence.facts = {fact(Kind::asked, saved - 1, "a"), fact(Kind::asked, saved - 1, "b"),
                            fact(Kind::answered, saved + 1, "a")};
  EXPECT_EQ(judged(session)->state, needsYou);
  EXPECT_EQ(judged(session)->attentionId, "ATTENTION");
  session.evidence.facts.push_back(fact(Kind::answered, saved + 2, "b"));
  EXPECT_EQ(judged(session)->state, working);
}

TEST(Judge, AHookThatComesAfterTheLastAnswerDoesNotRenewTheWait) {
  Known session = sessionIn(needsYou, Agent::grok);
  session.record.waitingOn = {"call"};
  session.record.stateSince = dateFromSeconds(saved - 10);
  session.evidence.facts = {fact(Kind::asked, saved - 9, "q"), fact(Kind::answered, saved - 1, "q")};
  EXPECT_EQ(judged(session)->state, working);
  // Claude's file does not hold every question.
  session.record.agent = Agent::claude;
  EXPECT_EQ(judged(session)->state, needsYou);
  // An answer to an earlier question does not affect this one.
  session.record.agent = Agent::grok;
  session.record.stateSince = dateFromSeconds(saved);
  EXPECT_EQ(judged(session)->state, needsYou);
}

TEST(Judge, ACallOfCodexSettlesBeforeItCountsAsAQuestion) {
  Known session = sessionIn(working, Agent::codex);
  session.evidence.facts = {fact(Kind::asked, saved + 1, "c")};
  EXPECT_EQ(judged(session, saved + 1.4)->state, working);
  EXPECT_EQ(judged(session, saved + 1.5)->state, needsYou);
  session.evidence.facts.push_back(fact(Kind::answered, saved + 1.2, "c"));
  EXPECT_EQ(judged(session, saved + 5)->state, working);
}

TEST(Judge, AQuestionThatGrokAnswersItselfIsNotAsked) {
  Known session = sessionIn(working, Agent::grok);
  session.evidence.facts = {fact(Kind::asked, saved + 1, "q")};
  EXPECT_EQ(judged(session, saved + 1.09)->state, working);
  EXPECT_EQ(judged(session, saved + 1.1)->state, needsYou);
  session.evidence.facts.push_back(fact(Kind::answered, saved + 1.002, "q"));
  EXPECT_EQ(judged(session)->state, working);
}

TEST(Judge, AProcessThatRunsAnswersEverything) {
  Known session = sessionIn(needsYou, Agent::gemini);
  session.record.waitingOn = {"name:a", "name:b"};
  session.evidence.facts = {fact(Kind::answered, saved + 1)};
  EXPECT_EQ(judged(session)->state, working);
  EXPECT_EQ(judged(session)->reason, "approved, according to the process table");
}

TEST(Judge, GeminisCallsAreKnownByTheirTools) {
  Known session = sessionIn(needsYou, Agent::gemini);
  session.record.waitingOn = {"name:run_shell_command"};
  session.evidence.facts = {fact(Kind::callEnded, saved + 1, "name:run_shell_command")};
  EXPECT_EQ(judged(session)->state, working);
}

TEST(Judge, TheStatusFileBeatsRecordAndTranscript) {
  Known session = sessionIn(working);
  session.evidence.open = openBy(18, 500, Agent::claude);
  session.evidence.open->state = needsYou;
  session.evidence.open->stateSince = dateFromSeconds(saved - 3);
  const auto seen = judged(session);
  EXPECT_EQ(seen->state, needsYou);
  EXPECT_EQ(seen->since, dateFromSeconds(saved - 3));
  EXPECT_EQ(seen->reason, "according to its status file");
  EXPECT_EQ(seen->attentionId, SessionMonitor::derivedAttentionId("s", dateFromSeconds(saved - 3)));
  session.evidence.open->state = idle;
  EXPECT_EQ(judged(session)->state, idle);
  EXPECT_EQ(judged(session)->attentionId, std::nullopt);
}

TEST(Judge, AFreshRecordIsBelievedUntilTheStatusFileFollows) {
  Known session = sessionIn(working);
  session.evidence.open = openBy(18, 500, Agent::claude);
  session.evidence.open->state = idle;
  session.evidence.open->stateSince = dateFromSeconds(saved - 3);
  EXPECT_EQ(judged(session, saved + 0.4)->state, working);
  EXPECT_EQ(judged(session, saved + 0.5)->state, idle);
  // A record that is less urgent than the file does not override it.
  session.evidence.open->state = needsYou;
  EXPECT_EQ(judged(session, saved + 0.4)->state, needsYou);
  // A record that was only saved again does not override it either.
  session.evidence.open->state = idle;
  session.record.stateSince = dateFromSeconds(saved - 2);
  EXPECT_EQ(judged(session, saved + 0.4)->state, idle);
}

TEST(Judge, AReasonFromTheTranscriptStaysWhenTheStatusAgrees) {
  Known session = sessionIn(working);
  session.evidence.open = openBy(18, 500, Agent::claude);
  session.evidence.open->state = idle;
  session.evidence.open->stateSince = dateFromSeconds(saved + 1);
  session.evidence.facts = {fact(Kind::failed, saved + 1)};
  EXPECT_EQ(judged(session)->reason, "failed, according to its transcript");
}

TEST(Gone, IsASessionWhoseProcessWasSeenAndEnded) {
  Known session = sessionIn(working);
  session.evidence.process.reset();
  EXPECT_EQ(judged(session), std::nullopt);
}

TEST(Gone, IsASessionWhoseProcessIdBelongsToALaterProcess) {
  Known session = sessionIn(working);
  session.evidence.process->startedAt = dateFromSeconds(saved + 5);
  EXPECT_TRUE(judged(session));
  session.evidence.process->startedAt = dateFromSeconds(saved + 5.01);
  EXPECT_EQ(judged(session), std::nullopt);
}

TEST(Gone, IsASessionFromBeforeTheSystemStarted) {
  Known session = sessionIn(working);
  session.record.updatedAt = dateFromSeconds(99);
  session.evidence.process->startedAt = dateFromSeconds(50);
  EXPECT_EQ(judged(session), std::nullopt);
}

TEST(Gone, IsASessionThatLostItsTerminal) {
  Known session = sessionIn(needsYou, Agent::gemini);
  session.evidence.process->terminal.reset();
  EXPECT_EQ(judged(session), std::nullopt);
  // A session that never had a terminal cannot lose one.
  session.record.tty.reset();
  EXPECT_TRUE(judged(session));
}

TEST(Unknown, AProcessNeverSeenIsBelievedForAMinute) {
  Known session = sessionIn(working);
  session.evidence.process.reset();
  session.evidence.wasSeen = false;
  EXPECT_EQ(judged(session, saved + 59)->state, working);
  EXPECT_EQ(judged(session, saved + 60), std::nullopt);
}

TEST(Elsewhere, ASessionWhoseFolderIsNotHereIsNeverDead) {
  Known session = sessionIn(working);
  session.evidence.process.reset();
  session.evidence.wasSeen = false;
  session.evidence.isFolderHere = false;
  const auto seen = judged(session, saved + 100'000);
  ASSERT_TRUE(seen);
  EXPECT_TRUE(seen->isElsewhere);
  // A folder that was here and was deleted does not keep its session alive.
  session.evidence.wasSeen = true;
  EXPECT_EQ(judged(session, saved + 100'000), std::nullopt);
}

TEST(Open, ASessionWithoutARecordIsIdleSinceItWasOpened) {
  const OpenSession open = openBy(20, 700);
  Known session;
  session.record = SessionMonitor::opened(open);
  session.savedAt = open.since;
  session.evidence.open = open;
  session.evidence.process =
      ProcessFact{.parent = 1, .name = "codex", .startedAt = dateFromSeconds(690), .terminal = open.terminal};
  const auto seen = judged(session);
  ASSERT_TRUE(seen);
  EXPECT_EQ(seen->state, idle);
  EXPECT_EQ(seen->record->cwd, "/src");
  EXPECT_EQ(seen->record->agentPid, 20);
  EXPECT_EQ(seen->record->agent, Agent::codex);
  session.evidence.facts = {fact(Kind::turnStarted, 701)};
  EXPECT_EQ(judged(session)->state, working);
}

TEST(Open, AKilledSessionThatIsOpenAgainIsIdle) {
  Known session = sessionIn(needsYou, Agent::codex);
  session.evidence.process.reset();
  session.evidence.open = openBy(99, saved + 4);
  session.evidence.isOpenByItsAgent = false;
  session.evidence.facts = {fact(Kind::asked, saved - 1, "q")};
  const auto seen = judged(session);
  ASSERT_TRUE(seen);
  EXPECT_EQ(seen->state, idle);
  EXPECT_EQ(seen->since, dateFromSeconds(saved + 4));
  EXPECT_EQ(seen->attentionId, std::nullopt);
  EXPECT_EQ(seen->reason, "opened again, according to the agent's files");
}

TEST(Open, ASessionOfAMissingFolderThatIsOpenHereIsHere) {
  Known session = sessionIn(idle, Agent::codex);
  session.evidence.isFolderHere = session.evidence.wasSeen = false;
  EXPECT_TRUE(judged(session)->isElsewhere);
  session.evidence.open = openBy(18, 900);
  EXPECT_FALSE(judged(session)->isElsewhere);
}

TEST(Open, AClosedSessionIsGoneEvenIfItsProcessIsOpenElsewhere) {
  Known session = sessionIn(idle, Agent::codex);
  session.evidence.process.reset();
  session.evidence.open = openBy(77, 900);
  session.evidence.isClosed = true;
  EXPECT_EQ(judged(session), std::nullopt);
}

TEST(Open, ASessionThatItsAgentClosedIsGone) {
  Known session = sessionIn(idle);
  session.evidence.isClosed = true;
  EXPECT_EQ(judged(session), std::nullopt);
}

TEST(Open, ASessionThatSaysItEndedIsGoneUntilItGoesOn) {
  Known session = sessionIn(idle, Agent::copilot);
  session.evidence.facts = {fact(Kind::sessionEnded, saved + 1)};
  EXPECT_EQ(judged(session), std::nullopt);
  session.evidence.facts.push_back(fact(Kind::output, saved + 2));
  EXPECT_TRUE(judged(session));
}

TEST(Ghost, ASubagentIsNotASession) {
  Known session = sessionIn(working, Agent::copilot);
  session.evidence.isSubagent = true;
  EXPECT_EQ(judged(session), std::nullopt);
}

TEST(Observe, KeepsTheOrderAndLeavesOutTheGone) {
  std::vector<MonitoredSession> sessions = {monitored(sessionIn(working)), monitored(sessionIn(idle)),
                                            monitored(sessionIn(needsYou))};
  sessions[1].evidence.isClosed = true;
  const auto seen = SessionMonitor::observe(sessions, dateFromSeconds(now), booted);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[0].state, working);
  EXPECT_EQ(seen[1].state, needsYou);
}

TEST(DerivedAttentionId, IsOnePerWaitAndLooksLikeAUuid) {
  const std::string id = SessionMonitor::derivedAttentionId("s", dateFromSeconds(5));
  EXPECT_EQ(id, SessionMonitor::derivedAttentionId("s", dateFromSeconds(5)));
  EXPECT_NE(id, SessionMonitor::derivedAttentionId("s", dateFromSeconds(6)));
  EXPECT_NE(id, SessionMonitor::derivedAttentionId("t", dateFromSeconds(5)));
  ASSERT_EQ(id.size(), 36U);
  EXPECT_EQ(id[14], '8');
  EXPECT_EQ(id.find_first_not_of("0123456789ABCDEF-"), std::string::npos);
}

}  // namespace
}  // namespace tavrin
