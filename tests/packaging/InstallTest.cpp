// "make install" and "make uninstall", run in a scratch home.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Agents/SettingsFile.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/support/Restrictions.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"
#include "tests/support/Terminals.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

const std::string stopEvent = R"({"session_id":"s","hook_event_name":"Stop"})";

Subprocess::Environment environmentOf(const fs::path& home) {
  const char* const path = std::getenv("PATH");
  return {{"HOME", home.string()}, {"PATH", path == nullptr ? "" : path}};
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

// Stands for tavrin: it says which arguments it got. Its agents are connected.
constexpr std::string_view tavrinStandIn = R"(#!/bin/sh
case "$*" in
  "disconnect --dry-run") echo "Claude Code  would be disconnected from ~/.claude/settings.json" ;;
  *) echo "tavrin $*" ;;
esac
)";

const std::vector<std::string> sharedFiles = {"bash-completion/completions/tavrin",
                                              "fish/vendor_completions.d/tavrin.fish",
                                              "man/man1/tavrin-hook.1",
                                              "man/man1/tavrin.1",
                                              "man/man5/tavrin-session.5",
                                              "zsh/site-functions/_tavrin"};

// The command that an agent with these settings runs at their first event.
std::string firstCommand(const boost::json::object& settings) {
  const boost::json::object& events = settings.at("hooks").as_object();
  const boost::json::object& group = events.begin()->value().as_array().at(0).as_object();
  if (const boost::json::value* const bash = group.if_contains("bash")) return std::string(bash->as_string());
  return std::string(group.at("hooks").as_array().at(0).as_object().at("command").as_string());
}

class Install : public testing::Test {
 protected:
  // What a build without tavrin puts together.
  Install() {
    fs::create_directories(files());
    fs::copy_file(hookExecutable(), files() / "tavrin-hook");
  }

  // What is installed lies outside the home directory.
  fs::path files() const { return built.path() / "files"; }

  void buildTavrin() const {
    writeFile(files() / "tavrin", tavrinStandIn);
    fs::permissions(files() / "tavrin", fs::perms::owner_all);
    for (const std::string& file : sharedFiles) writeFile(files() / "share" / file, file);
  }

  // Runs a target of the Makefile; what is installed counts as built.
  Outcome make(const fs::path& userHome, const std::string& target,
               const std::vector<std::string>& variables = {}) const {
    const std::string root = dataDirectory().parent_path().parent_path().string();
    std::vector<std::string> words = {"/usr/bin/env", "make", "--no-print-directory", "-C", root};
    words.insert(words.end(), {"-o", "files", "FILES=" + files().string(), target});
    words.insert(words.end(), variables.begin(), variables.end());
    return run(words, "", environmentOf(userHome));
  }

  fs::path bin() const { return home.path() / "Library/Application Support/Tavrin/bin"; }
  fs::path installed() const { return bin() / "tavrin-hook"; }
  fs::path link() const { return home / ".local/bin/tavrin"; }
  fs::path data() const { return home / ".local/share"; }

  ScratchHome home;
  ScratchHome built;
};

TEST_F(Install, PutsTheExecutableWhereAgentsLookForItAndPrintsThePath) {
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

// Writing over the file of a running program fails, or ends the program.
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
  const Outcome outcome = make(home.path(), "install", {"FILES=/nowhere"});
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

TEST_F(Install, WarnsOfADirectoryThatEntriesAreNotRecognisedBy) {
  const std::string warning = "should end in " + std::string(HookSettings::marker);
  EXPECT_THAT(make(home.path(), "install", {"BIN=" + (home / "bin").string()}).output, HasSubstr(warning));
  EXPECT_THAT(make(home.path(), "install").output, Not(HasSubstr(warning)));
}

TEST_F(Install, UninstallRemovesOnlyTheExecutableAndNamesSettingsThatRunIt) {
  ASSERT_EQ(make(home.path(), "install").exitStatus, 0);
  ASSERT_EQ(run({installed().string()}, stopEvent, environmentOf(home.path())), silentSuccess);
  std::string stillRunning;
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const boost::json::object document = definition.format == HookConfigFormat::ownFile
                                             ? HookSettings::ownFileDocument(installed().string(), definition)
                                             : HookSettings::merged({}, installed().string(), definition);
    const fs::path settings = home / definition.configPath;
    writeFile(settings, Json::print(document));
    stillRunning += settings.string() + " still runs tavrin-hook. Remove its entries there.\n";
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

  const Outcome script = run({scripts() / "install.sh", files()}, "", environmentOf(home.path()));
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
                    "\nHOME is not set, so agents' settings were not checked\n"));
  EXPECT_FALSE(fs::exists(home / "opt/Tavrin"));
}

