#include "TavrinCore/Monitor/SavedSessions.hpp"

#include <gtest/gtest.h>

#include "FakeFiles.hpp"
#include "TavrinCore/Monitor/DirectoryCache.hpp"

namespace tavrin {
namespace {

std::string record(const std::string& id) {
  Session session;
  session.sessionId = id;
  session.cwd = "/src";
  return session.encode();
}

// The names of the files that hold a record.
std::vector<std::string> namesOf(const SavedSessions& saved) {
  std::vector<std::string> names;
  for (const auto& [name, file] : saved.all())
    if (file.record) names.push_back(name);
  return names;
}

test::FakeFiles hundredRecords() {
  test::FakeFiles files;
  for (int i = 0; i < 100; ++i)
    files.write("/s/" + std::to_string(i) + ".json", record(std::to_string(i)), 5);
  return files;
}

TEST(SavedSessions, AreTheRecordsWithTheirFilesTimes) {
  test::FakeFiles files;
  files.write("/s/a.json", record("a"), 5);
  files.write("/s/.a.lock", "", 5);
  files.write("/s/.1.tmp", record("x"), 5);
  files.write("/s/b.json", "half a rec", 5);
  SavedSessions saved("/s");
  saved.look(files.access(), dateFromSeconds(100));
  ASSERT_EQ(namesOf(saved), std::vector<std::string>{"a.json"});
  const SavedSessions::Saved& file = saved.all().at("a.json");
  EXPECT_EQ((*file.record)->sessionId, "a");
  EXPECT_EQ(file.status.modifiedAt, dateFromSeconds(5));
}

TEST(SavedSessions, FoldersAndFilesThatCannotBeReadAreLeftOut) {
  test::FakeFiles files;
  files.write("/s/a.json", record("a"), 5);
  files.write("/s/folder.json/x", "", 5);
  files.write("/s/.json", record(".json"), 5);
  files.write("/s/broken.json", "{", 5);
  files.write("/s/gone.json", record("gone"), 5);
  files.write("/s/closed.json", record("closed"), 5);
  files.vanished = {"/s/gone.json"};
  files.unreadable = {"/s/closed.json"};
  SavedSessions saved("/s");
  // The second look finds what is broken unchanged.
  for (const double at : {5.5, 6.0}) {
    EXPECT_TRUE(saved.look(files.access(), dateFromSeconds(at)));
    EXPECT_EQ(namesOf(saved), (std::vector<std::string>{".json", "a.json"}));
  }
}

TEST(SavedSessions, AnUnchangedDirectoryCostsOneCall) {
  test::FakeFiles files = hundredRecords();
  SavedSessions saved("/s");
  saved.look(files.access(), dateFromSeconds(100));
  files.statuses = files.lists = 0;
  files.bytesRead = 0;
  saved.look(files.access(), dateFromSeconds(101));
  EXPECT_EQ(files.statuses, 1);
  EXPECT_EQ(files.lists, 0);
  EXPECT_EQ(saved.all().size(), 100U);
}

TEST(SavedSessions, ANewFileIsLookedUpOnce) {
  test::FakeFiles files = hundredRecords();
  SavedSessions saved("/s");
  saved.look(files.access(), dateFromSeconds(100));
  EXPECT_EQ(files.statuses, 1);  // of the directory
  EXPECT_EQ(files.wholes, 100);
}

TEST(SavedSessions, OnlyChangedRecordsAreReadAgain) {
  test::FakeFiles files = hundredRecords();
  SavedSessions saved("/s");
  saved.look(files.access(), dateFromSeconds(100));
  files.bytesRead = 0;
  files.write("/s/7.json", record("7"), 200);
  files.remove("/s/8.json", 200);
  saved.look(files.access(), dateFromSeconds(201));
  EXPECT_EQ(files.bytesRead, record("7").size());
  EXPECT_EQ(saved.all().size(), 99U);
  EXPECT_EQ(saved.all().at("7.json").status.modifiedAt, dateFromSeconds(200));
}

TEST(SavedSessions, AChangeWithinTheSameTickIsSeen) {
  test::FakeFiles files;
  files.write("/s/a.json", record("a"), 100);
  SavedSessions saved("/s");
  saved.look(files.access(), dateFromSeconds(100.01));
  files.write("/s/b.json", record("b"), 100);
  saved.look(files.access(), dateFromSeconds(100.02));
  EXPECT_EQ(saved.all().size(), 2U);
}

// A process that has run out of descriptors cannot read a file. When it can, the directory has not changed.
TEST(SavedSessions, AFileThatCouldNotBeReadIsReadAsSoonAsItCanBe) {
  test::FakeFiles files;
  files.write("/s/a.json", record("a"), 5);
  files.write("/s/b.json", record("b"), 5);
  files.unreadable = {"/s/a.json"};
  SavedSessions saved("/s");
  saved.look(files.access(), dateFromSeconds(100));
  EXPECT_EQ(namesOf(saved), std::vector<std::string>{"b.json"});
  files.unreadable.clear();
  EXPECT_TRUE(saved.look(files.access(), dateFromSeconds(101)));
  EXPECT_EQ(namesOf(saved), (std::vector<std::string>{"a.json", "b.json"}));
  EXPECT_FALSE(saved.look(files.access(), dateFromSeconds(102)));
}

TEST(SavedSessions, AMissingDirectoryHoldsNoSessions) {
  test::FakeFiles files;
  files.write("/s/a.json", record("a"), 5);
  SavedSessions saved("/s");
  saved.look(files.access(), dateFromSeconds(100));
  files.files.clear();
  files.directories.clear();
  saved.look(files.access(), dateFromSeconds(101));
  EXPECT_TRUE(saved.all().empty());
}

class NamedChanges : public testing::Test {
 protected:
  void SetUp() override {
    for (const std::string id : {"a", "b", "c"}) files.write("/s/" + id + ".json", record(id), 5);
    saved.look(files.access(), dateFromSeconds(100));
    files.statuses = files.lists = 0;
    files.bytesRead = 0;
  }
  std::vector<std::string> names() const { return namesOf(saved); }

