// Directories on file systems that do not report the kind of an entry (DT_UNKNOWN, readdir(3)) and do not
// count the folders in a folder as links, as on btrfs and APFS. This program's own readdir and statfs replace
// the C library's and hide both.
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#ifdef __linux__
#include <linux/magic.h>
#include <sys/vfs.h>
#endif

#include <filesystem>
#include <string>

#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "tests/support/Scratch.hpp"

namespace {

int kindsTaken = 0;

dirent* withoutKind(dirent* entry) {
  if (entry != nullptr) {
    entry->d_type = DT_UNKNOWN;
    ++kindsTaken;
  }
  return entry;
}

}  // namespace

extern "C" dirent* readdir(DIR* directory) {
  static const auto next = reinterpret_cast<dirent* (*)(DIR*)>(::dlsym(RTLD_NEXT, "readdir"));
  return withoutKind(next(directory));
}

#ifdef __linux__
extern "C" int statfs(const char* path, struct statfs* result) {
  static const auto real =
      reinterpret_cast<int (*)(const char*, struct statfs*)>(::dlsym(RTLD_NEXT, "statfs"));
  const int status = real(path, result);
  result->f_type = BTRFS_SUPER_MAGIC;
  return status;
}
#endif

namespace tavrin {
namespace {

TEST(UnknownEntryKinds, FoldersAreFoundByTheirStatus) {
  const test::ScratchDirectory directory;
  test::writeFile(directory / "one/two/local_s.json", R"({"sessionId":"local_s","title":"Found"})");
  kindsTaken = 0;
  EXPECT_EQ(ClaudeSessionTitles::resolve("s", directory.string()), "Found");
  EXPECT_GT(kindsTaken, 0) << "the search did not come through this program's readdir";
}

// An app that is used every day leaves thousands of files in a folder. A run that found no title went through
// up to 20,000 of them while others waited for it.
TEST(UnknownEntryKinds, TheHookVisitsFewFilesOfOthers) {
  const test::ScratchDirectory directory;
  const auto title = [&] {
    kindsTaken = 0;
    return ClaudeSessionTitles::resolve("s", directory.string(), ClaudeSessionTitles::mostEntriesInHook);
  };
  for (const std::string project : {"account/project", "account/second"}) {
    for (int i = 0; i < 1'000; ++i)
      test::writeFile(directory / (project + "/local_" + std::to_string(i) + ".json"), "");
  }
  EXPECT_EQ(title(), std::nullopt);
  EXPECT_LE(kindsTaken, 10) << "a folder of a thousand files was listed";
  for (const std::string project : {"account/project", "account/second"}) {
    const auto file = directory / (project + "/local_s.json");
    test::writeFile(file, R"({"sessionId":"local_s","title":"Found"})");
    EXPECT_EQ(title(), "Found");
    EXPECT_LE(kindsTaken, 10) << "a folder was listed before the other one was asked";
    std::filesystem::remove(file);
  }
}

TEST(UnknownEntryKinds, TheHookVisitsASetNumberOfEntries) {
  const test::ScratchDirectory directory;
  for (int i = 0; i < 300; ++i) test::writeFile(directory / ("f" + std::to_string(i) + "/x"), "");
  kindsTaken = 0;
  EXPECT_EQ(ClaudeSessionTitles::resolve("s", directory.string(), 100), std::nullopt);
  EXPECT_LE(kindsTaken, 102) << "\".\" and \"..\" come on top";
  kindsTaken = 0;
  EXPECT_EQ(ClaudeSessionTitles::resolve("s", directory.string()), std::nullopt);
  EXPECT_GT(kindsTaken, 600);
}

TEST(UnknownEntryKinds, AFileIsNotEntered) {
  const test::ScratchDirectory directory;
  test::writeFile(directory / "file", "text");
  EXPECT_EQ(ClaudeSessionTitles::resolve("s", directory.string()), std::nullopt);
}

}  // namespace
}  // namespace tavrin