TEST_F(Install, UninstallWithoutAnythingToRemoveSaysSo) {
  writeFile(home / ".claude/settings.json", R"({"model":"opus"})");
  EXPECT_EQ(make(home.path(), "uninstall"), success("There is no " + installed().string() + "\n"));
  EXPECT_EQ(filesIn(home.path()).size(), 1U);
}

TEST_F(Install, PutsTavrinBesideTheHookAndItsPagesAndCompletionsWithTheUsersData) {
  buildTavrin();
  const std::string expected = "Installed " + installed().string() + "\nInstalled " +
                               (bin() / "tavrin").string() + "\nMade the link " + link().string() + " to it\n" +
                               link().parent_path().string() +
                               " is not in PATH. Add it in your shell's start-up file.\n" +
                               "Installed manual pages and completions below " + data().string() + "\n";
  EXPECT_EQ(make(home.path(), "install"), success(expected));
  EXPECT_EQ(fs::read_symlink(link()), bin() / "tavrin");
  EXPECT_EQ(run({link().string(), "list"}).output, "tavrin list\n");
  for (const std::string& file : sharedFiles) EXPECT_EQ(readFile(data() / file), file);
  EXPECT_EQ(make(home.path(), "install"), success(expected)) << "a second time";

  Subprocess::Environment environment = environmentOf(home.path());
  environment["PATH"] += ":" + link().parent_path().string();
  environment["SHELL"] = "/usr/bin/zsh";
  const Outcome elsewhere = run({scripts() / "install.sh", files()}, "", environment);
  EXPECT_THAT(elsewhere.output, Not(HasSubstr("PATH")));
  EXPECT_THAT(elsewhere.output, HasSubstr("fpath+=('" + (data() / "zsh/site-functions").string() + "')"));
}

TEST_F(Install, UninstallRemovesAllThatWasInstalledAndNothingElse) {
  buildTavrin();
  writeFile(data() / "man/man1/other.1", "someone's");
  writeFile(home / ".local/bin/other", "someone's");
  const std::map<std::string, std::string> before = filesIn(home.path());
  ASSERT_EQ(make(home.path(), "install").exitStatus, 0);
  writeFile(data() / "man/man1/.tavrin.1.a1B2c3D4", "what an installation that was stopped has left");
  EXPECT_EQ(make(home.path(), "uninstall"),
            success("Removed " + link().string() + "\nRemoved manual pages and completions below " +
                    data().string() + "\nRemoved " + (bin() / "tavrin").string() + "\nRemoved " +
                    installed().string() + "\n"));
  EXPECT_EQ(filesIn(home.path()), before);
  EXPECT_FALSE(fs::is_symlink(link()));
  EXPECT_FALSE(fs::exists(bin().parent_path()));
}

TEST_F(Install, ACommandOfSomeoneElsesInTheLinksPlaceIsKept) {
  buildTavrin();
  writeFile(link(), "someone's");
  EXPECT_THAT(make(home.path(), "install").output,
              HasSubstr("Kept " + link().string() + ", which is not Tavrin's\n"));
  EXPECT_EQ(make(home.path(), "uninstall").exitStatus, 0);
  EXPECT_EQ(readFile(link()), "someone's");

  fs::remove(link());
  fs::create_symlink("/nowhere/tavrin", link());
  EXPECT_EQ(make(home.path(), "install").exitStatus, 0);
  EXPECT_EQ(make(home.path(), "uninstall").exitStatus, 0);
  EXPECT_EQ(fs::read_symlink(link()), "/nowhere/tavrin");
}

TEST_F(Install, ALinkOfAnEarlierInstallationIsMoved) {
  buildTavrin();
  fs::create_directories(link().parent_path());
  fs::create_symlink("/old/Tavrin/bin/tavrin", link());
  EXPECT_EQ(make(home.path(), "install").exitStatus, 0);
  EXPECT_EQ(fs::read_symlink(link()), bin() / "tavrin");
}

