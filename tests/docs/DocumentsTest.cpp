// What holds for every document in Markdown that people write: width, and links that lead somewhere.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/docs/Documents.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;

// Paths in the repository. Those in docs/man are made by mandoc.
std::vector<std::string> documents() {
  std::vector<std::string> paths = {"CHANGELOG.md", "CONTRIBUTING.md", "README.md"};
  for (const fs::directory_entry& entry : fs::directory_iterator(test::repository() / "docs")) {
    if (entry.path().extension() == ".md") paths.push_back("docs/" + entry.path().filename().string());
  }
  return paths;
}

// The lines outside of code, of tables, and of what a program puts between marks.
std::vector<std::string> proseOf(const std::string& path) {
  std::vector<std::string> prose;
  bool isCode = false;
  bool isGenerated = false;
  for (const std::string& line : test::linesOf(test::document(path))) {
    const bool isFence =
        line.find("```") == line.find_first_not_of(' ') && line.find("```") != std::string::npos;
    if (line.starts_with("<!-- ")) isGenerated = !line.starts_with("<!-- end of");
    if (isFence) isCode = !isCode;
    if (!isFence && !isCode && !isGenerated) prose.push_back(line);
  }
  EXPECT_FALSE(isCode || isGenerated) << path << " has a mark without its end";
  return prose;
}

// The anchors that a reader of Markdown makes of the headings: small letters, digits, "-" and "_", with "-"
// for each space.
std::set<std::string> anchorsOf(const std::string& path) {
  std::set<std::string> anchors;
  for (const std::string& line : proseOf(path)) {
    const std::size_t start = line.find_first_not_of('#');
    if (start == 0 || start == std::string::npos || line[start] != ' ') continue;
    std::string anchor;
    for (const char c : line.substr(start + 1)) {
      if (c == ' ') anchor += '-';
      if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_')
        anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    anchors.insert(anchor);
  }
  return anchors;
}

TEST(Documents, WrapAt100Columns) {
  constexpr std::size_t widest = 100;
  std::size_t count = 0;
  for (const std::string& path : documents()) {
    for (const std::string& line : proseOf(path)) {
      if (line.starts_with('|') || line.starts_with("![")) continue;
      // Bytes that begin a character.
      const auto width = static_cast<std::size_t>(std::ranges::count_if(
          line, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
      EXPECT_LE(width, widest) << path << ": " << line;
      ++count;
    }
  }
  EXPECT_GT(count, 500U);
}

TEST(Documents, LinkToFilesAndHeadingsThatExist) {
  const std::regex link(R"(\]\(([^)#:]*)(#[^)]*)?\))");
  std::size_t count = 0;
  for (const std::string& path : documents()) {
    std::string text;
    for (const std::string& line : proseOf(path)) text += line + "\n";
    for (std::sregex_iterator at(text.begin(), text.end(), link), end; at != end; ++at, ++count) {
      const fs::path target =
          (*at)[1].length() == 0 ? fs::path(path) : fs::path(path).parent_path() / (*at)[1].str();
      EXPECT_TRUE(fs::exists(test::repository() / target)) << path << " links to " << target;
      if ((*at)[2].matched && fs::exists(test::repository() / target)) {
        EXPECT_TRUE(anchorsOf(target.string()).contains((*at)[2].str().substr(1)))
            << path << " links to " << (*at)[0];
      }
    }
  }
  EXPECT_GT(count, 30U);
}

TEST(Documents, AreAllReachedFromReadme) {
  const std::regex link(R"(\]\(([^)#:]*\.md)(#[^)]*)?\))");
  std::set<std::string> reached;
  std::vector<std::string> next = {"README.md", "CHANGELOG.md"};
  while (!next.empty()) {
    const std::string path = next.back();
    next.pop_back();
    if (!reached.insert(path).second || path.starts_with("docs/man/")) continue;
    const std::string text = test::document(path);
    for (std::sregex_iterator at(text.begin(), text.end(), link), end; at != end; ++at)
      next.push_back((fs::path(path).parent_path() / (*at)[1].str()).lexically_normal().string());
  }
  for (const std::string& path : documents()) EXPECT_TRUE(reached.contains(path)) << path;
}

}  // namespace
}  // namespace tavrin
