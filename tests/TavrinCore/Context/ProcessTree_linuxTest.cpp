// The table of the running system, asked about processes that the test knows, and tables of written files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "TavrinCore/Context/ProcFormats.hpp"
#include "TavrinCore/Context/ProcessTree_linux.hpp"
#include "TavrinCore/Support/File.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Terminals.hpp"

namespace tavrin {
namespace {

using ::testing::IsEmpty;

// What `body` returns, run in a process of its own that `start` makes as fork(2) does.
std::string inChild(const std::function<std::string()>& body, const std::function<pid_t()>& start = ::fork) {
  std::array<int, 2> ends{};
  EXPECT_EQ(::pipe(ends.data()), 0);
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const pid_t child = start();
  EXPECT_GE(child, 0);
  if (child == 0) {
    File::writeAll(writing.number(), body());
    ::_exit(0);
  }
  writing.close();
  std::string answer;
  std::array<char, 4096> buffer{};
  for (ssize_t count = 1; count > 0;) {
    count = File::read(reading.number(), buffer.data(), buffer.size());
    if (count > 0) answer.append(buffer.data(), static_cast<std::size_t>(count));
  }
  ::waitpid(child, nullptr, 0);
  return answer;
}

std::string ownTerminal() {
  return ProcessTree::tty(::getpid(), ProcessTable::ofThisSystem()).value_or("none");
}

// A process that has ended and is waited for.
pid_t deadProcess() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  return child;
}

TEST(ProcessTableOfLinux, TheChainStartsAtThisProcessAndFollowsParents) {
  const ProcessTable table = ProcessTable::ofThisSystem();
  const auto nodes = ProcessTree::ancestors(::getpid(), table);
  ASSERT_FALSE(nodes.empty());
  EXPECT_EQ(nodes.front().pid, ::getpid());
  EXPECT_EQ(nodes.front().name, test::readFile("/proc/self/comm").substr(0, nodes.front().name->size()));
  EXPECT_EQ(ProcessTree::parent(::getpid(), table), ::getppid());
  for (std::size_t i = 1; i < nodes.size(); ++i) {
    EXPECT_EQ(ProcessTree::parent(nodes[i - 1].pid, table), nodes[i].pid);
    EXPECT_GE(nodes[i].pid, 2);
  }
}

TEST(ProcessTableOfLinux, ANameMayHoldParenthesesSpacesAndLineFeeds) {
  for (const char* const name : {"a b", ") S 1 1 1 1", "(a)", "a\nb", "tmux: server", "\xff"}) {
    EXPECT_EQ(inChild([&] {
                ::prctl(PR_SET_NAME, name);
                return ProcessTree::name(::getpid(), ProcessTable::ofThisSystem()).value_or("none");
              }),
              name);
  }
}

TEST(ProcessTableOfLinux, AnEmptyNameGivesWayToThatOfTheExecutable) {
  const std::string executable = std::filesystem::read_symlink("/proc/self/exe").filename();
  EXPECT_EQ(inChild([] {
              ::prctl(PR_SET_NAME, "");
              return ProcessTree::name(::getpid(), ProcessTable::ofThisSystem()).value_or("none");
            }),
            executable);
}

TEST(ProcessTableOfLinux, AProcessThatIsGoneIsUnknown) {
  const ProcessTable table = ProcessTable::ofThisSystem();
  const pid_t dead = deadProcess();
  EXPECT_EQ(ProcessTree::parent(dead, table), std::nullopt);
  EXPECT_EQ(ProcessTree::name(dead, table), std::nullopt);
  EXPECT_EQ(ProcessTree::tty(dead, table), std::nullopt);
  EXPECT_FALSE(table.application(dead).has_value());
  EXPECT_THAT(ProcessTree::ancestors(dead, table), IsEmpty());
}

TEST(ProcessTableOfLinux, EachProcessIsReadOnce) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const pid_t child = ::fork();
  if (child == 0) {
    writing.close();
    char byte = 0;
    ::_exit(File::read(reading.number(), &byte, 1) == 0 ? 0 : 1);
  }
  const ProcessTable table = ProcessTable::ofThisSystem();
  EXPECT_EQ(ProcessTree::parent(child, table), ::getpid());
  writing.close();
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(ProcessTree::parent(child, table), ::getpid());
  EXPECT_EQ(ProcessTree::parent(child, ProcessTable::ofThisSystem()), std::nullopt);
}

