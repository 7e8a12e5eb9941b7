#include "TavrinCore/Hook/HookLog.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include "TavrinCore/Support/File.hpp"
#include "tests/support/HomeVariable.hpp"
#include "tests/support/Restrictions.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;

constexpr std::string_view stamp = "2025-01-31T09:15:02Z ";

// A log at this place, with a clock that stands still.
HookLog logAt(const fs::path& path) {
  return HookLog(path.string(), [] { return dateFromSeconds(1'738'314'902); });
}

std::string lineOf(std::string_view message) {
  return std::string(stamp) + std::string(message) + "\n";
}

mode_t permissionsOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

// Runs `body` in a child process and waits for its end.
void inChild(const std::function<void()>& body) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    body();
    ::_exit(0);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

// The same in a child that is not root, because permissions do not stop root.
void inChildWithoutPrivileges(const std::function<void()>& body) {
  inChild([&] {
    constexpr uid_t nobody = 65'534;
    if (::geteuid() == 0 && (::setgid(nobody) != 0 || ::setuid(nobody) != 0)) ::_exit(1);
    body();
  });
}

TEST(HookLog, ALinkInItsPlaceIsFollowed) {
  const test::ScratchDirectory directory;
  writeFile(directory / "elsewhere/real.log", "before\n");
  fs::create_symlink(directory / "elsewhere/real.log", directory / "hook.log");
  logAt(directory / "hook.log").write("after");
  EXPECT_TRUE(fs::is_symlink(directory / "hook.log"));
  EXPECT_EQ(readFile(directory / "elsewhere/real.log"), "before\n" + lineOf("after"));
}

TEST(HookLog, LiesUnderTheHomeDirectory) {
  EXPECT_EQ(HookLog::defaultURL("/Users/dev"), "/Users/dev/Library/Logs/Tavrin/hook.log");
  EXPECT_EQ(HookLog("/a/b.log").url(), "/a/b.log");

  const test::HomeVariable variable("/Users/somebody");
  EXPECT_EQ(HookLog::defaultURL(), "/Users/somebody/Library/Logs/Tavrin/hook.log");
  EXPECT_EQ(HookLog().url(), "/Users/somebody/Library/Logs/Tavrin/hook.log");
}

TEST(HookLog, ALineIsTimeSpaceMessageAndLineFeed) {
  const test::ScratchDirectory directory;
  logAt(directory / "hook.log").write("claude 3f2a9c1d Stop  \u2192 idle");
  EXPECT_EQ(readFile(directory / "hook.log"), "2025-01-31T09:15:02Z claude 3f2a9c1d Stop  \u2192 idle\n");
}

TEST(HookLog, EachLineHasTheTimeOfItsWritingInWholeSecondsOfUtc) {
  const test::ScratchDirectory directory;
  double seconds = -0.75;
  int asked = 0;
  const HookLog log((directory / "hook.log").string(), [&] {
    ++asked;
    return dateFromSeconds(seconds);
  });
  EXPECT_EQ(asked, 0);
  log.write("a");
  EXPECT_EQ(asked, 1);
  seconds = 951'782'399.999;
  log.write("b");
  seconds = 1e300;
  log.write("c");
  EXPECT_EQ(readFile(directory / "hook.log"),
            "1969-12-31T23:59:59Z a\n2000-02-28T23:59:59Z b\n32767-12-31T23:59:59Z c\n");
}

TEST(HookLog, TheClockIsTheSystemsByDefault) {
  const test::ScratchDirectory directory;
  const Date before = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  HookLog((directory / "hook.log").string()).write("x");
  const Date after = std::chrono::system_clock::now();
  const std::string line = readFile(directory / "hook.log");
  const auto written = Iso8601::parse(line);
  ASSERT_TRUE(written.has_value()) << line;
  EXPECT_LE(before, *written);
  EXPECT_LE(*written, after);
  EXPECT_EQ(line.substr(20), " x\n");
}

TEST(HookLog, LinesFollowOneAnother) {
  const test::ScratchDirectory directory;
  writeFile(directory / "hook.log", "what was there");
  for (const char* const message : {"one", "", "two\nlines", " "})
    logAt(directory / "hook.log").write(message);
  EXPECT_EQ(readFile(directory / "hook.log"),
            "what was there" + lineOf("one") + lineOf("") + lineOf("two\nlines") + lineOf(" "));
}

TEST(HookLog, AMessageIsCutAtItsFirstZeroByteLineFeedAndAll) {
  const test::ScratchDirectory directory;
  const HookLog log = logAt(directory / "hook.log");
  log.write(std::string_view("a\0b\0c", 5));
  EXPECT_EQ(readFile(directory / "hook.log"), std::string(stamp) + "a");
  log.write(std::string_view("\0", 1));
  log.write("next");
  EXPECT_EQ(readFile(directory / "hook.log"), std::string(stamp) + "a" + std::string(stamp) + lineOf("next"));
}

TEST(HookLog, ALongMessageIsWhole) {
  const test::ScratchDirectory directory;
  const std::string message(3'000'000, 'm');
  logAt(directory / "hook.log").write(message);
  EXPECT_EQ(readFile(directory / "hook.log"), lineOf(message));
  EXPECT_FALSE(fs::exists(directory / "hook.1.log"));
}

TEST(HookLog, AMissingDirectoryIsMadeWithItsParents) {
  const test::ScratchDirectory directory;
  const fs::path log = directory / "Library/Logs/Tavrin/hook.log";
  const test::Umask mask(022);
  logAt(log).write("a");
  logAt(log).write("b");
  EXPECT_EQ(readFile(log), lineOf("a") + lineOf("b"));
  EXPECT_EQ(permissionsOf(log.parent_path()), 0755U);
}

TEST(HookLog, OnlyTheOwnerMayAccessANewLog) {
  for (const unsigned mask : {000U, 022U, 077U}) {
    const test::ScratchDirectory directory;
    const test::Umask narrowed(static_cast<mode_t>(mask));  // 16 bits on macOS
    logAt(directory / "hook.log").write("a");
    EXPECT_EQ(permissionsOf(directory / "hook.log"), 0600U) << mask;
    fs::resize_file(directory / "hook.log", 1'000'001);
    logAt(directory / "hook.log").write("b");
    EXPECT_EQ(permissionsOf(directory / "hook.log"), 0600U) << mask;
  }
}

TEST(HookLog, AnExistingLogKeepsItsPermissions) {
  const test::ScratchDirectory directory;
  writeFile(directory / "hook.log", "");
  ASSERT_EQ(::chmod((directory / "hook.log").c_str(), 0644), 0);
  logAt(directory / "hook.log").write("a");
  EXPECT_EQ(permissionsOf(directory / "hook.log"), 0644U);
}

TEST(HookLog, ALogOfAMillionBytesIsAppendedTo) {
  const test::ScratchDirectory directory;
  const std::string full(1'000'000, 'x');
  writeFile(directory / "hook.log", full);
  writeFile(directory / "hook.1.log", "older");
  logAt(directory / "hook.log").write("last");
  EXPECT_EQ(readFile(directory / "hook.log"), full + lineOf("last"));
  EXPECT_EQ(readFile(directory / "hook.1.log"), "older");
}

TEST(HookLog, ALogOfOneByteMoreIsMovedAsideAndReplacesTheOlderOne) {
  const test::ScratchDirectory directory;
  const std::string full(1'000'001, 'x');
  writeFile(directory / "hook.log", full);
  writeFile(directory / "hook.1.log", "older");
  logAt(directory / "hook.log").write("first");
  EXPECT_EQ(readFile(directory / "hook.log"), lineOf("first"));
  EXPECT_EQ(readFile(directory / "hook.1.log"), full);
  logAt(directory / "hook.log").write("second");
  EXPECT_EQ(readFile(directory / "hook.log"), lineOf("first") + lineOf("second"));
  EXPECT_EQ(readFile(directory / "hook.1.log"), full);
}

TEST(HookLog, TheFirstRotationNeedsNoOlderLog) {
  const test::ScratchDirectory directory;
  const std::string full(1'000'001, 'x');
  writeFile(directory / "hook.log", full);
  logAt(directory / "hook.log").write("first");
  EXPECT_EQ(readFile(directory / "hook.log"), lineOf("first"));
  EXPECT_EQ(readFile(directory / "hook.1.log"), full);
}

TEST(HookLog, ManyLinesStayInTwoGenerationsWithoutALineSplitOrLost) {
  const test::ScratchDirectory directory;
  const HookLog log = logAt(directory / "hook.log");
  std::string all;
  for (int i = 0; i < 300; ++i) {
    const std::string message = std::to_string(i) + std::string(10'000, 'x');
    log.write(message);
    all += lineOf(message);
  }
  const std::string kept = readFile(directory / "hook.1.log") + readFile(directory / "hook.log");
  EXPECT_TRUE(all.ends_with(kept));
  EXPECT_TRUE(kept.starts_with(stamp));
  // The log is rotated by the first line after the one that exceeded the limit.
  EXPECT_GT(fs::file_size(directory / "hook.1.log"), 1'000'000U);
  EXPECT_LT(fs::file_size(directory / "hook.1.log"), 1'010'100U);
  EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), {}), 2);
}

TEST(HookLog, TheOlderGenerationHasTheNameBeforeTheExtension) {
  for (const auto& [name, older] : {std::pair{"hook", "hook.1.log"},
                                    {"a.b.log", "a.b.1.log"},
                                    {"x.txt", "x.1.log"},
                                    {"a b.log", "a b.1.log"}}) {
    const test::ScratchDirectory directory;
    writeFile(directory / name, std::string(1'000'001, 'x'));
    logAt(directory / name).write("first");
    EXPECT_EQ(readFile(directory / name), lineOf("first")) << name;
    EXPECT_EQ(fs::file_size(directory / older), 1'000'001U) << name;
  }
}

TEST(HookLog, ALineIsKeptWhenTheOlderGenerationCannotBeReplaced) {
  const test::ScratchDirectory directory;
  writeFile(directory / "hook.log", std::string(1'000'001, 'x'));
  writeFile(directory / "hook.1.log/in the way", "");
  logAt(directory / "hook.log").write("line");
  EXPECT_TRUE(readFile(directory / "hook.log").ends_with(lineOf("line")));
}

TEST(HookLog, AnImpossibleLocationIsASilentNoOp) {
  const test::ScratchDirectory directory;
  writeFile(directory / "file", "content");
  fs::create_directories(directory / "folder/hook.log");
  fs::create_symlink("loop.log", directory / "loop.log");
  fs::create_symlink(directory / "nowhere/else", directory / "dangling.log");
  const fs::path tooLong = directory / std::string(300, 'n');
  int count = 0;
  for (const fs::path& path :
       {directory / "file/hook.log", directory / "file/sub/hook.log", directory / "folder/hook.log",
        directory / "loop.log", directory / "dangling.log", tooLong, tooLong / "hook.log", fs::path(""),
        fs::path("/proc/none/hook.log"), fs::path("/dev/full")}) {
    EXPECT_NO_THROW(logAt(path).write("lost")) << path;
    ++count;
  }
  EXPECT_EQ(count, 10);
  EXPECT_EQ(readFile(directory / "file"), "content");
  EXPECT_TRUE(fs::is_empty(directory / "folder/hook.log"));
  EXPECT_FALSE(fs::exists(directory / "nowhere"));
}

TEST(HookLog, AReadOnlyDirectoryIsASilentNoOp) {
  const test::ScratchDirectory directory;
  const fs::path parent = directory / "parent";
  fs::create_directories(parent);
  ASSERT_EQ(::chmod(directory.string().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(parent.c_str(), 0555), 0);
  inChildWithoutPrivileges([&] {
    logAt(parent / "hook.log").write("lost");
    logAt(parent / "sub/hook.log").write("lost");
  });
  EXPECT_TRUE(fs::is_empty(parent));
  // The same child can write where it is allowed to, so the permissions stopped it before.
  ASSERT_EQ(::chmod(parent.c_str(), 0777), 0);
  inChildWithoutPrivileges([&] { logAt(parent / "sub/hook.log").write("kept"); });
  EXPECT_EQ(readFile(parent / "sub/hook.log"), lineOf("kept"));
}

TEST(HookLog, AReadOnlyLogIsASilentNoOp) {
  const test::ScratchDirectory directory;
  ASSERT_EQ(::chmod(directory.string().c_str(), 0755), 0);
  writeFile(directory / "hook.log", "what was there");
  ASSERT_EQ(::chmod((directory / "hook.log").c_str(), 0444), 0);
  inChildWithoutPrivileges([&] { logAt(directory / "hook.log").write("lost"); });
  EXPECT_EQ(readFile(directory / "hook.log"), "what was there");
}

TEST(HookLog, AFullLogInAReadOnlyDirectoryGrowsOn) {
  const test::ScratchDirectory directory;
  const std::string full(1'000'001, 'x');
  writeFile(directory / "parent/hook.log", full);
  ASSERT_EQ(::chmod(directory.string().c_str(), 0755), 0);
  ASSERT_EQ(::chmod((directory / "parent/hook.log").c_str(), 0666), 0);
  ASSERT_EQ(::chmod((directory / "parent").c_str(), 0555), 0);
  inChildWithoutPrivileges([&] { logAt(directory / "parent/hook.log").write("line"); });
  EXPECT_EQ(readFile(directory / "parent/hook.log"), full + lineOf("line"));
}

TEST(HookLog, AtALimitOfFileSizesTheRestOfALineIsLost) {
  const test::ScratchDirectory directory;
  const fs::path path = directory / "hook.log";
  inChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{.rlim_cur = 30, .rlim_max = 30};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) ::_exit(1);
    logAt(path).write("a line of some length");
    logAt(path).write("lost");
  });
  EXPECT_EQ(readFile(path), lineOf("a line of some length").substr(0, 30));
}

TEST(HookLog, ANamedPipeInItsPlaceCostsTheLineAndNoTime) {
  const test::ScratchDirectory directory;
  const fs::path path = directory / "hook.log";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  logAt(path).write("lost");
  EXPECT_TRUE(fs::is_fifo(path));

  // A reader that has stopped reading does not block the writer either.
  const FileDescriptor reader = FileDescriptor::open(path, O_RDONLY | O_NONBLOCK);
  const FileDescriptor writer = FileDescriptor::open(path, O_WRONLY | O_NONBLOCK);
  ASSERT_TRUE(writer.isOpen());
  const std::string filling(65'536, 'x');
  while (File::write(writer.number(), filling) > 0) {
  }
  logAt(path).write("lost");
}

TEST(HookLog, LeavesNoDescriptorOpen) {
  const test::ScratchDirectory directory;
  const auto openDescriptors = [] { return std::distance(fs::directory_iterator("/dev/fd"), {}); };
  const auto before = openDescriptors();
  logAt(directory / "sub/hook.log").write("a");
  fs::resize_file(directory / "sub/hook.log", 1'000'001);
  logAt(directory / "sub/hook.log").write("b");
  logAt(directory / "sub").write("lost");
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace tavrin
