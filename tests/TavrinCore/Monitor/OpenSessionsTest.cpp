#include "TavrinCore/Monitor/OpenSessions.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Watching.hpp"

namespace tavrin {
namespace {

using enum SessionState;
using test::claudeStatus;
using test::day;
using test::later;
using test::lockFolder;
using test::lockOf;
using test::sessions;
using test::thread;
using test::Watching;
using testing::Contains;

const std::string first(thread);
const std::string second(later);
const std::string third = "01a20056-7c97-7890-932d-c7bd65f0f20c";

TEST_F(Watching, CodexsLockOpensASession) {
  const std::string lock = lockOf(thread);
  files.write(lock, "", 100);
  // The client makes the file before it locks it.
  EXPECT_EQ(stateOf(std::string(thread), 100), std::nullopt);
  ASSERT_TRUE(last.next);
  locks[lock] = 18;
  EXPECT_EQ(stateOf(std::string(thread), secondsOf(*last.next)), idle);
  processes.erase(18);
  watcher->processEnded(18);
  EXPECT_EQ(stateOf(std::string(thread), 102), std::nullopt);
}

TEST_F(Watching, TheNewestLockOfAClientIsWhatItShows) {
  save(std::string(thread), Agent::codex, idle, 100);
  for (const auto& [id, at] : {std::pair(thread, 100.0), std::pair(later, 105.0)}) {
    files.write(lockOf(id), "", at);
    locks[lockOf(id)] = 18;
  }
  EXPECT_EQ(stateOf(std::string(thread), 110), std::nullopt);
  EXPECT_EQ(stateOf(std::string(later), 110), idle);
}

TEST_F(Watching, CopilotsHoldFileOpensAndClosesASession) {
  const std::string hold = "/Users/dev/.copilot/session-state/c/inuse.34.hold";
  addProcess(34, "copilot", 18);
  files.write(hold, "", 100);
  EXPECT_EQ(stateOf("c", 101), idle);
  EXPECT_EQ(last.sessions.front().record->cwd, "/src/app");
  save("c", Agent::copilot, working, 102);
  EXPECT_EQ(stateOf("c", 103), working);
  files.remove(hold, 104);
  EXPECT_EQ(stateOf("c", 105), std::nullopt);
}

TEST_F(Watching, AStatusFileOfADeadProcessIsIgnored) {
  files.write("/Users/dev/.claude/sessions/77.json", claudeStatus(77, "a", "busy", 100), 100);
  EXPECT_EQ(stateOf("a", 110), std::nullopt);
  // A record whose process id now belongs to a later process does not count either.
  addProcess(77, "other", 1, 200);
  EXPECT_EQ(stateOf("a", 210), std::nullopt);
}

TEST_F(Watching, AStatusFileThatIsBeingWrittenKeepsItsLastMeaning) {
  save("a", Agent::claude, needsYou, 100);
  files.write("/Users/dev/.claude/sessions/18.json", claudeStatus(18, "a", "busy", 101), 101);
  EXPECT_EQ(stateOf("a", 110), working);
  files.write("/Users/dev/.claude/sessions/18.json", "{\"pid\":1", 111);
  EXPECT_EQ(stateOf("a", 111), working);
  files.write("/Users/dev/.claude/sessions/18.json", claudeStatus(18, "a", "idle", 112), 112);
  EXPECT_EQ(stateOf("a", 113), idle);
}

TEST_F(Watching, OtherFilesBesideClaudesStatusFilesSayNothing) {
  const std::string folder = "/Users/dev/.claude/sessions/";
  for (const char* name : {"x.json", "18.txt", "19.json", "20.json", "21.json"})
    files.write(folder + name, claudeStatus(18, name, "busy", 100), 100);
  files.write(folder + "19.json", "{", 100);
  files.vanished.insert(folder + "20.json");
  files.unreadable.insert(folder + "21.json");
  for (const int pid : {19, 20, 21}) addProcess(pid, "claude");
  stateOf("", 101);
  EXPECT_TRUE(last.sessions.empty());
  files.unreadable.clear();
  EXPECT_EQ(stateOf("21.json", 102), working);
}

TEST_F(Watching, OfTwoProcessesWithOneSessionTheLaterOneCounts) {
  const std::string folder = "/Users/dev/.claude/sessions/";
  addProcess(19, "claude");
  files.write(folder + "18.json", claudeStatus(18, "a", "busy", 100), 100);
  files.write(folder + "19.json", claudeStatus(19, "a", "idle", 105), 105);
  EXPECT_EQ(stateOf("a", 110), idle);
  files.write(folder + "18.json", claudeStatus(18, "a", "waiting", 120), 120);
  EXPECT_EQ(stateOf("a", 121), needsYou);
}

TEST_F(Watching, GroksListIsBelievedUntilTheNextOneIsWhole) {
  const std::string list = "/Users/dev/.grok/active_sessions.json";
  addProcess(19, "grok", 1, 500);
  files.write(list,
              R"([{"session_id":"g","pid":18,"cwd":"/src/app","opened_at":"1970-01-01T00:01:00Z"},)"
              R"({"session_id":"old","pid":19,"cwd":"/src/app","opened_at":"1970-01-01T00:01:00Z"}])",
              100);
  EXPECT_EQ(stateOf("g", 600), idle);
  EXPECT_EQ(stateOf("old", 600), std::nullopt);  // a later process has that id
  files.write(list, "[{", 601);
  EXPECT_EQ(stateOf("g", 601), idle);
  files.unreadable.insert(list);
  files.write(list, "[]", 602);
  EXPECT_EQ(stateOf("g", 602), idle);
  files.unreadable.clear();
  EXPECT_EQ(stateOf("g", 603), std::nullopt);
}

TEST_F(Watching, CopilotsHoldFileOfAnEarlierProcessIsLeftOver) {
  const std::string folder = "/Users/dev/.copilot/session-state/";
  addProcess(34, "copilot", 18, 500);
  files.write(folder + "c/inuse.34.hold", "", 100);
  files.write(folder + "gone/inuse.18.hold", "", 100);
  files.vanished = {folder + "gone", folder + "gone/inuse.18.hold"};
  EXPECT_EQ(stateOf("c", 600), std::nullopt);
  EXPECT_TRUE(last.sessions.empty());
}

TEST_F(Watching, OnlyLockFilesWithAnIdAreLocks) {
  for (const std::string& name : {std::string(".coordination.lock"), first + ".txt", first + ".lock"}) {
    files.write(lockFolder + name, "", 100);
    locks[lockFolder + name] = 18;
  }
  files.vanished.insert(lockOf(first));
  stateOf("", 110);
  EXPECT_TRUE(last.sessions.empty());
}

TEST_F(Watching, AFreeLockIsAskedForAgainAfterSomeSeconds) {
  files.write(lockOf(first), "", 90);
  EXPECT_EQ(stateOf(first, 100), std::nullopt);
  locks[lockOf(first)] = 18;
  EXPECT_EQ(stateOf(first, 102), std::nullopt);
  EXPECT_EQ(stateOf(first, 105), idle);
  // Another client takes it over, which changes the file.
  addProcess(19, "codex");
  locks[lockOf(first)] = 19;
  files.append(lockOf(first), "x", 106);
  EXPECT_EQ(stateOf(first, 106), idle);
  EXPECT_THAT(last.processes, Contains(19));
  // The holder's id belongs to a process that started after it was asked for.
  addProcess(19, "other", 1, 200);
  locks.clear();
  EXPECT_EQ(stateOf(first, 210), std::nullopt);
}

TEST_F(Watching, AThreadWithoutATimeInItsIdHasNoRollout) {
  const std::string id = "01a20054-7c97-4890-932d-c7bd65f0f20a";
  files.write(lockOf(id), "", 100);
  locks[lockOf(id)] = 18;
  files.write(day + id + ".jsonl", "{}\n", 100);
  EXPECT_EQ(stateOf(id, 110), idle);
  EXPECT_THAT(last.files, testing::Not(Contains(testing::HasSubstr("/.codex/sessions/2026"))));
}

TEST_F(Watching, AThreadIsShownOnceItsRolloutSaysWhoseItIs) {
  files.write(lockOf(first), "", 100);
  locks[lockOf(first)] = 18;
  files.write(day + "a-note.txt", "", 100);
  files.write(day + first + ".jsonl", R"({"type":"session_meta")", 100);
  EXPECT_EQ(stateOf(first, 110), std::nullopt);
  EXPECT_LE(secondsOf(last.next.value()), 110.2);
  files.unreadable.insert(day + first + ".jsonl");
  EXPECT_EQ(stateOf(first, 111), std::nullopt);
  files.unreadable.clear();
  files.append(day + first + ".jsonl", ",\"payload\":{}}\n", 111);
  EXPECT_EQ(stateOf(first, 112), idle);
}

// Codex's daemon, which holds all locks, and its clients in terminals.
class Daemon : public Watching {
 protected:
  void SetUp() override {
    Watching::SetUp();
    addProcess(40, "codex", 1, 80, std::nullopt);
    arguments[40] = {"codex", "app-server", "--listen", "unix://"};
    addProcess(41, "bash", 1, 80);
    addProcess(42, "codex", 40, 80, std::nullopt);
  }
  void addClient(int pid, double startedAt) { addProcess(pid, "codex", 1, startedAt, "/dev/pts/1"); }
  void open(const std::string& id, double at) {
    files.write(lockOf(id), "", at);
    locks[lockOf(id)] = 40;
  }
  void end(int pid) {
    processes.erase(pid);
    watcher->processEnded(pid);
  }
};

TEST_F(Daemon, ASessionBelongsToTheClientThatStartedLastBeforeIt) {
  addClient(51, 90);
  addClient(50, 95);
  addProcess(52, "codex-helper", 50, 96, "/dev/pts/1");  // not a client: one started it
  open(first, 100);
  EXPECT_EQ(stateOf(first, 110), idle);
  addClient(53, 115);
  open(second, 120);
  EXPECT_EQ(stateOf(second, 125), idle);
  EXPECT_THAT(last.processes, testing::IsSupersetOf({50, 51, 53}));
  end(53);
  EXPECT_EQ(stateOf(second, 126), std::nullopt);
  EXPECT_EQ(stateOf(first, 126), idle);
  end(50);
  EXPECT_EQ(stateOf(first, 127), std::nullopt);
}

TEST_F(Daemon, TheOnlyClientShowsWhatWasOpenedLast) {
  addClient(49, 85);
  addClient(50, 90);
  open(first, 100);
  EXPECT_EQ(stateOf(first, 110), idle);
  end(49);
  EXPECT_EQ(stateOf(first, 111), idle);
  open(second, 120);
  for (const double at : {125.0, 126.0}) {
    EXPECT_EQ(stateOf(second, at), idle);
    EXPECT_EQ(stateOf(first, at), std::nullopt);
  }
  // A client that gets the id of an ended one is another client.
  end(50);
  addClient(50, 200);
  EXPECT_EQ(stateOf(second, 210), std::nullopt);
}

TEST_F(Daemon, ASessionOfOneOfSeveralClientsIsOpenWhileOneRuns) {
  addClient(50, 90);
  open(first, 100);
  EXPECT_EQ(stateOf(first, 105), idle);
  addClient(51, 106);
  open(second, 110);
  EXPECT_EQ(stateOf(second, 115), idle);
  // Both show a session, and nothing says which of them opened this one.
  open(third, 120);
  EXPECT_EQ(stateOf(third, 125), idle);
  end(50);
  EXPECT_EQ(stateOf(third, 126), idle);
  addClient(54, 130);
  end(51);
  EXPECT_EQ(stateOf(third, 135), std::nullopt);
}

TEST_F(Daemon, AClientDoesNotShowWhatWasOpenBeforeItStarted) {
  open(first, 100);
  addClient(50, 200);
  EXPECT_EQ(stateOf(first, 210), std::nullopt);
}

}  // namespace
}  // namespace tavrin
