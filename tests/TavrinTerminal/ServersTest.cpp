#include "TavrinTerminal/Commands/Servers.hpp"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/ServerListing.hpp"
#include "tests/TavrinTerminal/TestTerminal.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;

class ServerCommands : public testing::Test, public TestTerminal {
 protected:
  ServerCommands() {
    add(201, "node", 5173, {"node", "node_modules/.bin/vite"});
    add(202, "python3", 8000, {"python3", "manage.py"});
    surroundings.openInBrowser = [this](const std::string& url) {
      opened.push_back(url);
      return problem;
    };
  }

  void add(std::int32_t pid, std::string command, int port, std::vector<std::string> arguments) {
    listeners.push_back({.pid = pid, .command = std::move(command), .port = port, .host = "127.0.0.1"});
    processes.processes[pid] = {
        .parent = 1, .name = "x", .startedAt = testTime - std::chrono::hours(2), .terminal = {}};
    processes.folders[pid] = "/work-of-somebody/shop";
    processes.arguments[pid] = std::move(arguments);
  }
  tavrin::Outcome stop(std::string word, bool yes = false, bool isTerminal = true) {
    return Servers::stop({.server = std::move(word), .yes = yes}, surroundings, kept.console(isTerminal));
  }

  TestConsole kept;
  std::vector<std::string> opened;
  std::optional<std::string> problem;
};

TEST_F(ServerCommands, AreListedInColumnsOrWithTabs) {
  EXPECT_EQ(Servers::list({}, surroundings, kept.console(true)).output,
            "SERVER     PORT  PROJECT  PID  UP\n"
            "Vite       5173  shop     201  2h 0m\n"
            "manage.py  8000  shop     202  2h 0m\n");
  EXPECT_EQ(Servers::list({}, surroundings, kept.console(false)).output,
            "Vite\t5173\tshop\t201\t2h 0m\nmanage.py\t8000\tshop\t202\t2h 0m\n");
}

TEST_F(ServerCommands, AreListedAsJsonWithTheirSession) {
  save(session("s", SessionState::idle, "shop"));
  EXPECT_THAT(Servers::list({.json = true}, surroundings, kept.console(false)).output,
              testing::StartsWith(
                  R"({"version":1,"servers":[{"pid":201,"ports":[5173],"host":"127.0.0.1","name":"Vite",)"
                  R"("url":"http://127.0.0.1:5173","cwd":"/work-of-somebody/shop",)"
                  R"("repoRoot":"/work-of-somebody/shop","since":"2026-01-02T01:04:05Z","session":"s"},)"));
}

TEST_F(ServerCommands, NoServersAreASentenceOnStandardError) {
  listeners.clear();
  const tavrin::Outcome outcome = Servers::list({}, surroundings, kept.console(true));
  EXPECT_EQ(outcome, (tavrin::Outcome{
                         .status = ExitStatus::done, .output = {}, .error = "there are no local servers."}));
  EXPECT_EQ(Servers::list({.json = true}, surroundings, kept.console(true)).output,
            "{\"version\":1,\"servers\":[]}\n");
}

TEST_F(ServerCommands, PortsOfInvisibleProcessesAreNamedOnATerminal) {
  unseenPorts = {22, 631};
  const std::string terminal = Servers::list({}, surroundings, kept.console(true)).output;
  EXPECT_THAT(terminal, testing::EndsWith("manage.py  8000  shop     202  2h 0m\n"
                                          "2 ports belong to processes that you cannot see: 22, 631\n"));
  EXPECT_THAT(
      Servers::list({}, surroundings, kept.console(true, true)).output,
      testing::EndsWith("\n\033[2m2 ports belong to processes that you cannot see: 22, 631\033[0m\n"));
  for (const bool json : {false, true})
    EXPECT_THAT(Servers::list({.json = json}, surroundings, kept.console(false)).output,
                testing::Not(HasSubstr("631")));
  listeners.clear();
  EXPECT_EQ(Servers::list({}, surroundings, kept.console(true)),
            (tavrin::Outcome{.status = ExitStatus::done,
                             .output = "2 ports belong to processes that you cannot see: 22, 631\n",
                             .error = "there are no local servers."}));
}

