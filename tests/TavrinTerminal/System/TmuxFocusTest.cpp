// Focus with a real tmux: servers with sockets of their own, and clients on pseudo-terminals.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <memory>

#include "TavrinCore/Context/ProcessTree.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/System/Executables.hpp"
#include "TavrinTerminal/System/TerminalFocus.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using Kind = TerminalFocus::Result::Kind;
using namespace std::chrono_literals;

const char* path() {
  return "/usr/local/bin:/opt/homebrew/bin:/usr/bin:/bin";
}

// A process on a pseudo-terminal of its own, as a terminal's window has it. It is killed with its owner.
class Window {
 public:
  explicit Window(const std::vector<std::string>& words) {
    master_ = FileDescriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!master_.isOpen() || ::grantpt(master_.number()) != 0 || ::unlockpt(master_.number()) != 0)
      throw std::runtime_error("no pseudo-terminal");
    tty_ = ::ptsname(master_.number());
    const winsize size{.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    ::ioctl(master_.number(), TIOCSWINSZ, &size);
    pid_ = ::fork();
    if (pid_ != 0) return;
    ::setsid();
    const int terminal = ::open(tty_.c_str(), O_RDWR);  // becomes the controlling one
    for (int number = 0; number < 3; ++number) ::dup2(terminal, number);
    std::vector<char*> argv;
    for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    ::setenv("TERM", "xterm-256color", 1);
    ::unsetenv("TMUX");
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ~Window() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  const std::string& tty() const { return tty_; }

  // What a terminal reports when it gets or loses the keyboard (xterm, "FocusIn/FocusOut").
  void type(std::string_view bytes) const { File::writeAll(master_.number(), bytes); }

 private:
  FileDescriptor master_;
  std::string tty_;
  pid_t pid_ = -1;
};

class Server {
 public:
  explicit Server(const test::ScratchDirectory& directory, const std::string& name)
      : directory_(directory),
        socket_((directory / name).string()),
        tmux_(*Executables::find("tmux", path())) {}
  ~Server() { tell({"kill-server"}); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::string tell(std::vector<std::string> words) const {
    words.insert(words.begin(), {tmux_, "-u", "-f", "/dev/null", "-S", socket_});
    return ChildProcess::run({.words = std::move(words),
                              .input = "",
                              .environment = std::vector<std::string>{"TERM=xterm-256color", "SHELL=/bin/sh",
                                                                      "HOME=" + directory_.string(),
                                                                      std::string("PATH=") + path()},
                              .timeout = 60s})
        .output;
  }

  // A session whose only pane runs `command`, by default an agent that waits.
  std::string newSession(const std::string& name, const std::string& command = "") const {
    return newPane({"new-session", "-d", "-s", name}, command);
  }
  std::string newWindow(const std::string& session) const {
    return newPane({"new-window", "-d", "-t", session}, "");
  }
  std::string ask(const std::string& target, const std::string& format) const {
    return trimmed(tell({"display-message", "-p", "-t", target, format}));
  }
  // An agent's record as its hook would have written it in that pane.
  Session agentIn(const std::string& pane) const {
    Session session;
    session.agentPid = std::atoi(ask(pane, "#{pane_pid}").c_str());
    session.tty = ask(pane, "#{pane_tty}");
    return session;
  }

  // A terminal's window that shows a session. It is attached once tmux has told this channel.
  std::unique_ptr<Window> attach(const std::string& session) const {
    tell({"set-hook", "-g", "client-attached", "wait-for -S attached"});
    auto window = std::make_unique<Window>(words({"attach", "-t", session}));
    tell({"wait-for", "attached"});
    return window;
  }
  std::vector<std::string> words(std::vector<std::string> rest) const {
    rest.insert(rest.begin(), {tmux_, "-u", "-f", "/dev/null", "-S", socket_});
    return rest;
  }
  std::string attachCommand(const std::string& session) const {
    return "TMUX= TERM=xterm-256color '" + tmux_ + "' -u -f /dev/null -S '" + socket_ + "' attach -t " +
           session;
  }

  // The pane that the client on a terminal shows.
  std::string paneShownOn(const std::string& tty) const {
    const std::string lines = "\n" + tell({"list-clients", "-F", "#{client_tty} #{pane_id}"});
    const std::size_t start = lines.find("\n" + tty + " ");
    if (start == std::string::npos) return "no such client";
    const std::size_t pane = start + tty.size() + 2;
    return lines.substr(pane, lines.find('\n', pane) - pane);
  }

 private:
  static std::string trimmed(std::string text) {
    while (text.ends_with('\n')) text.pop_back();
    return text;
  }

  // Comes back when the pane's process runs, with the environment that tmux gives it.
  std::string newPane(std::vector<std::string> words, const std::string& command) const {
    words.insert(words.end(),
                 {"-P", "-F", "#{pane_id}",
                  "'" + tmux_ + "' wait-for -S runs; " + (command.empty() ? "exec sleep 1000" : command)});
    std::string pane = trimmed(tell(std::move(words)));
    tell({"wait-for", "runs"});
    return pane;
  }

  const test::ScratchDirectory& directory_;
  std::string socket_;
  std::string tmux_;
};

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
