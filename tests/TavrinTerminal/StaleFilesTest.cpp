#include "TavrinTerminal/StaleFiles.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/TavrinTerminal/TestTerminal.hpp"

namespace tavrin::test {
namespace {

using Kind = StaleFile::Kind;
using std::chrono::hours;
using std::chrono::seconds;

class StaleFilesTest : public testing::Test, public TestTerminal {
 protected:
  // Saves a record that was last written 30 hours ago, and returns what is found of it.
  std::vector<StaleFile> foundOf(Session record) {
    record.updatedAt = record.stateSince = written;
    save(record);
    return StaleFiles::find(surroundings);
  }

  const Date written = testTime - hours(30);
};

TEST_F(StaleFilesTest, ARecordIsDeadWhenItsProcessIsAnotherOne) {
  const Session record = session("a", SessionState::idle);
  processes.bootedAt = written - hours(1);
  processes.processes[agentPid].startedAt = written + seconds(5);
  EXPECT_TRUE(foundOf(record).empty()) << "clocks may differ by 5 s";
  processes.processes[agentPid].startedAt = written + seconds(6);
  ASSERT_EQ(foundOf(record).size(), 1U);
  EXPECT_EQ(foundOf(record)[0].kind, Kind::deadRecord);
  EXPECT_TRUE(foundOf(record)[0].isOld);
}

TEST_F(StaleFilesTest, ARecordIsDeadWhenTheMachineWasStartedSince) {
  processes.processes[agentPid].startedAt = written - hours(1);
  processes.bootedAt = written + hours(1);
  EXPECT_EQ(foundOf(session("a", SessionState::idle)).size(), 1U);
  processes.bootedAt = written - hours(2);
  EXPECT_TRUE(foundOf(session("a", SessionState::idle)).empty());
}

TEST_F(StaleFilesTest, ARecordOfAnotherMachineIsLeftAlone) {
  Session record = session("a", SessionState::idle);
  record.agentPid = 999;
  EXPECT_EQ(foundOf(record).size(), 1U);
  record.cwd = "/does/not/exist/here";
  EXPECT_TRUE(foundOf(record).empty());
}

TEST_F(StaleFilesTest, FilesThatAreNoRecordsAreLeftAlone) {
  for (const char* name : {".a.json", "notes.txt", "x.tmp"}) writeFile(home.sessions() / name, "{");
  std::filesystem::create_directories(home.sessions() / "folder.json");
  std::filesystem::create_symlink("/etc/hostname", home.sessions() / "link.json");
  EXPECT_TRUE(StaleFiles::find(surroundings).empty());
}

TEST_F(StaleFilesTest, RemovesNothingThatIsUnreadableOrGone) {
  writeFile(home.sessions() / "broken.json", "{");
  const std::vector<StaleFile> broken = StaleFiles::find(surroundings);
  ASSERT_EQ(broken.size(), 1U);
  EXPECT_THAT(StaleFiles::remove(broken[0], surroundings), testing::StartsWith("it may be somebody"));
  EXPECT_TRUE(std::filesystem::exists(broken[0].path));

  Session record = session("a", SessionState::idle);
  record.agentPid = 999;
  std::filesystem::remove(broken[0].path);
  const std::vector<StaleFile> dead = foundOf(record);
  ASSERT_EQ(dead.size(), 1U);
  std::filesystem::remove(dead[0].path);
  EXPECT_EQ(StaleFiles::remove(dead[0], surroundings), "it is gone, or not yours");
}

}  // namespace
}  // namespace tavrin::test
