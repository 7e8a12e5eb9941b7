#include "TavrinCore/Support/Path.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

constexpr std::string_view home = "/Users/somebody";

TEST(Path, EveryPathIsSplitAsByFoundation) {
  const auto lines = test::jsonLines("platform/paths.jsonl");
  ASSERT_EQ(lines.size(), 100U);
  int standardized = 0;
  for (const auto& value : lines) {
    const auto& line = value.as_object();
    const std::string path = test::bytesOf(line, "path");
    SCOPED_TRACE(path);
    EXPECT_EQ(Path::lastComponent(path), test::bytesOf(line, "lastComponent"));
    EXPECT_EQ(Path::extension(path), test::bytesOf(line, "extension"));

    std::string expanded = test::bytesOf(line, "tilde");
    constexpr std::string_view placeholder = "<home>";
    if (expanded.starts_with(placeholder)) expanded.replace(0, placeholder.size(), home);
    EXPECT_EQ(Path::expandingTilde(path, home), expanded);

    if (!line.contains("standardized")) continue;
    ++standardized;
    const std::string standard = test::bytesOf(line, "standardized");
    EXPECT_EQ(Path::standardized(path, "/elsewhere"), standard);
    std::string_view climbing = standard;
    for (const auto& step : line.at("climb").as_array()) {
      EXPECT_EQ(climbing, std::string_view(step.as_string()));
      climbing = Path::parent(climbing);
    }
  }
  EXPECT_EQ(standardized, 70);
}

TEST(Path, JoiningPutsOneSlashBetween) {
  EXPECT_EQ(Path::joined("/a", "b"), "/a/b");
  EXPECT_EQ(Path::joined("/a/", "b"), "/a/b");
  EXPECT_EQ(Path::joined("/", "b"), "/b");
  EXPECT_EQ(Path::joined("/a", "b/c"), "/a/b/c");
  EXPECT_EQ(Path::joined("/a", ""), "/a/");
}

TEST(Path, ReplacingTheExtensionChangesOnlyTheExtension) {
  constexpr std::array<std::array<std::string_view, 3>, 9> cases = {{
      {"/l/hook.log", "1.log", "/l/hook.1.log"},
      {"/l.d/hook.log", "1.log", "/l.d/hook.1.log"},
      {"/l.d/hook", "1.log", "/l.d/hook.1.log"},
      {"hook.tar.gz", "x", "hook.tar.x"},
      {"/a/.hidden", "x", "/a/.hidden.x"},
      {"/a/b.c/", "x", "/a/b.x"},
      {"/a/b.", "x", "/a/b..x"},
      {"/a/b.c d", "x", "/a/b.c d.x"},
      {"/a/b.c", "é", "/a/b.é"},
  }};
  for (const auto& [path, extension, expected] : cases) {
    EXPECT_EQ(Path::replacingExtension(path, extension), expected) << path;
  }
}

TEST(Path, ARelativePathStartsAtTheBase) {
  constexpr std::array<std::array<std::string_view, 3>, 9> cases = {{
      {"a/b", "/base", "/base/a/b"},
      {"./a//b/", "/base", "/base/a/b"},
      {"../a", "/base/dir", "/base/a"},
      {"../../../a", "/base/dir", "/a"},
      {"", "/base", "/base"},
      {".", "/base", "/base"},
      {"..", "/", "/"},
      {"a", "/", "/a"},
      {"~", "/base", "/base/~"},
  }};
  for (const auto& [path, base, expected] : cases) {
    EXPECT_EQ(Path::standardized(path, base), expected) << path << " at " << base;
  }
}

TEST(Path, StandardizingTwiceIsStandardizingOnce) {
  // All paths of up to seven of these characters.
  constexpr std::string_view signs = "/.a";
  int cases = 0;
  for (std::size_t length = 1, count = 3; length <= 7; ++length, count *= 3) {
    for (std::size_t number = 0; number < count; ++number) {
      std::string path = "/";
      for (std::size_t i = 0, rest = number; i < length; ++i, rest /= 3) path += signs[rest % 3];
      const std::string once = Path::standardized(path, "/");
      ASSERT_EQ(Path::standardized(once, "/"), once) << path;
      ASSERT_TRUE(once == "/" || (once.starts_with('/') && !once.ends_with('/'))) << path;
      ASSERT_EQ((once + "/").find("/../"), std::string::npos) << path;
      ASSERT_EQ((once + "/").find("/./"), std::string::npos) << path;
      ASSERT_EQ(once.find("//"), std::string::npos) << path;
      ++cases;
    }
  }
  EXPECT_EQ(cases, 3'279);
}

TEST(Path, TheParentOfTheRootIsTheRoot) {
  EXPECT_EQ(Path::parent("/"), "/");
  EXPECT_EQ(Path::parent("/a"), "/");
  EXPECT_EQ(Path::parent("/a/b"), "/a");
  EXPECT_EQ(Path::parent("/a/b c"), "/a");
}

}  // namespace
}  // namespace tavrin
