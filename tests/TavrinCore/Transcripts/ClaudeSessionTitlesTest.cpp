#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Support/Json/JsonFields.hpp"
#include "tests/support/HomeVariable.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;
using test::ScratchDirectory;
using test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;
using Titles = std::map<std::string, std::string>;
using Title = std::optional<std::string>;

std::string metadata(std::string_view id, std::string_view titleAsJson) {
  return R"({"sessionId":"local_)" + std::string(id) + R"(","title":)" + std::string(titleAsJson) + "}";
}

std::string inQuotes(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

// A directory of metadata files.
class ClaudeTitles : public ::testing::Test {
 protected:
  // Writes the metadata of a session to FOLDER/local_ID.json.
  void write(const std::string& id, std::string_view title, const std::string& folder = ".") const {
    writeText(id, metadata(id, inQuotes(title)), folder);
  }
  void writeText(const std::string& id, std::string_view text, const std::string& folder = ".") const {
    writeFile(directory.path() / folder / ("local_" + id + ".json"), text);
  }

  Title titleOf(const std::string& id) const { return ClaudeSessionTitles::resolve(id, directory.string()); }
  Titles titlesOf(const std::set<std::string>& ids) const {
    return ClaudeSessionTitles::resolve(ids, directory.string());
  }

  // What becomes of a title that stands in a file as this JSON.
  Title titleFrom(std::string_view titleAsJson) const {
    writeText("s", metadata("s", titleAsJson));
    return titleOf("s");
  }

  ScratchDirectory directory;
};

TEST_F(ClaudeTitles, AreBelowTheHomeDirectory) {
  using ClaudeSessionTitles::defaultDirectory;
  EXPECT_EQ(defaultDirectory("/Users/dev"),
            "/Users/dev/Library/Application Support/Claude/claude-code-sessions");
  EXPECT_EQ(ClaudeSessionTitles::desktopBundleIdentifier, "com.anthropic.claudefordesktop");

  const test::HomeVariable variable(directory.string());
  writeFile(fs::path(defaultDirectory()) / "local_s.json", metadata("s", R"("A title")"));
  EXPECT_EQ(defaultDirectory(),
            directory.string() + "/Library/Application Support/Claude/claude-code-sessions");
  EXPECT_EQ(ClaudeSessionTitles::resolve("s"), "A title");
  EXPECT_THAT(ClaudeSessionTitles::resolve(std::set<std::string>{"s"}), ElementsAre(Pair("s", "A title")));
}

TEST_F(ClaudeTitles, ASessionWithAFileHasATitle) {
  write("3f2a9c1d-0000-4000-8000-000000000000", "Fix the build");
  EXPECT_EQ(titleOf("3f2a9c1d-0000-4000-8000-000000000000"), "Fix the build");
  EXPECT_EQ(titleOf("another"), std::nullopt);
}

TEST_F(ClaudeTitles, OnlyTheSessionsAskedForAreAnswered) {
  for (const char* const id : {"a", "b", "c", "d"}) write(id, std::string("Title ") + id);
  EXPECT_THAT(titlesOf({"a", "c", "missing"}), ElementsAre(Pair("a", "Title a"), Pair("c", "Title c")));
  EXPECT_THAT(titlesOf({}), IsEmpty());
}

TEST_F(ClaudeTitles, AMissingDirectoryOrAFileInItsPlaceHasNoTitles) {
  EXPECT_EQ(ClaudeSessionTitles::resolve("s", (directory / "missing").string()), std::nullopt);
  EXPECT_EQ(ClaudeSessionTitles::resolve("s", ""), std::nullopt);
  writeFile(directory / "file", metadata("s", R"("A title")"));
  EXPECT_EQ(ClaudeSessionTitles::resolve("s", (directory / "file").string()), std::nullopt);
  EXPECT_EQ(titleOf("s"), std::nullopt);
}

TEST_F(ClaudeTitles, SubfoldersAreSearched) {
  write("a", "One", "one");
  write("b", "Two", "one/two");
  write("c", "Three", "one/two/three/four/five/six/seven");
  write("d", "Zero");
  write("e", "Deep", "1/2/3/4/5/6/7/8/9/10/11/12/13/14/15/16/17/18/19/20");
  EXPECT_THAT(titlesOf({"a", "b", "c", "d", "e"}),
              ElementsAre(Pair("a", "One"), Pair("b", "Two"), Pair("c", "Three"), Pair("d", "Zero"),
                          Pair("e", "Deep")));
}

TEST_F(ClaudeTitles, AFolderNamedLikeAFileIsSearchedAndNotRead) {
  write("s", "Inside", "local_s.json");
  EXPECT_EQ(titleOf("s"), "Inside");
}

TEST_F(ClaudeTitles, HiddenFilesAndFoldersAreSkipped) {
  write("s", "Hidden folder", ".hidden");
  write("s", "Hidden deeper", "a/.b/c");
  writeFile(directory / ".local_s.json", metadata("s", R"("Hidden file")"));
  EXPECT_EQ(titleOf("s"), std::nullopt);
  write("s", "Seen", "a/b.c");
  EXPECT_EQ(titleOf("s"), "Seen");
}

TEST_F(ClaudeTitles, FilesInPackagesAreSkipped) {
  std::set<std::string> ids;
  for (const std::string extension :
       {"app", "appex", "bundle", "framework", "plugin", "rtfd", "workflow", "xpc"}) {
    write(extension, "In a package", "X." + extension);
    write(extension, "In a package below", "folder/Y." + extension);
    write(extension, "In a package's folder", "Z." + extension + "/Contents/Resources");
    ids.insert(extension);
  }
  EXPECT_EQ(ids.size(), 8U);
  EXPECT_THAT(titlesOf(ids), IsEmpty());
  write("s", "In a folder", "application");
  EXPECT_EQ(titleOf("s"), "In a folder");
}

TEST_F(ClaudeTitles, SymbolicLinksAreNotFollowed) {
  const ScratchDirectory elsewhere;
  writeFile(elsewhere / "local_s.json", metadata("s", R"("Elsewhere")"));
  fs::create_symlink(elsewhere / "local_s.json", directory / "local_s.json");
  fs::create_directory_symlink(elsewhere.path(), directory / "folder");
  fs::create_directory_symlink(directory.path(), directory / "loop");
  EXPECT_EQ(titleOf("s"), std::nullopt);
}

TEST_F(ClaudeTitles, OnlyRegularFilesAreRead) {
  ASSERT_EQ(::mkfifo((directory / "local_pipe.json").c_str(), 0600), 0);
  fs::create_directories(directory / "local_folder.json");
  EXPECT_THAT(titlesOf({"pipe", "folder"}), IsEmpty());
}

TEST_F(ClaudeTitles, OfFilesWithOneNameAUsableOneCounts) {
  writeText("s", "no JSON", "a");
  write("s", "   ", "b");
  write("s", "Usable", "c/d");
  writeText("s", metadata("other", R"("Of another session")"), "e");
  writeText("s", R"({"title":"Of none"})", "f");
  EXPECT_EQ(titleOf("s"), "Usable");
}

TEST_F(ClaudeTitles, OfUsableFilesWithOneNameTheFirstThatIsFoundCounts) {
  for (const char* folder : {"a", "b", "c", "d"}) write("s", folder, folder);
  EXPECT_EQ(titleOf("s"), fs::directory_iterator(directory.path())->path().filename());
}

TEST_F(ClaudeTitles, FileNamesAreComparedExactly) {
  const std::string text = metadata("s", R"("A title")");
  for (const char* const name : {"s.json", "local_s", "local_s.JSON", "Local_s.json", "local_s.json.tmp",
                                 "local-s.json", "xlocal_s.json", "local_ss.json", "local_s.jso"}) {
    writeFile(directory / name, text);
  }
  EXPECT_EQ(titleOf("s"), std::nullopt);
  EXPECT_EQ(titleOf("S"), std::nullopt);
}

TEST_F(ClaudeTitles, TheFileMustSayThatItIsOfThatSession) {
  for (const char* const sessionId :
       {R"("s")", R"("local_")", R"("local_S")", R"("LOCAL_s")", R"("local_s ")", R"(" local_s")",
        R"("local_t")", R"("")", "null", "7", R"(["local_s"])", R"({"local_s":1})"}) {
    writeText("s", R"({"title":"A title","sessionId":)" + std::string(sessionId) + "}");
    EXPECT_EQ(titleOf("s"), std::nullopt) << sessionId;
  }
  writeText("s", R"({"title":"A title"})");
  EXPECT_EQ(titleOf("s"), std::nullopt);
  writeText("s", R"({"title":"A title","sessionId":"\u006cocal_\u0073"})");
  EXPECT_EQ(titleOf("s"), "A title");
}

TEST_F(ClaudeTitles, OtherKeysAreIgnored) {
  writeText("s",
            R"({"cwd":"/a","title":"A title","n":[1,{"title":"no","sessionId":"no"}],"sessionId":"local_s",
                     "archived":false,"at":1.5e3,"x":null,"Title":"no"})");
  EXPECT_EQ(titleOf("s"), "A title");
}

