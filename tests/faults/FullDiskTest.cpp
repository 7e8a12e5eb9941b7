// What becomes of a record on a file system that is full: one of the test's own, of 64 KiB, that is gone with
// the processes that see it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <iterator>
#include <sstream>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

// Mounts the file system over the library, handles an event, fills all but some pages and some files, handles
// another one, makes room again, and handles a third. What is there after each step is copied to where the
// test finds it, and what the runs print is printed.
constexpr const char* script = R"sh(
set -eu
hook=$0 pages=$1 files=$2 log=$3
mount -t tmpfs -o size=64k,nr_inodes=64 none "$HOME/Library"
sessions="$HOME/Library/Application Support/Tavrin/sessions"
"$hook" <"$HOME/event-0"
cp "$sessions/s.json" "$HOME/old"
if [ "$log" = without ]; then rm -r "$HOME/Library/Logs"; fi

mkdir "$HOME/Library/fill"
head -c 100000 /dev/zero >"$HOME/Library/fill/bytes" 2>/dev/null || true
truncate -s "-$((pages * 4096))" "$HOME/Library/fill/bytes"
i=0
while true >"$HOME/Library/fill/$i"; do i=$((i + 1)); done 2>/dev/null
while [ "$files" -gt 0 ]; do i=$((i - 1)) files=$((files - 1)); rm "$HOME/Library/fill/$i"; done

"$hook" <"$HOME/event-1"
cp "$sessions/s.json" "$HOME/new"
ls -A "$sessions" >"$HOME/names"
cp "$HOME/Library/Logs/Tavrin/hook.log" "$HOME/log" 2>/dev/null || true >"$HOME/log"
rm -r "$HOME/Library/fill"
"$hook" <"$HOME/event-2"
cp "$sessions/s.json" "$HOME/next"
)sh";

std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

class FullDisk : public testing::Test {
 protected:
  // Leaves so many pages and files free.
  void run(int pages, int files, bool hasLog) {
    std::filesystem::remove_all(home.path() / "Library");
    std::filesystem::create_directory(home / "Library");
    for (int i = 0; i < 3; ++i)
      writeFile(home / ("event-" + std::to_string(i)), toolStart("s", "call-" + std::to_string(i)));
    std::vector<std::string> words = wordsOf("/usr/bin/env " TAVRIN_UNSHARE);
    for (const std::string& word :
         {std::string("/bin/sh"), std::string("-c"), std::string(script), hookExecutable().string(),
          std::to_string(pages), std::to_string(files), std::string(hasLog ? "with" : "without")})
      words.push_back(word);
    EXPECT_EQ(test::run(words, "", {{"HOME", home.string()}, {"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"}}),
              silentSuccess);
  }

  std::string text(std::string_view name) const { return readFile(home / name); }
  std::vector<std::string> calls(std::string_view name) const {
    const std::optional<Session> session = Session::decode(text(name));
    return session ? session->inFlight : std::vector<std::string>{"no record"};
  }

  ScratchHome home{directoryInMemory()};
};

TEST_F(FullDisk, LeavesTheOldRecordOrTheNewOneAndIsForgottenWhenThereIsRoom) {
  int runs = 0;
  for (int pages = 0; pages <= 3; ++pages) {
    for (int files = 0; files <= 3; ++files) {
      for (const bool hasLog : {true, false}) {
        SCOPED_TRACE(std::to_string(pages) + " pages, " + std::to_string(files) + " files free, " +
                     (hasLog ? "with" : "without") + " a log");
        run(pages, files, hasLog);
        ++runs;
        // A record takes one page and, until it has replaced the old one, one file.
        const bool isKept = pages < 1 || files < 1;
        if (isKept) {
          EXPECT_EQ(text("new"), text("old"));
          EXPECT_THAT(calls("next"), ElementsAre("call-0", "call-2"));
        } else {
          EXPECT_THAT(calls("new"), ElementsAre("call-0", "call-1"));
          EXPECT_THAT(calls("next"), ElementsAre("call-0", "call-1", "call-2"));
        }
        EXPECT_THAT(text("names"), testing::Not(testing::HasSubstr(".tmp")));
        // There is room in the page that the log's last line lies in.
        const std::string line = isKept ? "error: " : "claude s PreToolUse Bash#call-1 ";
        if (hasLog) {
          EXPECT_THAT(text("log"), testing::HasSubstr("Z " + line));
          EXPECT_THAT(text("log"), EndsWith("\n"));
        }
      }
    }
  }
  EXPECT_EQ(runs, 32);
  std::cout << "[   RUNS   ] " << runs << " on a full file system\n";
}

}  // namespace
}  // namespace tavrin::test
