// Facts about processes that the test starts itself, and about a directory that looks like /proc.
#include "TavrinCore/Context/ProcessFacts_linux.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
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
#include "tests/support/TestData.hpp"

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

// A directory that looks like /proc.
class MadeProc : public testing::Test {
 protected:
  void write(const std::string& file, const std::string& text) { test::writeFile(proc_ / file, text); }

  void addProcess(int pid, int parent, char state = 'S') {
    write(std::to_string(pid) + "/stat", std::to_string(pid) + " (name) " + state + " " +
                                             std::to_string(parent) +
                                             " 1 1 0 0 0 0 0 0 0 0 0 0 0 0 0 20 0 1 500 0\n");
  }

  test::ScratchDirectory root_;
  const std::filesystem::path proc_ = root_ / "proc";
  ProcessFacts facts_ = processFactsBelow(root_.string());
};

TEST_F(MadeProc, AProcessThatIsAboutToVanishIsNone) {
  addProcess(7, 1);
  EXPECT_EQ(facts_.process(7).value().parent, 1);
  EXPECT_EQ(facts_.process(7)->name, "name");
  for (const char state : {'Z', 'X'}) {
    addProcess(7, 1, state);
    EXPECT_EQ(facts_.process(7), std::nullopt) << state;
  }
}

TEST_F(MadeProc, AStatFileOfAnotherFormIsOfNoProcess) {
  for (const char* text : {"", "7 name S 1", "7 (name) S", "7 (name) S 1 1 1 0 0 0 0"}) {
    write("7/stat", text);
    EXPECT_EQ(facts_.process(7), std::nullopt) << text;
  }
}

TEST_F(MadeProc, WithoutListsOfChildrenEveryProcessIsAskedForItsParent) {
  for (const int pid : {7, 8, 9}) addProcess(pid, pid == 8 ? 1 : 5);
  addProcess(10, 5, 'Z');
  write("self/stat", "");
  write("5/task/5/comm", "");
  EXPECT_THAT(facts_.all(), testing::UnorderedElementsAre(5, 7, 8, 9, 10));
  EXPECT_THAT(facts_.children(5), testing::UnorderedElementsAre(7, 9));
  // A list is believed, even if it is empty.
  write("5/task/5/children", "8 10 ");
  EXPECT_THAT(facts_.children(5), ElementsAre(8));
  write("5/task/5/children", "");
  EXPECT_THAT(facts_.children(5), ElementsAre());
}

TEST_F(MadeProc, OfManyArgumentsTheFirstAreRead) {
  write("7/cmdline", std::string("a\0b\0", 4) + std::string(200'000, 'c'));
  const std::vector<std::string> arguments = facts_.arguments(7);
  ASSERT_EQ(arguments.size(), 3U);
  EXPECT_EQ(arguments[1], "b");
  EXPECT_EQ(arguments[2].size(), std::size_t{128} * 1024 - 4);
}

TEST_F(MadeProc, ALockIsItsHoldersIfDeviceOrOpenFilesSaySo) {
  const std::string path = (proc_ / "file").string();
  write("file", "");
  EXPECT_EQ(facts_.lockHolder(path), std::nullopt);  // there is no list of locks
  struct stat status = {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  const auto lockOf = [&](int pid, unsigned majorNumber, unsigned minorNumber, unsigned long inode) {
    std::array<char, 100> line{};
    std::snprintf(line.data(), line.size(), "1: FLOCK  ADVISORY  WRITE %d %02x:%02x:%lu 0 EOF\n", pid,
                  majorNumber, minorNumber, inode);
    return std::string(line.data());
  };
  const unsigned majorNumber = major(status.st_dev);
  const unsigned minorNumber = minor(status.st_dev);
  write("locks", lockOf(6, majorNumber, minorNumber, status.st_ino + 1) +
                     lockOf(7, majorNumber, minorNumber, status.st_ino));
  EXPECT_EQ(facts_.lockHolder(path), 7);
  for (const auto& other : {lockOf(8, majorNumber + 1, minorNumber, status.st_ino),
                            lockOf(8, majorNumber, minorNumber + 1, status.st_ino)}) {
    std::filesystem::remove_all(proc_ / "8");
    write("locks", other);
    EXPECT_EQ(facts_.lockHolder(path), std::nullopt);
    std::filesystem::create_directories(proc_ / "8/fd");
    std::filesystem::create_symlink("/dev/null", proc_ / "8/fd/0");
    EXPECT_EQ(facts_.lockHolder(path), std::nullopt);
    std::filesystem::create_symlink(path, proc_ / "8/fd/3");
    EXPECT_EQ(facts_.lockHolder(path), 8);
  }
}

}  // namespace
}  // namespace tavrin
