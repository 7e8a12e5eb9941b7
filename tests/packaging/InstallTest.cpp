// "make install" and "make uninstall", run in a scratch home.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/support/Restrictions.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;

const std::string stopEvent = R"({"session_id":"s","hook_event_name":"Stop"})";

Subprocess::Environment environmentOf(const fs::path& home) {
  const char* const path = std::getenv("PATH");
  return {{"HOME", home.string()}, {"PATH", path == nullptr ? "" : path}};
}

// Runs a target of the Makefile; the executable counts as built.
Outcome make(const fs::path& home, const std::string& target,
             const std::vector<std::string>& variables = {}) {
  const std::string root = dataDirectory().parent_path().parent_path().string();
  std::vector<std::string> words = {"/usr/bin/env", "make", "--no-print-directory", "-C", root};
  words.insert(words.end(), {"-o", "hook", "-o", "terminal", "HOOK=" + hookExecutable().string(), target});
  words.insert(words.end(), variables.begin(), variables.end());
  return run(words, "", environmentOf(home));
}

// Where the two scripts are.
fs::path scripts() {
  return dataDirectory().parent_path().parent_path() / "packaging";
}

Outcome success(const std::string& output) {
  return {.exitStatus = 0, .signal = 0, .output = output, .error = ""};
}

// Every file below `directory` with its content.
std::map<std::string, std::string> filesIn(const fs::path& directory) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    if (entry.is_regular_file())
      files[fs::relative(entry.path(), directory).string()] = readFile(entry.path());
  }
  return files;
}

std::vector<std::string> namesIn(const fs::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename());
  return names;
}

class Install : public testing::Test {
 protected:
  fs::path bin() const { return home.path() / "Library/Application Support/Tavrin/bin"; }
  fs::path installed() const { return bin() / "tavrin-hook"; }

  ScratchHome home;
};

TEST_F(Install, PutsTheExecutableWhereAgentsLookForItAndSaysSo) {
  const Umask strict(0077);
  EXPECT_EQ(make(home.path(), "install"), success("Installed " + installed().string() + "\n"));
  EXPECT_EQ(readFile(installed()), readFile(hookExecutable()));
  struct stat status = {};
  ASSERT_EQ(::stat(installed().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0755U);
  EXPECT_EQ(filesIn(home.path()).size(), 1U);

  EXPECT_EQ(run({installed().string()}, stopEvent, environmentOf(home.path())), silentSuccess);
  EXPECT_EQ(home.logMessages(), "claude s Stop  \u2192 idle\n");
}

// Written over in place, a program that is running cannot be replaced, or ends.
TEST_F(Install, ReplacesAnExecutableThatIsRunning) {
  writeFile(installed(), "an older one");
  ASSERT_EQ(make(home.path(), "install").exitStatus, 0);
  Subprocess running({installed().string()}, environmentOf(home.path()));
  running.write(stopEvent);
  running.waitUntilInputIsRead();
  EXPECT_EQ(make(home.path(), "install"), success("Installed " + installed().string() + "\n"));
  EXPECT_EQ(running.wait(), silentSuccess);
  EXPECT_EQ(home.logMessages(), "claude s Stop  \u2192 idle\n");
  EXPECT_THAT(namesIn(bin()), ElementsAre("tavrin-hook"));
}

TEST_F(Install, LeavesTheOldExecutableWhenTheNewOneCannotBeRead) {
  writeFile(installed(), "an older one");
  const Outcome outcome = make(home.path(), "install", {"HOOK=/nowhere/tavrin-hook"});
  EXPECT_NE(outcome.exitStatus, 0);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(readFile(installed()), "an older one");
  EXPECT_THAT(namesIn(bin()), ElementsAre("tavrin-hook"));
}

TEST_F(Install, TakesAnotherDirectoryAndOneInFrontOfIt) {
  const std::string staged = (home / "stage").string();
  const std::string place = staged + "/opt/Tavrin/bin/tavrin-hook";
  const std::vector<std::string> variables = {"BIN=/opt/Tavrin/bin", "DESTDIR=" + staged};
  EXPECT_EQ(make(home.path(), "install", variables), success("Installed " + place + "\n"));
  EXPECT_EQ(run({place}, stopEvent, environmentOf(home.path())), silentSuccess);
  const Outcome outcome = make(home.path(), "uninstall", variables);
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_THAT(outcome.output, HasSubstr("Removed " + place + "\n"));
  EXPECT_THAT(namesIn(home / "stage/opt"), ElementsAre());
}

TEST_F(Install, WarnsOfAPlaceByWhichItsEntriesAreNotRecognised) {
  const std::string warning = "does not end in " + std::string(HookSettings::marker);
  EXPECT_THAT(make(home.path(), "install", {"BIN=" + (home / "bin").string()}).output, HasSubstr(warning));
  EXPECT_THAT(make(home.path(), "install").output, Not(HasSubstr(warning)));
}

TEST_F(Install, UninstallRemovesTheExecutableAloneAndNamesTheSettingsThatStillRunIt) {
  ASSERT_EQ(make(home.path(), "install").exitStatus, 0);
  ASSERT_EQ(run({installed().string()}, stopEvent, environmentOf(home.path())), silentSuccess);
  std::string stillRunning;
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const boost::json::object document = definition.format == HookConfigFormat::ownFile
                                             ? HookSettings::ownFileDocument(installed().string(), definition)
                                             : HookSettings::merged({}, installed().string(), definition);
    const fs::path settings = home / definition.configPath;
    writeFile(settings, Json::print(document));
    stillRunning += settings.string() + " still runs tavrin-hook: remove its entries there\n";
  }
  std::map<std::string, std::string> files = filesIn(home.path());
  EXPECT_EQ(files.erase("Library/Application Support/Tavrin/bin/tavrin-hook"), 1U);
  EXPECT_EQ(files.size(), 8U);  // five settings, a session, its lock and the log

  EXPECT_EQ(make(home.path(), "uninstall"),
            success("Removed " + installed().string() + "\nKept " + home.sessions().string() + "\nKept " +
                    home.logFile().parent_path().string() + "\n" + stillRunning));
  EXPECT_EQ(filesIn(home.path()), files);
  EXPECT_FALSE(fs::exists(bin()));
}