TEST_F(ClaudeTitles, AFileOfAnotherFormIsSkipped) {
  for (const char* const text :
       {"", " ", "{", "[]", "null", R"("local_s")", R"([{"sessionId":"local_s","title":"A title"}])",
        R"({"sessionId":"local_s","title":"A title"} x)", R"({"sessionId":"local_s","title":"A title)",
        "{\"sessionId\":\"local_s\",\"title\":\"\xff\"}", R"({"sessionId":"local_s"})",
        R"({"sessionId":"local_s","title":null})", R"({"sessionId":"local_s","title":5})",
        R"({"sessionId":"local_s","title":["A title"]})", R"({"sessionId":"local_s","title":true})"}) {
    writeText("s", text);
    EXPECT_EQ(titleOf("s"), std::nullopt) << text;
  }
}

TEST_F(ClaudeTitles, AFileThatCannotBeReadHidesNoOther) {
  writeText("a", "{");
  fs::create_directories(directory / "local_b.json");
  write("c", "A title");
  EXPECT_THAT(titlesOf({"a", "b", "c"}), ElementsAre(Pair("c", "A title")));
}

TEST_F(ClaudeTitles, AFileOfAMillionBytesIsReadAndALargerOneIsNot) {
  const std::string text = metadata("s", R"("A title")");
  writeText("s", text + std::string(1'000'000 - text.size(), ' '));
  EXPECT_EQ(titleOf("s"), "A title");
  writeText("s", text + std::string(1'000'001 - text.size(), ' '));
  EXPECT_EQ(titleOf("s"), std::nullopt);
}

