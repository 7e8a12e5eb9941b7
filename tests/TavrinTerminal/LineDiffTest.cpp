#include "TavrinTerminal/LineDiff.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TavrinTerminal/System/ChildProcess.hpp"
#include "TavrinTerminal/System/Executables.hpp"
#include "tests/support/Random.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin::test {
namespace {

std::string diffOf(std::string_view before, std::string_view after) {
  return unifiedDiff(before, after, "old", "new");
}

std::string numbered(int from, int to) {
  std::string text;
  for (int i = from; i <= to; ++i) text += std::to_string(i) + "\n";
  return text;
}

TEST(LineDiff, IsEmptyForEqualTexts) {
  EXPECT_EQ(diffOf("", ""), "");
  EXPECT_EQ(diffOf("a\nb", "a\nb"), "");
}

TEST(LineDiff, ShowsAChangeWithThreeLinesAroundIt) {
  EXPECT_EQ(diffOf(numbered(1, 9), numbered(1, 4) + "five\n" + numbered(6, 9)),
            "--- old\n+++ new\n@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+five\n 6\n 7\n 8\n");
}

TEST(LineDiff, NamesARangeWithoutLinesAfterTheLineBeforeIt) {
  EXPECT_EQ(diffOf("", "a\n"), "--- old\n+++ new\n@@ -0,0 +1,1 @@\n+a\n");
  EXPECT_EQ(diffOf("a\n", ""), "--- old\n+++ new\n@@ -1,1 +0,0 @@\n-a\n");
}

TEST(LineDiff, ShowsAMissingLineFeed) {
  EXPECT_EQ(diffOf("a\n", "a"), "--- old\n+++ new\n@@ -1,1 +1,1 @@\n-a\n+a\n\\ No newline at end of file\n");
}

TEST(LineDiff, JoinsHunksThatTouchAndPartsOthers) {
  // Six lines between two changes are shared by both contexts; with seven they part.
  EXPECT_EQ(diffOf("x\n" + numbered(1, 6) + "y\n", numbered(1, 6)),
            "--- old\n+++ new\n@@ -1,8 +1,6 @@\n-x\n 1\n 2\n 3\n 4\n 5\n 6\n-y\n");
  EXPECT_EQ(diffOf("x\n" + numbered(1, 7) + "y\n", numbered(1, 7)),
            "--- old\n+++ new\n@@ -1,4 +1,3 @@\n-x\n 1\n 2\n 3\n@@ -6,4 +5,3 @@\n 5\n 6\n 7\n-y\n");
}

TEST(LineDiff, ShowsTextsWithTooManyChangesWhole) {
  std::string before;
  std::string after;
  for (int i = 0; i < 600; ++i) {
    before += "old " + std::to_string(i) + "\nsame\n";
    after += "new " + std::to_string(i) + "\nsame\n";
  }
  const std::string diff = diffOf(before + "old\n", after + "new\n");
  EXPECT_EQ(diff.find("\n same\n"), std::string::npos);
  EXPECT_NE(diff.find("\n-same\n"), std::string::npos);
  EXPECT_NE(diff.find("\n+same\n"), std::string::npos);
}

// patch(1) makes the new text of the old one and the difference.
TEST(LineDiff, LeadsPatchFromTheOldTextToTheNew) {
  const auto patch = Executables::find("patch", "/usr/local/bin:/usr/bin:/bin");
  if (!patch) GTEST_SKIP() << "no patch(1) here, so differences are not applied";
  const unsigned seed = randomSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  Random random(seed);
  const auto text = [&] {
    std::string made;
    const auto lines = random.below(12);
    for (std::size_t i = 0; i < lines; ++i)
      made += std::string(1, static_cast<char>('a' + random.below(3))) + "\n";
    if (!made.empty() && random.below(4) == 0) made.pop_back();
    return made;
  };
  const ScratchDirectory directory;
  for (int i = 0; i < 60; ++i) {
    const std::string before = text();
    const std::string after = text();
    if (before.empty() || after.empty() || before == after) continue;  // patch removes an empty file
    const std::filesystem::path file = directory / "file";
    writeFile(file, before);
    const ChildOutcome outcome = ChildProcess::run(
        {.words = {*patch, "--silent", "--fuzz=0", file.string()}, .input = diffOf(before, after)});
    ASSERT_TRUE(outcome.succeeded()) << outcome.output << diffOf(before, after);
    ASSERT_EQ(after, readFile(file)) << diffOf(before, after);
  }
}

}  // namespace
}  // namespace tavrin::test
