#include "TavrinTerminal/Commands/Focus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/TavrinTerminal/TestTerminal.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;

// Terminals of kitty: the window of process PID has the id PID, and can be brought to the front.
class FocusCommand : public testing::Test, public TestTerminal {
 protected:
  tavrin::Outcome focus(const Focus::Options& options) {
    const TerminalFocus terminals({.executable = [this](std::string_view name) -> std::optional<std::string> {
                                     return name == program ? std::optional("/usr/bin/" + std::string(name))
                                                            : std::nullopt;
                                   },
                                   .environment = [this](std::int32_t) { return environment; },
                                   .processes = processes.facts(),
                                   .run = [this](const ChildCommand& command) { return answer(command); },
                                   .isMac = isMac});
    return Focus::run(options, surroundings, terminals);
  }
  ChildOutcome answer(const ChildCommand& command) {
    ran = command.words;
    ChildOutcome outcome;
    outcome.end = ChildOutcome::End::exited;
    outcome.status = status;
    outcome.output = listing;
    return outcome;
  }
  // Saves a session of kitty's window 7 that has been in its state for `seconds`.
  void put(std::string id, SessionState state, int seconds, std::string_view project) {
    Session made = session(std::move(id), state, project);
    made.stateSince = made.updatedAt = testTime - std::chrono::seconds(seconds);
    made.tty = "/dev/pts/1";
    save(made);
  }

  std::string program = "kitty";
  ProcessEnvironment::Variables environment = {{"KITTY_LISTEN_ON", "unix:/tmp/kitty"}};
  std::string listing =
      R"([{"id": 1, "tabs": [{"id": 2, "windows": [{"id": 7, "pid": 100, "foreground_processes": []}]}]}])";
  bool isMac = false;
  int status = 0;  // of what is run
  std::vector<std::string> ran;
};

TEST_F(FocusCommand, BringsTheOnlySessionToTheFront) {
  put("a", SessionState::working, 10, "shop");
  EXPECT_EQ(focus({}), tavrin::Outcome::done());
  EXPECT_EQ(ran, (std::vector<std::string>{"/usr/bin/kitty", "@", "--to", "unix:/tmp/kitty", "focus-window",
                                           "--match", "id:7"}));
}

TEST_F(FocusCommand, PicksTheSessionThatHasWaitedLongest) {
  program = "none";  // so that the session is named
  put("a", SessionState::needsYou, 10, "short");
  put("b", SessionState::needsYou, 60, "long");
  put("c", SessionState::working, 600, "busy");
  EXPECT_THAT(focus({.next = true}).error, testing::StartsWith("long was not brought to the front."));
  EXPECT_THAT(focus({}).error, testing::StartsWith("long was not"));
  EXPECT_THAT(focus({.session = "busy"}).error, testing::StartsWith("busy was not"));
}

TEST_F(FocusCommand, RefusesToGuess) {
  EXPECT_EQ(focus({}),
            tavrin::Outcome::failed("nothing was brought to the front, because there is no session."));
  put("a", SessionState::working, 10, "shop");
  put("b", SessionState::idle, 10, "api");
  EXPECT_EQ(focus({.next = true}),
            tavrin::Outcome::failed("nothing was brought to the front, because no session needs you."));
  const tavrin::Outcome several = focus({});
  EXPECT_EQ(several.status, ExitStatus::failed);
  EXPECT_THAT(several.error, HasSubstr("there are several. Name one:\n"));
  EXPECT_THAT(several.error, HasSubstr("\na  shop"));
  EXPECT_THAT(several.error, HasSubstr("\nb  api"));
  EXPECT_THAT(focus({.session = "nobody"}).error, HasSubstr("there is no session \"nobody\""));
  EXPECT_TRUE(ran.empty());
}

TEST_F(FocusCommand, SaysWhereAnUnreachableSessionIs) {
  put("a", SessionState::working, 10, "shop");
  listing = "[]";  // kitty has no such window
  const tavrin::Outcome outcome = focus({.session = "a"});
  EXPECT_EQ(outcome.status, ExitStatus::failed);
  EXPECT_EQ(outcome.output, "terminal /dev/pts/1, process 100, folder " + home.string() + "\n");
  EXPECT_EQ(outcome.error,
            "shop was not brought to the front. Its terminal cannot be asked to come to the front.");
}

TEST_F(FocusCommand, SaysThatAWindowCouldNotBeRaised) {
  put("a", SessionState::working, 10, "shop");
  program = "wezterm";
  environment = {{"WEZTERM_UNIX_SOCKET", "/tmp/wezterm"}};
  listing = R"([{"pane_id": 3, "tty_name": "/dev/pts/9"}, {"pane_id": 4, "tty_name": "/dev/pts/1"}])";
  EXPECT_EQ(focus({}), tavrin::Outcome::done("shop is shown in WezTerm, whose window could not be raised\n"));
  EXPECT_EQ(ran.back(), "4");
}