TEST_F(ServerCommands, PortsOfInvisibleProcessesFitTheTerminal) {
  for (int port = 1; port <= 60; ++port) unseenPorts.push_back(port * 1000);
  for (const int width : {200, 80, 61, 20, 1}) {
    Console console = kept.console(true);
    console.width = width;
    const std::string output = Servers::list({}, surroundings, console).output;
    const std::string line =
        output.substr(output.find("60 p") == std::string::npos ? output.rfind('\n', output.size() - 2) + 1
                                                               : output.find("60 p"));
    EXPECT_LE(ShownText::width(line.substr(0, line.size() - 1)), static_cast<std::size_t>(width)) << line;
    EXPECT_THAT(line, testing::EndsWith("\u2026\n")) << width;
  }
}

TEST_F(ServerCommands, AWordIsAPortOrAProcessAndAPort) {
  const std::vector<LocalServer> servers = Servers::running(surroundings);
  EXPECT_EQ(std::get<LocalServer>(Servers::named("5173", servers)).pid, 201);
  EXPECT_EQ(std::get<LocalServer>(Servers::named("202:8000", servers)).pid, 202);
  for (const char* none : {"5174", "201:8000"})
    EXPECT_THAT(std::get<std::string>(Servers::named(none, servers)), HasSubstr("there is no server"))
        << none;
  for (const char* wrong : {"", "vite", "0", "65536", ":8000", "x:8000", "201:", "1:2:3", "\x1b"})
    EXPECT_THAT(std::get<std::string>(Servers::named(wrong, servers)), HasSubstr("neither a port nor"))
        << wrong;
}

TEST_F(ServerCommands, AnAmbiguousPortIsRefusedWithCandidates) {
  add(203, "ruby", 8000, {"ruby"});
  EXPECT_EQ(std::get<std::string>(Servers::named("8000", Servers::running(surroundings))),
            "\"8000\" fits several servers. Use one of these:\n  202:8000  manage.py\n  203:8000  ruby");
}

TEST_F(ServerCommands, OpenOpensTheUrl) {
  EXPECT_EQ(Servers::open("5173", surroundings, kept.console(true)), tavrin::Outcome::done());
  EXPECT_THAT(opened, testing::ElementsAre("http://127.0.0.1:5173"));
  EXPECT_EQ(Servers::open("1", surroundings, kept.console(true)).status, ExitStatus::failed);
  EXPECT_EQ(opened.size(), 1U);
}

TEST_F(ServerCommands, AUrlThatCannotBeOpenedIsPrinted) {
  problem = "xdg-open is not installed.";
  const tavrin::Outcome outcome = Servers::open("5173", surroundings, kept.console(true));
  EXPECT_EQ(outcome.output, "http://127.0.0.1:5173\n");
  EXPECT_EQ(outcome.error,
            "no browser was opened, because xdg-open is not installed. Open the URL yourself.");
  EXPECT_EQ(outcome.status, ExitStatus::failed);
}

TEST_F(ServerCommands, StopWithoutATerminalNeedsYes) {
  const tavrin::Outcome outcome = stop("5173", false, false);
  EXPECT_EQ(outcome.status, ExitStatus::failed);
  EXPECT_THAT(outcome.error, HasSubstr("--yes"));
}

TEST_F(ServerCommands, ADeclinedStopHasStatus2) {
  kept.answers = {"n"};
  EXPECT_EQ(stop("5173").status, ExitStatus::declined);
  EXPECT_EQ(kept.error, "Stop Vite on port 5173 (process 201)? [y/N] ");
}

