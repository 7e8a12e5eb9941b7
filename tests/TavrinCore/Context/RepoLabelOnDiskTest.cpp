// RepoLabel on real files, with its default probes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "TavrinCore/Context/RepoLabel.hpp"
#include "TavrinCore/Support/File.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;
using test::ScratchDirectory;
using test::writeFile;

RepoLabel label(const fs::path& root, std::optional<std::string> worktree = std::nullopt) {
  return {.root = root.string(), .worktree = std::move(worktree)};
}

std::optional<RepoLabel> found(const fs::path& path) {
  return RepoLabel::find(path.string());
}

std::optional<fs::path> git() {
  const char* const variable = std::getenv("PATH");
  std::istringstream directories(variable == nullptr ? "" : variable);
  for (std::string directory; std::getline(directories, directory, ':');) {
    if (::access((fs::path(directory) / "git").c_str(), X_OK) == 0) return fs::path(directory) / "git";
  }
  return std::nullopt;
}

void runGit(const fs::path& program, const fs::path& directory, std::vector<std::string> words) {
  words.insert(words.begin(),
               {program.string(), "-C", directory.string(), "-c", "user.name=n", "-c", "user.email=e"});
  const test::Outcome outcome = test::run(words, "",
                                          {{"HOME", directory.string()},
                                           {"PATH", std::getenv("PATH")},
                                           {"GIT_CONFIG_NOSYSTEM", "1"},
                                           {"GIT_CONFIG_GLOBAL", "/dev/null"}});
  ASSERT_EQ(outcome.exitStatus, 0) << outcome.error;
}

// A repository with a commit at "repo", a linked work tree at "trees/feature-x" and a repository with a
// separate git directory at "apart". git makes them if it is installed. Otherwise the test writes the same
// files.
void makeRepositories(const fs::path& base) {
  fs::create_directories(base / "repo/src/lib");
  fs::create_directories(base / "trees");
  fs::create_directories(base / "apart");
  if (const auto program = git()) {
    runGit(*program, base / "repo", {"init", "-q"});
    runGit(*program, base / "repo", {"commit", "-q", "--allow-empty", "-m", "first"});
    runGit(*program, base / "repo",
           {"worktree", "add", "-q", "-b", "x", (base / "trees/feature-x").string()});
    runGit(*program, base / "apart", {"init", "-q", "--separate-git-dir", (base / "store.git").string()});
  } else {
    fs::create_directories(base / "repo/.git/worktrees/feature-x");
    writeFile(base / "trees/feature-x/.git",
              "gitdir: " + (base / "repo/.git/worktrees/feature-x\n").string());
    fs::create_directories(base / "store.git");
    writeFile(base / "apart/.git", "gitdir: " + (base / "store.git\n").string());
  }
  fs::create_directories(base / "trees/feature-x/deep/er");
}

TEST(RepoLabelOnDisk, FindsWhatGitMakes) {
  const ScratchDirectory base;
  makeRepositories(base.path());
  EXPECT_EQ(found(base / "repo"), label(base / "repo"));
  EXPECT_EQ(found(base / "repo/src/lib"), label(base / "repo"));
  EXPECT_EQ(found(base / "repo/src/gone/by/now"), label(base / "repo"));
  EXPECT_EQ(found(base / "trees/feature-x"), label(base / "repo", "feature-x"));
  EXPECT_EQ(found(base / "trees/feature-x/deep/er"), label(base / "repo", "feature-x"));
  EXPECT_EQ(found(base / "apart"), label(base / "apart"));
}

TEST(RepoLabelOnDisk, FindsARepositoryMadeByHand) {
  const ScratchDirectory base;
  fs::create_directories(base / "repo/.git/modules/sub");
  writeFile(base / "repo/sub/.git", "gitdir: ../.git/modules/sub\n");
  writeFile(base / "relative/.git", "gitdir: ../repo/.git/worktrees/relative\n");
  EXPECT_EQ(found(base / "repo/sub"), label(base / "repo/sub"));
  EXPECT_EQ(found(base / "relative"), label(base / "relative"));
}