TEST_F(Install, ADirectoryInTheCommandsPlaceIsRefused) {
  writeFile(installed() / "inside", "someone's");
  const Outcome install = make(home.path(), "install");
  EXPECT_NE(install.exitStatus, 0);
  EXPECT_EQ(install.output, "");
  EXPECT_THAT(install.error, HasSubstr(installed().string() + " is a directory"));
  const Outcome uninstall = make(home.path(), "uninstall");
  EXPECT_NE(uninstall.exitStatus, 0);
  EXPECT_THAT(uninstall.error, HasSubstr(installed().string() + " is a directory"));
  EXPECT_THAT(filesIn(bin()), ElementsAre(Pair("tavrin-hook/inside", "someone's")));

  const Outcome script = run({scripts() / "install.sh", hookExecutable()}, "", environmentOf(home.path()));
  EXPECT_EQ(script.exitStatus, 1);
}

TEST_F(Install, LinksInTheWayAreReplacedAndNotFollowed) {
  writeFile(home / "victim", "someone's");
  fs::create_directories(bin());
  fs::create_directories(home / "folder");
  fs::create_symlink(home / "victim", bin() / ".tavrin-hook.new");
  for (const char* const target : {"victim", "folder", "nowhere"}) {
    fs::remove(installed());
    fs::create_symlink(home / target, installed());
    EXPECT_EQ(make(home.path(), "install"), success("Installed " + installed().string() + "\n"));
    EXPECT_FALSE(fs::is_symlink(installed())) << target;
    EXPECT_EQ(readFile(installed()), readFile(hookExecutable()));
  }
  EXPECT_EQ(readFile(home / "victim"), "someone's");
  EXPECT_TRUE(fs::is_empty(home / "folder"));
}

TEST_F(Install, UninstallWithoutHomeGoesToItsEnd) {
  const fs::path place = home / "opt/Tavrin/bin";
  writeFile(place / "tavrin-hook", "");
  writeFile(place / ".tavrin-hook.a1B2c3D4", "what an installation that was stopped has left");
  Subprocess::Environment environment = environmentOf(home.path());
  environment.erase("HOME");
  environment["BIN"] = place.string();
  EXPECT_EQ(run({scripts() / "uninstall.sh"}, "", environment),
            success("Removed " + (place / "tavrin-hook").string() +
                    "\nHOME is not set: agents' settings were not looked at\n"));
  EXPECT_FALSE(fs::exists(home / "opt/Tavrin"));
}

TEST_F(Install, UninstallWithoutAnythingToRemoveSaysSo) {
  writeFile(home / ".claude/settings.json", R"({"model":"opus"})");
  EXPECT_EQ(make(home.path(), "uninstall"), success("There is no " + installed().string() + "\n"));
  EXPECT_EQ(filesIn(home.path()).size(), 1U);
}

}  // namespace
}  // namespace tavrin::test
