#include "TavrinTerminal/System/Notifier.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/SessionChanges.hpp"
#include "TavrinTerminal/System/Executables.hpp"
#include "TavrinTerminal/System/TerminalFocus.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using Kind = SessionChange::Kind;
using testing::ElementsAre;
using testing::HasSubstr;
using namespace std::chrono_literals;

constexpr Date now = dateFromSeconds(1'767'323'045);

Session record() {
  Session made;
  made.sessionId = "S1";
  made.agent = Agent::claude;
  return made;
}

SessionChange change(SessionState state, std::string attentionId = "A-1", Kind kind = Kind::changed) {
  SessionChange made;
  made.kind = kind;
  made.row.session.record = record();
  made.row.session.state = state;
  if (state == SessionState::needsYou) made.row.session.attentionId = std::move(attentionId);
  made.row.label = "shop";
  made.row.tool = "Bash";
  return made;
}

class NotifierTest : public testing::Test {
 protected:
  NotifierTest() {
    // Prints the id, or waits for the person.
    program("notify-send", "", "case \"$2\" in --print-id) echo 42;; *) exec sleep 1000;; esac");
    program("gdbus", "");
  }

  // A program that does `before`, writes its arguments as one line to the end of "log", and does `after`.
  void program(const std::string& name, const std::string& before, const std::string& after = "") const {
    const std::filesystem::path path = directory_ / ("bin/" + name);
    test::writeFile(path, "#!/bin/sh\n" + before + "\necho \"" + name + " $*\" >> '" +
                              (directory_ / "log").string() + "'\n" + after + "\n");
    ::chmod(path.c_str(), 0755);
  }
  Notifier::Tools tools() {
    return {
        .executable =
            [this](std::string_view name) { return Executables::find(name, (directory_ / "bin").string()); },
        .isInFront = [this](const Session&) { return isInFront_; },
        .focus = [this](const Session& session) { focused_.push_back(session.sessionId); },
        .now = [] { return now; },
        .claims = (directory_ / "claims").string(),
        // A busy machine starts the stand-in late.
        .patience = 60s};
  }

  // Runs the loop until `isDone`, which must come true.
  void runUntil(EventLoop& loop, const std::function<bool()>& isDone) const {
    while (!isDone()) uv_run(&loop.native(), UV_RUN_ONCE);
  }
  // Runs the loop for longer than a notifier waits, and so reads what lies in pipes.
  static void settle(EventLoop& loop) {
    bool isOver = false;
    Timer timer(loop, [&] { isOver = true; });
    timer.start(Notifier::settleTime + 20ms);
    while (!isOver) uv_run(&loop.native(), UV_RUN_ONCE);
  }
  std::vector<std::string> log() const {
    std::vector<std::string> lines;
    const std::string text = File::contents((directory_ / "log").string()).value_or("");
    for (std::size_t start = 0; start < text.size();) {
      const std::size_t end = text.find('\n', start);
      lines.push_back(text.substr(start, end - start));
      start = end + 1;
    }
    return lines;
  }
  // Waits until the stand-ins have written so many lines.
  void waitForLog(EventLoop& loop, std::size_t lines) const {
    Timer timer(loop, [] {});
    timer.startRepeating(1ms);
    runUntil(loop, [&] { return log().size() >= lines; });
  }

  test::ScratchDirectory directory_;
  bool isInFront_ = false;
  std::vector<std::string> focused_;
};

const std::string shown = "notify-send --app-name=Tavrin --print-id -- Claude needs you shop: Bash";
const std::string asking =
    "notify-send --app-name=Tavrin --replace-id=42 --action=focus=Go there -- Claude needs you shop: Bash";

TEST_F(NotifierTest, NotifiesOnceForEachWait) {
  EventLoop loop;
  Notifier notifier(loop, tools());
  notifier.changed(change(SessionState::needsYou));
  waitForLog(loop, 2);
  notifier.changed(change(SessionState::needsYou));
  settle(loop);
  EXPECT_THAT(log(), ElementsAre(shown, asking));
}

TEST_F(NotifierTest, LetsTheStateSettle) {
  EventLoop loop;
  Notifier notifier(loop, tools());
  notifier.changed(change(SessionState::needsYou));
  notifier.changed(change(SessionState::working));
  notifier.changed(change(SessionState::needsYou, "A-2"));
  notifier.changed(change(SessionState::needsYou, "A-2", Kind::gone));
  notifier.changed(change(SessionState::needsYou, ""));
  settle(loop);
  EXPECT_THAT(log(), ElementsAre());
}

TEST_F(NotifierTest, WithdrawsWhatIsOver) {
  EventLoop loop;
  Notifier notifier(loop, tools());
  notifier.changed(change(SessionState::needsYou));
  waitForLog(loop, 2);
  settle(loop);
  notifier.changed(change(SessionState::working));
  waitForLog(loop, 3);
  EXPECT_EQ(
      "gdbus call --session --dest org.freedesktop.Notifications --object-path "
      "/org/freedesktop/Notifications "
      "--method org.freedesktop.Notifications.CloseNotification 42",
      log().back())
      << testing::PrintToString(log());
}

TEST_F(NotifierTest, WithdrawsEverythingWhenItEnds) {
  EventLoop loop;
  {
    Notifier notifier(loop, tools());
    notifier.changed(change(SessionState::needsYou));
    waitForLog(loop, 2);
    settle(loop);
  }
  EXPECT_THAT(log(), ElementsAre(shown, asking, HasSubstr("CloseNotification 42")));
}

TEST_F(NotifierTest, LeavesAWaitToTheNotifierThatTookIt) {
  EventLoop loop;
  Notifier one(loop, tools());
  Notifier other(loop, tools());
  one.changed(change(SessionState::needsYou));
  other.changed(change(SessionState::needsYou));
  settle(loop);
  waitForLog(loop, 2);
  settle(loop);
  EXPECT_THAT(log(), ElementsAre(shown, asking));
}

TEST_F(NotifierTest, ForgetsClaimsOfTwoDaysAgo) {
  const std::filesystem::path old = directory_ / "claims/A-0";
  const std::filesystem::path recent = directory_ / "claims/A-1";
  for (const auto& path : {old, recent}) test::writeFile(path, "");
  const auto age = [](const std::filesystem::path& path, int hours) {
    const timespec time{static_cast<time_t>(secondsOf(now)) - hours * 3600, 0};
    const std::array<timespec, 2> times = {time, time};
    ::utimensat(AT_FDCWD, path.c_str(), times.data(), 0);
  };
  age(old, 49);
  age(recent, 47);
  EventLoop loop;
  const Notifier notifier(loop, tools());
  EXPECT_FALSE(std::filesystem::exists(old));
  EXPECT_TRUE(std::filesystem::exists(recent));
}

TEST_F(NotifierTest, IsSilentAboutWhatIsInFront) {
  EventLoop loop;
  Notifier notifier(loop, tools());
  isInFront_ = true;
  notifier.changed(change(SessionState::needsYou));
  settle(loop);
  EXPECT_THAT(log(), ElementsAre());
  EXPECT_FALSE(std::filesystem::exists(directory_ / "claims/A-1"));
}

TEST_F(NotifierTest, GoesThereWhenAsked) {
  program("notify-send", "", "case \"$2\" in --print-id) echo 42;; *) echo focus;; esac");
  EventLoop loop;
  Notifier notifier(loop, tools());
  notifier.changed(change(SessionState::needsYou));
  runUntil(loop, [&] { return !focused_.empty(); });
  EXPECT_THAT(focused_, ElementsAre("S1"));
}

TEST_F(NotifierTest, DoesWithAnOldNotifySend) {
  program("notify-send", "", "case \"$1\" in --app-name*) echo unknown option >&2; exit 1;; esac");
  EventLoop loop;
  Notifier notifier(loop, tools());
  notifier.changed(change(SessionState::needsYou));
  waitForLog(loop, 2);
  EXPECT_EQ("notify-send -- Claude needs you shop: Bash", log().back());
}

TEST_F(NotifierTest, RingsTheBellOfTheSessionWhereNothingElseCan) {
  const FileDescriptor master(::posix_openpt(O_RDWR | O_NOCTTY));
  ASSERT_EQ(0, ::grantpt(master.number()));
  ASSERT_EQ(0, ::unlockpt(master.number()));
  const std::string tty = ::ptsname(master.number());
  const FileDescriptor slave = FileDescriptor::open(tty, O_RDWR | O_NOCTTY);  // so that the bytes stay
  std::filesystem::remove(directory_ / "bin/notify-send");
  EventLoop loop;
  Notifier notifier(loop, tools());
  SessionChange waiting = change(SessionState::needsYou);
  Session inTerminal = record();
  inTerminal.tty = tty;
  waiting.row.session.record = std::move(inTerminal);
  notifier.changed(waiting);
  settle(loop);
  char byte = 0;
  ASSERT_EQ(1, File::read(master.number(), &byte, 1));
  EXPECT_EQ('\a', byte);
}

TEST_F(NotifierTest, OnMacOSPrefersTheProgramThatCanWithdraw) {
  program("terminal-notifier", "");
  program("osascript", "");
  EventLoop loop;
  Notifier::Tools onMac = tools();
  onMac.isMac = true;
  Notifier notifier(loop, onMac);
  SessionChange waits = change(SessionState::needsYou);
  Session inApplication = record();
  inApplication.hostBundleId = "com.apple.Terminal";
  waits.row.session.record = std::move(inApplication);
  notifier.changed(waits);
  waitForLog(loop, 1);
  EXPECT_THAT(log().back(), testing::StartsWith("terminal-notifier "));
  EXPECT_THAT(log().back(), HasSubstr("com.apple.Terminal"));
  notifier.changed(change(SessionState::idle));
  waitForLog(loop, 2);
  EXPECT_EQ(log().back(), "terminal-notifier -remove tavrin-S1");
}

TEST_F(NotifierTest, OnMacOSNotifiesThroughAScriptWithoutIt) {
  program("osascript", "");
  EventLoop loop;
  Notifier::Tools onMac = tools();
  onMac.isMac = true;
  Notifier notifier(loop, onMac);
  notifier.changed(change(SessionState::needsYou));
  waitForLog(loop, 3);  // its script has three lines
  EXPECT_THAT(log().front(), testing::StartsWith("osascript "));
  EXPECT_THAT(log().back(), testing::EndsWith(" Claude needs you shop: Bash"));
  // It cannot be withdrawn.
  notifier.changed(change(SessionState::idle));
  settle(loop);
  EXPECT_EQ(3U, log().size());
}

TEST_F(NotifierTest, ShowsNothingTwiceWhereClaimsCannotBeMade) {
  test::writeFile(directory_ / "claims", "in the way");
  EventLoop loop;
  Notifier notifier(loop, tools());
  notifier.changed(change(SessionState::needsYou));
  waitForLog(loop, 2);
  notifier.changed(change(SessionState::needsYou));
  settle(loop);
  EXPECT_THAT(log(), ElementsAre(shown, asking));
}

TEST_F(NotifierTest, AsksNoDesktopWhenTheBellIsWanted) {
  EventLoop loop;
  Notifier::Tools bell = tools();
  bell.way = Notifier::Way::bell;
  {
    Notifier notifier(loop, bell);
    notifier.changed(change(SessionState::needsYou));
    settle(loop);
    EXPECT_TRUE(std::filesystem::exists(directory_ / "claims/A-1"));
    notifier.changed(change(SessionState::working));
    settle(loop);
  }
  EXPECT_THAT(log(), ElementsAre()) << "and there is nothing to withdraw";
}

TEST_F(NotifierTest, RingsOnlyTerminals) {
  const std::string file = (directory_ / "file").string();
  test::writeFile(file, "");
  for (const std::string& path :
       {file, std::string("/dev/null"), std::string("/dev/pts/none"), std::string()})
    EXPECT_FALSE(Notifier::ring(path)) << path;
  EXPECT_EQ("", test::readFile(file));
}

TEST(Notifier, CleansItsTexts) {
  SessionChange waiting = change(SessionState::needsYou);
  waiting.row.label = "--a\x1b]0;x\x07 \u202e <b>&";
  waiting.row.tool = std::string(1000, 'x');
  const Notifier::Texts texts = Notifier::textsOf(waiting);
  EXPECT_EQ("Claude needs you", texts.title);
  EXPECT_THAT(texts.body, testing::StartsWith("--a\uFFFD]0;x\uFFFD \uFFFD <b>&: xxx"));
  EXPECT_LT(texts.body.size(), 300U);
  const std::vector<std::string> words = Notifier::notifySend(texts);
  EXPECT_EQ("--", words[2]);
  EXPECT_THAT(words[4], HasSubstr("&lt;b&gt;&amp;: xxx"));
}

TEST(Notifier, HandsTextsToMacOSAsArguments) {
  const Notifier::Texts hostile = {.title = "Claude needs you", .body = "\" & do shell script \"id\" & \""};
  const std::vector<std::string> script = AppleScripts::notify(hostile.title, hostile.body);
  ASSERT_EQ(5U, script.size());
  EXPECT_EQ("-e", script[0]);
  EXPECT_EQ(AppleScripts::notify("", "")[1], script[1]) << "the script is the same whatever the texts are";
  EXPECT_EQ("--", script[2]);
  EXPECT_EQ(hostile.body, script[4]);
  for (const std::string_view tty : {"/dev/ttys004", "/dev/x\"; do shell script \"id", "-e"}) {
    EXPECT_EQ(AppleScripts::selectInITerm("")[1], AppleScripts::selectInITerm(tty)[1]);
    EXPECT_EQ(AppleScripts::selectInTerminal("")[1], AppleScripts::selectInTerminal(tty)[1]);
    EXPECT_EQ(tty, AppleScripts::selectInITerm(tty)[3]);
    EXPECT_EQ(tty, AppleScripts::selectInTerminal(tty)[3]);
  }
  EXPECT_THAT(Notifier::terminalNotifier({.title = "T", .body = "[x"}, "../a b", "com.apple.Terminal"),
              ElementsAre("-title", "T", "-message", " [x", "-group", "tavrin-ab", "-activate",
                          "com.apple.Terminal"));
  EXPECT_THAT(Notifier::removeFromTerminalNotifier("../a b"), ElementsAre("-remove", "tavrin-ab"));
}

}  // namespace
}  // namespace tavrin
