// Focus and the bell with a real tmux.
#include <gtest/gtest.h>

#include "TavrinTerminal/SessionChanges.hpp"
#include "TavrinTerminal/System/Notifier.hpp"
#include "TavrinTerminal/System/TerminalFocus.hpp"
#include "tests/TavrinTerminal/System/TmuxStage.hpp"

namespace tavrin {
namespace {

using Kind = TerminalFocus::Result::Kind;
using test::tmux::path;
using test::tmux::Server;

class TmuxFocusTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!Executables::find("tmux", path())) GTEST_SKIP() << "no tmux here, so focus in tmux is not tested";
  }

  static TerminalFocus focus() {
    return TerminalFocus({.executable = [](std::string_view name) { return Executables::find(name, path()); },
                          .environment = ProcessEnvironment::of,
                          .processes = ProcessFacts::ofThisSystem(),
                          .run = [](const ChildCommand& command) { return ChildProcess::run(command); }});
  }

  test::ScratchDirectory directory_;
};

TEST_F(TmuxFocusTest, ShowsAPaneOfAnotherWindow) {
  const Server server(directory_, "a");
  const std::string first = server.newSession("work");
  const std::string second = server.newWindow("work");
  const auto window = server.attach("work");
  ASSERT_EQ(first, server.paneShownOn(window->tty()));
  const TerminalFocus::Result result = focus().focus(server.agentIn(second));
  EXPECT_EQ(Kind::shown, result.kind);
  EXPECT_EQ("tmux:1.0", result.place);
  EXPECT_EQ(second, server.paneShownOn(window->tty()));
}

TEST_F(TmuxFocusTest, ShowsAPaneOfAnotherSession) {
  const Server server(directory_, "a");
  const std::string here = server.newSession("here");
  const std::string there = server.newSession("there");
  const auto window = server.attach("here");
  EXPECT_EQ(Kind::shown, focus().focus(server.agentIn(there)).kind);
  EXPECT_EQ(there, server.paneShownOn(window->tty()));
}

TEST_F(TmuxFocusTest, PicksTheServerOfTheAgent) {
  // Both servers have a pane of the same id.
  const Server one(directory_, "one server");
  const Server two(directory_, "two");
  const std::string first = one.newSession("work");
  const std::string second = one.newWindow("work");
  ASSERT_EQ(first, two.newSession("work"));
  ASSERT_EQ(second, two.newWindow("work"));
  const auto windowOne = one.attach("work");
  const auto windowTwo = two.attach("work");
  EXPECT_EQ(Kind::shown, focus().focus(two.agentIn(second)).kind);
  EXPECT_EQ(first, one.paneShownOn(windowOne->tty()));
  EXPECT_EQ(second, two.paneShownOn(windowTwo->tty()));
  EXPECT_EQ(Kind::shown, focus().focus(one.agentIn(second)).kind);
  EXPECT_EQ(second, one.paneShownOn(windowOne->tty()));
}

TEST_F(TmuxFocusTest, LeavesOtherClientsAlone) {
  const Server server(directory_, "a");
  const std::string a = server.newSession("a");
  const std::string b = server.newSession("b");
  const std::string b2 = server.newWindow("b");
  const auto onA = server.attach("a");
  const auto onB = server.attach("b");
  EXPECT_EQ(Kind::shown, focus().focus(server.agentIn(b2)).kind);
  EXPECT_EQ(a, server.paneShownOn(onA->tty()));
  EXPECT_EQ(b2, server.paneShownOn(onB->tty()));
}

TEST_F(TmuxFocusTest, SaysHowToAttachWhatNoTerminalShows) {
  const Server server(directory_, "it's");
  server.newSession("de'tached");
  const std::string second = server.newWindow("de'tached");
  const TerminalFocus::Result result = focus().focus(server.agentIn(second));
  EXPECT_EQ(Kind::unreachable, result.kind);
  EXPECT_EQ("tmux:1.0", result.place);
  EXPECT_EQ(
      "No terminal shows it. Run: tmux -S '" + directory_.string() + "/it'\\''s' attach -t '=de'\\''tached'",
      result.advice);
  EXPECT_EQ(second, server.ask("=de'tached:", "#{pane_id}")) << "it is the pane that shows after attaching";
}

TEST_F(TmuxFocusTest, GoesThroughNestedServers) {
  const Server outer(directory_, "outer");
  const Server inner(directory_, "inner");
  const std::string innerFirst = inner.newSession("in");
  const std::string innerSecond = inner.newWindow("in");
  const std::string outerFirst = outer.newSession("out");
  const auto window = outer.attach("out");
  // The second window of the outer server shows the inner one.
  inner.tell({"set-hook", "-g", "client-attached", "wait-for -S attached"});
  const std::string around = outer.newSession("around", inner.attachCommand("in"));
  inner.tell({"wait-for", "attached"});
  ASSERT_EQ(outerFirst, outer.paneShownOn(window->tty()));

  const TerminalFocus::Result result = focus().focus(inner.agentIn(innerSecond));
  EXPECT_EQ(Kind::shown, result.kind);
  EXPECT_EQ("tmux:1.0", result.place) << "the place that the agent's own server gives it";
  EXPECT_EQ(around, outer.paneShownOn(window->tty()));
  EXPECT_EQ(innerSecond, inner.ask("in:", "#{pane_id}"));
}

TEST_F(TmuxFocusTest, ReachesNothingOnADeadServer) {
  Session session;
  {
    const Server server(directory_, "a");
    session = server.agentIn(server.newSession("gone"));
  }
  EXPECT_EQ(Kind::unreachable, focus().focus(session).kind);
}

