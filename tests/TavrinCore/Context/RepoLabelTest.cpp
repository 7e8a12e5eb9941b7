#include "TavrinCore/Context/RepoLabel.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/FakeFiles.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using test::FakeFiles;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

RepoLabel label(std::string root, std::optional<std::string> worktree = std::nullopt) {
  return {.root = std::move(root), .worktree = std::move(worktree)};
}

// "/d1/d2/…", `depth` directories deep.
std::string deepPath(int depth) {
  std::string path;
  for (int i = 1; i <= depth; ++i) path += "/d" + std::to_string(i);
  return path;
}

// The result of `find` for a ".git" file with this text in /r/w.
std::optional<RepoLabel> foundWith(std::optional<std::string> text) {
  FakeFiles files;
  files.files["/r/w/.git"] = std::move(text);
  return RepoLabel::find("/r/w", files.probes());
}

TEST(RepoLabel, ADirectoryBelowACheckoutBelongsToIt) {
  FakeFiles files;
  files.directories = {"/Users/a/repo/.git"};
  const auto found = RepoLabel::find("/Users/a/repo/src/lib", files.probes());
  EXPECT_EQ(found, label("/Users/a/repo"));
  EXPECT_EQ(found->displayName(), "repo");
  EXPECT_THAT(files.asked, ElementsAre("exists /Users/a/repo/src/lib/.git", "exists /Users/a/repo/src/.git",
                                       "exists /Users/a/repo/.git", "isDirectory /Users/a/repo/.git"));
}

TEST(RepoLabel, TheNearestCheckoutWins) {
  FakeFiles files;
  files.directories = {"/a/.git", "/a/b/.git"};
  EXPECT_EQ(RepoLabel::find("/a/b/c", files.probes()), label("/a/b"));
  EXPECT_EQ(RepoLabel::find("/a/b", files.probes()), label("/a/b"));
  EXPECT_EQ(RepoLabel::find("/a", files.probes()), label("/a"));
}

TEST(RepoLabel, ALinkedWorkTreeIsShownUnderItsMainRepository) {
  FakeFiles files;
  files.files["/Users/a/feature-x/.git"] = "gitdir: /Users/a/repo/.git/worktrees/feature-x\n";
  const auto found = RepoLabel::find("/Users/a/feature-x/src", files.probes());
  EXPECT_EQ(found, label("/Users/a/repo", "feature-x"));
  EXPECT_EQ(found->displayName(), "repo \u00b7 feature-x");
  EXPECT_THAT(files.asked,
              ElementsAre("exists /Users/a/feature-x/src/.git", "exists /Users/a/feature-x/.git",
                          "isDirectory /Users/a/feature-x/.git", "contents /Users/a/feature-x/.git"));
}

TEST(RepoLabel, ThereMayBeNoRepository) {
  FakeFiles files;
  EXPECT_EQ(RepoLabel::find("/a/b", files.probes()), std::nullopt);
  EXPECT_THAT(files.asked, ElementsAre("exists /a/b/.git", "exists /a/.git", "exists /.git"));
}

TEST(RepoLabel, TheRootOfTheFileSystemMayBeARepository) {
  FakeFiles files;
  files.directories = {"/.git"};
  EXPECT_EQ(RepoLabel::find("/a/b", files.probes()), label("/"));
  EXPECT_EQ(RepoLabel::find("/", files.probes()), label("/"));
  EXPECT_EQ(label("/").displayName(), "/");
}

TEST(RepoLabel, SixtyFourDirectoriesAreExamined) {
  // From 70 levels down, the 64th directory upwards is 7 levels deep.
  FakeFiles files;
  files.directories = {deepPath(7) + "/.git"};
  EXPECT_EQ(RepoLabel::find(deepPath(70), files.probes()), label(deepPath(7)));
  EXPECT_EQ(files.asked.size(), 64U + 1U);
  EXPECT_EQ(files.asked[63], "exists " + deepPath(7) + "/.git");
}

