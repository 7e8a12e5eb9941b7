// Directories on file systems that do not report the kind of an entry (DT_UNKNOWN, readdir(3)). This
// program's own readdir replaces the C library's and hides the kinds.
#include <dirent.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

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

namespace tavrin {
namespace {

TEST(UnknownEntryKinds, FoldersAreFoundByTheirStatus) {
  const test::ScratchDirectory directory;
  test::writeFile(directory / "one/two/local_s.json", R"({"sessionId":"local_s","title":"Found"})");
  kindsTaken = 0;
  EXPECT_EQ(ClaudeSessionTitles::resolve("s", directory.string()), "Found");
  EXPECT_GT(kindsTaken, 0) << "the search did not come through this program's readdir";
}

TEST(UnknownEntryKinds, AFileIsNotEntered) {
  const test::ScratchDirectory directory;
  test::writeFile(directory / "file", "text");
  EXPECT_EQ(ClaudeSessionTitles::resolve("s", directory.string()), std::nullopt);
}

}  // namespace
}  // namespace tavrin