TEST_F(ClaudeTitles, IdsOfDigitsLettersUnderscoresAndHyphensAreLookedUp) {
  for (const char* const id : {"0123456789", "abcdefghijklmnopqrstuvwxyz", "ABCDEFGHIJKLMNOPQRSTUVWXYZ", "_",
                               "-", "--", "_-_", "a", "local_a"}) {
    write(id, "A title");
    EXPECT_EQ(titleOf(id), "A title") << id;
  }
}

TEST_F(ClaudeTitles, IdsWithAnyOtherByteAreNotLookedUp) {
  int count = 0;
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '-')
      continue;
    const std::string id = std::string("a") + c + "b";
    // There is a file of the name that it would make, wherever that can be a name.
    if (byte > 0 && byte < 0x80) {
      std::string text = R"({"title":"A title","sessionId":)";
      appendJsonText(text, "local_" + id);
      writeText(id, text + "}");
    }
    EXPECT_EQ(titleOf(id), std::nullopt) << byte;
    ++count;
  }
  EXPECT_EQ(count, 256 - 64);
}

TEST_F(ClaudeTitles, IdsThatAreNotPlainNamesHaveNoTitle) {
  write("s", "A title", "folder");
  write("", "A title");
  write("caf\u00e9", "A title");
  write("\u0661", "A title");
  for (const char* const id :
       {"", "../s", "folder/s", "/s", ".", "..", "s ", " s", "caf\u00e9", "\u0661", "s\n", "s.json"})
    EXPECT_EQ(titleOf(id), std::nullopt) << id;
  EXPECT_THAT(titlesOf({"", "folder/s", "s"}), ElementsAre(Pair("s", "A title")));
}