TEST(RepoLabel, TheSixtyFifthDirectoryIsNotExamined) {
  FakeFiles files;
  files.directories = {deepPath(6) + "/.git"};
  EXPECT_EQ(RepoLabel::find(deepPath(70), files.probes()), std::nullopt);
  EXPECT_EQ(files.asked.size(), 64U);
  EXPECT_EQ(files.asked.back(), "exists " + deepPath(7) + "/.git");
}

TEST(RepoLabel, TheLimitCountsTheRootOfTheFileSystemToo) {
  FakeFiles files;
  files.directories = {"/.git"};
  EXPECT_EQ(RepoLabel::find(deepPath(63), files.probes()), label("/"));
  EXPECT_EQ(RepoLabel::find(deepPath(64), files.probes()), std::nullopt);
}

TEST(RepoLabel, PathsAreStandardizedBeforeTheClimb) {
  for (const auto& [path, start] : std::vector<std::pair<std::string, std::string>>{{"/a/b/", "/a/b"},
                                                                                    {"//a///b", "/a/b"},
                                                                                    {"/a/./b/.", "/a/b"},
                                                                                    {"/a/x/../b", "/a/b"},
                                                                                    {"/../a/b", "/a/b"}}) {
    FakeFiles files;
    EXPECT_EQ(RepoLabel::find(path, files.probes()), std::nullopt);
    EXPECT_THAT(files.asked, ElementsAre("exists " + start + "/.git", "exists /a/.git", "exists /.git"))
        << path;
  }
}

TEST(RepoLabel, ClimbsAsFoundationDoes) {
  int count = 0;
  for (const boost::json::value& line : test::jsonLines("platform/paths.jsonl")) {
    const auto& object = line.as_object();
    const auto* const climb = object.if_contains("climb");
    if (climb == nullptr) continue;
    FakeFiles files;
    const std::string path(object.at("path").as_string());
    EXPECT_EQ(RepoLabel::find(path, files.probes()), std::nullopt);
    std::vector<std::string> expected;
    for (const boost::json::value& met : climb->as_array()) {
      const std::string directory(met.as_string());
      const std::string question = "exists " + directory + (directory == "/" ? ".git" : "/.git");
      if (expected.empty() || expected.back() != question) expected.push_back(question);
    }
    files.asked.resize(std::min(files.asked.size(), expected.size()));
    EXPECT_EQ(files.asked, expected) << path;
    ++count;
  }
  EXPECT_GT(count, 50);
}

TEST(RepoLabel, ARelativePathStartsAtTheCurrentDirectory) {
  FakeFiles files;
  files.currentDirectory = "/home/me";
  files.directories = {"/home/me/src/.git", "/home/.git"};
  EXPECT_EQ(RepoLabel::find("src/lib", files.probes()), label("/home/me/src"));
  EXPECT_EQ(RepoLabel::find("./src", files.probes()), label("/home/me/src"));
  EXPECT_EQ(RepoLabel::find("..", files.probes()), label("/home"));
  EXPECT_EQ(RepoLabel::find("", files.probes()), label("/home"));
  EXPECT_EQ(RepoLabel::find("../../../..", files.probes()), std::nullopt);
}

TEST(RepoLabel, AnAbsolutePathNeedsNoCurrentDirectory) {
  FakeFiles files;
  RepoLabel::Probes probes = files.probes();
  probes.currentDirectory = []() -> std::string { throw std::runtime_error("asked for"); };
  EXPECT_EQ(RepoLabel::find("/a", probes), std::nullopt);
}

TEST(RepoLabel, ATildeIsADirectoryOfThatName) {
  FakeFiles files;
  files.directories = {"/work/~/.git"};
  files.currentDirectory = "/work";
  EXPECT_EQ(RepoLabel::find("~/src", files.probes()), label("/work/~"));
}

