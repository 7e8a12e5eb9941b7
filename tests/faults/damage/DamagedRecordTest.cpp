// Records that are cut off or have a flipped bit. Each counts as missing, or as the record that it spells. In
// either case the next event is handled.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>

#include "tests/TavrinHook/HookRun.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/damage/DamagedRecord.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin::test {
namespace {

class DamagedRecord : public HookRun {
 protected:
  DamagedRecord() {
    std::filesystem::create_directories(home.sessions());
    writeFile(input, nextEvent());
  }

  // The tool call "next" begins.
  static std::string nextEvent() { return event("PreToolUse", R"("tool_name":"Bash","tool_use_id":"next")"); }

  // The record that the next event leaves, begun on a record or on none.
  Session afterNextEvent(const std::optional<Session>& record) const {
    Session session = record ? *record : usualRecord(SessionState::working);
    session.agent = Agent::claude;
    if (session.state != SessionState::working) session.stateSince = now;
    session.state = SessionState::working;
    session.needsYouTool.reset();
    session.attentionId.reset();
    session.attentionTranscriptOffset.reset();
    session.inFlight.emplace_back("next");
    session.waitingOn.clear();
    session.updatedAt = now;
    session.agentPid = 200;
    if (!session.hostPid) {
      session.hostPid = 100;
      session.hostBundleId = "com.apple.Terminal";
      session.tty = "/dev/ttys004";
    }
    if (session.cwd != "/Users/dev/app" || !session.repoRoot) {
      session.cwd = "/Users/dev/app";
      session.repoRoot = "/Users/dev/app";
      session.worktreeName.reset();
    }
    return session;
  }

  // Stores the damaged record in the place of whatever earlier runs left.
  void place(const Damage& damage) {
    for (const auto& entry : std::filesystem::directory_iterator(home.sessions()))
      std::filesystem::remove(entry.path());
    std::filesystem::remove(home.logFile());
    writeFile(home.sessionFile("s1"), damage.text);
  }

  // Whether the log holds only the line of the next event.
  bool hasLoggedIt() const { return home.logMessages() == "claude s1 PreToolUse Bash#next \u2192 working\n"; }

  const std::string input = home / "input";
};

TEST_F(DamagedRecord, CutOffAnywhereCountsAsMissing) {
  int cases = 0;
  forEachCut(wholeRecord().encode(), [&](const Damage& damage) {
    if (!isTried(damage.name, cases)) return;
    ++cases;
    EXPECT_FALSE(Session::decode(damage.text).has_value()) << damage.name;
  });
  EXPECT_EQ(cases, casesTried(2'048, 2'048));
  std::cout << "[   RUNS   ] " << cases << " lengths\n";
}

TEST_F(DamagedRecord, WithAFlippedBitDiffersInOneFieldOrCountsAsMissing) {
  int cases = 0;
  int records = 0;
  forEachFlip(wholeRecord().encode(), [&](const Damage& damage) {
    if (!isTried(damage.name, cases)) return;
    ++cases;
    const std::optional<Session> record = Session::decode(damage.text);
    if (!record) return;
    ++records;
    EXPECT_EQ(Session::decode(record->encode()), record) << damage.name;
    EXPECT_LE(fieldsThatDiffer(*record, wholeRecord()), 1) << damage.name;
  });
  EXPECT_EQ(cases, casesTried(16'384, 16'384));
  if (cases == 1) return;
  // Most bytes are inside texts, where flipping five or six of their bits makes another valid text.
  EXPECT_GT(records, cases / 2);
  EXPECT_LT(records, cases * 3 / 4);
  std::cout << "[   RUNS   ] " << cases << " bits, " << records << " of which spell another record\n";
}

// Calls `body` with all possible damage to the record. In the small size, with every `stride`-th case, and
// `part` is their number. An odd stride reaches every bit in turn.
template <class Body>
void forEachDamage(int stride, int part, const Body& body) {
  const std::string text = wholeRecord().encode();
  int number = 0;
  int cases = 0;
  const auto tryIt = [&](const Damage& damage) {
    if (!isTried(damage.name, number++, stride)) return;
    SCOPED_TRACE(damage.name);
    ++cases;
    body(damage);
  };
  forEachCut(text, tryIt);
  forEachFlip(text, tryIt);
  EXPECT_EQ(cases, casesTried(part, 18'432));
  std::cout << "[   RUNS   ] " << cases << " on damaged records\n";
}

TEST_F(DamagedRecord, IsMissingOrWhatItSpellsForTheNextEvent) {
  forEachDamage(9, 2'048, [&](const Damage& damage) {
    place(damage);
    const Session expected = afterNextEvent(stored());
    runOn(FileDescriptor::open(input, O_RDONLY).number());
    EXPECT_EQ(readFile(store().fileURL(expected.sessionId)), expected.encode());
    EXPECT_TRUE(hasLoggedIt());
  });
}

TEST_F(DamagedRecord, IsMissingOrWhatItSpellsForTheNextRun) {
  forEachDamage(129, 143, [&](const Damage& damage) {
    place(damage);
    const std::optional<Session> record = stored();
    EXPECT_EQ(runHook(home.path(), nextEvent()), silentSuccess);
    const std::optional<Session> after = stored(record ? record->sessionId : "s1");
    ASSERT_TRUE(after.has_value());
    EXPECT_EQ(after->state, SessionState::working);
    EXPECT_EQ(after->inFlight, afterNextEvent(record).inFlight);
    EXPECT_TRUE(hasLoggedIt());
  });
}

}  // namespace
}  // namespace tavrin::test
