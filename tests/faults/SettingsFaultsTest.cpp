// What happens to an agent's settings when the program that connects it is killed or refused something at any
// system call, when the disk is full, and when the agent writes its settings at the same time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <iostream>
#include <map>
#include <sstream>
#include <thread>

#include "TavrinCore/Agents/SettingsFile.hpp"
#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/process/ProcessSupport.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Strace.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {
namespace {

const std::string helper = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";
const std::string secret = "{\n  \"env\": {\"KEY\": \"secret\"}\n}\n";

// A home with settings of Claude Code, and runs of the example on it.
class Home : public ScratchHome {
 public:
  Home() : ScratchHome(directoryInMemory()) { restore(); }

  std::filesystem::path settings() const { return path() / ".claude/settings.json"; }
  std::string text() const { return std::filesystem::exists(settings()) ? readFile(settings()) : "missing"; }

  void restore(const std::string& text = secret) const {
    std::filesystem::remove_all(path() / ".claude");
    std::filesystem::remove_all(path() / "Library");
    std::filesystem::create_directories(path() / ".claude");
    if (text == "missing") return;
    writeFile(settings(), text);
    std::filesystem::permissions(settings(), std::filesystem::perms(0640));
  }

  static std::vector<std::string> command(bool isConnect) {
    return {TAVRIN_CONNECT_AGENT, "claude", isConnect ? helper : "--disconnect"};
  }
  Outcome run(const std::vector<std::string>& words) const {
    return test::run(words, "", {{"HOME", string()}});
  }

  // No file here may be open to more people than the settings were.
  void expectNothingWider() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path())) {
      if (!entry.is_regular_file() || entry.path().filename().string().starts_with("trace.")) continue;
      const auto mode = static_cast<unsigned>(entry.status().permissions());
      EXPECT_EQ(mode & 0137U, 0U) << entry.path();
    }
  }
};

struct Point {
  std::string name;
  std::size_t nth = 0;
};

// The system calls from the first one that concerns the settings.
std::vector<Point> pointsOf(const Home& home, bool isConnect) {
  EXPECT_EQ(home.run(underStrace(home.path(), {}, Home::command(isConnect))).exitStatus, 0);
  std::vector<Point> points;
  std::map<std::string, std::size_t> counts;
  bool isBegun = false;
  for (const std::filesystem::path& trace : tracesIn(home.path())) {
    std::istringstream lines(readFile(trace));
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("+++") || line.starts_with("---")) continue;
      const std::string name = nameOf(line);
      const std::size_t nth = ++counts[name];
      isBegun = isBegun || line.find(".claude") != std::string::npos;
      if (isBegun && name != "exit_group") points.push_back({name, nth});
    }
  }
  removeTraces(home.path());
  return points;
}

struct Start {
  std::string before;  // "missing" if there is no file
  bool isConnect;
};

// The four edits, each of which changes the file in a different way.
std::vector<Start> starts(const Home& home) {
  std::vector<Start> starts = {{secret, true}, {"missing", true}};
  for (const std::string& before : {secret, std::string("missing")}) {
    home.restore(before);
    EXPECT_EQ(home.run(Home::command(true)).exitStatus, 0);
    starts.push_back({home.text(), false});
  }
  return starts;
}

void restoreFor(const Home& home, const Start& start, const std::string& original) {
  home.restore(start.isConnect ? start.before : original);
  if (start.isConnect) return;
  EXPECT_EQ(home.run(Home::command(true)).exitStatus, 0);
}

