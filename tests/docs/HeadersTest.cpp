// What the third line of every header of the libraries says: which library it belongs to, and what it needs.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/docs/Documents.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> headersBelow(const std::string& folder) {
  std::vector<std::string> paths;
  for (const auto& entry : fs::recursive_directory_iterator(test::repository() / folder)) {
    if (entry.path().extension() == ".hpp") paths.push_back(fs::relative(entry, test::repository()).string());
  }
  return paths;
}

std::string libraryOf(const std::string& path) {
  if (path.starts_with("TavrinCore/Panel/")) return "Tavrin::Panel";
  return path.starts_with("TavrinCore/") ? "Tavrin::Core" : "TavrinHook, which is not installed";
}

TEST(Headers, SayWhichLibraryTheyBelongToAndWhatTheyNeed) {
  std::size_t count = 0;
  for (const char* const folder : {"TavrinCore", "TavrinHook"}) {
    for (const std::string& path : headersBelow(folder)) {
      const std::vector<std::string> lines = test::linesOf(test::document(path));
      ASSERT_GT(lines.size(), 2U) << path;
      EXPECT_TRUE(lines[2].starts_with("// Part of " + libraryOf(path) + ". Needs "))
          << path << ": " << lines[2];
      ++count;
    }
  }
  EXPECT_GT(count, 90U);
}

TEST(Headers, NameBoostIfTheyIncludeIt) {
  std::size_t count = 0;
  for (const std::string& path : headersBelow("TavrinCore")) {
    const std::string text = test::document(path);
    if (text.find("#include <boost/") == std::string::npos) continue;
    EXPECT_NE(text.find(" Needs Boost.JSON"), std::string::npos) << path;
    ++count;
  }
  EXPECT_GT(count, 3U);
}

}  // namespace
}  // namespace tavrin
