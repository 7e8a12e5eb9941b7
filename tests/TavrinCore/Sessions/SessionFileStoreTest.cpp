#include "TavrinCore/Sessions/SessionFileStore.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <system_error>
#include <vector>

#include "tests/support/Restrictions.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using test::FileSizeLimit;
using test::names;
using test::readFile;
using test::ReadOnly;
using test::ScratchDirectory;
using test::Umask;
using test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

Session record(std::string sessionId) {
  Session session;
  session.sessionId = std::move(sessionId);
  session.agent = Agent::codex;
  session.state = SessionState::working;
  session.inFlight = {"call_1"};
  session.updatedAt = dateFromSeconds(1'738'314'902);
  session.stateSince = dateFromSeconds(1'738'314'901);
  session.cwd = "/Users/dev/src/app";
  session.agentPid = 612;
  return session;
}

mode_t permissions(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

// The errno that an operation reports; 0 if it succeeds.
int errorOf(const std::function<void()>& operation) {
  try {
    operation();
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().category(), std::generic_category());
    EXPECT_NE(error.code().value(), 0);
    return error.code().value();
  }
  return 0;
}

TEST(SessionFileStore, TheDefaultDirectoryLiesInTheLibraryOfTheHomeDirectory) {
  EXPECT_EQ(SessionFileStore::defaultDirectory("/Users/dev"),
            "/Users/dev/Library/Application Support/Tavrin/sessions");
  EXPECT_EQ(SessionFileStore::defaultDirectory("/"), "/Library/Application Support/Tavrin/sessions");
  EXPECT_EQ(SessionFileStore().directory(), SessionFileStore::defaultDirectory());
}

// Session ids and their file names.
const std::vector<std::pair<std::string, std::string>> safeNames = {
    {"0198c2a4-77aa-7bbb-8ccc-0123456789ab", "0198c2a4-77aa-7bbb-8ccc-0123456789ab"},
    {"UPPER_lower-09", "UPPER_lower-09"},
    {"na\u00efve", "na\u00efve"},
    {"e\u0301t\u00e9", "e\u0301t\u00e9"},          // composed and decomposed accents stay as they are
    {"\u0661\u0662\u0663", "\u0661\u0662\u0663"},  // Arabic digits
    {"\u4e00\u8a9e", "\u4e00\u8a9e"},
    {"\u00bd\u00b2\u2460", "\u00bd\u00b2\u2460"},  // numbers that are not digits
    {"a/b:c", "abc"},
    {"../../etc/passwd", "etcpasswd"},
    {"..", ""},
    {"", ""},
    {" \t\n", ""},
    {"a.json", "ajson"},
    {".hidden", "hidden"},
    {"~user", "user"},
    {std::string("a\0b", 3), "ab"},
    {"a\\b|c*d?e\"f<g>h", "abcdefgh"},
    {"\U0001F600smile", "smile"},
    {"-\u0301_", "_"},  // a hyphen with an accent is one character, neither a letter nor a hyphen
    {"a\u2014b", "ab"},
    {"\u0301abc", "abc"},
};

TEST(SessionFileStore, FilesOfASessionAreNamedByItsLettersNumbersHyphensAndUnderscores) {
  for (const auto& idAndName : safeNames) {
    const std::string& sessionId = idAndName.first;
    const std::string& safeName = idAndName.second;
    const ScratchDirectory directory;
    const SessionFileStore store(directory.string());
    EXPECT_EQ(store.fileURL(sessionId), directory.string() + "/" + safeName + ".json") << sessionId;
    store.withLock(sessionId, [&] { store.save(record(sessionId)); });
    EXPECT_THAT(names(directory.path()), UnorderedElementsAre("." + safeName + ".lock", safeName + ".json"))
        << sessionId;
    EXPECT_EQ(store.load(sessionId), record(sessionId)) << sessionId;
  }
}

TEST(SessionFileStore, NothingOfALongNameIsCutOff) {
  const std::string id(300, 'x');
  EXPECT_EQ(SessionFileStore("/sessions").fileURL(id), "/sessions/" + id + ".json");
}

TEST(SessionFileStore, EnsureDirectoryMakesAllMissingParentsAndLeavesAnExistingOneAsItIs) {
  const ScratchDirectory scratch;
  const auto directory = scratch / "a/b c/d";
  const SessionFileStore store(directory);
  store.ensureDirectory();
  EXPECT_TRUE(std::filesystem::is_directory(directory));
  writeFile(directory / "kept", "kept");
  std::filesystem::permissions(directory, std::filesystem::perms(0700));
  store.ensureDirectory();
  EXPECT_EQ(readFile(directory / "kept"), "kept");
  EXPECT_EQ(permissions(directory), 0700U);
}

TEST(SessionFileStore, EnsureDirectoryTakesALinkToADirectory) {
  const ScratchDirectory scratch;
  std::filesystem::create_directory(scratch / "real");
  std::filesystem::create_directory_symlink(scratch / "real", scratch / "link");
  const SessionFileStore store(scratch / "link");
  store.ensureDirectory();
  store.withLock("s", [&] { store.save(record("s")); });
  EXPECT_EQ(names(scratch / "real"), (std::vector<std::string>{".s.lock", "s.json"}));
}

TEST(SessionFileStore, AFileInTheDirectorysPlaceFailsOnlyOperationsThatWrite) {
  const ScratchDirectory scratch;
  writeFile(scratch / "file", "in the way");
  for (const std::string place : {"file", "file/sessions", "file/a/b"}) {
    const SessionFileStore store(scratch / place);
    bool hasRun = false;
    EXPECT_NE(errorOf([&] { store.ensureDirectory(); }), 0) << place;
    EXPECT_NE(errorOf([&] { store.withLock("s", [&] { hasRun = true; }); }), 0) << place;
    EXPECT_FALSE(hasRun) << place;
    EXPECT_NE(errorOf([&] { store.save(record("s")); }), 0) << place;
    EXPECT_EQ(store.load("s"), std::nullopt) << place;
    store.deleteSession("s");
    EXPECT_THAT(store.loadAll().sessions, IsEmpty()) << place;
    EXPECT_THAT(store.loadAll().corrupt, IsEmpty()) << place;
  }
  EXPECT_EQ(readFile(scratch / "file"), "in the way");
}

TEST(SessionFileStore, ALockThatCannotBeOpenedKeepsTheBodyFromRunning) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  std::filesystem::create_directory(directory / ".s.lock");
  bool hasRun = false;
  EXPECT_EQ(errorOf([&] { store.withLock("s", [&] { hasRun = true; }); }), EISDIR);
  // ".NAME.lock" is six bytes longer than the name, and a file name has at most 255 bytes.
  EXPECT_EQ(errorOf([&] { store.withLock(std::string(250, 'x'), [&] { hasRun = true; }); }), ENAMETOOLONG);
  EXPECT_FALSE(hasRun);
  EXPECT_TRUE(store.withLock(std::string(249, 'x'), [] { return true; }));
}

TEST(SessionFileStore, PermissionsOfTheLockAreTheOwnersAndThoseOfTheRecordWhatTheUmaskLeaves) {
  struct Case {
    mode_t umask;
    mode_t lock;
    mode_t record;
    mode_t directory;
  };
  for (const Case& expected : {Case{0022, 0600, 0644, 0755}, Case{0077, 0600, 0600, 0700},
                               Case{0002, 0600, 0664, 0775}, Case{0, 0600, 0666, 0777}}) {
    SCOPED_TRACE("umask " + std::to_string(expected.umask));
    const ScratchDirectory scratch;
    const Umask umask(expected.umask);
    const SessionFileStore store(scratch / "a/sessions");
    store.withLock("s", [&] { store.save(record("s")); });
    EXPECT_EQ(permissions(scratch / "a/sessions/.s.lock"), expected.lock);
    EXPECT_EQ(permissions(scratch / "a/sessions/s.json"), expected.record);
    EXPECT_EQ(permissions(scratch / "a/sessions"), expected.directory);
    EXPECT_EQ(permissions(scratch / "a"), expected.directory);
  }
}

TEST(SessionFileStore, SaveMakesAMissingDirectoryWithItsParents) {
  const ScratchDirectory scratch;
  const SessionFileStore store(scratch / "a/b/sessions");
  store.save(record("s"));
  EXPECT_EQ(store.load("s"), record("s"));
  EXPECT_THAT(names(scratch / "a/b/sessions"), ElementsAre("s.json"));
}

TEST(SessionFileStore, TheFileHoldsExactlyTheEncodedRecord) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  Session session = record("s");
  session.title = std::string(100'000, 't');
  store.save(session);
  EXPECT_EQ(readFile(directory / "s.json"), session.encode());
  store.save(record("s"));  // a shorter record leaves nothing of the longer one
  EXPECT_EQ(readFile(directory / "s.json"), record("s").encode());
}

// The largest payloads make identifiers of nearly a megabyte, and two lists hold each of them.
TEST(SessionFileStore, ARecordOfLargePayloadsIsReadAgain) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  Session session = record("s");
  session.inFlight = {std::string(900'000, '/'), std::string(900'000, 'b')};
  session.waitingOn = session.inFlight;
  store.save(session);
  EXPECT_GT(File::size((directory / "s.json").string()), 5'000'000U);
  EXPECT_EQ(store.load("s"), session);
}

