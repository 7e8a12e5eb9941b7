// Runs of the hook command that find the log full, killed at each of their system calls with strace(1).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <iostream>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

const std::string newLine = "claude s PreToolUse Bash#call-1 \u2192 working";

// System calls under the names that different machines use, and how many of them a run makes at least after
// it has begun to read its input.
struct Calls {
  std::string names;
  int fewest;
};
const std::vector<Calls> allCalls = {{"read", 3},
                                     {"?open,openat", 5},
                                     {"write", 2},
                                     {"close", 3},
                                     {"flock", 4},
                                     {"?fstat,?newfstatat,?statx", 1},
                                     {"?unlink,unlinkat", 1},
                                     {"?rename,?renameat,renameat2", 2},
                                     {"exit_group", 1}};

// A home whose log is full of numbered lines and has an older generation.
class FullLog : public SeededHome {
 public:
  FullLog() {
    for (int i = 0; full_.size() <= 1'000'000; ++i)
      full_ += "2025-01-31T09:15:02Z line " + std::to_string(i) + "\n";
  }

  // Restores everything to its first state.
  void reset() {
    writeFile(record(), oldText());
    writeFile(logFile(), full_);
    writeFile(previous(), "older\n");
    for (const std::string& name : temporaries(sessions())) std::filesystem::remove(sessions() / name);
  }

  // What a killed run may leave: the old or the new record, the full log exactly once and whole, in one of
  // its two places, and at most the new line in a new log.
  void expectOldOrNew() {
    const std::vector<std::string> calls = stored(*this, "s").value().inFlight;
    const bool isNew = readFile(record()) != oldText();
    EXPECT_EQ(calls,
              isNew ? (std::vector<std::string>{"call-0", "call-1"}) : std::vector<std::string>{"call-0"});
    const std::string log = textOf(logFile());
    const std::string older = textOf(previous());
    if (log == full_) {
      EXPECT_THAT(older, testing::AnyOf("", "older\n"));
    } else {
      EXPECT_TRUE(older == full_) << "the full log is gone";
      EXPECT_TRUE(log.empty() || logMessages() == newLine + "\n") << log;
      EXPECT_TRUE(isNew);
    }
  }

  // The next run's line is the last. It rotates the log if the killed run had not.
  void expectNextRunGoesOn() {
    const bool isRotated = textOf(logFile()) != full_;
    const std::string before = isRotated ? logMessages() : "";
    EXPECT_EQ(runHook(path(), toolStart("s", "next-1")), silentSuccess);
    EXPECT_EQ(stored(*this, "s").value().inFlight.back(), "next-1");
    EXPECT_EQ(logMessages(), before + "claude s PreToolUse Bash#next-1 \u2192 working\n");
    EXPECT_TRUE(textOf(previous()) == full_) << "the full log is gone";
  }

 private:
  std::filesystem::path previous() const { return logFile().parent_path() / "hook.1.log"; }

  static std::string textOf(const std::filesystem::path& file) {
    return std::filesystem::exists(file) ? readFile(file) : "";
  }

  std::string full_;
};

Outcome runKilledAt(const ScratchHome& home, const std::string& names, int nth) {
  const std::string kill = "inject=" + names + ":signal=KILL:when=" + std::to_string(nth);
  return run({"/usr/bin/env", "strace", "-o", "/dev/null", "-e", kill, hookExecutable()},
             toolStart("s", "call-1"), {{"HOME", home.string()}, {"PATH", "/usr/local/bin:/usr/bin:/bin"}});
}

TEST(RotationKills, WhereverARunDiesTheFullLogStaysWholeInOneOfItsPlaces) {
  FullLog home;
  int kills = 0;
  for (const auto& [names, fewest] : allCalls) {
    int nth = 1;
    for (;; ++nth, ++kills) {
      SCOPED_TRACE(names + " " + std::to_string(nth));
      home.reset();
      const Outcome outcome = runKilledAt(home, names, nth);
      home.expectOldOrNew();
      home.expectNextRunGoesOn();
      if (outcome.signal != SIGKILL) {
        EXPECT_EQ(outcome, silentSuccess);
        break;
      }
    }
    EXPECT_GT(nth, fewest) << names;
  }
  EXPECT_GE(kills, 22);
  std::cout << "[   RUNS   ] " << kills << " killed\n";
}

}  // namespace
}  // namespace tavrin::test