TEST(RepoLabel, AGitFileThatCannotBeReadFallsBackToItsDirectory) {
  EXPECT_EQ(foundWith(std::nullopt), label("/r/w"));
}

TEST(RepoLabel, AGitFileOfAnotherFormFallsBackToItsDirectory) {
  for (const char* const text :
       {"", "\n", "gitdir", "git dir: /m/.git/worktrees/w", "GITDIR: /m/.git/worktrees/w",
        "Gitdir: /m/.git/worktrees/w", "gitdir : /m/.git/worktrees/w", "/m/.git/worktrees/w",
        "# x\ngitdir: /m/.git/worktrees/w", "\uFEFFgitdir: /m/.git/worktrees/w",
        "worktree gitdir: /m/.git/worktrees/w"}) {
    EXPECT_EQ(foundWith(text), label("/r/w")) << text;
    EXPECT_EQ(RepoLabel::fromGitdir(text, "/r/w"), std::nullopt) << text;
  }
}

TEST(RepoLabel, AGitFileFallsBackWithoutClimbingOn) {
  FakeFiles files;
  files.files["/r/w/.git"] = "nothing of the kind";
  files.directories = {"/r/.git"};
  EXPECT_EQ(RepoLabel::find("/r/w", files.probes()), label("/r/w"));
  EXPECT_EQ(files.asked.back(), "contents /r/w/.git");
}

TEST(RepoLabel, OfAGitdirTheMainRepositoryAndTheNameAreRead) {
  for (const auto& [text, expected] : std::vector<std::pair<std::string, RepoLabel>>{
           {"gitdir: /m/.git/worktrees/w\n", label("/m", "w")},
           {"gitdir:/m/.git/worktrees/w", label("/m", "w")},
           {"gitdir: \t /m/.git/worktrees/w \t \r\n\r\n", label("/m", "w")},
           {" \n\t\u00a0\u3000gitdir: /m/.git/worktrees/w\u2028\u0085\f\v", label("/m", "w")},
           {"gitdir: /a b/c d/.git/worktrees/e f", label("/a b/c d", "e f")},
           {"gitdir: /m/.git/worktrees/w/", label("/m", "w")},
           {"gitdir: /m/.git/worktrees/w/gitdir", label("/m", "w")},
           {"gitdir: /m/.git/worktrees///w//x", label("/m", "w")},
           {"gitdir: /m/.git/worktrees/", label("/m")},
           {"gitdir: /m/.git/worktrees//", label("/m")},
           {"gitdir: /m/.git/worktrees/a/.git/worktrees/b", label("/m", "a")},
           {"gitdir: /m/.git/.git/worktrees/a", label("/m/.git", "a")},
           {"gitdir: //.git/worktrees/a", label("/", "a")},
           {"gitdir: /m/../n/.git/worktrees/w", label("/m/../n", "w")},
           {"gitdir: /m/.git/worktrees/w\nmore", label("/m", "w\nmore")},
           {"gitdir: /m/.git/worktrees/ \u00b7 ", label("/m", " \u00b7")},
           {"gitdir: /\u00e9/.git/worktrees/\u4e2d", label("/\u00e9", "\u4e2d")}}) {
    EXPECT_EQ(RepoLabel::fromGitdir(text, "/near"), expected) << text;
    EXPECT_EQ(foundWith(text), expected) << text;
  }
}

TEST(RepoLabel, AGitdirThatIsNotALinkedWorkTreeIsLabelledByItsDirectory) {
  for (const char* const text :
       {"gitdir: ../.git/modules/sub", "gitdir: /m/.git/modules/sub", "gitdir: /elsewhere/store.git",
        "gitdir:", "gitdir: ", "gitdir: /m/.git/worktrees", "gitdir: /m/.git/Worktrees/w",
        "gitdir: /m/.GIT/worktrees/w", "gitdir: /m/.git//worktrees/w", "gitdir: /m.git/worktrees/w",
        "gitdir: /m/x.git/worktrees/w", "gitdir: .git/worktrees/w", "gitdir: /m/.git /worktrees/w"}) {
    EXPECT_EQ(RepoLabel::fromGitdir(text, "/near"), label("/near")) << text;
  }
}

