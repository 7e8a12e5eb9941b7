#include "TavrinCore/Servers/PortScan.hpp"
#include "tests/support/Random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <tuple>

namespace tavrin {
namespace {

using PortScan::Listener;
using PortScan::ProcessListener;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

Listener listener(std::int32_t pid, int port, std::string host, std::string command = "node") {
  return {.pid = pid, .command = std::move(command), .port = port, .host = std::move(host)};
}

TEST(PortScan, AProcessItsCommandAndItsSocketMakeAListener) {
  EXPECT_THAT(PortScan::parse("p123\ncnode\nn*:3000\n"), ElementsAre(listener(123, 3000, "localhost")));
  EXPECT_THAT(PortScan::parse("p123\ncnode\nn*:3000"), ElementsAre(listener(123, 3000, "localhost")));
}

TEST(PortScan, AnEmptyOutputHasNoListeners) {
  for (const char* text : {"", "\n", "\n\n\n", "p", "n", "c", "x"}) {
    EXPECT_THAT(PortScan::parse(text), IsEmpty()) << text;
  }
}

TEST(PortScan, HostsLoseTheirBracketsAndWildcardsAreThisMachine) {
  const struct {
    const char* name;
    const char* host;
    int port;
  } cases[] = {
      {"[::1]:8080", "::1", 8080},
      {"[::]:8080", "localhost", 8080},
      {"0.0.0.0:80", "localhost", 80},
      {"*:1", "localhost", 1},
      {":::8080", "localhost", 8080},
      {"[*]:8080", "localhost", 8080},
      {"127.0.0.1:5173", "127.0.0.1", 5173},
      {"::1:8080", "::1", 8080},
      {"[fe80::1%en0]:65535", "fe80::1%en0", 65535},
      {"192.168.1.5:3000", "192.168.1.5", 3000},
      {"]]a[b[[:9", "a[b", 9},
      {"[::0]:9", "::0", 9},
      {"localhost:0080", "localhost", 80},
      {"localhost:+80", "localhost", 80},
      {"localhost:00000000000000000080", "localhost", 80},
      {"localhost:+00080", "localhost", 80},
  };
  for (const auto& [name, host, port] : cases) {
    EXPECT_THAT(PortScan::parse("p7\ncx\nn" + std::string(name)), ElementsAre(listener(7, port, host, "x")))
        << name;
  }
}

TEST(PortScan, NamesWithoutAPortOrAHostAreLeftOut) {
  for (const char* name : {"",
                           "*",
                           "*:",
                           "*:0",
                           "*:65536",
                           "*:http",
                           "*:80a",
                           "*:00000",
                           "*:99999",
                           "*:000000",
                           "*:++80",
                           "*:+-80",
                           "*: 80",
                           "*:80 ",
                           "*:-1",
                           "*:1.0",
                           "*:0x50",
                           ":80",
                           "[]:80",
                           "[[]]:80",
                           "127.0.0.1",
                           "*:99999999999999999999",
                           "*:4294967376",
                           "*:18446744073709551696",
                           "*:80\r",
                           "a:80->b",
                           "*:\xd9\xa1"}) {
    EXPECT_THAT(PortScan::parse("p7\ncx\nn" + std::string(name) + "\nn*:3000"),
                ElementsAre(listener(7, 3000, "localhost", "x")))
        << name;
  }
}

TEST(PortScan, SocketsOfNoProcessAreLeftOut) {
  for (const char* start : {"", "cnode\n", "p\n", "p0\n", "p-1\n", "pabc\n", "p12x\n", "p 12\n",
                            "p2147483648\n", "p99999999999999999999999\n", "p5\np\n", "p5\npx\n"}) {
    EXPECT_THAT(PortScan::parse(std::string(start) + "n*:3000\np9\nn*:1"),
                ElementsAre(listener(9, 1, "localhost", "")))
        << start;
  }
}

TEST(PortScan, ProcessIdsMayCarryASign) {
  EXPECT_THAT(PortScan::parse("p+12\nn*:1\np2147483647\nn*:2\np0007\nn*:3"),
              ElementsAre(listener(12, 1, "localhost", ""), listener(2147483647, 2, "localhost", ""),
                          listener(7, 3, "localhost", "")));
}

TEST(PortScan, ACommandIsThatOfItsProcessOnly) {
  EXPECT_THAT(PortScan::parse("p1\ncfirst\nn*:1\np2\nn*:2\ncsecond\nn*:3\nc\nn*:4"),
              ElementsAre(listener(1, 1, "localhost", "first"), listener(2, 2, "localhost", ""),
                          listener(2, 3, "localhost", "second"), listener(2, 4, "localhost", "")));
}

TEST(PortScan, OtherFieldsAreIgnored) {
  EXPECT_THAT(PortScan::parse(
                  "p5\ng5\nR1\ncnode\nu501\nLdev\nf21\nau\nl \ntIPv6\nG0x2;0x0\nd0xabc\no0t0\nPTCP\nn*:3000\n"
                  "TST=LISTEN\nTQR=0\nP99\nN*:1\n"),
              ElementsAre(listener(5, 3000, "localhost")));
}

TEST(PortScan, TakesAnyBytes) {
  const std::string command(1'000'000, 'x');
  const std::string host(1'000'000, '[');
  std::string text = "p5\nc" + command + "\nn*:1\nn" + host + ":2\nn" + host + "h:3\nn\xff\xfe:4\nn";
  text += std::string(1'000'000, ':') + "5\n";
  text += std::string("n\0:6\n\0\nn*:7\0\n", 13);
  const std::vector<Listener> listeners = PortScan::parse(text);
  EXPECT_THAT(listeners, ElementsAre(listener(5, 1, "localhost", command), listener(5, 3, "h", command),
                                     listener(5, 4, "\xff\xfe", command),
                                     listener(5, 5, std::string(999'999, ':'), command),
                                     listener(5, 6, std::string("\0", 1), command)));
}

TEST(PortScan, OneEndpointRemainsForEachProcessAndPort) {
  EXPECT_THAT(PortScan::dedupe({listener(1, 3000, "localhost"), listener(1, 3000, "127.0.0.1")}),
              ElementsAre(listener(1, 3000, "127.0.0.1")));
  EXPECT_THAT(PortScan::dedupe({listener(1, 3000, "localhost"), listener(2, 3000, "localhost")}),
              ElementsAre(listener(1, 3000, "localhost"), listener(2, 3000, "localhost")));
  // "1:23" is not "12:3".
  EXPECT_EQ(PortScan::dedupe({listener(1, 23, "::1"), listener(12, 3, "::1")}).size(), 2U);
  EXPECT_THAT(PortScan::dedupe({}), IsEmpty());
}

TEST(PortScan, EndpointsComeSortedByHostAndThenAsTheyCame) {
  EXPECT_THAT(
      PortScan::dedupe({listener(1, 1, "b"), listener(2, 2, "localhost"), listener(3, 3, "a"),
                        listener(4, 4, "::1"), listener(5, 5, "127.0.0.1"), listener(6, 6, "B"),
                        listener(7, 7, "a"), listener(8, 8, "127.0.0.1"), listener(9, 9, "10.0.0.1")}),
      ElementsAre(listener(5, 5, "127.0.0.1"), listener(8, 8, "127.0.0.1"), listener(4, 4, "::1"),
                  listener(2, 2, "localhost"), listener(9, 9, "10.0.0.1"), listener(6, 6, "B"),
                  listener(3, 3, "a"), listener(7, 7, "a"), listener(1, 1, "b")));
}

TEST(PortScan, AProcessHasEachOfItsPortsOnceAscending) {
  EXPECT_THAT(PortScan::byProcess(
                  {listener(1, 5173, "::1"), listener(1, 3000, "::1"), listener(1, 5173, "127.0.0.1")}),
              ElementsAre(ProcessListener{.pid = 1, .command = "node", .ports = {3000, 5173}}));
}

TEST(PortScan, ProcessesComeInTheOrderInWhichTheyWereFirstSeen) {
  EXPECT_THAT(PortScan::byProcess(
                  {listener(9, 2, "::1", "first"), listener(3, 1, "::1"), listener(9, 1, "::1", "second")}),
              ElementsAre(ProcessListener{.pid = 9, .command = "first", .ports = {1, 2}},
                          ProcessListener{.pid = 3, .command = "node", .ports = {1}}));
}

TEST(PortScan, EndpointsOutOfRangeMakeNoProcess) {
  EXPECT_THAT(
      PortScan::byProcess({listener(0, 80, "::1"), listener(-4, 80, "::1"), listener(5, 0, "::1", "no"),
                           listener(5, 65536, "::1"), listener(5, -80, "::1"), listener(5, 65535, "::1")}),
      ElementsAre(ProcessListener{.pid = 5, .command = "node", .ports = {65535}}));
}

TEST(PortScan, AProcessMayHaveAHundredThousandEndpoints) {
  std::string text = "p5\ncnode\n";
  for (int i = 0; i < 100'000; ++i) text += "n127.0.0.1:" + std::to_string(1 + i % 65535) + "\n";
  const std::vector<Listener> listeners = PortScan::parse(text);
  EXPECT_EQ(listeners.size(), 100'000U);
  const std::vector<ProcessListener> processes = PortScan::byProcess(PortScan::dedupe(listeners));
  ASSERT_EQ(processes.size(), 1U);
  EXPECT_EQ(processes[0].ports.size(), 65535U);
  EXPECT_EQ(processes[0].ports.front(), 1);
  EXPECT_EQ(processes[0].ports.back(), 65535);
}

// For any input, no process loses a port that it listens on, and no port is made up.
TEST(PortScan, NoEndpointIsLostOnGeneratedInput) {
  test::Random random(test::randomSeed());
  const std::vector<std::string> hosts = {"127.0.0.1", "::1", "localhost", "10.0.0.1", "fe80::1"};
  std::size_t endpoints = 0;
  for (int round = 0; round < 500; ++round) {
    std::vector<Listener> listeners;
    for (std::size_t i = random.below(60); i > 0; --i) {
      listeners.push_back(listener(static_cast<std::int32_t>(1 + random.below(6)),
                                   static_cast<int>(1 + random.below(9)),
                                   hosts[random.any<std::uint64_t>() % hosts.size()]));
    }
    std::set<std::pair<std::int32_t, int>> before;
    for (const Listener& each : listeners) before.insert({each.pid, each.port});

    const std::vector<Listener> deduped = PortScan::dedupe(listeners);
    std::set<std::pair<std::int32_t, int>> after;
    for (const Listener& each : deduped) {
      EXPECT_TRUE(after.insert({each.pid, each.port}).second) << "twice in round " << round;
      EXPECT_NE(std::ranges::find(listeners, each), listeners.end()) << "made up in round " << round;
    }
    EXPECT_EQ(after, before) << "round " << round;
    EXPECT_EQ(PortScan::dedupe(deduped), deduped) << "round " << round;

    std::set<std::pair<std::int32_t, int>> grouped;
    for (const ProcessListener& process : PortScan::byProcess(listeners)) {
      EXPECT_TRUE(std::ranges::is_sorted(process.ports)) << "round " << round;
      for (const int port : process.ports) EXPECT_TRUE(grouped.insert({process.pid, port}).second);
    }
    EXPECT_EQ(grouped, before) << "round " << round;
    endpoints += before.size();
  }
  EXPECT_GT(endpoints, 5'000U);
}

std::size_t rankOf(const std::string& host) {
  const std::vector<std::string> preferred = {"127.0.0.1", "::1", "localhost"};
  return static_cast<std::size_t>(std::ranges::find(preferred, host) - preferred.begin());
}

std::vector<Listener> dedupedPlainly(std::vector<Listener> listeners) {
  std::ranges::stable_sort(listeners, {},
                           [](const Listener& each) { return std::pair(rankOf(each.host), each.host); });
  std::set<std::pair<std::int32_t, int>> seen;
  std::erase_if(listeners, [&](const Listener& each) { return !seen.insert({each.pid, each.port}).second; });
  return listeners;
}

std::vector<ProcessListener> groupedPlainly(const std::vector<Listener>& listeners) {
  std::vector<ProcessListener> processes;
  for (const Listener& each : listeners) {
    if (each.pid < 1 || each.port < 1 || each.port > 65535) continue;
    auto process = std::ranges::find(processes, each.pid, &ProcessListener::pid);
    if (process == processes.end()) {
      process = processes.insert(process, {.pid = each.pid, .command = each.command, .ports = {}});
    }
    if (process->ports.empty() || each.port < std::ranges::min(process->ports)) process->host = each.host;
    if (std::ranges::find(process->ports, each.port) == process->ports.end()) {
      process->ports.push_back(each.port);
    }
  }
  for (ProcessListener& process : processes) std::ranges::sort(process.ports);
  return processes;
}

// Processes in the order of their ids, as lsof prints them, or in any order.
TEST(PortScan, EveryResultIsTheOneThatPlainRulesGive) {
  test::Random random(test::randomSeed());
  const std::vector<std::string> hosts = {"10.0.0.9",  "127.0.0.1", "::1", "localhost",
                                          "10.0.0.10", "fe80::1",   "b",   "a"};
  const std::vector<int> oddPorts = {0, -1, 65535, 65536};
  for (int round = 0; round < 1'000; ++round) {
    const std::size_t hostsInUse = 1 + random.below(hosts.size());
    std::vector<Listener> listeners;
    for (std::size_t i = random.below(80); i > 0; --i) {
      const int port = random.below(10) == 0 ? random.of(oddPorts) : static_cast<int>(3000 + random.below(6));
      listeners.push_back(listener(static_cast<std::int32_t>(random.below(8)) - 1, port,
                                   hosts[random.below(hostsInUse)], "c" + std::to_string(i)));
    }
    if (random.flip()) std::ranges::stable_sort(listeners, {}, &Listener::pid);
    EXPECT_EQ(PortScan::dedupe(listeners), dedupedPlainly(listeners)) << "round " << round;
    const std::vector<ProcessListener> processes = PortScan::byProcess(listeners);
    const std::vector<ProcessListener> expected = groupedPlainly(listeners);
    EXPECT_EQ(processes, expected) << "round " << round;
    for (std::size_t i = 0; i < std::min(processes.size(), expected.size()); ++i) {
      EXPECT_EQ(processes[i].host, expected[i].host) << "round " << round << ", process " << i;
    }
  }
}

TEST(PortScan, ProcessesAreEqualWhateverTheirHost) {
  const PortScan::ProcessListener one{.pid = 7, .command = "node", .ports = {3000}, .host = "::1"};
  EXPECT_EQ(one,
            (PortScan::ProcessListener{.pid = 7, .command = "node", .ports = {3000}, .host = "127.0.0.1"}));
  EXPECT_NE(one, (PortScan::ProcessListener{.pid = 8, .command = "node", .ports = {3000}, .host = "::1"}));
  EXPECT_NE(one, (PortScan::ProcessListener{.pid = 7, .command = "nginx", .ports = {3000}, .host = "::1"}));
  EXPECT_NE(one, (PortScan::ProcessListener{.pid = 7, .command = "node", .ports = {3001}, .host = "::1"}));
}

TEST(PortScan, OfManyHostsTheOrderIsTheSame) {
  // The last of these is listed first, and every process and port once.
  std::vector<PortScan::Listener> listeners;
  for (const char* host :
       {"10.0.0.9", "10.0.0.8", "10.0.0.7", "10.0.0.6", "10.0.0.5", "10.0.0.4", "127.0.0.1"})
    for (const int port : {3000, 4000})
      listeners.push_back({.pid = 7, .command = "a", .port = port, .host = host});
  for (const char* host : {"10.0.0.4", "10.0.0.9", "10.0.0.5", "10.0.0.8"})
    listeners.push_back({.pid = 8, .command = "b", .port = 3000, .host = host});
  std::vector<std::string> found;
  for (const PortScan::Listener& listener : PortScan::dedupe(listeners))
    found.push_back(std::to_string(listener.pid) + " " + listener.host + " " + std::to_string(listener.port));
  EXPECT_EQ(found, (std::vector<std::string>{"7 127.0.0.1 3000", "7 127.0.0.1 4000", "8 10.0.0.4 3000"}));
}

}  // namespace
}  // namespace tavrin
