// Another program that writes the settings at the worst moment: when the new text is written beside them and
// does not have their name yet. This program's own fsync(2) is that moment.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>

#include "TavrinCore/Agents/SettingsFile.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace {

std::function<void()> atSync;

}  // namespace

// Takes the place of the system's. The library calls it for each file that it writes.
extern "C" int fsync(int) {
  if (atSync) atSync();
  return 0;
}

namespace tavrin {
namespace {

using Kind = SettingsFile::Outcome::Kind;
using testing::HasSubstr;

const std::string helper = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";

class SettingsRace : public testing::Test {
 protected:
  SettingsRace() { test::writeFile(path_, "{}"); }
  ~SettingsRace() override { atSync = nullptr; }

  // Writes the file anew the next `times` times.
  void write(int times) {
    atSync = [this, times, count = 0]() mutable {
      if (count == times) return;
      last_ = "{\"number\": " + std::to_string(++count) + "}";
      test::writeFile(path_, last_);
    };
  }

  test::ScratchHome home_;
  std::filesystem::path path_ = home_ / ".claude/settings.json";
  std::string last_;
  SettingsFile file_{AgentHome::standard(Agent::claude, home_.string()), home_ / "originals"};
};

TEST_F(SettingsRace, WhatAnotherProgramWritesInBetweenStays) {
  write(3);
  const SettingsFile::Outcome outcome = file_.connect(helper, AgentDefinition::claude);
  EXPECT_EQ(outcome.kind, Kind::changed);
  EXPECT_EQ(outcome.before, last_);
  EXPECT_THAT(test::readFile(path_), HasSubstr("\"number\": "));
  EXPECT_THAT(test::readFile(path_), HasSubstr(helper));
  atSync = nullptr;
  EXPECT_EQ(file_.disconnect().kind, Kind::changed);
  EXPECT_EQ(test::readFile(path_), last_);
}

TEST_F(SettingsRace, AProgramThatNeverStopsWritingWins) {
  write(-1);
  const SettingsFile::Outcome outcome = file_.connect(helper, AgentDefinition::claude);
  EXPECT_EQ(outcome.kind, Kind::failed);
  EXPECT_EQ(outcome.sentence,
            path_.string() + " was not changed: another program kept writing it. Try again.");
  EXPECT_EQ(test::readFile(path_), last_);
  EXPECT_EQ(test::names(home_ / ".claude"), std::vector<std::string>{"settings.json"});
}

TEST_F(SettingsRace, ADisconnectSeesWhatWasWrittenInBetween) {
  ASSERT_EQ(file_.connect(helper, AgentDefinition::claude).kind, Kind::changed);
  write(1);
  EXPECT_EQ(file_.disconnect().kind, Kind::unchanged);
  EXPECT_EQ(test::readFile(path_), last_);
}

}  // namespace
}  // namespace tavrin