TEST(RepoLabel, OnlySpacesAndTabsAreTrimmedFromAPath) {
  EXPECT_EQ(RepoLabel::fromGitdir("gitdir: \t /m/.git/worktrees/w\t \n", "/near"), label("/m", "w"));
  for (const char* const text : {"gitdir:\n/m/.git/worktrees/w", "gitdir:\r/m/.git/worktrees/w",
                                 "gitdir:\u00a0/m/.git/worktrees/w", "gitdir:\v/m/.git/worktrees/w"}) {
    EXPECT_EQ(RepoLabel::fromGitdir(text, "/near"), label("/near")) << text;
  }
}

TEST(RepoLabel, ALinkedWorkTreeByARelativePathIsLabelledByItsDirectory) {
  for (const char* const text :
       {"gitdir: ../m/.git/worktrees/w", "gitdir: ./.git/worktrees/w", "gitdir: m/.git/worktrees/w",
        "gitdir: ~/m/.git/worktrees/w", "gitdir: /.git/worktrees/w", "gitdir: C:/m/.git/worktrees/w"}) {
    EXPECT_EQ(RepoLabel::fromGitdir(text, "/near"), label("/near")) << text;
    EXPECT_EQ(foundWith(text), label("/r/w")) << text;
  }
}

TEST(RepoLabel, ShowsTheLastComponentOfItsRootAndTheWorkTree) {
  EXPECT_EQ(label("/Users/a/repo").displayName(), "repo");
  EXPECT_EQ(label("/Users/a/repo/").displayName(), "repo");
  EXPECT_EQ(label("/Users/a/my.repo").displayName(), "my.repo");
  EXPECT_EQ(label("/").displayName(), "/");
  EXPECT_EQ(label("").displayName(), "");
  EXPECT_EQ(label("/Users/a/repo", "").displayName(), "repo");
  EXPECT_EQ(label("/Users/a/repo", "x").displayName(), "repo \u00b7 x");
  EXPECT_EQ(label("/", "x").displayName(), "/ \u00b7 x");
  EXPECT_EQ(label("/a", " ").displayName(), "a \u00b7  ");
}

TEST(RepoLabel, TheFoundLabelWinsOverTheStoredOne) {
  EXPECT_EQ(RepoLabel::sticky(label("/new"), "/old", "w"), label("/new"));
  EXPECT_EQ(RepoLabel::sticky(label("/new", "v"), "/old", "w"), label("/new", "v"));
  EXPECT_EQ(RepoLabel::sticky(label("/new", "v"), std::nullopt, std::nullopt), label("/new", "v"));
}

TEST(RepoLabel, TheStoredLabelStaysWhenNoneIsFound) {
  EXPECT_EQ(RepoLabel::sticky(std::nullopt, "/old", "w"), label("/old", "w"));
  EXPECT_EQ(RepoLabel::sticky(std::nullopt, "/old", std::nullopt), label("/old"));
  EXPECT_EQ(RepoLabel::sticky(std::nullopt, "", "w"), label("", "w"));
  EXPECT_EQ(RepoLabel::sticky(std::nullopt, std::nullopt, std::nullopt), std::nullopt);
  EXPECT_EQ(RepoLabel::sticky(std::nullopt, std::nullopt, "w"), std::nullopt);
}

TEST(RepoLabel, LabelsAreEqualInRootAndWorkTree) {
  EXPECT_NE(label("/a"), label("/b"));
  EXPECT_NE(label("/a", "w"), label("/a", "v"));
  EXPECT_NE(label("/a"), label("/a", ""));
}

}  // namespace
}  // namespace tavrin
