// Real servers, as the commands list them, ask them and stop them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <set>

#include "TavrinTerminal/Commands/Servers.hpp"
#include "TavrinTerminal/ServerStop.hpp"
#include "TavrinTerminal/System/HealthProbe.hpp"
#include "TavrinTerminal/System/ServerListing.hpp"
#include "tests/TavrinTerminal/TestTerminal.hpp"
#include "tests/support/Subprocess.hpp"

#ifdef __linux__
#include <linux/sched.h>
#include <sys/syscall.h>
#endif

namespace tavrin::test {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using Step = ServerStop::Step;

constexpr milliseconds patience{5'000};

// Listens as the words after it say (address, ports), prints the ports and serves as its first word says.
constexpr const char* pythonServer = R"(
import os, signal, socket, sys, threading
how, address, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
if how == 'stubborn': signal.signal(signal.SIGTERM, signal.SIG_IGN)
listeners = [socket.create_server((address, 0), family=socket.AF_INET6 if ':' in address else socket.AF_INET)
             for _ in range(count)]
print(*(listener.getsockname()[1] for listener in listeners), flush=True)
answers = {'http': b'HTTP/1.1 500 No\r\n\r\n', 'banner': b'SSH-2.0-x\r\n', 'slowly': b'HTTP', 'mute': b''}
while True:
    connection, _ = listeners[0].accept()
    request = connection.recv(1000)
    sys.stderr.write(request.decode())
    sys.stderr.flush()
    if how == 'slowly':
        connection.sendall(b'HT')
        connection.sendall(b'TP/1.1 200 OK\r\n')
    elif how != 'silent':
        connection.sendall(answers.get(how, b''))
    if how == 'silent': signal.pause()
    connection.close()
)";

class LiveServers : public testing::Test {
 protected:
  LiveServers() {
    surroundings.home = home.string();
    surroundings.now = [] { return Date(std::chrono::system_clock::now()); };
    surroundings.environment = [](std::string_view) { return std::nullopt; };
    surroundings.processes = ProcessFacts::ofThisSystem();
    surroundings.listeners = ServerListing::now;
  }

  Subprocess start(std::vector<std::string> words) const {
    words.insert(words.begin(), {"/bin/sh", "-c", "cd \"$0\" && exec \"$@\"", home.string()});
    return Subprocess(words, {{"PATH", "/usr/local/bin:/usr/bin:/bin"}, {"HOME", home.string()}});
  }
  Subprocess startPython(const std::string& how, const std::string& address = "127.0.0.1",
                         int ports = 1) const {
    writeFile(home / "serve.py", pythonServer);
    return start({"python3", home / "serve.py", how, address, std::to_string(ports)});
  }
  // A node server that listens on any port of 127.0.0.1 and prints the port.
  Subprocess startNode(const std::string& script, const std::string& before = "") const {
    writeFile(home / script, before +
                                 "const s = require('http').createServer((q, r) => r.end('ok'));\n"
                                 "s.listen(0, '127.0.0.1', () => console.log(s.address().port));\n");
    return start({"node", home / script});
  }

  std::optional<LocalServer> listed(pid_t pid) const {
    const std::vector<LocalServer> all = Servers::running(surroundings);
    const auto found = std::ranges::find(all, pid, &LocalServer::pid);
    return found == all.end() ? std::nullopt : std::optional(*found);
  }

  // What asking finds; nullopt when nothing is asked.
  static std::optional<ServerHealth> healthOf(const LocalServer& server) {
    EventLoop loop;
    std::optional<ServerHealth> health;
    {
      HealthProbe probe(loop, [&](const std::string& id, ServerHealth found) {
        EXPECT_EQ(id, server.id());
        health = found;
      });
      probe.ask(server);
      probe.ask(server);
      loop.run();
    }
    return health;
  }

  static std::shared_ptr<ServerStop> held(const LocalServer& server, const ProcessFacts& processes) {
    return std::get<std::shared_ptr<ServerStop>>(ServerStop::of(server, processes));
  }