TEST_F(TmuxFocusTest, SaysWhereSessionsAre) {
  const Server server(directory_, "a");
  const Session first = server.agentIn(server.newSession("work"));
  const Session second = server.agentIn(server.newWindow("work"));
  Session elsewhere = first;
  elsewhere.tty = "/dev/pts/does-not-exist";
  Session headless = first;
  headless.tty = std::nullopt;
  const std::vector<Session> sessions = {second, elsewhere, first, headless};
  const auto lines = [&] {
    std::vector<std::string> texts;
    for (const SessionPlace& place : focus().places(sessions))
      texts.push_back(place.terminal.value_or("-") + (place.reachable ? " reachable" : ""));
    return texts;
  };
  EXPECT_EQ((std::vector<std::string>{"tmux:1.0", "-", "tmux:0.0", "-"}), lines());
  const auto window = server.attach("work");
  EXPECT_EQ((std::vector<std::string>{"tmux:1.0 reachable", "-", "tmux:0.0 reachable", "-"}), lines());
}

TEST_F(TmuxFocusTest, KnowsWhatIsInFront) {
  const Server server(directory_, "a");
  server.newSession("work");
  server.tell({"set-option", "-g", "focus-events", "on"});
  const std::string first = server.ask("work:", "#{pane_id}");
  const std::string second = server.newWindow("work");
  const Session shown = server.agentIn(first);
  const Session hidden = server.agentIn(second);
  EXPECT_FALSE(focus().isInFront(shown)) << "detached";

  const auto window = server.attach("work");
  server.tell({"set-hook", "-g", "client-focus-in", "wait-for -S changed"});
  server.tell({"set-hook", "-g", "client-focus-out", "wait-for -S changed"});
  window->type("\033[I");
  server.tell({"wait-for", "changed"});
  EXPECT_TRUE(focus().isInFront(shown));
  EXPECT_FALSE(focus().isInFront(hidden)) << "another window of the same session is shown";
  window->type("\033[O");
  server.tell({"wait-for", "changed"});
  EXPECT_FALSE(focus().isInFront(shown)) << "the person looks at another program";
}

// The bell in a window that no terminal shows marks it (tmux(1), "monitor-bell").
TEST_F(TmuxFocusTest, TheBellMarksTheWindowOfTheSession) {
  const Server server(directory_, "a");
  const std::string shown = server.newSession("work");
  const std::string waiting = server.newWindow("work");
  const std::string other = server.newWindow("work");
  const auto window = server.attach("work");
  server.tell({"set-hook", "-g", "alert-bell", "wait-for -S rang"});

  EventLoop loop;
  Notifier notifier(loop, {.executable = [](std::string_view) -> std::optional<std::string> {
                             ADD_FAILURE() << "a program was looked for";
                             return std::nullopt;
                           },
                           .isInFront = [](const Session& session) { return focus().isInFront(session); },
                           .focus = [](const Session&) {},
                           .now = [] { return Date(std::chrono::system_clock::now()); },
                           .claims = (directory_ / "claims").string(),
                           .way = Notifier::Way::bell});
  SessionChange change;
  change.kind = SessionChange::Kind::changed;
  change.row.session.record = server.agentIn(waiting);
  change.row.session.state = SessionState::needsYou;
  change.row.session.attentionId = "A-1";
  notifier.changed(change);
  bool isOver = false;
  Timer timer(loop, [&] { isOver = true; });
  timer.start(Notifier::settleTime + std::chrono::milliseconds(20));
  while (!isOver) uv_run(&loop.native(), UV_RUN_ONCE);
  server.tell({"wait-for", "rang"});
  EXPECT_EQ("1", server.ask(waiting, "#{window_bell_flag}"));
  EXPECT_EQ("0", server.ask(shown, "#{window_bell_flag}"));
  EXPECT_EQ("0", server.ask(other, "#{window_bell_flag}"));
}

TEST(TmuxServer, ReadsTheSocketOutOfTheVariable) {
  EXPECT_EQ("/tmp/tmux-0/default", TmuxServer::socketIn("/tmp/tmux-0/default,123,0"));
  for (const char* variable : {"", "/tmp/x", "relative,1,0", ",1,0"})
    EXPECT_EQ(std::nullopt, TmuxServer::socketIn(variable)) << variable;
}

TEST(TmuxServer, ReadsLinesAndPassesOverOthers) {
  EXPECT_EQ((std::vector<TmuxServer::Pane>{{.id = "%1",
                                            .tty = "/dev/pts/3",
                                            .session = "$0",
                                            .place = "2.1",
                                            .isActive = true,
                                            .isAttached = false,
                                            .sessionName = "a name"}}),
            TmuxServer::parsePanes("\nnonsense\n%1 /dev/pts/3 $0 2.1 1 0 a name\n%2 /dev/pts/4 $0 2.2\n"));
  const std::vector<TmuxServer::Client> clients = TmuxServer::parseClients(
      "12 /dev/pts/5 $1 %7 1700000000 attached,focused,UTF-8\n"
      "13  $1 %7 1700000000 attached,control-mode,focused\n"
      "14 /dev/pts/6 $1 %7 1700000001 attached,unfocused-looking\n");
  ASSERT_EQ(2U, clients.size());
  EXPECT_TRUE(clients[0].isFocused);
  EXPECT_EQ(12, clients[0].pid);
  EXPECT_FALSE(clients[1].isFocused);
}

}  // namespace
}  // namespace tavrin
