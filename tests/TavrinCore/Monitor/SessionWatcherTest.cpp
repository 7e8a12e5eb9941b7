#include "TavrinCore/Monitor/SessionWatcher.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Watching.hpp"
#include "tests/support/Random.hpp"

namespace tavrin {
namespace {

using enum SessionState;
using test::claudeStatus;
using test::later;
using test::lockOf;
using test::sessions;
using test::thread;
using test::Watching;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

TEST_F(Watching, ClaudesStatusFileDecides) {
  save("a", Agent::claude, needsYou, 100);
  files.write("/Users/dev/.claude/sessions/18.json", claudeStatus(18, "a", "busy", 101), 101);
  EXPECT_EQ(stateOf("a", 110), working);
  EXPECT_THAT(last.files, Contains("/Users/dev/.claude/sessions"));
  EXPECT_THAT(last.files, Contains(sessions));
  EXPECT_THAT(last.processes, Contains(18));
}

TEST_F(Watching, AForkOfClaudeDoesNotKeepTheOldSessionAlive) {
  // The fork's first hook carries the old id with the fork's process.
  save("old", Agent::claude, idle, 100, 18);
  files.write("/Users/dev/.claude/sessions/18.json", claudeStatus(18, "new", "idle", 100), 100);
  EXPECT_EQ(stateOf("old", 110), std::nullopt);
  EXPECT_EQ(stateOf("new", 110), idle);
}

TEST_F(Watching, GroksStopAfterItsEndMakesNoGhost) {
  const std::string list = "/Users/dev/.grok/active_sessions.json";
  save("g", Agent::grok, idle, 100);
  files.write(list, R"([{"session_id":"g","pid":18,"cwd":"/src/app","opened_at":"1970-01-01T00:01:00Z"}])",
              100);
  EXPECT_EQ(stateOf("g", 101), idle);
  files.remove(sessions + "/g.json", 102);
  files.write(list, "[]", 102);
  EXPECT_EQ(stateOf("g", 102), std::nullopt);
  save("g", Agent::grok, idle, 102.05);
  EXPECT_EQ(stateOf("g", 102.1), std::nullopt);
  EXPECT_EQ(stateOf("g", 110), std::nullopt);
}

TEST_F(Watching, GroksNewSessionReplacesTheOldOne) {
  save("old", Agent::grok, idle, 100);
  files.write("/Users/dev/.grok/active_sessions.json",
              R"([{"session_id":"new","pid":18,"cwd":"/src/app","opened_at":"1970-01-01T00:01:00Z"}])", 101);
  EXPECT_EQ(stateOf("old", 102), std::nullopt);
  EXPECT_EQ(stateOf("new", 102), idle);
}

TEST_F(Watching, AProcessThatEndedIsMissedAtOnceWhenItsEndIsReported) {
  save("a", Agent::claude, idle, 100);
  EXPECT_EQ(stateOf("a", 101), idle);
  processes.erase(18);
  watcher->processEnded(18);
  EXPECT_EQ(stateOf("a", 101.1), std::nullopt);
}

TEST_F(Watching, AWorkingSessionsProcessIsMissedAtOnce) {
  save("a", Agent::claude, working, 100);
  EXPECT_EQ(stateOf("a", 101), working);
  processes.erase(18);
  EXPECT_EQ(stateOf("a", 101.1), std::nullopt);
}

TEST_F(Watching, AnIdleSessionsProcessIsLookedUpOnceASecond) {
  save("a", Agent::claude, idle, 100);
  stateOf("a", 101);
  lookUps = 0;
  for (int i = 1; i < 10; ++i) stateOf("a", 101 + i / 10.0);
  EXPECT_EQ(lookUps, 0);
  stateOf("a", 102.1);
  EXPECT_EQ(lookUps, 1);
}

TEST_F(Watching, AProcessThatEndedIsMissedThoughTheClockWasSetBack) {
  save("w", Agent::gemini, working, 100);
  save("i", Agent::gemini, idle, 100, 19);
  addProcess(19, "agent");
  EXPECT_EQ(stateOf("w", 1'000), working);
  EXPECT_EQ(stateOf("i", 1'001), idle);
  processes.clear();
  EXPECT_EQ(stateOf("w", 500), std::nullopt);
  EXPECT_EQ(stateOf("i", 500.1), std::nullopt);
}

TEST_F(Watching, AProcessOfManySessionsIsLookedUpOnceALook) {
  save("a", Agent::claude, working, 100);
  save("b", Agent::claude, working, 100);
  stateOf("a", 101);
  EXPECT_EQ(lookUps, 1);
  stateOf("a", 101.1);
  EXPECT_EQ(lookUps, 2);
}

TEST_F(Watching, NothingIsReadWhenNothingChanged) {
  save("a", Agent::claude, working, 100);
  files.write("/Users/dev/.claude/sessions/18.json", claudeStatus(18, "a", "busy", 101), 101);
  files.write("/Users/dev/.claude/projects/-src-app/a.jsonl", "{}\n", 101);
  stateOf("a", 110);
  files.bytesRead = 0;
  files.lists = 0;
  stateOf("a", 120);
  EXPECT_EQ(files.bytesRead, 0U);
  EXPECT_EQ(files.lists, 0);
}

TEST_F(Watching, ARecordWhoseNameIsReportedIsReadAlone) {
  save("a", Agent::gemini, SessionState::idle, 100);
  save("b", Agent::gemini, SessionState::idle, 100);
  watcher->look(dateFromSeconds(200));
  save("a", Agent::gemini, SessionState::working, 201);
  save("b", Agent::gemini, SessionState::working, 201);
  files.lists = 0;
  EXPECT_EQ(stateAfter({"a.json"}, "a", 201), SessionState::working);
  EXPECT_EQ(stateAfter({}, "b", 201), SessionState::idle);
  EXPECT_EQ(files.lists, 0);
  EXPECT_EQ(stateOf("b", 202), SessionState::working);
}

TEST_F(Watching, NewAndRemovedRecordsWhoseNamesAreReportedComeAndGo) {
  save("a", Agent::gemini, SessionState::idle, 100);
  // Without a look before it, everything is looked at.
  EXPECT_EQ(stateAfter({}, "a", 200), SessionState::idle);
  save("b", Agent::gemini, SessionState::working, 201);
  EXPECT_EQ(stateAfter({"b.json"}, "b", 201), SessionState::working);
  files.remove(sessions + "/a.json", 202);
  EXPECT_EQ(stateAfter({"a.json"}, "a", 202), std::nullopt);
  EXPECT_EQ(stateAfter({}, "b", 203), SessionState::working);
}

TEST_F(Watching, AFileThatNowHoldsAnotherSessionNoLongerShowsTheFirst) {
  save("a", Agent::gemini, SessionState::idle, 100);
  watcher->look(dateFromSeconds(200));
  Session other = save("b", Agent::gemini, SessionState::idle, 201);
  files.remove(sessions + "/b.json", 201);
  files.write(sessions + "/a.json", other.encode(), 201);
  EXPECT_EQ(stateAfter({"a.json"}, "a", 202), std::nullopt);
  EXPECT_EQ(stateAfter({}, "b", 202), SessionState::idle);
}

// The file that comes last by its name counts, whichever of them changed.
TEST_F(Watching, OfTwoFilesWithOneSessionTheLastCounts) {
  Session record = save("s", Agent::gemini, SessionState::idle, 100);
  record.state = SessionState::working;
  files.write(sessions + "/t.json", record.encode(), 100);
  EXPECT_EQ(stateOf("s", 200), SessionState::working);
  save("s", Agent::gemini, SessionState::idle, 201);
  EXPECT_EQ(stateAfter({"s.json"}, "s", 201), SessionState::working);
  EXPECT_EQ(stateOf("s", 202), SessionState::working);
}

TEST_F(Watching, AtMostTwoHundredFilesAreWatched) {
  for (int i = 0; i < 300; ++i) save("s" + std::to_string(i), Agent::claude, working, 100);
  stateOf("s0", 101);
  EXPECT_EQ(last.sessions.size(), 300U);
  EXPECT_EQ(last.files.size(), SessionWatcher::mostWatched);
}

TEST_F(Watching, UnknownLinesAndStatusesAreCounted) {
  save("g", Agent::grok, working, 100);
  files.write("/Users/dev/.grok/sessions/%2Fsrc%2Fapp/g/events.jsonl",
              R"({"ts":"x","type":"tea_break"})"
              "\n",
              101);
  files.write("/Users/dev/.claude/sessions/18.json", claudeStatus(18, "a", "dreaming", 101), 101);
  stateOf("g", 102);
  EXPECT_EQ(watcher->unknownLines(), 2U);
}

TEST_F(Watching, ARecordFromAnotherMachineIsElsewhere) {
  Session record = save("a", Agent::claude, working, 100, 4000);
  record.cwd = "/workspaces/app";
  save(record, 100);
  EXPECT_EQ(stateOf("a", 100'000), working);
  EXPECT_TRUE(last.sessions.front().isElsewhere);
}

TEST_F(Watching, WithoutTheAgentsHomesTheRecordsAreShownAsTheHooksSay) {
  watcher.emplace(SessionWatcher::Surroundings{
      .sessionsDirectory = sessions, .homes = {}, .files = files.access(), .processes = facts()});
  for (const Agent agent : allAgents) save(std::string(rawValue(agent)), agent, working, 100);
  save(std::string(thread), Agent::codex, working, 100);
  for (const Agent agent : allAgents) EXPECT_EQ(stateOf(std::string(rawValue(agent)), 101), working);
}

TEST_F(Watching, AnIdThatIsNotAPlainNameHasNoFiles) {
  for (const Agent agent : allAgents) {
    Session record = save("x", agent, working, 100);
    files.remove(sessions + "/x.json", 100);
    record.sessionId = "../" + std::string(rawValue(agent));
    if (agent == Agent::gemini) record.transcriptPath = "/chats/session.jsonl";
    files.write(sessions + "/" + std::string(rawValue(agent)) + ".json", record.encode(), 100);
  }
  files.write("/chats/../gemini/x.jsonl", "{}\n", 100);
  EXPECT_EQ(stateOf("../gemini", 101), working);
  EXPECT_EQ(last.sessions.size(), allAgents.size());
  for (const std::string& file : last.files) EXPECT_THAT(file, Not(testing::HasSubstr("..")));
}

TEST_F(Watching, ARolloutOutsideItsFolderIsTheRecordsOwn) {
  Session record = save(std::string(thread), Agent::codex, working, 100);
  const std::string elsewhere = "/elsewhere/rollout-2026-11-21T22-57-45-";
  record.transcriptPath = elsewhere + std::string(later) + ".jsonl";  // a sub-agent's
  save(record, 100);
  EXPECT_EQ(stateOf(std::string(thread), 101), working);
  EXPECT_THAT(last.files, Not(Contains(*record.transcriptPath)));
  record.transcriptPath = elsewhere + std::string(thread) + ".jsonl";
  save(record, 102);
  EXPECT_EQ(stateOf(std::string(thread), 103), working);
  EXPECT_THAT(last.files, Contains(*record.transcriptPath));
}

TEST_F(Watching, ASessionOfALaterProcessWithItsIdIsGone) {
  save("a", Agent::claude, working, 100);
  addProcess(18, "other", 1, 200);
  EXPECT_EQ(stateOf("a", 210), std::nullopt);
}

TEST_F(Watching, ASessionWhoseFolderWasNeverHereIsElsewhereThoughItsIdRuns) {
  Session record = save("a", Agent::claude, working, 100);
  record.cwd = "/workspaces/app";
  save(record, 100);
  EXPECT_EQ(stateOf("a", 101), working);
  EXPECT_TRUE(last.sessions.front().isElsewhere);
}

TEST_F(Watching, AClosedSessionIsForgottenAfterAMinute) {
  const std::string hold = "/Users/dev/.copilot/session-state/c/inuse.18.hold";
  files.write(hold, "", 100);
  EXPECT_EQ(stateOf("c", 101), idle);
  files.remove(hold, 102);
  EXPECT_EQ(stateOf("c", 103), std::nullopt);
  save("c", Agent::copilot, idle, 104);
  EXPECT_EQ(stateOf("c", 105), std::nullopt);
  files.remove(sessions + "/c.json", 106);
  EXPECT_EQ(stateOf("c", 107), std::nullopt);
  // The minute does not begin anew at each look.
  EXPECT_EQ(stateOf("c", 140), std::nullopt);
  EXPECT_EQ(stateOf("c", 170), std::nullopt);
  save("c", Agent::copilot, idle, 171);
  EXPECT_EQ(stateOf("c", 172), idle);
}

TEST_F(Watching, AHookAfterTheEndOfItsProcessDoesNotBringTheSessionBack) {
  save("g", Agent::grok, working, 100);
  EXPECT_EQ(stateOf("g", 101), working);
  files.remove(sessions + "/g.json", 102);
  EXPECT_EQ(stateOf("g", 102), std::nullopt);
  processes.erase(18);
  save("g", Agent::grok, idle, 102.1);
  EXPECT_EQ(stateOf("g", 102.2), std::nullopt);
}

TEST_F(Watching, ARemovedRecordOfAnotherMachineIsNotShown) {
  Session record = save("g", Agent::gemini, idle, 100, 77);
  record.cwd = "/not/here";
  save(record, 100);
  EXPECT_EQ(stateOf("g", 101), idle);
  files.remove(sessions + "/g.json", 102);
  EXPECT_EQ(stateOf("g", 102), std::nullopt);
}

TEST_F(Watching, ARecordThatIsRemovedAndWrittenAgainIsShownAgain) {
  save("g", Agent::gemini, working, 100);
  EXPECT_EQ(stateOf("g", 101), working);
  files.remove(sessions + "/g.json", 102);
  EXPECT_EQ(stateOf("g", 102), std::nullopt);
  save("g", Agent::gemini, idle, 103);
  EXPECT_EQ(stateOf("g", 103), idle);
}

TEST_F(Watching, AnIdleSessionOfGrokIsLookedAtAgainOnceItsFileCounts) {
  save("g", Agent::grok, idle, 100);
  stateOf("g", 100.1);
  EXPECT_EQ(last.next, dateFromSeconds(100.5));
  stateOf("g", 100.6);
  EXPECT_EQ(last.next, std::nullopt);
}

TEST_F(Watching, ASessionThatWorksAfterItsTurnWasStoppedIsLookedAtAgain) {
  const std::string path = "/Users/dev/.gemini/tmp/app/chats/session-e.jsonl";
  Session record = save("e", Agent::gemini, working, 100);
  record.transcriptPath = path;
  save(record, 100);
  files.write(path,
              R"({"timestamp":"1970-01-01T00:01:39.9Z","type":"info","content":"Request cancelled."})"
              "\n",
              100);
  EXPECT_EQ(stateOf("e", 100.1), working);
  EXPECT_EQ(last.next, dateFromSeconds(100.5));
  EXPECT_EQ(stateOf("e", 100.5), idle);
}

TEST_F(Watching, AtMostTwoHundredFoldersAreWatched) {
  for (int i = 0; i < 300; ++i)
    files.write("/Users/dev/.copilot/session-state/" + std::to_string(i) + "/inuse.18.hold", "", 100);
  stateOf("0", 101);
  EXPECT_EQ(last.sessions.size(), 300U);
  EXPECT_EQ(last.files.size(), SessionWatcher::mostWatched);
}

TEST_F(Watching, TheNextLookIsTheEarliestThatAnythingNeeds) {
  save("e", Agent::gemini, needsYou, 100);
  EXPECT_EQ(stateOf("e", 100.5), needsYou);
  EXPECT_NEAR(secondsOf(last.next.value()), 100.75, 0.001);
  // A client is about to lock its file.
  files.write(lockOf(thread), "", 101);
  stateOf("e", 101);
  EXPECT_NEAR(secondsOf(last.next.value()), 101.1, 0.001);
}

TEST_F(Watching, TheFirstLookForChangesIsWholeEvenWithoutSessions) {
  EXPECT_TRUE(watcher->lookForChanges(dateFromSeconds(100), std::nullopt).isWhole);
  EXPECT_FALSE(watcher->lookForChanges(dateFromSeconds(101), std::nullopt).isWhole);
}

TEST_F(Watching, ALookForChangesReportsOnlyThese) {
  save("a", Agent::claude, working, 100);
  save("b", Agent::claude, idle, 100);
  const auto lookAt = [this](double at, std::optional<std::vector<std::string>> changed) {
    return watcher->lookForChanges(dateFromSeconds(at), changed);
  };
  const auto ids = [](const SessionWatcher::Look& look) {
    std::vector<std::string> found;
    for (const ObservedSession& session : look.sessions) found.push_back(session.record->sessionId);
    return found;
  };
  last = lookAt(110, std::nullopt);
  EXPECT_TRUE(last.isWhole);
  EXPECT_THAT(ids(last), ElementsAre("a", "b"));
  last = lookAt(111, std::nullopt);
  EXPECT_FALSE(last.isWhole);
  EXPECT_THAT(ids(last), IsEmpty());

  save("b", Agent::claude, needsYou, 112);
  last = lookAt(112, std::vector<std::string>{"b.json"});
  EXPECT_FALSE(last.isWhole);
  EXPECT_THAT(ids(last), ElementsAre("b"));
  EXPECT_EQ(stateIn(last, "b"), needsYou);
  // A status file changes what is true without a new record.
  files.write("/Users/dev/.claude/sessions/18.json", claudeStatus(18, "b", "idle", 113), 113);
  last = lookAt(114, std::nullopt);
  EXPECT_EQ(stateIn(last, "b"), idle);

  save("c", Agent::codex, working, 115);
  last = lookAt(115, std::vector<std::string>{"c.json"});
  EXPECT_TRUE(last.isWhole);
  EXPECT_THAT(ids(last), Contains("c"));
  files.remove(sessions + "/c.json", 116);
  last = lookAt(116, std::vector<std::string>{"c.json"});
  EXPECT_TRUE(last.isWhole);
  EXPECT_THAT(ids(last), Not(Contains("c")));
}

TEST_F(Watching, ChangesComeInTheOrderOfTheSessions) {
  for (const std::string id : {"a", "b", "c"}) save(id, Agent::gemini, idle, 100);
  watcher->lookForChanges(dateFromSeconds(110), std::nullopt);
  save("c", Agent::gemini, working, 111);
  save("a", Agent::gemini, idle, 111);
  last = watcher->lookForChanges(dateFromSeconds(112), std::nullopt);
  ASSERT_EQ(last.sessions.size(), 2U);
  EXPECT_EQ(last.sessions[0].record->sessionId, "a");
  EXPECT_EQ(last.sessions[1].record->sessionId, "c");
}

// What the reported changes make of the first look is what a watcher sees that reports everything.
TEST_F(Watching, ReportedChangesAddUpToAllSessions) {
  const unsigned seed = test::randomSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  test::Random random(seed);
  SessionWatcher::Surroundings surroundings{
      .sessionsDirectory = sessions, .homes = {}, .files = files.access(), .processes = facts()};
  for (const Agent agent : allAgents) surroundings.homes.push_back(AgentHome::standard(agent, test::home));
  SessionWatcher other(std::move(surroundings));
  std::map<std::string, ObservedSession> known;
  int partial = 0;
  for (int step = 0; step < test::generatedCases(500); ++step) {
    const double at = 200 + 2 * step;
    std::vector<std::string> changed;
    for (std::size_t changes = random.below(3); changes > 0; --changes) {
      const std::string id(1, static_cast<char>('a' + random.below(6)));
      const auto pid = static_cast<std::int32_t>(18 + random.below(3));
      switch (random.below(8)) {
        case 0:
          files.remove(sessions + "/" + id + ".json", at);
          changed.push_back(id + ".json");
          break;
        case 1:
          if (processes.erase(pid) == 0) addProcess(pid, "agent");
          watcher->processEnded(pid);
          other.processEnded(pid);
          break;
        case 2:
          files.write("/Users/dev/.claude/sessions/" + std::to_string(pid) + ".json",
                      claudeStatus(pid, id, random.flip() ? "busy" : "idle", static_cast<int>(at)), at);
          break;
        default:
          save(id, random.flip() ? Agent::claude : Agent::codex, allSessionStates[random.below(3)], at, pid);
          changed.push_back(id + ".json");
      }
    }
    const bool isNamed = random.flip();
    const Date now = dateFromSeconds(at + 1);
    const SessionWatcher::Look look =
        other.lookForChanges(now, isNamed ? std::optional(changed) : std::nullopt);
    last = isNamed ? watcher->look(now, changed) : watcher->look(now);
    if (look.isWhole) known.clear();
    partial += look.isWhole ? 0 : 1;
    const auto keyOf = [](const ObservedSession& session) {
      return std::string(rawValue(session.record->agent)) + "/" + session.record->sessionId;
    };
    for (const ObservedSession& session : look.sessions) known.insert_or_assign(keyOf(session), session);
    std::map<std::string, ObservedSession> all;
    for (const ObservedSession& session : last.sessions) all.emplace(keyOf(session), session);
    ASSERT_EQ(known, all) << "step " << step;
    ASSERT_EQ(other.sessions(), last.sessions) << "step " << step;
    ASSERT_EQ(look.next, last.next) << "step " << step;
  }
  EXPECT_GT(partial, 0);
}

}  // namespace
}  // namespace tavrin
