// What `tavrin connect` leaves and says when a signal comes at any of its system calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>

#include "tests/faults/InParallel.hpp"
#include "tests/faults/Size.hpp"
#include "tests/process/ProcessSupport.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Strace.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {
namespace {

struct ConnectedFile {
  std::string agent;
  std::string path;
  std::string before;  // "missing" if there is no file
};

const std::vector<ConnectedFile> files = {{"Claude Code", ".claude/settings.json", "{\"model\": \"opus\"}\n"},
                                          {"Codex", ".codex/hooks.json", "missing"},
                                          {"Grok", ".grok/hooks/tavrin.json", "missing"}};

void writeProgram(const std::filesystem::path& path, const std::string& script) {
  writeFile(path, "#!/bin/sh\n" + script + "\n");
  ::chmod(path.c_str(), 0755);
}

// tavrin with a hook beside it, and Codex, in a folder that all homes share: a program that was just written
// cannot be started while another thread starts one (ETXTBSY).
class Installation : public ScratchDirectory {
 public:
  Installation() {
    std::filesystem::create_directories(path() / "Tavrin/bin");
    std::filesystem::copy_file(TAVRIN_EXECUTABLE, path() / "Tavrin/bin/tavrin");
    writeProgram(path() / "Tavrin/bin/tavrin-hook", "exit 0");
    // Its version is in a file, as npm installs it.
    writeFile(path() / "codex/package.json",
              R"({"name": "@openai/codex", "version": "0.169.0", "bin": {"codex": "bin/codex.js"}})");
    writeProgram(path() / "codex/bin/codex.js",
                 "exec python3 '" TAVRIN_STAND_INS "/codex-app-server.py' plays '" +
                     (dataDirectory() / "rpc").string() + "' /dev/null \"$@\"");
    std::filesystem::create_directories(path() / "bin");
    std::filesystem::create_symlink("../codex/bin/codex.js", path() / "bin/codex");
  }
};

const Installation& installation() {
  static const Installation made;
  return made;
}

std::string tavrin() {
  return installation().path() / "Tavrin/bin/tavrin";
}

// A home with three agents.
class Home : public ScratchHome {
 public:
  Home() : ScratchHome(directoryInMemory()) { restore(); }

  void restore() const {
    for (const char* folder : {".claude", ".codex", ".grok", "Library"})
      std::filesystem::remove_all(path() / folder);
    for (const ConnectedFile& file : files) {
      std::filesystem::create_directories(path() / file.path.substr(0, file.path.find('/')));
      if (file.before != "missing") writeFile(path() / file.path, file.before);
    }
  }
  std::string text(const ConnectedFile& file) const {
    return std::filesystem::exists(path() / file.path) ? readFile(path() / file.path) : "missing";
  }
  Outcome run(std::vector<std::string> words) const {
    return test::run(
        words, "",
        {{"HOME", string()}, {"PATH", (installation().path() / "bin").string() + ":/usr/bin:/bin"}});
  }
  Outcome runUnder(const std::vector<std::string>& options, const std::string& command) const {
    // Only tavrin itself is traced: its children are not what is interrupted.
    std::vector<std::string> words = underStrace(path(), options, {tavrin(), command, "--yes"});
    std::erase(words, "-ff");
    *std::ranges::find(words, (path() / "trace").string()) = path() / "trace.1";
    return run(std::move(words));
  }
};

struct Point {
  std::string name;
  std::size_t nth = 0;
};

// The system calls of one run of a command.
std::vector<Point> pointsOf(const Home& home, const std::string& command) {
  EXPECT_EQ(home.runUnder({}, command).exitStatus, 0);
  std::vector<Point> points;
  std::map<std::string, std::size_t> counts;
  std::istringstream lines(readFile(home.path() / "trace.1"));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("+++") || line.starts_with("---")) continue;
    const std::string name = nameOf(line);
    const std::size_t nth = ++counts[name];
    if (name != "exit_group" && name != "execve") points.push_back({name, nth});
  }
  removeTraces(home.path());
  return points;
}

// What the line about an agent says; nullopt without one.
std::optional<std::string> saidOf(const std::string& agent, const std::string& output) {
  const std::size_t start = output.find(agent + ": ");
  if (start == std::string::npos) return std::nullopt;
  return output.substr(start + agent.size() + 2, output.find('\n', start) - start - agent.size() - 2);
}

void interruptEverywhere(const std::string& command) {
  const bool isConnect = command == "connect";
  const auto prepare = [&](const Home& home) {
    home.restore();
    if (isConnect) return;
    EXPECT_EQ(home.run({tavrin(), "connect", "--yes"}).exitStatus, 0);
  };
  const Home first;
  prepare(first);
  std::vector<std::string> before;
  for (const ConnectedFile& file : files) before.push_back(first.text(file));
  const std::vector<Point> points = pointsOf(first, command);
  EXPECT_GE(points.size(), 200U);
  std::vector<std::string> after;
  for (const ConnectedFile& file : files) after.push_back(first.text(file));

  const std::vector<std::string> signals = {"INT", "TERM", "KILL"};
  // A number that shares no factor with the number of signals, so that all of them come.
  const std::size_t stride = isFullSize() ? 1 : 31;
  inParallel<Home>(points.size() * signals.size() / stride, [&](const Home& home, std::size_t i) {
    const Point& point = points[i * stride / signals.size()];
    const std::string& signal = signals[i * stride % signals.size()];
    const std::string option =
        "inject=" + point.name + ":signal=" + signal + ":when=" + std::to_string(point.nth);
    SCOPED_TRACE(command + ", " + option);
    prepare(home);
    const Outcome outcome = home.runUnder({"-e", option}, command);
    removeTraces(home.path());
    for (std::size_t f = 0; f < files.size(); ++f) {
      const std::string text = home.text(files[f]);
      EXPECT_TRUE(text == before[f] || text == after[f]) << text;
      if (signal == "KILL") continue;
      const std::optional<std::string> said = saidOf(files[f].agent, outcome.output);
      if (!said) {
        EXPECT_EQ(text, before[f]) << "a changed file without a line";
      } else {
        const bool saysItChanged =
            said->starts_with("connected through ") || said->starts_with("disconnected");
        EXPECT_EQ(saysItChanged, text == after[f]) << *said;
      }
    }
    // What was not finished is finished by the next run.
    EXPECT_EQ(home.run({tavrin(), command, "--yes"}).exitStatus, 0);
    for (std::size_t f = 0; f < files.size(); ++f) EXPECT_EQ(home.text(files[f]), after[f]);
  });
  std::cout << "[   RUNS   ] " << points.size() * signals.size() / stride << " runs of " << command << ", "
            << points.size() << " system calls\n";
}

TEST(ConnectFaults, InterruptedAnywhereEveryFileIsOldOrNewAndWhatWasDoneIsSaid) {
  interruptEverywhere("connect");
}

TEST(ConnectFaults, InterruptedDisconnectLeavesEveryFileOldOrNewToo) {
  interruptEverywhere("disconnect");
}

}  // namespace
}  // namespace tavrin::test
