// The open files of a run of the real executable. A program that it starts would not inherit them. It closes
// what it has written, to notice a failure. It leaves the lock, the log and the files of processes to the
// system, which closes them at once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <map>

#include "tests/faults/SystemCallPoint.hpp"
#include "tests/support/Strace.hpp"

namespace tavrin::test {
namespace {

// Calls that return new descriptors, and "open" for the call whose flags are checked here.
constexpr std::array<std::string_view, 17> givesDescriptors = {
    "open",    "creat",         "openat2",  "socket",       "socketpair",   "accept",
    "accept4", "pipe",          "pipe2",    "dup",          "dup2",         "dup3",
    "fcntl",   "epoll_create1", "eventfd2", "memfd_create", "inotify_init1"};

int descriptorOf(const std::string& text) {
  return std::stoi(text);
}

bool isLeftToTheSystem(const std::string& call) {
  const auto names = [&call](std::string_view text) { return call.find(text) != std::string::npos; };
  return names(".lock\", ") || names("/hook.log\", ") || names("\"/proc/");
}

TEST(Descriptors, EveryFileIsClosedOnExecAndRecordsAreClosedByTheRunItself) {
  constexpr std::size_t fewest = 2;
  std::vector<Situation> situations = Situation::starts();
  for (Situation& situation : Situation::rare()) situations.push_back(std::move(situation));
  std::size_t opened = 0;
  for (const Situation& situation : situations) {
    SCOPED_TRACE(situation.name);
    const Stage stage;
    stage.set(situation.files);
    std::map<int, std::string> open;
    std::size_t most = 0;
    for (const SystemCallPoint& point : systemCallPoints(stage, situation)) {
      EXPECT_THAT(givesDescriptors, testing::Not(testing::Contains(point.name))) << point.call;
      const std::string result = point.call.substr(point.call.rfind(" = ") + 3);
      if (point.name == "openat" && !result.starts_with("-1")) {
        EXPECT_THAT(point.call, testing::HasSubstr("O_CLOEXEC"));
        EXPECT_TRUE(open.try_emplace(descriptorOf(result), point.call).second);
        ++opened;
      }
      if (point.name == "close") {
        EXPECT_EQ(open.erase(descriptorOf(point.call.substr(point.call.find('(') + 1))), 1U) << point.call;
      }
      const auto own =
          std::ranges::count_if(open, [](const auto& one) { return !isLeftToTheSystem(one.second); });
      most = std::max(most, static_cast<std::size_t>(own));
    }
    for (const auto& [number, call] : open) EXPECT_TRUE(isLeftToTheSystem(call)) << number << ": " << call;
    EXPECT_GE(open.size(), fewest);
    EXPECT_GE(most, 1U);
    EXPECT_LE(most, 3U) << "the folders of titles, and one file";
  }
  std::cout << "[   RUNS   ] " << situations.size() << " looked at, " << opened << " files opened\n";
  EXPECT_GE(opened, 30U);
}

}  // namespace
}  // namespace tavrin::test
