// What the real executable does if odd things are in the place of its files: it prints nothing, and the
// record is the old one or the new one.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <functional>

#include "TavrinCore/Support/File.hpp"
#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

const std::string updatedLine = "claude s PreToolUse Bash#call-1 \u2192 working";

void makeFifo(const fs::path& path) {
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0) << path;
}

// A home with one thing in it that is not as it should be.
struct BadPlace {
  std::string name;
  fs::path place;  // relative to the home directory; moved away, and back after the run
  std::function<void(const fs::path& place)> spoil;
  bool isHandled = true;  // whether the record is the new one
  bool isLogged = true;   // the log has its line
};

const fs::path sessions = "Library/Application Support/Tavrin/sessions";
const fs::path logs = "Library/Logs/Tavrin";

std::vector<BadPlace> badPlaces() {
  const auto file = [](const fs::path& place) { writeFile(place, "in the way"); };
  const auto directory = [](const fs::path& place) { fs::create_directory(place); };
  const auto fullDirectory = [](const fs::path& place) { writeFile(place / "kept", "kept"); };
  const auto linkTo = [](const fs::path& target) {
    return [target](const fs::path& place) { fs::create_symlink(target, place); };
  };
  return {
      {"the library is a file", "Library", file, false, false},
      {"the sessions are a file", sessions, file, false, true},
      {"the sessions are a link to nowhere", sessions, linkTo("nowhere"), false, true},
      {"the sessions are a link to themselves", sessions, linkTo("sessions"), false, true},
      {"the sessions are a pipe", sessions, makeFifo, false, true},
      {"the lock is a directory", sessions / ".s.lock", directory, false, true},
      {"the lock is a link to itself", sessions / ".s.lock", linkTo(".s.lock"), false, true},
      {"the lock is a pipe", sessions / ".s.lock", makeFifo, true, true},
      {"the lock is not empty", sessions / ".s.lock", file, true, true},
      {"the record is missing", sessions / "s.json", [](const fs::path& /*place*/) {}, true, true},
      {"the record is garbage", sessions / "s.json", file, true, true},
      {"the record is empty", sessions / "s.json", [](const fs::path& place) { writeFile(place, ""); }, true,
       true},
      {"the record is a pipe", sessions / "s.json", makeFifo, true, true},
      {"the record is a link to nowhere", sessions / "s.json", linkTo("nowhere"), true, true},
      {"the record is an empty directory", sessions / "s.json", directory, false, true},
      {"the record is a directory", sessions / "s.json", fullDirectory, false, true},
      {"the logs are a file", logs, file, true, false},
      {"the logs are a link to nowhere", logs, linkTo("nowhere"), true, false},
      {"the log is a directory", logs / "hook.log", directory, true, false},
      {"the log is a pipe that nobody reads", logs / "hook.log", makeFifo, true, false},
      {"the log is a full device", logs / "hook.log", linkTo("/dev/full"), true, false},
      {"the log is a link to itself", logs / "hook.log", linkTo("hook.log"), true, false},
      {"the log is full of garbage", logs / "hook.log",
       [](const fs::path& place) { writeFile(place, std::string(2'000'000, '\n')); }, true, true},
  };
}

TEST(BadPlaces, WithAnythingInAFilesPlaceTheRecordIsTheOldOrTheNewOne) {
  int cases = 0;
  for (const auto& [name, place, spoil, isHandled, isLogged] : badPlaces()) {
    SCOPED_TRACE(name);
    SeededHome home;
    const fs::path path = home.path() / place;
    const fs::path aside = home / "aside";
    fs::rename(path, aside);
    spoil(path);

    const std::string event = toolStart("s", "call-1");
    EXPECT_EQ(runHook(home.path(), event), silentSuccess);
    if (isLogged) {
      const auto line = isHandled ? testing::Matcher<std::string>(updatedLine) : errorLine(event.size());
      EXPECT_THAT(logLines(home).back(), line);
    }
    if (isHandled) {
      home.expectUpdated("call-1");
    } else {
      fs::remove_all(path);
      fs::rename(aside, path);
      home.expectUntouched();
    }
    if (!isLogged) fs::remove_all(home.path() / logs);
    home.expectNextEventWorks();
    ++cases;
  }
  EXPECT_EQ(cases, 23);
}

TEST(BadPlaces, TheSessionsMayLieBehindALink) {
  SeededHome home;
  fs::rename(home.sessions(), home / "elsewhere");
  fs::create_directory_symlink(home / "elsewhere", home.sessions());
  EXPECT_EQ(runHook(home.path(), toolStart("s", "call-1")), silentSuccess);
  home.expectUpdated("call-1");
  EXPECT_TRUE(fs::is_symlink(home.sessions()));
  home.expectNextEventWorks();
}