TEST(SessionFileStore, SavePutsANewFileInTheOldOnesPlace) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  store.save(record("s"));
  std::filesystem::create_hard_link(directory / "s.json", directory / "old");
  const std::string old = readFile(directory / "s.json");
  Session next = record("s");
  next.agentPid = 7;
  store.save(next);
  EXPECT_EQ(readFile(directory / "old"), old) << "the old file was written to";
  EXPECT_EQ(store.load("s"), next);
}

TEST(SessionFileStore, SaveReplacesALinkAndLeavesWhatItPointsAt) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  writeFile(directory / "precious", "precious");
  std::filesystem::create_symlink(directory / "precious", directory / "s.json");
  store.save(record("s"));
  EXPECT_EQ(readFile(directory / "precious"), "precious");
  EXPECT_FALSE(std::filesystem::is_symlink(directory / "s.json"));
  EXPECT_EQ(store.load("s"), record("s"));
}

TEST(SessionFileStore, SaveOverADirectoryFailsAndLeavesNoTemporary) {
  for (const bool isEmpty : {true, false}) {
    const ScratchDirectory directory;
    const SessionFileStore store(directory.string());
    std::filesystem::create_directory(directory / "s.json");
    if (!isEmpty) writeFile(directory / "s.json/kept", "kept");
    EXPECT_EQ(errorOf([&] { store.save(record("s")); }), EISDIR);
    EXPECT_THAT(names(directory.path()), ElementsAre("s.json"));
    EXPECT_EQ(names(directory / "s.json").size(), isEmpty ? 0U : 1U);
  }
}