  test::FakeFiles files;
  SavedSessions saved{"/s"};
};

TEST_F(NamedChanges, OnlyTheNamedFileIsAskedForAndRead) {
  files.write("/s/b.json", record("b"), 200);
  files.write("/s/c.json", record("c"), 200);
  EXPECT_TRUE(saved.lookAt({"b.json"}, files.access()));
  EXPECT_EQ(files.statuses, 1);
  EXPECT_EQ(files.lists, 0);
  EXPECT_EQ(files.bytesRead, record("b").size());
  EXPECT_EQ(saved.all().at("b.json").status.modifiedAt, dateFromSeconds(200));
  EXPECT_EQ(saved.all().at("c.json").status.modifiedAt, dateFromSeconds(5));
}

TEST_F(NamedChanges, AnUnknownNameIsANewRecordOrNothing) {
  files.write("/s/d.json", record("d"), 200);
  files.write("/s/folder.json/x", "", 200);
  files.write("/s/half.json", "{", 200);
  files.write("/s/e.txt", record("e"), 200);
  saved.lookAt({"d.json", "never.json", "folder.json", "half.json", "e.txt"}, files.access());
  EXPECT_EQ(names(), (std::vector<std::string>{"a.json", "b.json", "c.json", "d.json"}));
}

TEST_F(NamedChanges, ARemovedOrBrokenFileLosesItsRecord) {
  files.remove("/s/a.json", 200);
  files.write("/s/b.json", "{", 200);
  saved.lookAt({"a.json", "b.json"}, files.access());
  EXPECT_EQ(names(), std::vector<std::string>{"c.json"});
}

TEST_F(NamedChanges, AFileThatIsAsItWasIsNotRead) {
  saved.lookAt({"a.json"}, files.access());
  EXPECT_EQ(files.bytesRead, 0U);
  EXPECT_EQ(names().size(), 3U);
}

TEST_F(NamedChanges, TheNextLookFindsWhatNobodyNamed) {
  files.write("/s/b.json", record("b"), 200);
  files.write("/s/d.json", record("d"), 200);
  saved.lookAt({"b.json"}, files.access());
  EXPECT_TRUE(saved.look(files.access(), dateFromSeconds(300)));
  EXPECT_EQ(names().size(), 4U);
  // The time of the directory alone must not hide it: it may be that of the look before.
  files.write("/s/e.json", record("e"), 200);
  saved.lookAt({"b.json"}, files.access());
  saved.look(files.access(), dateFromSeconds(301));
  EXPECT_EQ(names().size(), 5U);
}

TEST_F(NamedChanges, WithoutNamesNothingIsLookedAt) {
  EXPECT_TRUE(saved.lookAt({}, files.access()));
  EXPECT_EQ(files.statuses + files.lists, 0);
  // Nothing hints that other files changed.
  EXPECT_FALSE(saved.look(files.access(), dateFromSeconds(300)));
  EXPECT_EQ(files.lists, 0);
}

TEST(SavedSessions, NamesAreNotEnoughBeforeTheDirectoryWasListed) {
  test::FakeFiles files;
  SavedSessions saved("/s");
  saved.look(files.access(), dateFromSeconds(1));
  files.write("/s/a.json", record("a"), 5);
  EXPECT_FALSE(saved.lookAt({"a.json"}, files.access()));
  EXPECT_TRUE(saved.all().empty());
}

TEST(DirectoryCache, AFileHasNoNames) {
  test::FakeFiles files;
  files.write("/d", "", 5);
  DirectoryCache cache;
  EXPECT_TRUE(cache.names("/d", files.access(), dateFromSeconds(100)).empty());
}

TEST(DirectoryCache, ListsAgainOnlyAfterAChange) {
  test::FakeFiles files;
  files.write("/d/a", "", 5);
  DirectoryCache cache;
  const MonitorFiles access = files.access();
  EXPECT_EQ(cache.names("/d", access, dateFromSeconds(100)), std::vector<std::string>{"a"});
  EXPECT_EQ(cache.names("/d", access, dateFromSeconds(101)), std::vector<std::string>{"a"});
  EXPECT_EQ(files.lists, 1);
  files.write("/d/b", "", 102);
  EXPECT_EQ(cache.names("/d", access, dateFromSeconds(102)).size(), 2U);
  EXPECT_EQ(files.lists, 2);
  EXPECT_TRUE(cache.names("/e", access, dateFromSeconds(103)).empty());
  cache.dropUnused();
  cache.dropUnused();
  cache.names("/d", access, dateFromSeconds(110));
  EXPECT_EQ(files.lists, 3);
}

TEST(DirectoryCache, SeesTheSecondOfTwoChangesWithinATick) {
  test::FakeFiles files;
  files.write("/d/a", "", 5);
  DirectoryCache cache;
  const MonitorFiles access = files.access();
  EXPECT_EQ(cache.names("/d", access, dateFromSeconds(5.5)).size(), 1U);
  files.write("/d/b", "", 5);
  EXPECT_EQ(cache.names("/d", access, dateFromSeconds(5.6)).size(), 2U);
}

}  // namespace
}  // namespace tavrin