TEST(BadPlaces, ARecordBehindALinkIsReadAndTheLinkIsReplaced) {
  SeededHome home;
  fs::rename(home.record(), home / "elsewhere");
  fs::create_symlink(home / "elsewhere", home.record());
  EXPECT_EQ(runHook(home.path(), toolStart("s", "call-1")), silentSuccess);
  EXPECT_EQ(stored(home, "s").value().inFlight, (std::vector<std::string>{"call-0", "call-1"}));
  EXPECT_FALSE(fs::is_symlink(home.record()));
  EXPECT_EQ(readFile(home / "elsewhere"), home.oldText());
}

TEST(BadPlaces, AnIgnoredEventLeavesEvenADamagedRecordAsItIs) {
  SeededHome home;
  writeFile(home.record(), "damaged");
  EXPECT_EQ(runHook(home.path(), R"({"session_id":"s","hook_event_name":"PreCompact"})"), silentSuccess);
  EXPECT_EQ(readFile(home.record()), "damaged");
  EXPECT_THAT(home.newLogLines(), ElementsAre("claude s PreCompact  \u2192 ignored"));
}

TEST(BadPlaces, TheEndOfASessionWhoseRecordIsADirectoryIsLoggedAllTheSame) {
  SeededHome home;
  fs::remove(home.record());
  fs::create_directory(home.record());
  EXPECT_EQ(runHook(home.path(), R"({"session_id":"s","hook_event_name":"SessionEnd"})"), silentSuccess);
  EXPECT_THAT(home.newLogLines(), ElementsAre("claude s SessionEnd  \u2192 ended"));
  fs::remove_all(home.record());
  home.expectNextEventWorks();
}

TEST(BadPlaces, ALogThatIsAPipeWithAReaderThatDoesNotReadHoldsNobodyUp) {
  SeededHome home;
  fs::remove(home.logFile());
  makeFifo(home.logFile());
  const FileDescriptor reader = FileDescriptor::open(home.logFile(), O_RDWR | O_NONBLOCK);
  const std::string page(4096, 'x');
  while (File::write(reader.number(), page) > 0) {
  }
  EXPECT_EQ(runHook(home.path(), toolStart("s", "call-1")), silentSuccess);
  home.expectUpdated("call-1");
}

TEST(BadPlaces, AnOldLogThatCannotBeRemovedKeepsTheLogInUse) {
  SeededHome home;
  writeFile(home / "Library/Logs/Tavrin/hook.1.log/kept", "kept");
  writeFile(home.logFile(), std::string(1'000'001, '\n'));
  EXPECT_EQ(runHook(home.path(), toolStart("s", "call-1")), silentSuccess);
  EXPECT_EQ(readFile(home / "Library/Logs/Tavrin/hook.1.log/kept"), "kept");
  EXPECT_EQ(logLines(home).back(), updatedLine);
}

TEST(BadPlaces, APipeInThePlaceOfTheRepositorysMarkHoldsNobodyUp) {
  for (const bool hasWriter : {false, true}) {
    SCOPED_TRACE(hasWriter);
    SeededHome home;
    fs::create_directories(home / "work/src");
    makeFifo(home / "work/.git");
    const FileDescriptor writer =
        hasWriter ? FileDescriptor::open(home / "work/.git", O_RDWR | O_NONBLOCK) : FileDescriptor();
    EXPECT_EQ(runHook(home.path(), toolStart("s", "call-1", (home / "work/src").string())), silentSuccess);
    home.expectUpdated("call-1");
    EXPECT_EQ(stored(home, "s").value().repoRoot, (home / "work").string());
  }
}

TEST(BadPlaces, WorkingDirectoriesMayBeAnything) {
  for (const std::string cwd :
       {"relative", "/no/such/directory", "/proc/self/fd/0", "/dev/null", "//", "\n", "../../../..", "~"}) {
    SCOPED_TRACE(cwd.substr(0, 100));
    SeededHome home;
    EXPECT_EQ(runHook(home.path(), toolStart("s", "call-1", cwd)), silentSuccess);
    home.expectUpdated("call-1");
    EXPECT_EQ(stored(home, "s").value().cwd, cwd);
  }
}

