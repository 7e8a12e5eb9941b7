#include "TavrinCore/Monitor/FollowedFile.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "FakeFiles.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using Change = FollowedFile::Change;
using testing::ElementsAre;

// A followed file and the lines that it returned since the last restart.
class FollowedFileTest : public testing::Test {
 protected:
  Change look() {
    return file.look(files.access(), {.startsTurn = [](std::string_view line) { return line == "turn"; },
                                      .restart =
                                          [this] {
                                            lines.clear();
                                            ++restarts;
                                          },
                                      .take = [this](std::string_view line) { lines.emplace_back(line); }});
  }

  test::FakeFiles files;
  FollowedFile file{"/t"};
  std::vector<std::string> lines;
  int restarts = 0;
};

TEST_F(FollowedFileTest, HalfALineIsKeptUntilTheOtherHalfArrives) {
  files.write("/t", "one\ntw");
  EXPECT_EQ(look(), Change::started);
  EXPECT_THAT(lines, ElementsAre("one"));
  files.append("/t", "o\n\nthree", 2);
  EXPECT_EQ(look(), Change::grew);
  EXPECT_THAT(lines, ElementsAre("one", "two", ""));
  files.append("/t", "\n", 3);
  look();
  EXPECT_THAT(lines, ElementsAre("one", "two", "", "three"));
  EXPECT_EQ(restarts, 1);
}

TEST_F(FollowedFileTest, AFileThatDidNotChangeIsNotRead) {
  files.write("/t", "one\n");
  look();
  files.bytesRead = 0;
  EXPECT_EQ(look(), Change::none);
  EXPECT_EQ(files.bytesRead, 0U);
}

TEST_F(FollowedFileTest, AMissingFileHasNoLinesUntilItExists) {
  EXPECT_EQ(look(), Change::none);
  files.write("/t", "one\n");
  EXPECT_EQ(look(), Change::started);
  files.remove("/t");
  EXPECT_EQ(look(), Change::vanished);
  EXPECT_EQ(look(), Change::none);
  files.write("/t", "two\n");
  EXPECT_EQ(look(), Change::started);
  EXPECT_THAT(lines, ElementsAre("two"));
}

TEST_F(FollowedFileTest, AShorterFileStartsAnew) {
  files.write("/t", "one\ntwo\n");
  look();
  files.files["/t"].text = "one\n";
  files.files["/t"].modifiedAt = 2;
  EXPECT_EQ(look(), Change::replaced);
  EXPECT_THAT(lines, ElementsAre("one"));
}

TEST_F(FollowedFileTest, AnotherFileInItsPlaceStartsAnew) {
  files.write("/t", "one\n");
  look();
  files.write("/t", "one\ntwo\n", 2);
  EXPECT_EQ(look(), Change::replaced);
  EXPECT_THAT(lines, ElementsAre("one", "two"));
}

TEST_F(FollowedFileTest, AFileRewrittenInPlaceAndLongerStartsAnew) {
  files.write("/t", "one\n");
  look();
  files.files["/t"].text = "two\nthree\n";
  files.files["/t"].modifiedAt = 2;
  EXPECT_EQ(look(), Change::replaced);
  EXPECT_THAT(lines, ElementsAre("two", "three"));
}

TEST_F(FollowedFileTest, ALineOfOneMebibyteIsKeptAndALongerOneIsNot) {
  const std::string longest(FollowedFile::longestLine, 'x');
  files.write("/t", "turn\n" + longest + "\n" + longest + "x\nlast\n");
  look();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[1], longest);
  EXPECT_EQ(lines[2], "last");
}

TEST_F(FollowedFileTest, ALongLineThatArrivesInPiecesIsSkipped) {
  files.write("/t", "one\n");
  look();
  for (int piece = 0; piece < 12; ++piece) {
    files.append("/t", std::string(std::size_t{200} * 1024, 'y'), piece + 2);
    look();
  }
  files.append("/t", "\ntwo\n", 20);
  look();
  EXPECT_THAT(lines, ElementsAre("one", "two"));
}

