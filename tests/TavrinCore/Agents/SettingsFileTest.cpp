#include "TavrinCore/Agents/SettingsFile.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentVersion.hpp"
#include "TavrinCore/Support/FileReplacement.hpp"
#include "tests/support/Restrictions.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

#ifdef __linux__
#include <sys/xattr.h>
#endif

namespace tavrin {
namespace {

namespace fs = std::filesystem;
using Kind = SettingsFile::Outcome::Kind;
using testing::HasSubstr;

const std::string helper = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";

// A home in which Claude Code, Copilot CLI and Grok were started once.
class SettingsOnDisk : public ::testing::Test {
 protected:
  SettingsOnDisk() {
    for (const char* folder : {".claude", ".copilot", ".grok"}) fs::create_directories(home_ / folder);
  }

  SettingsFile file(Agent agent = Agent::claude) const {
    return SettingsFile(AgentHome::standard(agent, home_.string()), originals());
  }
  std::string originals() const { return home_ / "Library/Application Support/Tavrin/originals"; }
  SettingsFile::Outcome connect(Agent agent = Agent::claude) const {
    return file(agent).connect(helper, AgentDefinition::definition(agent));
  }
  fs::path settings() const { return home_ / ".claude/settings.json"; }
  void write(std::string_view text) const { test::writeFile(settings(), text); }
  std::string text() const { return test::readFile(settings()); }
  // As test::ReadOnly, for a user who may look into the home.
  test::ReadOnly readOnly(const fs::path& folder) const {
    fs::permissions(home_.path(), fs::perms(0755));
    return test::ReadOnly(home_.path() / folder);
  }
  std::size_t originalsKept() const { return SettingsFile::originalsIn(originals()).size(); }