TEST(BadPlaces, TranscriptsThatHaveNoSizeOrCannotBeAskedHoldNobodyUp) {
  SeededHome home;
  makeFifo(home / "pipe");
  int attention = 0;
  for (const std::string& path : {(home / "pipe").string(), home.string(), std::string("/no/such/file"),
                                  std::string(5000, 'x'), std::string("/dev/null")}) {
    const std::string event =
        R"({"session_id":"s","hook_event_name":"PermissionRequest","transcript_path":")";
    EXPECT_EQ(runHook(home.path(), event + path + "\"}"), silentSuccess);
    EXPECT_EQ(stored(home, "s").value().state, SessionState::needsYou) << path;
    EXPECT_EQ(runHook(home.path(), toolStart("s", "call-1")), silentSuccess);
    home.expectUpdated("call-1");
    ++attention;
  }
  EXPECT_EQ(attention, 5);
}

TEST(BadPlaces, AHomeThatIsMissingIsMade) {
  const ScratchDirectory scratch;
  std::string deep = scratch.string();
  while (deep.size() < PATH_MAX - 300) deep += "/" + std::string(20, 'd');
  for (const std::string& home : {scratch.string() + "/new", scratch.string() + "/a//b/./c/", deep}) {
    EXPECT_EQ(runHook(home, toolStart("s", "call-1")), silentSuccess);
    EXPECT_TRUE(fs::exists(fs::path(home) / sessions / "s.json")) << home;
    EXPECT_TRUE(fs::exists(fs::path(home) / logs / "hook.log")) << home;
  }
}

TEST(BadPlaces, AHomeInWhichNothingCanBeMadeCausesNoOutput) {
  const ScratchDirectory scratch;
  writeFile(scratch / "file", "in the way");
  fs::create_symlink("loop", scratch / "loop");
  for (const std::string& home :
       {scratch.string() + "/file", scratch.string() + "/file/home", scratch.string() + "/loop",
        scratch.string() + "/" + std::string(256, 'x'), scratch.string() + std::string(5000, 'x'),
        std::string("/proc"), std::string("/proc/self/fd"), std::string("/dev/null")}) {
    EXPECT_EQ(runHook(home, toolStart("s", "call-1")), silentSuccess) << home;
    EXPECT_EQ(runHook(home, "garbage"), silentSuccess) << home;
    EXPECT_EQ(runHook(home, R"({"session_id":"s","hook_event_name":"SessionEnd"})"), silentSuccess) << home;
  }
  EXPECT_EQ(readFile(scratch / "file"), "in the way");
}

TEST(BadPlaces, AHomeThatMayNotBeWrittenToIsBorneInSilence) {
  SeededHome home;
  fs::copy_file(hookExecutable(), home / "hook");
  fs::copy_file(confined(), home / "confined");
  // Permissions do not stop the superuser.
  std::vector<std::string> words = {home / "confined", home / "hook"};
  if (::geteuid() == 0) words.insert(words.begin() + 1, "user=65534");
  fs::permissions(home.path(), fs::perms(0755));
  fs::permissions(home.sessions(), fs::perms(0555));
  EXPECT_EQ(run(words, toolStart("s", "call-1"), {{"HOME", home.string()}}), silentSuccess);
  EXPECT_EQ(run(words, toolStart("new", "call-1"), {{"HOME", home.string()}}), silentSuccess);
  EXPECT_EQ(run(words, R"({"session_id":"s","hook_event_name":"SessionEnd"})", {{"HOME", home.string()}}),
            silentSuccess);
  fs::permissions(home.sessions(), fs::perms(0755));
  home.expectUntouched();
  EXPECT_FALSE(fs::exists(home.sessionFile("new")));
  home.expectNextEventWorks();
}

TEST(BadPlaces, AnIdThatMakesTooLongAFileNameIsAnError) {
  SeededHome home;
  const auto line = [](std::size_t idLength) {
    return errorLine(toolStart(std::string(idLength, 'x'), "call-1").size());
  };
  // The lock's name is the longest: the id and six more bytes. A file name has at most 255 bytes.
  EXPECT_EQ(runHook(home.path(), toolStart(std::string(249, 'x'), "call-1")), silentSuccess);
  EXPECT_THAT(home.newLogLines(), ElementsAre("claude xxxxxxxx PreToolUse Bash#call-1 \u2192 working"));
  EXPECT_EQ(stored(home, std::string(249, 'x')).value().inFlight, std::vector<std::string>{"call-1"});
  for (const std::size_t length : {250U, 300U, 5000U, 900'000U}) {
    EXPECT_EQ(runHook(home.path(), toolStart(std::string(length, 'x'), "call-1")), silentSuccess) << length;
    EXPECT_THAT(home.newLogLines(), ElementsAre(line(length))) << length;
  }
  home.expectUntouched();
  home.expectNextEventWorks();
}

}  // namespace
}  // namespace tavrin::test