TEST_F(FollowedFileTest, AHundredMebibytesCostTheirBytesOnceInPieces) {
  files.write("/t", "one\n");
  look();
  files.bytesRead = 0;
  const std::string line = std::string(1023, 'z') + "\n";
  std::string grown;
  constexpr std::size_t count = std::size_t{100} * 1024;
  for (std::size_t i = 0; i < count; ++i) grown += line;
  files.append("/t", grown);
  look();
  EXPECT_EQ(lines.size(), count + 1);
  EXPECT_LE(files.bytesRead, grown.size() + 64);
  EXPECT_LE(files.largestRead, FollowedFile::pieceSize);
}

std::string linesOf(std::size_t bytes) {
  std::string text;
  while (text.size() < bytes) text += std::string(99, 'a') + "\n";
  return text;
}

TEST_F(FollowedFileTest, OfALargeFileTheEndIsReadFromItsFirstWholeLine) {
  files.write("/t", linesOf(std::size_t{10} * 1024 * 1024) + "turn\nlast\n");
  look();
  EXPECT_EQ(lines.back(), "last");
  EXPECT_EQ(lines.front(), std::string(99, 'a'));
  std::size_t size = 0;
  for (const std::string& one : lines) size += one.size() + 1;
  EXPECT_LE(size, FollowedFile::firstTail);
  EXPECT_GT(size, FollowedFile::firstTail - 100);
  EXPECT_LE(files.bytesRead, 2 * FollowedFile::firstTail + 2);
}

TEST_F(FollowedFileTest, TheEndThatIsReadDoublesUntilATurnStarts) {
  files.write("/t", linesOf(std::size_t{10} * 1024 * 1024) + "turn\n" + linesOf(std::size_t{900} * 1024));
  look();
  EXPECT_THAT(lines, testing::Contains("turn"));
  std::size_t size = 0;
  for (const std::string& one : lines) size += one.size() + 1;
  EXPECT_LE(size, std::size_t{1024} * 1024);
}

TEST_F(FollowedFileTest, AtMostFourMebibytesOfTheEndAreRead) {
  files.write("/t", "turn\n" + linesOf(std::size_t{20} * 1024 * 1024));
  look();
  std::size_t size = 0;
  for (const std::string& one : lines) size += one.size() + 1;
  EXPECT_LE(size, FollowedFile::longestTail);
  EXPECT_GT(size, FollowedFile::longestTail - 200);
}

TEST_F(FollowedFileTest, AFileOfExactlyTheFirstEndIsReadWhole) {
  std::string text = linesOf(FollowedFile::firstTail - 100);
  text += std::string(FollowedFile::firstTail - text.size() - 1, 'b') + "\n";
  ASSERT_EQ(text.size(), FollowedFile::firstTail);
  files.write("/t", text);
  look();
  EXPECT_EQ(lines.front(), std::string(99, 'a'));
  EXPECT_EQ(files.bytesRead, FollowedFile::firstTail);
}

TEST_F(FollowedFileTest, AKnownOffsetIsWhereReadingStarts) {
  file = FollowedFile("/t", 4);
  files.write("/t", "one\ntwo\n");
  look();
  EXPECT_THAT(lines, ElementsAre("two"));
}

TEST_F(FollowedFileTest, AnOffsetWithinALineLeavesThatLineOut) {
  file = FollowedFile("/t", 2);
  files.write("/t", "one\ntwo\n");
  look();
  EXPECT_THAT(lines, ElementsAre("two"));
}

TEST_F(FollowedFileTest, AnOffsetBeyondTheEndIsOfAnotherFile) {
  file = FollowedFile("/t", 100);
  files.write("/t", "one\n");
  look();
  EXPECT_THAT(lines, ElementsAre("one"));
}

TEST_F(FollowedFileTest, AFolderInItsPlaceIsNoFile) {
  files.write("/t", "one\n");
  EXPECT_EQ(look(), Change::started);
  files.remove("/t");
  files.write("/t/x", "");
  EXPECT_EQ(look(), Change::vanished);
  EXPECT_EQ(look(), Change::none);
  EXPECT_EQ(file.modifiedAt(), Date());
}