TEST(SessionFileStore, SaveUnderANameThatIsTooLongFailsAndLeavesNoTemporary) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  EXPECT_EQ(errorOf([&] { store.save(record(std::string(251, 'x'))); }), ENAMETOOLONG);
  EXPECT_THAT(names(directory.path()), IsEmpty());
  store.save(record(std::string(250, 'x')));
  EXPECT_EQ(names(directory.path()), (std::vector<std::string>{std::string(250, 'x') + ".json"}));
}

TEST(SessionFileStore, InAReadOnlyDirectoryOnlyReadingWorks) {
  const ScratchDirectory scratch;
  const auto directory = scratch / "sessions";
  const SessionFileStore store(directory);
  store.save(record("s"));
  std::filesystem::permissions(scratch.path(), std::filesystem::perms(0755));
  std::filesystem::permissions(directory / "s.json", std::filesystem::perms(0644));
  Session next = record("s");
  next.agentPid = 7;
  {
    const ReadOnly guard(directory);
    bool hasRun = false;
    EXPECT_EQ(errorOf([&] { store.withLock("s", [&] { hasRun = true; }); }), EACCES);
    EXPECT_FALSE(hasRun);
    EXPECT_EQ(errorOf([&] { store.save(next); }), EACCES);
    EXPECT_EQ(errorOf([&] { SessionFileStore(directory / "deeper").save(next); }), EACCES);
    store.deleteSession("s");
    EXPECT_EQ(store.load("s"), record("s"));
    EXPECT_EQ(store.loadAll().sessions, std::vector<Session>{record("s")});
  }
  EXPECT_THAT(names(directory), ElementsAre("s.json"));
  store.save(next);
  EXPECT_EQ(store.load("s"), next);
}

