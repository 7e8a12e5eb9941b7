// What is left of a process that is killed while it starts a child. strace(1) kills it.
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>

#include "tests/support/Scratch.hpp"
#include "tests/support/Strace.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin {
namespace {

// While it exists, this process inherits the orphans among its descendants (PR_SET_CHILD_SUBREAPER(2)).
class Orphans {
 public:
  Orphans() { ::prctl(PR_SET_CHILD_SUBREAPER, 1); }
  ~Orphans() { ::prctl(PR_SET_CHILD_SUBREAPER, 0); }
  Orphans(const Orphans&) = delete;
  Orphans& operator=(const Orphans&) = delete;

  // Waits for the end of all of them. Returns how many a signal ended, or nullopt if one still lives after
  // 20 seconds.
  static std::optional<int> killed() {
    constexpr unsigned patience = 20;
    struct sigaction wake {};
    wake.sa_handler = [](int) {};  // without SA_RESTART the alarm ends the wait
    ::sigaction(SIGALRM, &wake, nullptr);
    ::alarm(patience);
    int killed = 0;
    for (int status = 0; ::waitpid(-1, &status, 0) > 0;) killed += WIFSIGNALED(status) ? 1 : 0;
    const bool isEmpty = errno == ECHILD;
    ::alarm(0);
    std::signal(SIGALRM, SIG_DFL);
    return isEmpty ? std::optional(killed) : std::nullopt;
  }
};

// Runs a process that ends as soon as it has started a child. The child never ends by itself. strace sees the
// process only.
test::Outcome runStarter(const test::ScratchDirectory& directory, const std::vector<std::string>& options) {
  std::vector<std::string> words =
      test::underStrace(directory.path(), options, {TAVRIN_TEST_CHILD, "starter", TAVRIN_TEST_CHILD, "wait"});
  std::erase(words, "-ff");
  return test::run(words);
}

TEST(ChildGuard, LeavesNobodyBehindWhereverTheParentIsKilled) {
  const test::ScratchDirectory directory;
  const Orphans orphans;
  ASSERT_EQ(runStarter(directory, {}).output, "started\n");
  ASSERT_EQ(Orphans::killed(), 1);
  std::istringstream calls(test::readFile(directory / "trace"));
  std::map<std::string, std::size_t> counts;
  std::size_t forks = 0;
  int runs = 0;
  int leftAlone = 0;
  for (std::string call; std::getline(calls, call) && !call.starts_with("write(1, \"started");) {
    if (call.starts_with("---")) continue;
    const std::string name = test::nameOf(call);
    const std::size_t nth = ++counts[name];
    if (name.starts_with("clone") || name.ends_with("fork")) ++forks;
    // From the call that makes the guard on.
    if (forks == 0) continue;
    const std::string option = "inject=" + name + ":signal=KILL:when=" + std::to_string(nth);
    SCOPED_TRACE(call);
    ++runs;
    EXPECT_EQ(runStarter(directory, {"-e", option}).signal, SIGKILL);
    const std::optional<int> killed = Orphans::killed();
    ASSERT_TRUE(killed.has_value()) << "the child outlives its parent";
    leftAlone += *killed;
  }
  EXPECT_EQ(forks, 2U) << "the guard and the child";
  EXPECT_GE(runs, 15);
  EXPECT_GE(leftAlone, 5) << "too few of the runs had a child already";
  std::cout << "[   RUNS   ] " << runs << " killed, " << leftAlone << " of them with a child\n";
}

}  // namespace
}  // namespace tavrin