TEST(ProcessTableOfLinux, AProcessWithATerminalHasItsPath) {
  if (!test::canOpenTerminals()) GTEST_SKIP() << test::withoutTerminals;
  int controller = -1;
  const std::string answer = inChild([] { return ownTerminal() + " " + ::ttyname(STDIN_FILENO); },
                                     [&] { return ::forkpty(&controller, nullptr, nullptr, nullptr); });
  ::close(controller);
  EXPECT_TRUE(answer.starts_with("/dev/")) << answer;
  EXPECT_EQ(answer.substr(0, answer.find(' ')), answer.substr(answer.find(' ') + 1));
}

TEST(ProcessTableOfLinux, AProcessInASessionOfItsOwnHasNoTerminal) {
  EXPECT_EQ(inChild([] {
              ::setsid();
              return ownTerminal();
            }),
            "none");
}

TEST(ProcessTableOfLinux, TheApplicationIsWhatTheCgroupSays) {
  const auto application = ProcessTable::ofThisSystem().application(::getpid());
  const auto id = ProcFormats::applicationId(test::readFile("/proc/self/cgroup"));
  ASSERT_EQ(application.has_value(), id.has_value());
  if (!application) return;
  EXPECT_EQ(application->bundleId, id);
  EXPECT_TRUE(application->isRegular);
}

// The table of a directory in which a test writes what /proc and /sys have.
class WrittenProcessTable : public ::testing::Test {
 protected:
  void writeStat(std::int32_t pid, unsigned terminal) {
    const std::string start = std::to_string(pid) + " (agent) S 1 " + std::to_string(pid) + " 1 ";
    test::writeFile(root_.path() / ("proc/" + std::to_string(pid) + "/stat"),
                    start + std::to_string(terminal) + " -1 0\n");
  }
  void writeUnit(std::int32_t pid, const std::string& unit) {
    test::writeFile(root_.path() / ("proc/" + std::to_string(pid) + "/cgroup"),
                    "0::/user.slice/user-1000.slice/user@1000.service/app.slice/" + unit + "\n");
  }
  ProcessTable table() const { return processTableBelow(root_.string()); }

  test::ScratchDirectory root_;
};

TEST_F(WrittenProcessTable, EveryApplicationIsRegular) {
  for (const char* const id : {"kitty", "org.gnome.Terminal"}) {
    writeUnit(77, std::string("app-gnome-") + id + "-4242.scope");
    const auto application = table().application(77);
    ASSERT_TRUE(application.has_value()) << id;
    EXPECT_EQ(application->bundleId, id);
    EXPECT_TRUE(application->isRegular) << id;
  }
}

TEST_F(WrittenProcessTable, AProcessThatNoApplicationStartedHasNone) {
  writeUnit(77, "dbus.service");
  EXPECT_FALSE(table().application(77).has_value());
}

TEST_F(WrittenProcessTable, SysfsNamesATerminalOfADriverWithoutFixedNames) {
  const auto device = static_cast<unsigned>(makedev(188, 3));
  writeStat(77, device);
  EXPECT_EQ(ProcessTree::tty(77, table()), std::nullopt);
  const std::filesystem::path links = root_ / "sys/dev/char";
  std::filesystem::create_directories(links);
  std::filesystem::create_symlink("../../devices/pci0000:00/usb1/1-2/ttyUSB3/tty/ttyUSB3", links / "188:3");
  EXPECT_EQ(ProcessTree::tty(77, table()), "/dev/ttyUSB3");
}

TEST_F(WrittenProcessTable, ATerminalWithAFixedNameIsNotLookedUpInSysfs) {
  writeStat(77, static_cast<unsigned>(makedev(136, 5)));
  const std::filesystem::path links = root_ / "sys/dev/char";
  std::filesystem::create_directories(links);
  std::filesystem::create_symlink("../../devices/virtual/tty/elsewhere", links / "136:5");
  EXPECT_EQ(ProcessTree::tty(77, table()), "/dev/pts/5");
}

}  // namespace
}  // namespace tavrin