  test::ScratchHome home_;
};

mode_t modeOf(const fs::path& path) {
  struct stat status = {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

TEST_F(SettingsOnDisk, AreCreatedWithAccessOnlyForTheirOwnerAndRemovedAgain) {
  const SettingsFile::Outcome connected = connect();
  EXPECT_EQ(connected.kind, Kind::changed);
  EXPECT_EQ(connected.sentence, "Claude Code is connected through " + settings().string() + ".");
  EXPECT_EQ(connected.before, std::nullopt);
  EXPECT_EQ(connected.after, text());
  EXPECT_EQ(modeOf(settings()), 0600U);
  EXPECT_EQ(file().disconnect().kind, Kind::changed);
  EXPECT_FALSE(fs::exists(settings()));
  EXPECT_EQ(test::names(home_ / ".claude"), std::vector<std::string>());
  EXPECT_EQ(originalsKept(), 0U);
}

TEST_F(SettingsOnDisk, AreRestoredByteForByte) {
  const std::string before = test::readFile(test::dataDirectory() / "settings/claude-settings.json");
  write(before);
  EXPECT_EQ(connect().kind, Kind::changed);
  EXPECT_NE(text(), before);
  EXPECT_EQ(connect().kind, Kind::unchanged);
  EXPECT_EQ(connect().sentence, "Claude Code was connected already.");
  EXPECT_EQ(file().disconnect().kind, Kind::changed);
  EXPECT_EQ(text(), before);
  EXPECT_EQ(file().disconnect().kind, Kind::unchanged);
  EXPECT_EQ(test::names(home_ / ".claude"), std::vector<std::string>{"settings.json"});
}

TEST_F(SettingsOnDisk, OfNoBytesAreOfNoBytesAgain) {
  write("");
  EXPECT_EQ(connect().kind, Kind::changed);
  EXPECT_EQ(file().disconnect().kind, Kind::changed);
  EXPECT_EQ(text(), "");
}

TEST_F(SettingsOnDisk, StayWhenTheyHoldAnythingElse) {
  ASSERT_EQ(connect().kind, Kind::changed);
  std::string own = text();
  write(own.insert(1, "\"model\": \"opus\","));
  EXPECT_EQ(file().disconnect().kind, Kind::changed);
  EXPECT_THAT(text(), HasSubstr("opus"));
}

TEST_F(SettingsOnDisk, AnEmptyObjectStaysWhenItWasThereBefore) {
  write("{}");
  ASSERT_EQ(connect().kind, Kind::changed);
  ASSERT_EQ(file().disconnect().kind, Kind::changed);
  EXPECT_EQ(text(), "{}");
}

TEST_F(SettingsOnDisk, KeepTheirOriginalUntilACleanDisconnect) {
  write("{\"env\": {\"KEY\": \"sécret\\u0000\"}}");
  const std::string before = text();
  ASSERT_EQ(connect().kind, Kind::changed);
  const std::optional<SettingsFile::Original> original = file().original();
  ASSERT_TRUE(original);
  EXPECT_EQ(original->text, before);
  EXPECT_EQ(original->agent, Agent::claude);
  EXPECT_EQ(original->path, settings().string());
  EXPECT_EQ(modeOf(original->recordedIn), 0600U);
  EXPECT_EQ(modeOf(originals()), 0700U);
  EXPECT_EQ(SettingsFile::originalsIn(originals()), std::vector{*original});
  // Refreshing an installation is not a first connect.
  EXPECT_EQ(file().connect("/opt/Tavrin/bin/tavrin-hook", AgentDefinition::claude).kind, Kind::changed);
  EXPECT_EQ(file().original(), original);
  EXPECT_EQ(file().disconnect().kind, Kind::changed);
  EXPECT_EQ(text(), before);
  EXPECT_EQ(originalsKept(), 0U);
}

TEST_F(SettingsOnDisk, HaveANewOriginalIfSomebodyElseRemovedTheHooks) {
  ASSERT_EQ(connect().kind, Kind::changed);
  write("{\"model\": 1}");
  ASSERT_EQ(connect().kind, Kind::changed);
  EXPECT_EQ(file().original()->text, "{\"model\": 1}");
}

TEST_F(SettingsOnDisk, CanBeDisconnectedWithOnlyTheirOriginals) {
  ASSERT_EQ(connect(Agent::grok).kind, Kind::changed);
  for (const SettingsFile::Original& original : SettingsFile::originalsIn(originals()))
    EXPECT_EQ(SettingsFile(original.agent, original.path, originals()).disconnect().kind, Kind::changed);
  EXPECT_FALSE(fs::exists(home_ / ".grok/hooks/tavrin.json"));
}

TEST_F(SettingsOnDisk, RecordsThatAreNotOriginalsAreLeftOut) {
  ASSERT_EQ(connect().kind, Kind::changed);
  const fs::path folder = originals();
  for (const char* record : {"", "{", "[]", "{\"agent\":\"claude\",\"path\":\"relative\",\"text\":null}",
                             "{\"agent\":\"nobody\",\"path\":\"/a\",\"text\":null}",
                             "{\"agent\":\"claude\",\"path\":\"/a\",\"text\":5}", "{\"agent\":\"claude\"}"}) {
    test::writeFile(folder / "other.json", record);
    EXPECT_EQ(originalsKept(), 1U) << record;
  }
  test::writeFile(folder / "note.txt", "{\"agent\":\"claude\",\"path\":\"/a\",\"text\":null}");
  EXPECT_EQ(originalsKept(), 1U);
  EXPECT_TRUE(SettingsFile::originalsIn(home_ / "nowhere").empty());
}

TEST_F(SettingsOnDisk, APreviewWritesNothing) {
  write("{}");
  const auto preview = file().connect(helper, AgentDefinition::claude, SettingsFile::Mode::preview);
  EXPECT_EQ(preview.kind, Kind::changed);
  EXPECT_EQ(preview.before, "{}");
  EXPECT_THAT(preview.after.value(), HasSubstr(helper));
  EXPECT_EQ(text(), "{}");
  EXPECT_EQ(originalsKept(), 0U);
  ASSERT_EQ(connect().kind, Kind::changed);
  EXPECT_EQ(text(), preview.after);
  const auto back = file().disconnect(SettingsFile::Mode::preview);
  EXPECT_EQ(back.after, "{}");
  EXPECT_EQ(text(), preview.after);
  EXPECT_EQ(originalsKept(), 1U);
}

TEST_F(SettingsOnDisk, WithAnEventThatIsNotAcceptedAnyMoreLoseIt) {
  ASSERT_EQ(connect().kind, Kind::changed);
  EXPECT_THAT(text(), HasSubstr("PermissionDenied"));
  const auto fit = AgentVersions::fitted(AgentDefinition::claude, {AgentVersion{2, 1, 87}});
  EXPECT_EQ(file().connect(helper, fit.definition).kind, Kind::changed);
  EXPECT_THAT(text(), testing::Not(HasSubstr("PermissionDenied")));
  EXPECT_EQ(file().connect(helper, fit.definition).kind, Kind::unchanged);
}

TEST_F(SettingsOnDisk, LinksStayLinks) {
  const fs::path real = home_ / "dotfiles/claude.json";
  test::writeFile(real, "{}\n");
  fs::create_symlink("../dotfiles/claude.json", settings());
  ASSERT_EQ(connect().kind, Kind::changed);
  EXPECT_TRUE(fs::is_symlink(settings()));
  EXPECT_THAT(test::readFile(real), HasSubstr(helper));
  ASSERT_EQ(file().disconnect().kind, Kind::changed);
  EXPECT_EQ(test::readFile(real), "{}\n");
  EXPECT_EQ(test::names(home_ / "dotfiles"), std::vector<std::string>{"claude.json"});
}

TEST_F(SettingsOnDisk, LinksThatLeadNowhereAreNotFollowedIntoNewFolders) {
  fs::create_symlink("../dotfiles/claude.json", settings());
  const auto refused = connect();
  EXPECT_EQ(refused.kind, Kind::refused);
  EXPECT_THAT(refused.sentence, HasSubstr("it is a link into a folder that does not exist"));
  EXPECT_FALSE(fs::exists(home_ / "dotfiles"));
  fs::create_directory(home_ / "dotfiles");
  EXPECT_EQ(connect().kind, Kind::changed);
  EXPECT_TRUE(fs::exists(home_ / "dotfiles/claude.json"));
}

TEST_F(SettingsOnDisk, LinksIntoFoldersOutsideAreNotFollowedEvenIfTheyAreAbsolute) {
  fs::create_symlink(home_ / "dotfiles/claude.json", settings());
  EXPECT_THAT(connect().sentence, HasSubstr("it is a link into a folder that does not exist, " +
                                            (home_ / "dotfiles").string() + "."));
  EXPECT_FALSE(fs::exists(home_ / "dotfiles"));
  // A folder that is missing inside the agent's own is made.
  fs::remove(settings());
  fs::create_symlink(home_ / ".claude/mine/settings.json", settings());
  EXPECT_EQ(connect().kind, Kind::changed);
  EXPECT_TRUE(fs::exists(home_ / ".claude/mine/settings.json"));
}

TEST_F(SettingsOnDisk, LinksInACircleAreAFailure) {
  fs::create_symlink("settings.json", settings());
  EXPECT_EQ(connect().kind, Kind::failed);
  EXPECT_THAT(connect().sentence, HasSubstr("its link cannot be followed: Too many levels"));
  EXPECT_THAT(file().state(helper, AgentDefinition::claude).trouble.value(),
              HasSubstr("is a link that cannot be followed: Too many levels"));
}

TEST_F(SettingsOnDisk, OfAnAgentThatWasNeverStartedAreNotMade) {
  const auto refused = connect(Agent::codex);
  EXPECT_EQ(refused.kind, Kind::refused);
  EXPECT_EQ(refused.sentence, (home_ / ".codex/hooks.json").string() +
                                  " was not changed: there is no folder " + (home_ / ".codex").string() +
                                  " yet. Start Codex once, then connect.");
  EXPECT_FALSE(fs::exists(home_ / ".codex"));
  EXPECT_EQ(originalsKept(), 0U);
}

TEST_F(SettingsOnDisk, OwnFilesComeAndGo) {
  ASSERT_EQ(connect(Agent::copilot).kind, Kind::changed);
  const fs::path own = home_ / ".copilot/hooks/tavrin.json";
  EXPECT_THAT(test::readFile(own), HasSubstr("--agent copilot --event agentStop"));
  EXPECT_EQ(connect(Agent::copilot).kind, Kind::unchanged);
  EXPECT_EQ(file(Agent::copilot).disconnect().kind, Kind::changed);
  EXPECT_FALSE(fs::exists(own));

  const std::string others = test::readFile(test::dataDirectory() / "settings/copilot-tavrin.json");
  test::writeFile(own, others);
  EXPECT_THAT(connect(Agent::copilot).sentence, HasSubstr("it holds somebody else's hooks"));
  EXPECT_EQ(file(Agent::copilot).disconnect().kind, Kind::unchanged);
  EXPECT_EQ(test::readFile(own), others);
}

TEST_F(SettingsOnDisk, ThatDoNotParseAreNotTouched) {
  for (const char* broken : {"{\"a\":1,}", "{ // c\n}", "[]", "{", "{\"a\":\"\xff\"}"}) {
    write(broken);
    EXPECT_EQ(connect().kind, Kind::refused) << broken;
    EXPECT_EQ(file().disconnect().kind, Kind::refused) << broken;
    EXPECT_EQ(text(), broken);
    EXPECT_THAT(file().state(helper, AgentDefinition::claude).trouble.value(), HasSubstr("does not load"));
  }
  EXPECT_EQ(test::names(home_ / ".claude"), std::vector<std::string>{"settings.json"});
}

TEST_F(SettingsOnDisk, AreNotTouchedIfTheyAreNotOrdinaryFiles) {
  fs::create_directory(settings());
  EXPECT_THAT(connect().sentence, HasSubstr("it is not an ordinary file."));
  EXPECT_EQ(file().state(helper, AgentDefinition::claude).trouble,
            settings().string() + " is not an ordinary file.");
  fs::remove(settings());
  ASSERT_EQ(::mkfifo(settings().c_str(), 0600), 0);
  EXPECT_EQ(connect().kind, Kind::refused);
}

TEST_F(SettingsOnDisk, AreNotTouchedIfNoClientReadsAsMuch) {
  write("{}");
  fs::resize_file(settings(), SettingsFile::largestFile + 1);
  EXPECT_THAT(connect().sentence, HasSubstr("it is larger than 64000000 bytes."));
  EXPECT_EQ(fs::file_size(settings()), SettingsFile::largestFile + 1);
}

TEST_F(SettingsOnDisk, ThatCannotBeReadAreNotTouched) {
  write("{}");
  fs::permissions(settings(), fs::perms::owner_write);
  const test::ReadOnly denied = readOnly(".claude");
  EXPECT_EQ(connect().kind, Kind::failed);
  EXPECT_THAT(connect().sentence, HasSubstr("was not changed: it cannot be read: Permission denied."));
  // Nobody has tried to change it.
  EXPECT_EQ(file().state(helper, AgentDefinition::claude).trouble,
            settings().string() + " cannot be read: Permission denied.");
}

TEST_F(SettingsOnDisk, ThatAreReadOnlyAreNotTouched) {
  write("{}");
  fs::permissions(settings(), fs::perms::owner_read);
  EXPECT_THAT(connect().sentence, HasSubstr("it is read-only. Make it writable, then try again."));
  EXPECT_EQ(text(), "{}");
  fs::permissions(settings(), fs::perms::owner_write, fs::perm_options::add);
  ASSERT_EQ(connect().kind, Kind::changed);
  const std::string connected = text();
  fs::permissions(settings(), fs::perms::owner_read);
  EXPECT_THAT(file().disconnect().sentence, HasSubstr("it is read-only. Make it writable"));
  EXPECT_EQ(text(), connected);
}

TEST_F(SettingsOnDisk, InAFolderThatCannotBeWrittenStayAsTheyAre) {
  write("{}");
  SettingsFile::Outcome failed;
  {
    const test::ReadOnly denied = readOnly(".claude");
    failed = connect();
  }
  EXPECT_EQ(failed.kind, Kind::failed);
  EXPECT_THAT(failed.sentence, HasSubstr("Permission denied."));
  EXPECT_EQ(text(), "{}");
  EXPECT_EQ(test::names(home_ / ".claude"), std::vector<std::string>{"settings.json"});
}

TEST_F(SettingsOnDisk, StayAsTheyAreIfTheirOriginalCannotBeKept) {
  write("{}");
  fs::create_directory(home_ / "closed");
  const AgentHome claude = AgentHome::standard(Agent::claude, home_.string());
  // The folder of originals cannot be made, its parent cannot, and a file is in the parent's place.
  test::writeFile(home_ / "file", "");
  for (const char* folder : {"closed/originals", "closed/Tavrin/originals", "file/originals"}) {
    const SettingsFile settings(claude, home_ / folder);
    const test::ReadOnly denied = readOnly("closed");
    const SettingsFile::Outcome failed = settings.connect(helper, AgentDefinition::claude);
    EXPECT_EQ(failed.kind, Kind::failed);
    EXPECT_THAT(failed.sentence,
                HasSubstr("its original cannot be kept in " + (home_ / folder).string() + ": "));
  }
  EXPECT_EQ(text(), "{}");
}

TEST_F(SettingsOnDisk, WhoseOriginalCannotBeReadStayConnected) {
  write("{}");
  ASSERT_EQ(connect().kind, Kind::changed);
  fs::permissions(settings(), fs::perms(0644));
  const std::string connected = text();
  {
    const test::ReadOnly denied = readOnly("Library");
    const SettingsFile::Outcome failed = file().disconnect();
    EXPECT_EQ(failed.kind, Kind::failed);
    EXPECT_THAT(failed.sentence, HasSubstr("its original cannot be read in " + originals()));
  }
  EXPECT_EQ(text(), connected);
}

// Makes a folder and all in it readable by everybody.
void open(const fs::path& folder) {
  fs::permissions(folder, fs::perms(0777));
  for (const auto& entry : fs::directory_iterator(folder)) fs::permissions(entry.path(), fs::perms(0644));
}

TEST_F(SettingsOnDisk, ThatCannotBeReplacedOrRemovedStayAsTheyAre) {
  fs::create_directories(originals());
  open(originals());
  write("{}");
  fs::permissions(settings(), fs::perms(0644));
  {
    const test::ReadOnly denied = readOnly(".claude");
    EXPECT_THAT(connect().sentence, HasSubstr("it cannot be replaced: Permission denied."));
  }
  EXPECT_EQ(text(), "{}");
  for (const char* before : {"{}", ""}) {
    fs::remove(settings());
    if (*before != '\0') write(before);
    ASSERT_EQ(connect().kind, Kind::changed);
    fs::permissions(settings(), fs::perms(0644));
    open(originals());
    const std::string connected = text();
    {
      const test::ReadOnly denied = readOnly(".claude");
      EXPECT_THAT(file().disconnect().sentence,
                  HasSubstr(*before == '\0' ? "it cannot be removed: Permission denied."
                                            : "it cannot be replaced: Permission denied."));
    }
    EXPECT_EQ(text(), connected);
    ASSERT_EQ(file().disconnect().kind, Kind::changed);
  }
}

TEST_F(SettingsOnDisk, WhoseFolderCannotBeMadeAreNotMade) {
  const test::ReadOnly denied = readOnly(".copilot");
  EXPECT_THAT(connect(Agent::copilot).sentence, HasSubstr("its folder cannot be made: Permission denied."));
}

TEST_F(SettingsOnDisk, ConnectedByHandAreDisconnectedWithoutAnOriginal) {
  ASSERT_EQ(connect().kind, Kind::changed);
  fs::remove_all(originals());
  // Nobody knows whether there was a file, so an empty one stays.
  ASSERT_EQ(file().disconnect(SettingsFile::Mode::preview).kind, Kind::changed);
  ASSERT_EQ(file().disconnect().kind, Kind::changed);
  EXPECT_EQ(text(), "{}\n");
  EXPECT_EQ(file().disconnect(SettingsFile::Mode::preview).kind, Kind::unchanged);
}

TEST_F(SettingsOnDisk, RestoredByHandKeepTheRecordOfTheirOriginal) {
  write("{}");
  ASSERT_EQ(connect().kind, Kind::changed);
  const fs::path record = file().original().value().recordedIn;
  struct stat before = {};
  ASSERT_EQ(::stat(record.c_str(), &before), 0);
  write("{}");
  ASSERT_EQ(connect().kind, Kind::changed);
  struct stat after = {};
  ASSERT_EQ(::stat(record.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
}

TEST_F(SettingsOnDisk, HaveNoOriginalBeforeTheyAreConnected) {
  EXPECT_EQ(file().original(), std::nullopt);
  ASSERT_EQ(connect().kind, Kind::changed);
  const fs::path record = file().original().value().recordedIn;
  // The name of a record is a hash. A record of another path is not this file's.
  test::writeFile(record, R"({"agent":"claude","path":"/elsewhere","text":null})");
  EXPECT_EQ(file().original(), std::nullopt);
  EXPECT_EQ(originalsKept(), 1U);
  fs::create_directory(fs::path(originals()) / "folder.json");
  EXPECT_EQ(originalsKept(), 1U);
}

TEST_F(SettingsOnDisk, ThatMayNotBeWrittenAreNotConnected) {
  write("{}");
  EXPECT_FALSE(file().state("/bin/tavrin-hook", AgentDefinition::claude).isConnected);
  const fs::path own = home_ / ".copilot/hooks/tavrin.json";
  test::writeFile(own, R"({"hooks":{"agentStop":[{"bash":"say done"}]}})");
  EXPECT_FALSE(file(Agent::copilot).state(helper, AgentDefinition::copilot).isConnected);
}

TEST_F(SettingsOnDisk, KeepTheirModeWhateverTheUmask) {
  for (const mode_t mode : std::vector<mode_t>{0600, 0640, 0644, 0666, 0700, 0755}) {
    for (const mode_t mask : std::vector<mode_t>{0000, 0077}) {
      const test::Umask umask(mask);
      write("{}");
      ASSERT_EQ(::chmod(settings().c_str(), mode), 0);
      ASSERT_EQ(connect().kind, Kind::changed);
      EXPECT_EQ(modeOf(settings()), mode);
      ASSERT_EQ(file().disconnect().kind, Kind::changed);
      EXPECT_EQ(modeOf(settings()), mode);
    }
  }
}

TEST_F(SettingsOnDisk, KeepTheirOwner) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can give files away";
  write("{}");
  ASSERT_EQ(::chown(settings().c_str(), 12345, 54321), 0);
  ASSERT_EQ(connect().kind, Kind::changed);
  struct stat status = {};
  ASSERT_EQ(::stat(settings().c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 12345U);
  EXPECT_EQ(status.st_gid, 54321U);
}

#ifdef __linux__
TEST_F(SettingsOnDisk, KeepTheirExtendedAttributes) {
  write("{}");
  if (::setxattr(settings().c_str(), "user.note", "mine", 4, 0) != 0)
    GTEST_SKIP() << "no extended attributes where temporary files are";
  ASSERT_EQ(::setxattr(settings().c_str(), "user.empty", "", 0, 0), 0);
  ASSERT_EQ(connect().kind, Kind::changed);
  std::array<char, 8> value{};
  EXPECT_EQ(::getxattr(settings().c_str(), "user.note", value.data(), value.size()), 4);
  EXPECT_EQ(std::string(value.data(), 4), "mine");
  EXPECT_EQ(::getxattr(settings().c_str(), "user.empty", value.data(), value.size()), 0);
}
#endif

TEST_F(SettingsOnDisk, ReportWhatTheyHold) {
  const auto& claude = AgentDefinition::claude;
  EXPECT_FALSE(file().state(helper, claude).exists);
  EXPECT_FALSE(file().state(helper, claude).isConnected);
  ASSERT_EQ(connect().kind, Kind::changed);
  const auto state = file().state(helper, claude);
  EXPECT_TRUE(state.exists && state.isConnected);
  EXPECT_EQ(state.entries.size(), claude.events.size());
  EXPECT_EQ(state.entries.front().helperPath, helper);
  EXPECT_FALSE(file().state("/opt/Tavrin/bin/tavrin-hook", claude).isConnected);
  write("");
  EXPECT_FALSE(file().state(helper, claude).isConnected);
}

TEST_F(SettingsOnDisk, OfDifferentPathsHaveDifferentOriginals) {
  ASSERT_EQ(connect(Agent::grok).kind, Kind::changed);
  ASSERT_EQ(connect().kind, Kind::changed);
  EXPECT_EQ(originalsKept(), 2U);
  ASSERT_EQ(file(Agent::grok).disconnect().kind, Kind::changed);
  EXPECT_EQ(originalsKept(), 1U);
}

TEST_F(SettingsOnDisk, AreNotOverwrittenIfSomebodyElseWroteInBetween) {
  using namespace FileReplacement;
  write("{\"a\":1}");
  const Read before = read(settings(), 100);
  write("{\"a\":2}");
  EXPECT_EQ(replace(settings(), before, "{}"), Result::overtaken);
  EXPECT_EQ(FileReplacement::remove(settings(), before), Result::overtaken);
  EXPECT_EQ(text(), "{\"a\":2}");
  EXPECT_EQ(replace(settings(), Read{}, "{}"), Result::overtaken);
  EXPECT_EQ(text(), "{\"a\":2}");
  fs::remove(settings());
  EXPECT_EQ(replace(settings(), before, "{}"), Result::overtaken);
  EXPECT_EQ(FileReplacement::remove(settings(), before), Result::overtaken);
  EXPECT_EQ(test::names(home_ / ".claude"), std::vector<std::string>());
}

TEST_F(SettingsOnDisk, LieBesideTheSessionsWithTheirOriginals) {
  EXPECT_EQ(SettingsFile::defaultOriginals("/Users/dev"),
            "/Users/dev/Library/Application Support/Tavrin/originals");
}

}  // namespace
}  // namespace tavrin