TEST(SettingsFaults, KilledOrRefusedAtAnySystemCallTheFileIsOldOrNew) {
  const Home first;
  const std::vector<Start> all = starts(first);
  std::size_t runs = 0;
  for (std::size_t s = 0; s < all.size(); ++s) {
    const std::string original = s % 2 == 0 ? secret : "missing";
    restoreFor(first, all[s], original);
    const std::vector<Point> points = pointsOf(first, all[s].isConnect);
    const std::string after = first.text();
    EXPECT_GE(points.size(), 20U);
    EXPECT_NE(after, all[s].before);
    const std::vector<std::string> faults = {"signal=KILL", "error=EIO", "error=ENOSPC", "error=EACCES"};
    const std::size_t perPoint = isFullSize() ? faults.size() : 2;
    inParallel<Home>(points.size() * perPoint, [&](const Home& home, std::size_t i) {
      const Point& point = points[i / perPoint];
      const std::size_t which = i % perPoint == 0 ? 0 : (isFullSize() ? i % perPoint : 1 + i % 3);
      restoreFor(home, all[s], original);
      const std::string option =
          "inject=" + point.name + ":" + faults[which] + ":when=" + std::to_string(point.nth);
      SCOPED_TRACE(option + " from " + std::to_string(s));
      const Outcome outcome =
          home.run(underStrace(home.path(), {"-e", option}, Home::command(all[s].isConnect)));
      removeTraces(home.path());
      const std::string text = home.text();
      EXPECT_TRUE(text == all[s].before || text == after) << text;
      EXPECT_TRUE(text == after || outcome.exitStatus != 0) << outcome.output;
      const bool mayLeaveOne = which == 0 || point.name.starts_with("unlink");
      EXPECT_LE(temporaries(home / ".claude").size(), mayLeaveOne ? 1U : 0U);
      home.expectNothingWider();
      EXPECT_EQ(home.run(Home::command(all[s].isConnect)).exitStatus, 0);
      EXPECT_EQ(home.text(), after);
    });
    runs += points.size() * perPoint;
  }
  std::cout << "[   RUNS   ] " << runs << " killed or refused\n";
}

TEST(SettingsFaults, AFullDiskLeavesTheFileAsItWas) {
  const Home home;
  const Outcome full =
      home.run({confined(), "ignored=25", "fsize=100", TAVRIN_CONNECT_AGENT, "claude", helper});
  EXPECT_EQ(full.exitStatus, 1);
  EXPECT_THAT(full.output, testing::HasSubstr("was not changed"));
  EXPECT_EQ(home.text(), secret);
  EXPECT_TRUE(temporaries(home / ".claude").empty());
}

// An agent that counts in its own settings, and a person who connects and disconnects it without a pause.
// Each count is written during an edit, and must still be there when that edit is over.
TEST(SettingsFaults, NoWriteOfTheAgentIsLost) {
  const int rounds = isFullSize() ? 10'000 : 500;
  const Home home;
  const SettingsFile file(AgentHome::standard(Agent::claude, home.string()), home / "originals");
  home.restore("{\"count\": 0}");
  std::atomic<bool> isOver = false;
  std::atomic<int> edits = 0;
  std::atomic<int> changes = 0;
  std::thread person([&] {
    for (bool isConnect = true; !isOver; isConnect = !isConnect) {
      const SettingsFile::Outcome outcome =
          isConnect ? file.connect(helper, AgentDefinition::claude) : file.disconnect();
      EXPECT_NE(outcome.kind, SettingsFile::Outcome::Kind::refused) << outcome.sentence;
      if (outcome.kind == SettingsFile::Outcome::Kind::changed) ++changes;
      ++edits;
    }
  });
  const std::string temporary = home / ".claude/agent.tmp";
  int lost = 0;
  for (int i = 1; i <= rounds; ++i) {
    const std::string count = "\"count\": " + std::to_string(i);
    writeFile(temporary, "{" + count + "}");
    std::filesystem::rename(temporary, home.settings());
    for (const int before = edits; edits < before + 1;) std::this_thread::yield();
    lost += readFile(home.settings()).find(count) == std::string::npos ? 1 : 0;
  }
  isOver = true;
  person.join();
  EXPECT_EQ(lost, 0);
  EXPECT_THAT(home.text(), testing::HasSubstr("\"count\": " + std::to_string(rounds)));
  EXPECT_GT(changes, rounds / 2);
  EXPECT_TRUE(temporaries(home / ".claude").empty());
  std::cout << "[   RUNS   ] " << rounds << " rounds, " << changes << " changes between them\n";
}

}  // namespace
}  // namespace tavrin::test
