// A record on a full file system. The test mounts one of 64 KiB in its own mount namespace, which disappears
// with its processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

// Mounts the file system over the library, handles an event, fills all but some pages and some files, handles
// a second event, makes room again, and handles a third. Copies the state after each step to where the test
// finds it, and lets the output of the runs through.
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

using Words = std::vector<std::string>;
const Subprocess::Environment systemPath = {{"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"}};

// The words before a command that give it a mount namespace in which it may mount. Empty if no known way to
// mount a file system works for this user.
Words wordsThatAllowMounting() {
  for (const Words& words :
       {Words{"/usr/bin/env", "unshare", "-rm"}, Words{"/usr/bin/env", "unshare", "-m"}}) {
    Words command = words;
    for (const char* word : {"mount", "-t", "tmpfs", "-o", "size=64k", "none", "/mnt"})
      command.emplace_back(word);
    if (test::run(command, "", systemPath).exitStatus == 0) return words;
  }
  return {};
}

class FullDisk : public testing::Test {
 protected:
  void SetUp() override {
    unshare_ = wordsThatAllowMounting();
    if (unshare_.empty()) GTEST_SKIP() << "Left out: no file system can be mounted for a test here.";
  }

  // Leaves this many pages and files free.
  void run(int pages, int files, bool hasLog) {
    std::filesystem::remove_all(home.path() / "Library");
    std::filesystem::create_directory(home / "Library");
    for (int i = 0; i < 3; ++i)
      writeFile(home / ("event-" + std::to_string(i)), toolStart("s", "call-" + std::to_string(i)));
    Words words = unshare_;
    for (const std::string& word :
         {std::string("/bin/sh"), std::string("-c"), std::string(script), hookExecutable().string(),
          std::to_string(pages), std::to_string(files), std::string(hasLog ? "with" : "without")})
      words.push_back(word);
    EXPECT_EQ(test::run(words, "", {{"HOME", home.string()}, *systemPath.begin()}), silentSuccess);
  }

  std::string text(std::string_view name) const { return readFile(home / name); }
  std::vector<std::string> calls(std::string_view name) const {
    const std::optional<Session> session = Session::decode(text(name));
    return session ? session->inFlight : std::vector<std::string>{"no record"};
  }

  ScratchHome home{directoryInMemory()};

 private:
  Words unshare_;
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
        // The page that holds the log's last line has room.
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