TEST(SessionFileStore, ASaveCutShortAtAnyByteLeavesTheOldRecordAndNoTemporary) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  Session next = record("s");
  next.title = "a title that the old record does not have";
  const std::size_t whole = next.encode().size();
  int cut = 0;
  int saved = 0;
  for (std::size_t limit = 0; limit <= whole + 64; ++limit) {
    store.save(record("s"));
    int error = 0;
    {
      const FileSizeLimit guard(limit);
      error = errorOf([&] { store.save(next); });
    }
    const bool fits = limit >= whole;
    EXPECT_EQ(error, fits ? 0 : EFBIG) << limit;
    EXPECT_EQ(store.load("s"), fits ? next : record("s")) << limit;
    EXPECT_THAT(names(directory.path()), ElementsAre("s.json")) << limit;
    ++(fits ? saved : cut);
  }
  EXPECT_EQ(cut, static_cast<int>(whole));
  EXPECT_EQ(saved, 65);
  EXPECT_GT(cut, 300);
}

TEST(SessionFileStore, AFileThatCannotBeReadOrDecodedIsNotARecord) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  EXPECT_EQ(store.load("missing"), std::nullopt);
  EXPECT_EQ(SessionFileStore(directory / "no/such").load("missing"), std::nullopt);
  std::filesystem::create_directory(directory / "directory.json");
  EXPECT_EQ(store.load("directory"), std::nullopt);
  std::filesystem::create_symlink("nowhere", directory / "dangling.json");
  EXPECT_EQ(store.load("dangling"), std::nullopt);
  std::filesystem::create_symlink("loop.json", directory / "loop.json");
  EXPECT_EQ(store.load("loop"), std::nullopt);
  ASSERT_EQ(::mkfifo((directory / "pipe.json").c_str(), 0600), 0);
  EXPECT_EQ(store.load("pipe"), std::nullopt);
  for (const std::string text :
       {"", " ", "{}", "[]", "null", R"({"sessionId":"s"})", "\xff\xfe", "not json"}) {
    writeFile(directory / "s.json", text);
    EXPECT_EQ(store.load("s"), std::nullopt) << text;
  }
}

TEST(SessionFileStore, ARecordIsReadWhateverIdItHolds) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  writeFile(directory / "file.json", record("another").encode());
  EXPECT_EQ(store.load("file"), record("another"));
}

TEST(SessionFileStore, ARecordTruncatedAtAnyByteIsListedAsCorruptBesideTheOthers) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  store.save(record("other"));
  const std::string whole = record("s").encode();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeFile(directory / "s.json", whole.substr(0, length));
    ASSERT_EQ(store.load("s"), std::nullopt) << length;
    const SessionFileStore::Loaded loaded = store.loadAll();
    ASSERT_EQ(loaded.sessions, std::vector<Session>{record("other")}) << length;
    ASSERT_EQ(loaded.corrupt, std::vector<std::string>{store.fileURL("s")}) << length;
  }
  EXPECT_GT(whole.size(), 200U);
  store.save(record("s"));
  EXPECT_EQ(store.loadAll().sessions.size(), 2U);
}

