// Whole runs of the command on a made-up Mac.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

#include "tests/TavrinHook/HookRun.hpp"
#include "tests/macos/FakeMac.hpp"

namespace tavrin {
namespace {

using testing::ElementsAre;

// The processes of a HookRun, as macOS reports them.
class HookOnMacos : public test::HookRun {
 protected:
  HookOnMacos() {
    mac.processes[300] = {.parent = 200, .name = "sh", .terminal = ttys004};
    mac.processes[200] = {.parent = 100, .name = "claude", .terminal = ttys004};
    mac.processes[100] = {.parent = 1,
                          .name = "Terminal",
                          .application = test::FakeMac::Application{.bundleId = "com.apple.Terminal"}};
    mac.devices[ttys004] = "ttys004";
  }

  void runOnMac(std::string_view name) {
    mac.lookUps.clear();
    test::writeFile(home / "event", event(name));
    const FileDescriptor input = FileDescriptor::open(home / "event", O_RDONLY);
    constexpr std::array<std::string_view, 1> words = {"tavrin-hook"};
    HookCommand::run(words, {.input = input.number(),
                             .home = home.string(),
                             .parentPid = parentPid,
                             .processes = processTableOf(mac.calls()),
                             .files = files.probes(),
                             .now = [this] { return now; },
                             .makeId = [] { return "ID"; }});
  }

  static constexpr std::uint32_t ttys004 = 0x10000004;
  test::FakeMac mac;
};

TEST_F(HookOnMacos, AFirstEventRecordsTheAgentItsTerminalAndItsHost) {
  runOnMac("PreToolUse");
  Session expected = usualRecord(SessionState::working);
  expected.inFlight = record().inFlight;
  EXPECT_EQ(record(), expected);
  EXPECT_EQ(mac.countOf("dlopen"), 1U) << "the outermost process is the host";
  EXPECT_EQ(mac.poolsMade, mac.poolsDrained);
}

TEST_F(HookOnMacos, AnEventOfASessionWithAHostOpensNoAppKit) {
  runOnMac("PreToolUse");
  runOnMac("PostToolUse");
  EXPECT_THAT(mac.lookUps, ElementsAre("sysctl 300", "sysctl 200"));
  EXPECT_EQ(record().hostBundleId, "com.apple.Terminal");
  EXPECT_EQ(record().tty, "/dev/ttys004");
}

TEST_F(HookOnMacos, EachPromptLooksForTheHostAgain) {
  runOnMac("SessionStart");
  mac.processes[100].application->bundleId = "com.example.editor";
  runOnMac("UserPromptSubmit");
  EXPECT_EQ(record().hostBundleId, "com.example.editor");
}

TEST_F(HookOnMacos, WithoutAppKitARecordHasAllButTheHost) {
  mac.hasAppKit = false;
  runOnMac("UserPromptSubmit");
  Session expected = usualRecord(SessionState::working);
  expected.hostPid.reset();
  expected.hostBundleId.reset();
  EXPECT_EQ(record(), expected);
}

// As under sudo(8): the kernel shows only the names and parents of another user's processes.
TEST_F(HookOnMacos, AnAgentOfAnotherUserIsFoundWithoutItsTerminal) {
  mac.processes[200].isOfAnotherUser = true;
  runOnMac("UserPromptSubmit");
  Session expected = usualRecord(SessionState::working);
  expected.tty.reset();
  EXPECT_EQ(record(), expected);
}

TEST_F(HookOnMacos, AnAgentThatIsGoneLeavesTheProcessThatRanTheCommand) {
  mac.processes.clear();
  runOnMac("UserPromptSubmit");
  EXPECT_EQ(record().agentPid, parentPid);
  EXPECT_EQ(record().hostPid, std::nullopt);
  EXPECT_EQ(record().tty, std::nullopt);
}

}  // namespace
}  // namespace tavrin