TEST_F(ServerCommands, RootStopsNothingOfAnotherUser) {
  surroundings.isForeignHome = true;
  EXPECT_THAT(stop("5173", true).error, testing::StartsWith("nothing was stopped, because you are root"));
}

// A real process under the listed id. Its facts are made up.
class RealServer : public ServerCommands {
 protected:
  explicit RealServer(void (*onTerm)(int) = SIG_DFL) {
    std::array<int, 2> ready{};
    EXPECT_EQ(::pipe(ready.data()), 0);
    pid = ::fork();
    if (pid == 0) {
      ::signal(SIGTERM, onTerm);
      if (::write(ready[1], "r", 1) != 1) ::_exit(1);
      for (;;) ::pause();
    }
    // Waits until the child has set its signal handler.
    char sent = 0;
    EXPECT_EQ(::read(ready[0], &sent, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
    add(pid, "node", 4000, {"node"});
  }
  ~RealServer() override {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
  }
  // How it ended; 0 while it runs.
  int endSignal() const {
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT);
    return info.si_pid == pid ? info.si_status : 0;
  }

  pid_t pid = 0;
};

TEST_F(RealServer, IsAskedToEnd) {
  const tavrin::Outcome outcome = stop("4000", true, false);
  EXPECT_EQ(outcome.output, "node on port 4000 has stopped.\n");
  EXPECT_EQ(outcome.status, ExitStatus::done);
  EXPECT_EQ(endSignal(), SIGTERM);
}

TEST_F(RealServer, IsLeftAloneWhenItsIdNowBelongsToAnother) {
  kept.answers = {"y"};
  int asked = 0;
  surroundings.processes.process = [&, all = surroundings.processes.process](std::int32_t asked_pid) {
    auto fact = all(asked_pid);
    // The listed process ends while the person is asked.
    if (asked_pid == pid && ++asked > 1) fact->startedAt = testTime - std::chrono::minutes(1);
    return fact;
  };
  EXPECT_THAT(stop("4000").error, HasSubstr("has ended or is not the same"));
  EXPECT_EQ(endSignal(), 0);
}

TEST_F(RealServer, IsLeftAloneWhenItsFolderChanged) {
  int asked = 0;
  surroundings.processes.folder = [&](std::int32_t) -> std::optional<std::string> {
    return ++asked > static_cast<int>(listeners.size()) ? "/elsewhere" : "/work-of-somebody/shop";
  };
  EXPECT_THAT(stop("4000", true).error, HasSubstr("has ended or is not the same"));
  EXPECT_EQ(endSignal(), 0);
}

class StubbornServer : public RealServer {
 protected:
  StubbornServer() : RealServer(SIG_IGN) {}
};

TEST_F(StubbornServer, IsKilledOnlyAfterAskingAgain) {
  kept.answers = {"y", "y"};
  EXPECT_EQ(stop("4000").status, ExitStatus::done);
  EXPECT_THAT(kept.error, HasSubstr("did not stop within 5 s. Kill it?"));
  EXPECT_EQ(endSignal(), SIGKILL);
}

TEST_F(StubbornServer, StaysWhenTheSecondAnswerIsNo) {
  kept.answers = {"n"};
  EXPECT_EQ(stop("4000", true).status, ExitStatus::declined);
  EXPECT_EQ(endSignal(), 0);
}

TEST(ServerListing, FindsAPortOfThisProcess) {
  const int listening = ::socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_GE(listening, 0);
  ASSERT_EQ(::listen(listening, 1), 0);
  sockaddr_in address{};
  socklen_t size = sizeof address;
  ASSERT_EQ(::getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size), 0);
  const int port = ntohs(address.sin_port);
  const std::vector<PortScan::Listener> found = ServerListing::now().listeners;
  EXPECT_TRUE(std::ranges::any_of(found, [&](const PortScan::Listener& listener) {
    return listener.port == port && listener.pid == ::getpid();
  }));
  ::close(listening);
}

}  // namespace
}  // namespace tavrin::test