TEST(SessionFileStore, LoadAllTakesFilesWhoseExtensionIsExactlyJson) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  for (const std::string name : {"a.json", "b.c.json", ".hidden.json", "\u00e9.json"})
    writeFile(directory / name, record(name).encode());
  for (const std::string name : {"b.JSON", "c.Json", "a.json.bak", "a.jsonl", "json", "a json", ".a.lock",
                                 ".json", ".6F1C0F0E-6A43-4E0B-9C59-0B1D7D7B2E11.tmp", "a.json~", "a."})
    writeFile(directory / name, record(name).encode());

  const SessionFileStore::Loaded loaded = store.loadAll();
  std::vector<std::string> ids;
  for (const Session& session : loaded.sessions) ids.push_back(session.sessionId);
  EXPECT_THAT(ids, UnorderedElementsAre("a.json", "b.c.json", ".hidden.json", "\u00e9.json"));
  EXPECT_THAT(loaded.corrupt, IsEmpty());
}

TEST(SessionFileStore, LoadAllKeepsTheOrderInWhichTheDirectoryListsItsFiles) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  for (int i = 0; i < 50; ++i) store.save(record("session-" + std::to_string(i)));
  std::vector<std::string> listed;
  for (const auto& entry : std::filesystem::directory_iterator(directory.path()))
    listed.push_back(entry.path().stem());
  std::vector<std::string> loaded;
  for (const Session& session : store.loadAll().sessions) loaded.push_back(session.sessionId);
  EXPECT_EQ(loaded, listed);
  EXPECT_EQ(loaded.size(), 50U);
}

TEST(SessionFileStore, LoadAllListsEverythingUnreadableAsCorruptAndLeavesItThere) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  store.save(record("good"));
  writeFile(directory / "edited.json", record("edited").encode() + "x");
  writeFile(directory / "empty.json", "");
  std::filesystem::create_directory(directory / "directory.json");
  std::filesystem::create_symlink("nowhere", directory / "dangling.json");
  ASSERT_EQ(::mkfifo((directory / "pipe.json").c_str(), 0600), 0);
  const std::vector<std::string> before = names(directory.path());

  const SessionFileStore::Loaded loaded = store.loadAll();
  EXPECT_EQ(loaded.sessions, std::vector<Session>{record("good")});
  EXPECT_THAT(loaded.corrupt, UnorderedElementsAre(store.fileURL("edited"), store.fileURL("empty"),
                                                   store.fileURL("directory"), store.fileURL("dangling"),
                                                   store.fileURL("pipe")));
  EXPECT_EQ(names(directory.path()), before);

  for (const std::string& path : loaded.corrupt) SessionFileStore::deleteFile(path);
  EXPECT_THAT(store.loadAll().corrupt, testing::Each(store.fileURL("directory")));
}

TEST(SessionFileStore, AMissingDirectoryHoldsNoRecords) {
  const ScratchDirectory scratch;
  const SessionFileStore::Loaded loaded = SessionFileStore(scratch / "missing").loadAll();
  EXPECT_THAT(loaded.sessions, IsEmpty());
  EXPECT_THAT(loaded.corrupt, IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(scratch / "missing"));
}

TEST(SessionFileStore, DeletingRemovesOnlyTheRecordAndMayBeRepeated) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  store.withLock("s", [&] { store.save(record("s")); });
  store.save(record("other"));
  store.deleteSession("s");
  store.deleteSession("s");
  EXPECT_THAT(names(directory.path()), ElementsAre(".s.lock", "other.json"));
  SessionFileStore::deleteFile(store.fileURL("other"));
  SessionFileStore::deleteFile(store.fileURL("other"));
  SessionFileStore::deleteFile(directory / "no/such/file");
  EXPECT_THAT(names(directory.path()), ElementsAre(".s.lock"));
}

TEST(SessionFileStore, ATemporaryLeftByAWriterThatDiedIsNeverRead) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  writeFile(directory / ".6F1C0F0E-6A43-4E0B-9C59-0B1D7D7B2E11.tmp", record("s").encode());
  EXPECT_EQ(store.load("s"), std::nullopt);
  EXPECT_THAT(store.loadAll().sessions, IsEmpty());
  store.save(record("s"));
  EXPECT_EQ(store.loadAll().sessions.size(), 1U);
}

}  // namespace
}  // namespace tavrin