TEST(RepoLabelOnDisk, FollowsSymbolicLinksInPlaceOfGit) {
  const ScratchDirectory base;
  fs::create_directories(base / "store/.git");
  writeFile(base / "store/file", "gitdir: /m/.git/worktrees/w\n");
  fs::create_directories(base / "a/b/c");
  fs::create_symlink(base / "store/.git", base / "a/.git");
  EXPECT_EQ(found(base / "a/b/c"), label(base / "a"));
  fs::create_symlink(base / "store/file", base / "a/b/.git");
  EXPECT_EQ(found(base / "a/b/c"), label("/m", "w"));
  // A dangling link counts as missing, and the search goes on upwards.
  fs::create_symlink(base / "nowhere", base / "a/b/c/.git");
  EXPECT_EQ(found(base / "a/b/c"), label("/m", "w"));
}

TEST(RepoLabelOnDisk, AGitFileThatIsNotUtf8FallsBackToItsDirectory) {
  const ScratchDirectory base;
  for (const char* const bytes : {"gitdir: /m\xff/.git/worktrees/w", "gitdir: /m/.git/worktrees/w\n\xc3",
                                  "gitdir: /m/.git/worktrees/\xed\xa0\x80"}) {
    writeFile(base / "w/.git", bytes);
    EXPECT_EQ(found(base / "w"), label(base / "w")) << bytes;
  }
  writeFile(base / "w/.git", "gitdir: /m/.git/worktrees/w");
  EXPECT_EQ(found(base / "w"), label("/m", "w"));
}

TEST(RepoLabelOnDisk, AHugeGitFileFallsBackToItsDirectory) {
  const ScratchDirectory base;
  const std::string line = "gitdir: /m/.git/worktrees/w";
  writeFile(base / "w/.git", line + std::string(1'000'000 - line.size(), '\n'));
  EXPECT_EQ(found(base / "w"), label("/m", "w"));
  writeFile(base / "w/.git", line + std::string(1'000'001 - line.size(), '\n'));
  EXPECT_EQ(found(base / "w"), label(base / "w"));
  // A far larger file takes no more memory or time.
  fs::resize_file(base / "w/.git", std::uintmax_t{1} << 32U);
  EXPECT_EQ(found(base / "w"), label(base / "w"));
}

TEST(RepoLabelOnDisk, ANamedPipeInPlaceOfGitStopsNobody) {
  const ScratchDirectory base;
  const fs::path pipe = base / "w/.git";
  fs::create_directories(base / "w");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(found(base / "w"), label(base / "w"));
  // A file that somebody has open for writing does not block either.
  const FileDescriptor reader = FileDescriptor::open(pipe, O_RDONLY | O_NONBLOCK);
  const FileDescriptor writer = FileDescriptor::open(pipe, O_WRONLY);
  ASSERT_TRUE(writer.isOpen());
  EXPECT_EQ(found(base / "w"), label(base / "w"));
}

TEST(RepoLabelOnDisk, APathThatTheSystemRejectsIsInNoRepository) {
  const ScratchDirectory base;
  EXPECT_EQ(found(base / std::string(300, 'n')), found(base.path()));
  std::string tooLong = base.string();
  for (int i = 0; i < 40; ++i) tooLong += "/" + std::string(200, 'n');
  EXPECT_EQ(found(tooLong), found(base.path()));
}

TEST(RepoLabelOnDisk, ARelativePathStartsWhereTheProcessIs) {
  const ScratchDirectory base;
  fs::create_directories(base / "repo/.git");
  fs::create_directories(base / "repo/src");
  const fs::path before = fs::current_path();
  fs::current_path(base / "repo/src");
  EXPECT_EQ(found("."), label(base / "repo"));
  EXPECT_EQ(found("lib"), label(base / "repo"));
  EXPECT_EQ(found(".."), label(base / "repo"));
  fs::current_path(before);
}

}  // namespace
}  // namespace tavrin