TEST_F(Install, PutsPagesAndCompletionsIntoTheDataDirectoryOfTheEnvironment) {
  buildTavrin();
  const std::vector<std::string> variables = {"XDG_DATA_HOME=" + (home / "data").string()};
  EXPECT_EQ(make(home.path(), "install", variables).exitStatus, 0);
  EXPECT_EQ(readFile(home / "data/man/man1/tavrin.1"), "man/man1/tavrin.1");
  EXPECT_FALSE(fs::exists(data()));
  EXPECT_EQ(make(home.path(), "uninstall", variables).exitStatus, 0);
  EXPECT_EQ(filesIn(home.path()).size(), 0U);
}

TEST_F(Install, WithoutAHomeAndADirectoryNothingIsInstalledOrRemoved) {
  buildTavrin();
  Subprocess::Environment environment = environmentOf(home.path());
  environment.erase("HOME");
  for (const char* const script : {"install.sh", "uninstall.sh"}) {
    const Outcome outcome = run({scripts() / script, files()}, "", environment);
    EXPECT_EQ(outcome.exitStatus, 1) << script;
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.error, HasSubstr("HOME is not set"));
  }
  environment["BIN"] = (home / "opt/Tavrin/bin").string();
  EXPECT_THAT(run({scripts() / "install.sh", files()}, "", environment).output,
              HasSubstr("no link, manual pages or completions were installed\n"));
  EXPECT_EQ(readFile(home / "opt/Tavrin/bin/tavrin"), tavrinStandIn);
}

TEST_F(Install, UninstallOffersToDisconnectOnATerminalAlone) {
  if (!canOpenTerminals()) GTEST_SKIP() << withoutTerminals;
  buildTavrin();
  const std::string disconnected = "tavrin disconnect\n";
  ASSERT_EQ(make(home.path(), "install").exitStatus, 0);
  EXPECT_THAT(make(home.path(), "uninstall").output, Not(HasSubstr(disconnected)));

  const std::vector<std::string> onTerminal = {"/usr/bin/env", "python3", "-c",
                                               "import pty, sys; pty.spawn(sys.argv[1:])",
                                               scripts() / "uninstall.sh"};
  ASSERT_EQ(make(home.path(), "install").exitStatus, 0);
  const std::string output = run(onTerminal, "", environmentOf(home.path())).output;
  EXPECT_THAT(output, StartsWith("tavrin disconnect\r\n"));
  EXPECT_FALSE(fs::exists(bin()));

  // A tavrin without a connected agent is not asked to ask.
  ASSERT_EQ(make(home.path(), "install").exitStatus, 0);
  writeFile(bin() / "tavrin", "#!/bin/sh\necho \"tavrin $*\"\n");
  EXPECT_THAT(run(onTerminal, "", environmentOf(home.path())).output,
              Not(HasSubstr("tavrin disconnect\r\n")));
}

// The entries that the README of version 0.1.0 has people paste.
TEST_F(Install, EntriesOfVersion010CountAsConnectedAndStillWork) {
  ASSERT_EQ(make(home.path(), "install").exitStatus, 0);
  const std::string old = "/Users/you";
  std::ptrdiff_t events = 0;
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const std::string agent(rawValue(definition.agent));
    std::string settings = readFile(dataDirectory() / "settings-0.1.0" / (agent + ".json"));
    for (std::size_t at = settings.find(old); at != std::string::npos; at = settings.find(old, at))
      settings.replace(at, old.size(), home.path().string());
    const fs::path file = home / definition.configPath;
    writeFile(file, settings);
    const SettingsFile settingsFile(definition.agent, file.string(), (home / "originals").string());
    EXPECT_EQ(settingsFile.connect(installed().string(), definition).kind,
              SettingsFile::Outcome::Kind::unchanged)
        << agent;
    EXPECT_EQ(readFile(file), settings);

    const std::string command = firstCommand(Json::parse(settings)->as_object());
    EXPECT_EQ(run({"/bin/sh", "-c", command}, stopEvent, environmentOf(home.path())), silentSuccess) << agent;
    EXPECT_EQ(std::ranges::count(home.logMessages(), '\n'), ++events) << agent;
  }
}

}  // namespace
}  // namespace tavrin::test
