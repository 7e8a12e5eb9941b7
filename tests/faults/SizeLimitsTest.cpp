// What happens to files that may not grow beyond a size, for every size in bytes: a record and a log, written
// by the real executable, and an agent's settings, written by the example that connects it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <iostream>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/faults/Stage.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {
namespace {

using testing::IsEmpty;

constexpr std::size_t margin = 64;

// The limits from 0 to `size` and beyond. In the small size, every `step`-th and all those near `size`.
std::vector<std::size_t> limitsAround(std::size_t size, std::size_t step) {
  constexpr std::size_t near = 20;
  std::vector<std::size_t> limits;
  for (std::size_t limit = 0; limit <= size + margin; ++limit) {
    const bool isNear = limit + near >= size && limit <= size + near;
    if (isFullSize() || isNear || limit % step == 0) limits.push_back(limit);
  }
  return limits;
}

Outcome runLimited(const Stage& stage, const Situation& situation, std::size_t limit) {
  return run({confined(), "fsize=" + std::to_string(limit), hookExecutable()}, stage.event(situation),
             {{"HOME", stage.string()}});
}

// A record of two kilobytes.
Situation largeRecord() {
  Session session = goodSession();
  for (int i = 1; i < 50; ++i) session.inFlight.push_back("toolu_" + std::to_string(100'000'000'000'000 + i));
  return Situation::with("a large record", session.encode());
}

TEST(SizeLimits, ARecordCutShortAtAnyByteLeavesTheOldOneOrTheNewOne) {
  Situation situation = largeRecord();
  std::erase_if(situation.files, [](const auto& file) { return file.first.ends_with(".log"); });
  Stage first;
  first.cleanRecord(situation);
  const std::size_t size = first.recordText().value().size();
  constexpr std::size_t step = 11;
  EXPECT_GE(size, 2048U);
  const std::vector<std::size_t> limits = limitsAround(size, step);
  EXPECT_GE(limits.size(), isFullSize() ? size + margin + 1 : size / step);
  std::atomic<std::size_t> kept = 0;
  inParallel<Stage>(limits.size(), [&](Stage& stage, std::size_t i) {
    SCOPED_TRACE(limits[i]);
    const Record& clean = stage.cleanRecord(situation);
    stage.set(situation.files);
    EXPECT_EQ(runLimited(stage, situation, limits[i]), silentSuccess);
    if (limits[i] < size) {
      EXPECT_EQ(stage.recordText(), stage.oldRecordText(situation));
      ++kept;
    } else {
      EXPECT_EQ(stage.record(), clean);
    }
    EXPECT_EQ(stage.newTemporaries(situation.files), 0U);
    EXPECT_LE(std::filesystem::file_size(stage.logFile()), limits[i]);
    stage.expectNextEventWorks();
  });
  EXPECT_GE(kept, size / step);
  EXPECT_GT(limits.size(), kept + 20);
  std::cout << "[   RUNS   ] " << limits.size() << " of a record of " << size << " bytes\n";
}

TEST(SizeLimits, ALogCutShortAtAnyByteCostsOnlyTheLine) {
  constexpr std::size_t logSize = 5000;
  Situation situation = largeRecord();
  for (auto& [name, text] : situation.files) {
    if (name.ends_with(".log")) text = std::string(logSize, '\n');
  }
  const std::size_t lineLength = stampLength + cleanLine(situation).size() + 1;
  const std::size_t count = lineLength + margin + 1;
  inParallel<Stage>(count, [&](Stage& stage, std::size_t i) {
    SCOPED_TRACE(logSize + i);
    const Record& clean = stage.cleanRecord(situation);
    stage.set(situation.files);
    EXPECT_EQ(runLimited(stage, situation, logSize + i), silentSuccess);
    EXPECT_EQ(stage.record(), clean);
    EXPECT_EQ(stage.newTemporaries(situation.files), 0U);
    const std::string line = readFile(stage.logFile()).substr(logSize);
    EXPECT_EQ(line.size(), std::min(i, lineLength));
    if (line.size() > stampLength) {
      EXPECT_TRUE(isStamped(line));
      EXPECT_TRUE((cleanLine(situation) + "\n").starts_with(line.substr(stampLength))) << line;
    }
    stage.expectNextEventWorks();
  });
  std::cout << "[   RUNS   ] " << count << " of a log\n";
}

// A home with settings of Claude Code, and runs of the example on it.
class SettingsHome : public ScratchHome {
 public:
  SettingsHome()
      : ScratchHome(directoryInMemory()), old_(readFile(dataDirectory() / "settings/claude-settings.json")) {
    restore();
    EXPECT_EQ(connect({TAVRIN_CONNECT_AGENT}), 0);
    connected_ = text();
  }

  const std::string& oldText() const { return old_; }
  const std::string& connectedText() const { return connected_; }
  std::string text() const { return readFile(settings()); }

  void restore() const {
    std::filesystem::remove_all(path() / ".claude");
    std::filesystem::remove_all(originals());
    writeFile(settings(), old_);
  }

  // Temporaries beside the settings and beside their original.
  std::size_t temporariesLeft() const {
    const bool hasOriginals = std::filesystem::exists(originals());
    return temporaries(path() / ".claude").size() + (hasOriginals ? temporaries(originals()).size() : 0);
  }

  // The exit status, or the status that a shell reports when a signal has ended it.
  int connect(std::vector<std::string> words) const {
    words.insert(words.end(), {"claude", "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook"});
    const Outcome outcome = run(words, "", {{"HOME", string()}});
    return outcome.signal == 0 ? outcome.exitStatus : 128 + outcome.signal;
  }

 private:
  std::filesystem::path settings() const { return path() / ".claude/settings.json"; }
  std::filesystem::path originals() const { return path() / "Library/Application Support/Tavrin/originals"; }

  std::string old_;
  std::string connected_;
};

TEST(SizeLimits, SettingsCutShortAtAnyByteAreTheOldOnesOrTheNewOnes) {
  constexpr std::size_t step = 41;
  const std::size_t size = SettingsHome().connectedText().size();
  const std::vector<std::size_t> limits = limitsAround(size, step);
  EXPECT_GE(limits.size(), isFullSize() ? size + margin + 1 : size / step);
  // The signal of the limit kills half of the runs. The others get an error instead.
  const std::string ignored = "ignored=" + std::to_string(SIGXFSZ);
  inParallel<SettingsHome>(limits.size(), [&](const SettingsHome& home, std::size_t i) {
    SCOPED_TRACE(limits[i]);
    const std::string limit = "fsize=" + std::to_string(limits[i]);
    const bool isEnough = limits[i] >= size;
    const bool isKilled = i % 2 == 0;
    home.restore();
    std::vector<std::string> words = {confined(), limit, TAVRIN_CONNECT_AGENT};
    if (!isKilled) words.insert(words.begin() + 1, ignored);
    const int failed = isKilled ? 128 + SIGXFSZ : 1;
    EXPECT_EQ(home.connect(words), isEnough ? 0 : failed);
    EXPECT_EQ(home.text(), isEnough ? home.connectedText() : home.oldText());
    EXPECT_EQ(home.temporariesLeft(), isKilled && !isEnough ? 1U : 0U);
    EXPECT_EQ(home.connect({TAVRIN_CONNECT_AGENT}), 0);
    EXPECT_EQ(home.text(), home.connectedText());
  });
  std::cout << "[   RUNS   ] " << limits.size() << " of settings of " << size << " bytes\n";
}

}  // namespace
}  // namespace tavrin::test