TEST_F(FollowedFileTest, AFileThatCannotBeReadHasNoLinesYet) {
  MonitorFiles access = files.access();
  access.read = [](const std::string&, std::uint64_t, std::size_t) { return std::nullopt; };
  files.write("/t", "one\n");
  const auto none = [](std::string_view) { return false; };
  EXPECT_EQ(file.look(access, {.startsTurn = none, .restart = [] {}, .take = [](std::string_view) {}}),
            Change::started);
  files.append("/t", "two\n");
  look();
  EXPECT_THAT(lines, ElementsAre("one", "two"));
}

TEST(MonitorFilesOnDisk, ReadFilesOfEveryLengthAroundTheirBuffer) {
  const test::ScratchDirectory scratch;
  const std::string path = scratch.string() + "/a";
  const MonitorFiles files = MonitorFiles::ofThisSystem();
  for (const std::size_t size : {0U, 1U, 8191U, 8192U, 8193U, 16383U, 16384U, 16385U, 100'000U}) {
    std::string text;
    while (text.size() < size) text += std::to_string(text.size()) + " ";
    text.resize(size);
    std::ofstream(path) << text;
    EXPECT_EQ(files.read(path, 0, 1'000'000), text) << size;
    EXPECT_EQ(files.read(path, 0, size), text) << size;
    EXPECT_EQ(files.read(path, 3, 9'000), size < 3 ? "" : text.substr(3, 9'000)) << size;
    EXPECT_EQ(files.read(path, 0, 0), "") << size;
    const auto contents = files.contents(path, 1'000'000);
    ASSERT_TRUE(contents) << size;
    EXPECT_EQ(contents->text, text) << size;
    EXPECT_EQ(contents->status, files.status(path)) << size;
  }
}

TEST(MonitorFilesOnDisk, ReportStatusPiecesAndNames) {
  const test::ScratchDirectory scratch;
  const std::string path = scratch.string() + "/a";
  std::ofstream(path) << "hello";
  const MonitorFiles files = MonitorFiles::ofThisSystem();
  const auto status = files.status(path);
  ASSERT_TRUE(status);
  EXPECT_EQ(status->size, 5U);
  EXPECT_FALSE(status->isDirectory);
  EXPECT_TRUE(files.status(scratch.string())->isDirectory);
  EXPECT_EQ(files.status(path + "x"), std::nullopt);
  EXPECT_EQ(files.read(path, 1, 3), "ell");
  EXPECT_EQ(files.read(path, 4, 10), "o");
  EXPECT_EQ(files.read(path, 5, 10), "");
  EXPECT_EQ(files.read(path + "x", 0, 10), std::nullopt);
  EXPECT_THAT(files.list(scratch.string()), ElementsAre("a"));
  EXPECT_TRUE(files.list(path).empty());
  EXPECT_EQ(files.read(scratch.string(), 0, 10), std::nullopt);
  EXPECT_EQ(files.contents(path, 4)->text, "hell");
  EXPECT_FALSE(files.contents(path + "x", 10));
  EXPECT_FALSE(files.contents(scratch.string(), 10));
  std::filesystem::rename(path, path + "b");
  std::ofstream(path) << "hello";
  EXPECT_NE(files.status(path)->identity, status->identity);
}

// The kernel would cut the path at the zero byte and find another file.
TEST(MonitorFilesOnDisk, APathWithAZeroByteNamesNothing) {
  const test::ScratchDirectory scratch;
  const std::string path = scratch.string() + "/a";
  std::ofstream(path) << "hello";
  const MonitorFiles files = MonitorFiles::ofThisSystem();
  const std::string cut = path + std::string("\0b", 2);
  EXPECT_EQ(files.status(cut), std::nullopt);
  EXPECT_EQ(files.read(cut, 0, 10), std::nullopt);
  EXPECT_FALSE(files.contents(cut, 10));
  EXPECT_TRUE(files.list(scratch.string() + std::string("\0b", 2)).empty());
}

TEST(MonitorFilesOnDisk, APipeIsNotReadAndNotWaitedFor) {
  const test::ScratchDirectory scratch;
  const std::string path = scratch.string() + "/pipe";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  const MonitorFiles files = MonitorFiles::ofThisSystem();
  EXPECT_EQ(files.read(path, 0, 10), std::nullopt);
  EXPECT_FALSE(files.contents(path, 10));
}

}  // namespace
}  // namespace tavrin