TEST_F(ClaudeTitles, IdsHaveAtMost128Bytes) {
  const std::string longest(128, 'i');
  const std::string tooLong(129, 'i');
  write(longest, "A title");
  write(tooLong, "A title");
  EXPECT_EQ(titleOf(longest), "A title");
  EXPECT_EQ(titleOf(tooLong), std::nullopt);
  EXPECT_THAT(titlesOf({longest, tooLong}), ElementsAre(Pair(longest, "A title")));
}

TEST_F(ClaudeTitles, WordsAreJoinedBySingleSpaces) {
  EXPECT_EQ(titleFrom(R"("  Fix   the\n build\t\t ")"), "Fix the build");
  EXPECT_EQ(titleFrom(R"("\r\nFix\r\nthe\u00a0build\u3000\u2028now\u2029")"), "Fix the build now");
  EXPECT_EQ(titleFrom(R"("a\u000bb\u000cc\u0085d\u1680e\u2000f\u200ag\u202fh\u205fi")"), "a b c d e f g h i");
  EXPECT_EQ(titleFrom(R"("Fix")"), "Fix");
}

TEST_F(ClaudeTitles, OtherCharactersThanWhiteSpaceStay) {
  EXPECT_EQ(titleFrom(R"("a\u200bb \u2014 \ud83d\ude00\u00b7\"\\")"), "a\u200bb \u2014 \U0001F600\u00b7\"\\");
  EXPECT_EQ(titleFrom(R"("\u001b[1m\u0007")"), "\x1b[1m\a");
}

TEST_F(ClaudeTitles, ATitleOfWhiteSpaceDoesNotCount) {
  for (const char* const title : {R"("")", R"(" ")", R"("\n\t \r\n")", R"("\u00a0\u3000")"}) {
    EXPECT_EQ(titleFrom(title), std::nullopt) << title;
  }
}

TEST_F(ClaudeTitles, ATitleWithItsSpacesJoinedHasAtMost1024Bytes) {
  const std::string longest(1'024, 't');
  EXPECT_EQ(titleFrom(inQuotes(longest)), longest);
  EXPECT_EQ(titleFrom(inQuotes(longest + "t")), std::nullopt);
  EXPECT_EQ(titleFrom(inQuotes("   " + longest + std::string(5'000, ' '))), longest);
  // 512 letters of two bytes each, and one more.
  std::string accented;
  for (int i = 0; i < 512; ++i) accented += "\u00e9";
  EXPECT_EQ(titleFrom(inQuotes(accented)), accented);
  EXPECT_EQ(titleFrom(inQuotes(accented + "t")), std::nullopt);
  const std::string twoWords = std::string(500, 'a') + " " + std::string(523, 'b');
  EXPECT_EQ(titleFrom(inQuotes(std::string(500, 'a') + "\\n   " + std::string(523, 'b'))), twoWords);
  EXPECT_EQ(titleFrom(inQuotes(std::string(500, 'a') + "\\n   " + std::string(524, 'b'))), std::nullopt);
}

TEST_F(ClaudeTitles, TwentyThousandEntriesAreExaminedAndNotOneMore) {
  const fs::path folder = directory / "a/b";
  std::set<std::string> all;
  std::set<std::string> odd;
  for (int i = 0; i < 20'500; ++i) {
    const std::string id = std::to_string(i);
    write(id, "t", "a/b");
    all.insert(id);
    if (i % 2 == 1) odd.insert(id);
  }
  // Hidden entries do not count.
  for (int i = 0; i < 20; ++i) writeFile(folder / ("." + std::to_string(i)), "");
  EXPECT_EQ(ClaudeSessionTitles::resolve(all, folder.string()).size(), 20'000U);

  // Folders are entries.
  EXPECT_EQ(titlesOf(all).size(), 19'998U);

  // So are files that nobody asked for.
  std::size_t oddOnesInReach = 0;
  int listed = 0;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().stem().string();
    if (name.starts_with('.')) continue;
    if (listed++ == 20'000) break;
    if (odd.contains(name.substr(6))) ++oddOnesInReach;
  }
  ASSERT_LT(oddOnesInReach, odd.size());
  EXPECT_EQ(ClaudeSessionTitles::resolve(odd, folder.string()).size(), oddOnesInReach);
}

TEST_F(ClaudeTitles, DescriptorsAreGivenBack) {
  const auto openDescriptors = [] { return std::distance(fs::directory_iterator("/dev/fd"), {}); };
  write("s", "A title", "a/b/c");
  write("t", "A title", "a/d");
  writeText("u", "{", "a/e");
  const auto before = openDescriptors();
  EXPECT_THAT(titlesOf({"s", "t", "u"}), UnorderedElementsAre(Pair("s", "A title"), Pair("t", "A title")));
  EXPECT_EQ(openDescriptors(), before);
}

Session hostedBy(const std::optional<std::string>& bundle, Agent agent = Agent::claude) {
  Session session;
  session.sessionId = "s";
  session.agent = agent;
  session.hostBundleId = bundle;
  session.title = "Before";
  return session;
}

TEST(ClaudeTitlesApplying, ASessionInTheDesktopAppGetsItsTitle) {
  const Session session = hostedBy("com.anthropic.claudefordesktop");
  Session expected = session;
  expected.title = "After";
  EXPECT_EQ(ClaudeSessionTitles::applying({{"r", "Wrong"}, {"s", "After"}}, session), expected);
}

TEST(ClaudeTitlesApplying, AnUnknownSessionKeepsItsTitle) {
  const Session session = hostedBy("com.anthropic.claudefordesktop");
  EXPECT_EQ(ClaudeSessionTitles::applying({{"S", "After"}, {"", "After"}}, session), session);
  EXPECT_EQ(ClaudeSessionTitles::applying({}, session), session);
}

TEST(ClaudeTitlesApplying, ASessionHostedByAnythingElseKeepsItsTitle) {
  for (const std::optional<std::string>& bundle :
       {std::optional<std::string>(), std::optional<std::string>(""),
        std::optional<std::string>("com.apple.Terminal"),
        std::optional<std::string>("com.anthropic.claudefordesktop.helper"),
        std::optional<std::string>("com.anthropic.ClaudeForDesktop")}) {
    const Session session = hostedBy(bundle);
    EXPECT_EQ(ClaudeSessionTitles::applying({{"s", "After"}}, session), session) << bundle.value_or("none");
  }
}

TEST(ClaudeTitlesApplying, ASessionOfAnotherAgentKeepsItsTitle) {
  for (const Agent agent : {Agent::codex, Agent::gemini, Agent::copilot, Agent::grok}) {
    const Session session = hostedBy("com.anthropic.claudefordesktop", agent);
    EXPECT_EQ(ClaudeSessionTitles::applying({{"s", "After"}}, session), session) << rawValue(agent);
  }
}

}  // namespace
}  // namespace tavrin