TEST_F(FocusCommand, SaysThatOnlyTheApplicationIsInFront) {
  isMac = true;
  program = "open";
  Session made = session("a", SessionState::working);
  made.tty = "/dev/ttys001";
  made.hostBundleId = "org.example.terminal";
  save(made);
  EXPECT_EQ(focus({}), tavrin::Outcome::done("its application is in front; shop is in terminal /dev/ttys001, "
                                             "process 100, folder " +
                                             home.string() + "\n"));
  EXPECT_EQ(ran, (std::vector<std::string>{"/usr/bin/open", "-b", "org.example.terminal"}));
}

TEST_F(FocusCommand, SelectsTheTabOfATerminalOnMacOS) {
  isMac = true;
  program = "osascript";
  environment.clear();
  Session made = session("a", SessionState::working);
  made.tty = "/dev/ttys001";
  for (const char* application : {"com.googlecode.iterm2", "com.apple.Terminal"}) {
    made.hostBundleId = application;
    save(made);
    listing = "found\n";
    EXPECT_EQ(focus({}), tavrin::Outcome::done()) << application;
    EXPECT_EQ(ran.front(), "/usr/bin/osascript");
    EXPECT_EQ(ran.back(), "/dev/ttys001");
    // No such tab, and a script that fails: nothing else is there to try.
    listing = "missing\n";
    EXPECT_THAT(focus({}).error, HasSubstr("was not brought to the front")) << application;
    listing = "found\n";
    status = 1;
    EXPECT_THAT(focus({}).error, HasSubstr("was not brought to the front")) << application;
    status = 0;
  }
  // Only the path of a terminal is handed to a script.
  made.tty = "-e beep";
  save(made);
  ran.clear();
  EXPECT_THAT(focus({}).error, HasSubstr("was not brought to the front"));
  EXPECT_TRUE(ran.empty());
}

TEST_F(FocusCommand, SaysWhereTheSessionIsWhenTheApplicationDoesNotCome) {
  isMac = true;
  program = "open";
  status = 1;
  environment.clear();
  Session made = session("a", SessionState::working);
  made.tty = "/dev/ttys001";
  made.hostBundleId = "org.example.terminal";
  save(made);
  EXPECT_EQ(focus({}).output, "terminal /dev/ttys001, process 100, folder " + home.string() + "\n");
  made.hostBundleId.reset();
  save(made);
  EXPECT_THAT(focus({}).error, HasSubstr("was not brought to the front"));
}

TEST_F(FocusCommand, AnAnswerOfAnotherFormIsNoWindow) {
  put("a", SessionState::working, 10, "shop");
  for (const char* answer :
       {"", "{", "{}", "[1]", "[{}]", R"([{"tabs": 1}])", R"([{"tabs": [{"windows": [{"pid": 100}]}]}])",
        R"([{"tabs": [{"windows": [{"id": "7", "pid": 100}]}]}])",
        R"([{"tabs": [{"windows": [{"id": 7, "pid": "100"}]}]}])",
        R"([{"tabs": [{"windows": [{"id": 7, "foreground_processes": [{}]}]}]}])",
        R"([{"tabs": [{"windows": [{"id": 7, "pid": 4000}]}]}])"}) {
    listing = answer;
    EXPECT_THAT(focus({}).error, HasSubstr("was not brought to the front")) << answer;
  }
  status = 1;
  EXPECT_THAT(focus({}).error, HasSubstr("was not brought to the front"));
  status = 0;
  program = "wezterm";
  environment = {{"WEZTERM_UNIX_SOCKET", "/tmp/wezterm"}};
  for (const char* answer :
       {R"([{"pane_id": "3", "tty_name": "/dev/pts/1"}])", R"([{"tty_name": "/dev/pts/1"}])"}) {
    listing = answer;
    EXPECT_THAT(focus({}).error, HasSubstr("was not brought to the front")) << answer;
  }
}

TEST_F(FocusCommand, ASessionWithoutATerminalIsNotLookedFor) {
  save(session("a", SessionState::working));
  EXPECT_THAT(focus({}).output, HasSubstr("terminal none, process 100, folder "));
  program = "wezterm";
  environment = {{"WEZTERM_UNIX_SOCKET", "/tmp/wezterm"}};
  ran.clear();
  EXPECT_THAT(focus({}).output, HasSubstr("terminal none, process 100, folder "));
  EXPECT_TRUE(ran.empty());
}

TEST_F(FocusCommand, NeedsAHome) {
  surroundings.home = "";
  EXPECT_THAT(focus({}).error, HasSubstr("there is no home directory"));
}

}  // namespace
}  // namespace tavrin::test
