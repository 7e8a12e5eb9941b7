// Focus with programs that stand in for WezTerm and kitty and record what they are asked.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "TavrinTerminal/System/TerminalFocus.hpp"
#include "tests/TavrinTerminal/System/TmuxStage.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using Kind = TerminalFocus::Result::Kind;
using test::tmux::Window;
using testing::HasSubstr;
using testing::Not;

class TerminalStandIns : public testing::Test {
 protected:
  // A program that appends its arguments and its environment to a log, and then does what `script` says.
  void program(const std::string& name, const std::string& script) const {
    const std::string path = directory_.path() / name;
    test::writeFile(path,
                    "#!/bin/sh\necho \"$*\" >> '" + log() + "'\nenv >> '" + log() + "'\n" + script + "\n");
    ::chmod(path.c_str(), 0755);
  }
  std::string log() const { return directory_.path() / "log"; }

  // Brings the process in `window` to the front.
  TerminalFocus::Result focus(const Window& window) const {
    const TerminalFocus terminals(
        {.executable =
             [this](std::string_view name) { return Executables::find(name, directory_.path().string()); },
         .environment = ProcessEnvironment::of,
         .processes = ProcessFacts::ofThisSystem(),
         .run = [](const ChildCommand& command) { return ChildProcess::run(command); }});
    Session session;
    session.agentPid = window.pid();
    session.tty = window.tty();
    // The process has its own environment once env(1) has become sleep(1).
    while (ProcessEnvironment::of(window.pid()).count("IN_PLACE") == 0) ::usleep(1000);
    return terminals.focus(session);
  }

  test::ScratchDirectory directory_;
};

TEST_F(TerminalStandIns, WezTermIsAskedForThePaneOfTheTerminal) {
  const Window window({"/usr/bin/env", "-i", "IN_PLACE=1", "WEZTERM_UNIX_SOCKET=/tmp/mux sock",
                       "HOME=/home/dev", "PATH=/usr/bin:/bin", "SECRET=1", "/bin/sleep", "1000"});
  program("wezterm",
          R"(test "$2" != list || echo '[{"pane_id": 3, "tty_name": "/dev/null"}, {"pane_id": 12, )"
          R"("tty_name": ")" +
              window.tty() + "\"}]'");
  EXPECT_EQ(focus(window), (TerminalFocus::Result{.kind = Kind::shown, .place = "WezTerm", .advice = ""}));
  const std::string asked = test::readFile(log());
  EXPECT_THAT(asked, testing::StartsWith("cli list --format json\n"));
  EXPECT_THAT(asked, HasSubstr("\ncli activate-pane --pane-id 12\n"));
  EXPECT_THAT(asked, HasSubstr("\nWEZTERM_UNIX_SOCKET=/tmp/mux sock\n"));
  EXPECT_THAT(asked, Not(HasSubstr("SECRET")));
}

TEST_F(TerminalStandIns, WezTermThatFailsIsUnreachable) {
  const Window window({"/usr/bin/env", "-i", "IN_PLACE=1", "WEZTERM_UNIX_SOCKET=/tmp/mux",
                       "PATH=/usr/bin:/bin", "/bin/sleep", "1000"});
  const std::string list = "test \"$2\" != list || { echo '[{\"pane_id\": 12, \"tty_name\": \"" +
                           window.tty() + "\"}]'; exit; }\n";
  const std::vector<std::string> scripts = {"exit 1",    "echo '{'",      "echo '[{}]'",
                                            "echo '[]'", list + "exit 1", "trap '' TERM; sleep 1000"};
  for (const std::string& script : scripts) {
    program("wezterm", script);
    EXPECT_EQ(focus(window),
              (TerminalFocus::Result{.kind = Kind::unreachable, .place = window.tty(), .advice = ""}))
        << script;
  }
}

TEST_F(TerminalStandIns, KittyIsAskedForTheWindowOfTheProcess) {
  const Window window({"/usr/bin/env", "-i", "IN_PLACE=1", "KITTY_LISTEN_ON=unix:/tmp/kitty $(x)",
                       "PATH=/usr/bin:/bin", "/bin/sleep", "1000"});
  program("kitty",
          R"(test "$4" != ls || echo '[{"tabs": [{"windows": [{"id": 4, "pid": 1}, {"id": 5, "pid": 1, )"
          R"("foreground_processes": [{"pid": )" +
              std::to_string(window.pid()) + "}]}]}]}]'");
  EXPECT_EQ(focus(window), (TerminalFocus::Result{.kind = Kind::front, .place = "kitty", .advice = ""}));
  const std::string asked = test::readFile(log());
  EXPECT_THAT(asked, testing::StartsWith("@ --to unix:/tmp/kitty $(x) ls\n"));
  EXPECT_THAT(asked, HasSubstr("\n@ --to unix:/tmp/kitty $(x) focus-window --match id:5\n"));
}

}  // namespace
}  // namespace tavrin
