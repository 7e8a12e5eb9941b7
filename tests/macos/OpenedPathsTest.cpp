// Compares what docs/macos.md says a run looks at with the system calls of real runs, as strace(1) prints
// them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Touched {
  std::string path;
  bool isOpened;
};

// A line of the table: a pattern for paths, and whether such a path may be opened.
struct Line {
  std::string text;
  std::regex path;
  bool mayBeOpened;
  bool isTrue = false;  // some run did it
};

std::string replaced(std::string text, std::string_view what, std::string_view by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
    text.replace(at, what.size(), by);
  return text;
}

std::string plain(const std::string& text) {
  return std::regex_replace(text, std::regex(R"([.^$|()\[\]{}*+?\\])"), R"(\$&)");
}

class OpenedPaths : public ::testing::Test {
 protected:
  OpenedPaths() {
    test::writeFile(project / ".git/HEAD", "ref: refs/heads/main\n");
    test::writeFile(linked / ".git", "gitdir: " + (project / ".git/worktrees/linked").string() + "\n");
    std::filesystem::create_directories(project / "src");
    std::filesystem::create_directories(loose);
    test::writeFile(transcript, "{}\n");
    test::writeFile(titles / "one/two/local_s1.json", R"({"sessionId":"local_s1","title":"A title"})");
    test::writeFile(home / ".bashrc", "");
  }

  // What a run on this event looks at.
  std::vector<Touched> run(std::string_view name, const std::filesystem::path& cwd) {
    const std::string event = R"({"session_id":"s1","hook_event_name":")" + std::string(name) +
                              R"(","tool_name":"Bash","tool_use_id":"t","transcript_path":")" +
                              transcript.string() + R"(","cwd":")" + cwd.string() + R"("})";
    const std::string trace = home / "trace";
    EXPECT_EQ(test::run({"/usr/bin/env", "strace", "-s", "4096", "-e", "trace=%file", "-o", trace,
                         TAVRIN_DESKTOP_RUN, home.string()},
                        event, {{"PATH", "/usr/local/bin:/usr/bin:/bin"}}),
              test::silentSuccess);
    std::istringstream lines(test::readFile(trace));
    std::filesystem::remove(trace);
    std::vector<Touched> touched;
    bool isOfTheRun = false;
    for (std::string line; std::getline(lines, line);) {
      const std::regex text(R"re("([^"]+)")re");
      for (std::sregex_iterator at(line.begin(), line.end(), text), end; isOfTheRun && at != end; ++at)
        touched.push_back({(*at)[1], line.starts_with("openat")});
      isOfTheRun = isOfTheRun || line.starts_with("access(\"/start\"");
    }
    EXPECT_FALSE(touched.empty()) << name;
    all.insert(all.end(), touched.begin(), touched.end());
    return touched;
  }

  static std::vector<std::string> openedGitFiles(const std::vector<Touched>& touched) {
    std::vector<std::string> paths;
    for (const Touched& each : touched) {
      if (each.isOpened && each.path.find(".git") != std::string::npos) paths.push_back(each.path);
    }
    return paths;
  }

  // The lines of the table, for the folders in which these tests run.
  std::vector<Line> table() const {
    std::istringstream text(
        test::readFile(test::dataDirectory().parent_path().parent_path() / "docs/macos.md"));
    std::vector<Line> lines;
    for (std::string line; std::getline(text, line);) {
      std::smatch cells;
      if (!std::regex_match(line, cells, std::regex(R"(\| `([^`]+)` \| (.*) \|)"))) continue;
      std::string path = plain(cells[1]);
      path = replaced(path, "UUID", "[0-9A-F-]{36}");
      path = replaced(path, "ID", "s1");
      path = replaced(path, R"(/\.\.\.)", "(/.*)?");
      path = replaced(path, "FOLDER", "(/[^/]+)*");
      path = replaced(path, "TRANSCRIPT", plain(transcript.string()));
      path = replaced(path, "~", plain(home.string()));
      lines.push_back({cells[1], std::regex(path), cells[2].str().find("opened") != std::string::npos});
    }
    return lines;
  }

  test::ScratchHome home;
  std::filesystem::path project = home / "Desktop/project";
  std::filesystem::path linked = home / "Documents/linked";
  std::filesystem::path loose = home / "Downloads/loose";
  std::filesystem::path transcript = home / ".claude/projects/project/s1.jsonl";
  std::filesystem::path titles = home / "Library/Application Support/Claude/claude-code-sessions";
  std::vector<Touched> all;
};

TEST_F(OpenedPaths, AreThoseThatTheTableNames) {
  EXPECT_THAT(openedGitFiles(run("SessionStart", project / "src")), IsEmpty()) << "a folder";
  run("PermissionRequest", project / "src");
  EXPECT_THAT(openedGitFiles(run("UserPromptSubmit", linked)), ElementsAre((linked / ".git").string()));
  run("PostToolUse", loose);
  test::writeFile(home.logFile(), std::string(1'000'001, '\n'));
  run("Stop", loose);
  run("SessionEnd", loose);

  std::vector<Line> lines = table();
  ASSERT_EQ(lines.size(), 8U);
  for (const Touched& touched : all) {
    const std::string folder = touched.path + "/";
    const bool isMade =
        (home.sessions().string() + "/").starts_with(folder) || home.logFile().string().starts_with(folder);
    bool isNamed = isMade && !touched.isOpened;
    for (Line& line : lines) {
      if (!std::regex_match(touched.path, line.path) || (touched.isOpened && !line.mayBeOpened)) continue;
      isNamed = true;
      line.isTrue = line.isTrue || touched.isOpened || !line.mayBeOpened;
    }
    EXPECT_TRUE(isNamed) << touched.path << (touched.isOpened ? " is opened" : " is asked for");
  }
  for (const Line& line : lines) EXPECT_TRUE(line.isTrue) << line.text;
}

TEST_F(OpenedPaths, AreNeverTheFoldersOfThePerson) {
  for (const std::filesystem::path& cwd : {project / "src", linked, loose, project / "missing"}) {
    for (const Touched& touched : run("UserPromptSubmit", cwd)) {
      if (!touched.isOpened || touched.path.ends_with("/.git")) continue;
      EXPECT_TRUE(touched.path.starts_with(home.string() + "/Library/")) << touched.path;
    }
  }
  EXPECT_GT(all.size(), 4U * 8U);
}

}  // namespace
}  // namespace tavrin
