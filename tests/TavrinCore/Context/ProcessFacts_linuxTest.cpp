// Facts about processes that the test starts itself.
#include "TavrinCore/Context/ProcessFacts.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "TavrinCore/Support/File.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Terminals.hpp"

namespace tavrin {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

// A process that runs until it is asked to end.
class Child {
 public:
  // `prepare` runs in the child before it waits.
  template <class Prepare>
  explicit Child(Prepare prepare) {
    std::array<int, 2> ready{};
    EXPECT_EQ(::pipe(ready.data()), 0);
    pid_ = ::fork();
    if (pid_ == 0) {
      prepare();
      (void)!::write(ready[1], "x", 1);
      for (;;) ::pause();
    }
    char byte = 0;
    EXPECT_EQ(File::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
  }
  Child() : Child([] {}) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }

  std::int32_t pid() const { return pid_; }

 private:
  pid_t pid_ = 0;
};

const ProcessFacts facts = ProcessFacts::ofThisSystem();

TEST(ProcessFacts, NameParentAndStart) {
  const Date before = std::chrono::system_clock::now();
  const Child child;
  const Date after = std::chrono::system_clock::now();
  const auto fact = facts.process(child.pid());
  ASSERT_TRUE(fact);
  EXPECT_EQ(fact->parent, ::getpid());
  EXPECT_EQ(fact->name, facts.process(::getpid())->name);
  // Start times are in ticks of 10 ms.
  constexpr std::chrono::duration<double> tick(0.03);
  EXPECT_GE(fact->startedAt, before - tick);
  EXPECT_LE(fact->startedAt, after + tick);
}

TEST(ProcessFacts, OfAZombieAndOfNothingAreNone) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  siginfo_t info{};
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(facts.process(child), std::nullopt);
  EXPECT_THAT(facts.children(::getpid()), Not(Contains(child)));
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(facts.process(child), std::nullopt);
  EXPECT_EQ(facts.executable(child), std::nullopt);
  EXPECT_EQ(facts.folder(child), std::nullopt);
  EXPECT_TRUE(facts.arguments(child).empty());
  EXPECT_TRUE(facts.children(child).empty());
}

TEST(ProcessFacts, ChildrenAreListedUntilTheyEnd) {
  std::int32_t ended = 0;
  {
    const Child child;
    ended = child.pid();
    EXPECT_THAT(facts.children(::getpid()), Contains(ended));
    EXPECT_THAT(facts.all(), Contains(ended));
  }
  EXPECT_THAT(facts.children(::getpid()), Not(Contains(ended)));
}

TEST(ProcessFacts, FolderExecutableAndArguments) {
  const test::ScratchDirectory scratch;
  const Child child([&] { (void)!::chdir(scratch.path().c_str()); });
  EXPECT_EQ(facts.folder(child.pid()), std::filesystem::canonical(scratch.path()).string());
  EXPECT_EQ(facts.executable(::getpid()), std::filesystem::read_symlink("/proc/self/exe").string());
  ASSERT_FALSE(facts.arguments(::getpid()).empty());
  EXPECT_THAT(facts.arguments(::getpid()).front(), testing::EndsWith("context_tests"));
}

TEST(ProcessFacts, TheTerminalIsTheOneThatControlsTheProcess) {
  if (!test::canOpenTerminals()) GTEST_SKIP() << test::withoutTerminals;
  int terminal = -1;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  ASSERT_GE(child, 0);
  if (child == 0) {
    (void)!::write(STDOUT_FILENO, "x", 1);
    for (;;) ::pause();
  }
  // The child writes when the terminal is its own.
  char written = 0;
  ASSERT_EQ(::read(terminal, &written, 1), 1);
  const auto fact = facts.process(child);
  EXPECT_THAT(fact.value().terminal.value_or(""), testing::StartsWith("/dev/pts/"));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  ::close(terminal);
  const Child alone([] { ::setsid(); });
  EXPECT_EQ(facts.process(alone.pid())->terminal, std::nullopt);
}

TEST(ProcessFacts, TheHolderOfALockIsFoundUntilItEnds) {
  const test::ScratchDirectory scratch;
  const std::string path = (scratch / "lock").string();
  std::ofstream(path) << "";
  EXPECT_EQ(facts.lockHolder(path), std::nullopt);
  {
    const Child child([&] { ::flock(::open(path.c_str(), O_RDWR), LOCK_EX); });
    EXPECT_EQ(facts.lockHolder(path), child.pid());
    EXPECT_EQ(facts.lockHolder(path + "x"), std::nullopt);
  }
  EXPECT_EQ(facts.lockHolder(path), std::nullopt);
}

TEST(ProcessFacts, TheSystemStartedBeforeItsFirstProcess) {
  const auto first = facts.process(1);
  ASSERT_TRUE(first);
  EXPECT_LE(facts.bootedAt(), first->startedAt + std::chrono::duration<double>(0.03));
  EXPECT_GT(facts.bootedAt(), dateFromSeconds(0));
}

}  // namespace
}  // namespace tavrin
