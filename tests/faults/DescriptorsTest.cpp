// The open files of a run of the real executable. A program that it starts would not inherit them, and none
// is left open.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(Descriptors, EveryFileIsClosedOnExecAndClosedByTheRunItself) {
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
      most = std::max(most, open.size());
    }
    EXPECT_THAT(open, testing::IsEmpty());
    EXPECT_GE(most, fewest);
    EXPECT_LE(most, 4U) << "the lock, the folders of titles, and one file";
  }
  std::cout << "[   RUNS   ] " << situations.size() << " looked at, " << opened << " files opened\n";
  EXPECT_GE(opened, 30U);
}

}  // namespace
}  // namespace tavrin::test