  ScratchHome home;
  Surroundings surroundings;
};

TEST_F(LiveServers, OfNodeIsNamedByItsScriptAndNotAskedForHealth) {
  const Subprocess server = startNode("server.js");
  const std::string port = server.readLine();
  ASSERT_NE(port, "") << "node is needed";
  const auto found = listed(server.pid());
  ASSERT_TRUE(found);
  EXPECT_EQ(found->displayName(), "server.js");
  EXPECT_EQ(found->url(), "http://127.0.0.1:" + port);
  EXPECT_EQ(found->cwd, std::filesystem::canonical(home.path()));
  EXPECT_EQ(healthOf(*found), std::nullopt);
}

TEST_F(LiveServers, ThatVitesScriptRunsIsViteAndAnswers) {
  const Subprocess server = startNode("node_modules/vite/bin/vite.js");
  ASSERT_NE(server.readLine(), "") << "node is needed";
  const auto found = listed(server.pid());
  ASSERT_TRUE(found);
  EXPECT_EQ(found->displayName(), "Vite");
  EXPECT_EQ(healthOf(*found), ServerHealth::responding);
}

TEST_F(LiveServers, ThatNamesItselfAsNextDoesIsFoundAndStopped) {
  const Subprocess server = startNode("x.js", "process.title = 'next-server (v15.1.0)';\n");
  ASSERT_NE(server.readLine(), "") << "node is needed";
  const auto found = listed(server.pid());
  ASSERT_TRUE(found);
  EXPECT_EQ(found->displayName(), "Next.js");
  EXPECT_EQ(healthOf(*found), ServerHealth::responding);
  EXPECT_EQ(held(*found, surroundings.processes)->ask(patience).step, Step::stopped);
}

TEST_F(LiveServers, OfPythonIsNamedAndAnswers) {
  const Subprocess server = start({"python3", "-um", "http.server", "0", "--bind", "127.0.0.1"});
  ASSERT_THAT(server.readLine(), HasSubstr("Serving HTTP")) << "python3 is needed";
  const auto found = listed(server.pid());
  ASSERT_TRUE(found);
  EXPECT_EQ(found->displayName(), "Python http.server");
  EXPECT_EQ(healthOf(*found), ServerHealth::responding);
}

TEST_F(LiveServers, OnIPv6AloneIsListedAndAsked) {
  const Subprocess server = startPython("http", "::1");
  const std::string port = server.readLine();
  ASSERT_NE(port, "") << "python3 and IPv6 are needed";
  auto found = listed(server.pid());
  ASSERT_TRUE(found);
  EXPECT_EQ(found->host, "::1");
  EXPECT_EQ(found->url(), "http://[::1]:" + port);
  found->framework = "Vite";
  EXPECT_EQ(healthOf(*found), ServerHealth::responding);
  // One that listens on all addresses is asked on both.
  found->host = "localhost";
  EXPECT_EQ(healthOf(*found), ServerHealth::responding);
}

// The real executable runs what stands in for the system's opener, which records the words that it gets.
TEST_F(LiveServers, AreOpenedByTheSystemsOpenerAtTheirAddress) {
#ifdef __APPLE__
  const std::filesystem::path opener = home / "bin/open";
#else
  const std::filesystem::path opener = home / "bin/xdg-open";
#endif
  writeFile(opener, "#!/bin/sh\nprintf '%s|' \"$@\" >\"$HOME/opened\"\n");
  std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
  const std::vector<std::pair<std::string, std::string>> hostsOfAddresses = {
      {"127.0.0.1", "127.0.0.1"}, {"0.0.0.0", "localhost"}, {"::1", "[::1]"}, {"::", "localhost"}};
  for (const auto& [address, host] : hostsOfAddresses) {
    const Subprocess server = startPython("silent", address);
    const std::string port = server.readLine();
    ASSERT_NE(port, "") << "python3 and IPv6 are needed";
    const Outcome outcome = run({TAVRIN_EXECUTABLE, "open", std::to_string(server.pid()) + ":" + port}, "",
                                {{"HOME", home.string()}, {"PATH", home.string() + "/bin:/usr/bin:/bin"}});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.error;
    EXPECT_EQ(readFile(home / "opened"), "http://" + host + ":" + port + "|") << address;
  }
}

TEST_F(LiveServers, WithManyPortsIsOneServerAndListedAsLsofListsIt) {
  constexpr int count = 60;
  const Subprocess server = startPython("silent", "127.0.0.1", count);
  std::istringstream printed(server.readLine());
  std::set<int> expected{std::istream_iterator<int>(printed), std::istream_iterator<int>()};
  ASSERT_EQ(expected.size(), std::size_t{count}) << "python3 is needed";
  const auto found = listed(server.pid());
  ASSERT_TRUE(found);
  EXPECT_EQ(std::set<int>(found->ports.begin(), found->ports.end()), expected);
  EXPECT_EQ(found->portLabel(false), std::to_string(*expected.begin()) + " +59");

  const std::string lsof = test::run({"/usr/bin/env", "lsof", "-nP", "-a", "-p", std::to_string(server.pid()),
                                      "-iTCP", "-sTCP:LISTEN", "-F", "pcn"},
                                     "", {{"PATH", "/usr/bin:/bin:/usr/sbin"}})
                               .output;
  ASSERT_NE(lsof, "") << "lsof is needed";
  std::vector<PortScan::Listener> ours = ServerListing::now().listeners;
  std::erase_if(ours, [&](const PortScan::Listener& listener) { return listener.pid != server.pid(); });
  std::vector<PortScan::Listener> its = PortScan::parse(lsof);
  std::ranges::sort(ours, {}, &PortScan::Listener::port);
  std::ranges::sort(its, {}, &PortScan::Listener::port);
  EXPECT_EQ(ours, its);
}

TEST_F(LiveServers, ThatDoNotAnswerAsHttpAreQuiet) {
  for (const char* how : {"silent", "banner", "mute"}) {
    SCOPED_TRACE(how);
    const Subprocess server = startPython(how);
    ASSERT_NE(server.readLine(), "") << "python3 is needed";
    auto found = listed(server.pid());
    ASSERT_TRUE(found);
    found->framework = "Vite";
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(healthOf(*found), ServerHealth::notResponding);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
  }
}

TEST_F(LiveServers, AreSentOneHeadRequestAndMayAnswerInPieces) {
  Subprocess server = startPython("slowly");
  const std::string port = server.readLine();
  auto found = listed(server.pid());
  ASSERT_TRUE(found) << "python3 is needed";
  found->framework = "Vite";
  EXPECT_EQ(healthOf(*found), ServerHealth::responding);
  ::kill(server.pid(), SIGTERM);
  const std::string request = server.wait().error;
  EXPECT_EQ(request, HealthProbe::requestFor(*found));
  EXPECT_THAT(request, testing::StartsWith("HEAD / HTTP/1.1\r\nHost: 127.0.0.1:" + port + "\r\n"));
  EXPECT_THAT(request, testing::EndsWith("\r\n\r\n"));
}

TEST_F(LiveServers, ThatAreGoneAreQuiet) {
  LocalServer gone;
  {
    const Subprocess server = startPython("http");
    ASSERT_NE(server.readLine(), "") << "python3 is needed";
    gone = *listed(server.pid());
  }
  gone.framework = "Vite";
  EXPECT_EQ(healthOf(gone), ServerHealth::notResponding);
}

TEST_F(LiveServers, ManyAreAskedInTurns) {
  const Subprocess server = startPython("http");
  const std::string port = server.readLine();
  ASSERT_NE(port, "") << "python3 is needed";
  EventLoop loop;
  std::set<std::string> answered;
  {
    HealthProbe probe(loop, [&](const std::string& id, ServerHealth health) {
      EXPECT_EQ(health, ServerHealth::responding) << id;
      EXPECT_TRUE(answered.insert(id).second) << id;
    });
    LocalServer asked = *listed(server.pid());
    asked.framework = "Vite";
    constexpr int count = 3 * static_cast<int>(HealthProbe::mostAtOnce);
    for (asked.pid = 1; asked.pid <= count; ++asked.pid) probe.ask(asked);
    loop.run();
    EXPECT_EQ(answered.size(), static_cast<std::size_t>(count));
  }
}

TEST(HealthProbe, AsksOnlyWebServersOnAddressesOfThisMachine) {
  const auto addresses = [](std::string host, bool isWeb = true, int port = 80) {
    LocalServer server;
    server.host = std::move(host);
    server.ports = {port};
    if (isWeb) server.framework = "Vite";
    return HealthProbe::addressesOf(server);
  };
  using testing::ElementsAre;
  EXPECT_THAT(addresses("127.0.0.1"), ElementsAre("127.0.0.1"));
  EXPECT_THAT(addresses("127.0.0.53"), ElementsAre("127.0.0.53"));
  EXPECT_THAT(addresses("::1"), ElementsAre("::1"));
  EXPECT_THAT(addresses("localhost"), ElementsAre("127.0.0.1", "::1"));
  for (const char* other : {"192.168.1.5", "10.0.0.1", "fe80::1%eth0", "2001:db8::1", "127.0.0.1.example.org",
                            "127.example.org", "example.org", ""})
    EXPECT_THAT(addresses(other), ElementsAre()) << other;
  EXPECT_THAT(addresses("127.0.0.1", false), ElementsAre());
  EXPECT_THAT(addresses("127.0.0.1", true, 0), ElementsAre());
}

TEST_F(LiveServers, ThatIgnoreTheSignalAreKilledOnlyByTheSecond) {
  Subprocess server = startPython("stubborn");
  ASSERT_NE(server.readLine(), "") << "python3 is needed";
  const auto found = listed(server.pid());
  ASSERT_TRUE(found);
  const auto stop = held(*found, surroundings.processes);
  EXPECT_EQ(stop->ask(milliseconds(50)).step, Step::stillRuns);
  EXPECT_EQ(::kill(server.pid(), 0), 0);
  EXPECT_EQ(stop->kill(patience).step, Step::stopped);
  EXPECT_EQ(server.wait().signal, SIGKILL);
}

TEST_F(LiveServers, AreNotWaitedForOnceThePersonLeaves) {
  const Subprocess server = startPython("stubborn");
  ASSERT_NE(server.readLine(), "") << "python3 is needed";
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  ASSERT_EQ(::write(ends[1], "!", 1), 1);
  constexpr std::chrono::hours forever{1};
  EXPECT_EQ(held(*listed(server.pid()), surroundings.processes)->ask(forever, ends[0]).step, Step::stillRuns);
  for (const int end : ends) ::close(end);
}

TEST_F(LiveServers, WithAnotherStartOrFolderAreLeftAlone) {
  const Subprocess server = startPython("http");
  ASSERT_NE(server.readLine(), "") << "python3 is needed";
  const auto found = listed(server.pid());
  ASSERT_TRUE(found);
  LocalServer other = *found;
  other.startedAt = *other.startedAt - std::chrono::seconds(10);
  EXPECT_EQ(held(other, surroundings.processes)->ask(milliseconds(0)).step, Step::refused);
  other = *found;
  other.cwd += "/other";
  EXPECT_EQ(held(other, surroundings.processes)->ask(milliseconds(0)).step, Step::refused);
  EXPECT_EQ(held(other, surroundings.processes)->kill(milliseconds(0)).step, Step::refused);
  EXPECT_EQ(::kill(server.pid(), 0), 0);
}

#ifdef __linux__
// A process with the id of one that was listed, and the same folder.
TEST_F(LiveServers, WhoseIdWasReusedLeaveTheNewProcessAlone) {
  std::optional<LocalServer> found;
  std::shared_ptr<ServerStop> before;
  {
    const Subprocess server = startPython("http");
    ASSERT_NE(server.readLine(), "") << "python3 is needed";
    found = listed(server.pid());
    ASSERT_TRUE(found);
    before = held(*found, surroundings.processes);
  }
  // The new process starts in another second than the clock's tolerance allows.
  found->startedAt = *found->startedAt - std::chrono::seconds(5);
  pid_t wanted = found->pid;
  clone_args arguments{};
  arguments.exit_signal = SIGCHLD;
  arguments.set_tid = reinterpret_cast<std::uintptr_t>(&wanted);
  arguments.set_tid_size = 1;
  const auto child = static_cast<pid_t>(::syscall(SYS_clone3, &arguments, sizeof arguments));
  if (child == 0) {
    if (::chdir(found->cwd.c_str()) == 0) ::pause();
    ::_exit(1);
  }
  if (child < 0) GTEST_SKIP() << "No process can be given an id here (clone3(2)), so none reuses one.";
  EXPECT_EQ(child, wanted);
  EXPECT_EQ(before->ask(milliseconds(0)).step, Step::refused);
  EXPECT_EQ(before->kill(milliseconds(0)).step, Step::refused);
  EXPECT_EQ(held(*found, surroundings.processes)->kill(milliseconds(0)).step, Step::refused);
  EXPECT_EQ(::waitpid(child, nullptr, WNOHANG), 0);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
}
#endif

}  // namespace
}  // namespace tavrin::test
