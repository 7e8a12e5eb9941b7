#include "TavrinCore/Context/ListeningPorts.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

namespace tavrin {
namespace {

using ListeningPorts::Listing;
using ListeningPorts::Socket;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string recorded(const std::string& name) {
  return test::readFile(test::dataDirectory() / "proc" / name);
}

// A line of /proc/net/tcp.
std::string line(const std::string& local, const std::string& inode, const std::string& state = "0A") {
  return "   0: " + local + " 00000000:0000 " + state +
         " 00000000:00000000 00:00000000 00000000  1000        0 " + inode + " 1 0000 100 0 0 10 0\n";
}

// A /proc of files, links and folders.
struct FakeProc {
  std::map<std::string, std::string> files;
  std::map<std::string, std::vector<std::string>> folders;
  std::map<std::string, std::string> links;

  ListeningPorts::Probes probes() const {
    const auto find = [](const auto& map, const std::string& key) {
      const auto found = map.find(key);
      return found == map.end() ? typename std::decay_t<decltype(map)>::mapped_type() : found->second;
    };
    return {.contents = [this, find](const std::string& path) { return find(files, path); },
            .names = [this, find](const std::string& path) { return find(folders, path); },
            .linkTarget = [this, find](const std::string& path) { return find(links, path); }};
  }

  void add(int pid, const std::string& name, const std::vector<std::string>& targets) {
    const std::string process = "/proc/" + std::to_string(pid);
    folders["/proc"].push_back(std::to_string(pid));
    files[process + "/comm"] = name + "\n";
    for (std::size_t i = 0; i < targets.size(); ++i) {
      folders[process + "/fd"].push_back(std::to_string(i));
      links[process + "/fd/" + std::to_string(i)] = targets[i];
    }
  }
};

TEST(ListeningPorts, ReadsTheListeningSocketsOfARecordedTable) {
  EXPECT_THAT(ListeningPorts::parse(recorded("net-tcp.txt")),
              ElementsAre(Socket{"127.0.0.1", 5173, 273462}, Socket{"127.0.0.53", 65535, 273464},
                          Socket{"*", 80, 273463}));
  EXPECT_THAT(
      ListeningPorts::parse(recorded("net-tcp6.txt")),
      ElementsAre(Socket{"127.0.0.1", 4000, 273467}, Socket{"[::1]", 3000, 273465}, Socket{"*", 8080, 273466},
                  Socket{"[fd00::1:2]", 5000, 273468}, Socket{"*", 4001, 273469}));
}

TEST(ListeningPorts, SkipsLinesOfAnyOtherForm) {
  EXPECT_THAT(ListeningPorts::parse(line("0100007F:0BB8", "7", "01")), IsEmpty());
  for (const char* local :
       {"", ":", "0100007F", "0100007F:", "0100007F:0000", "0100007F:10000", "0100007F:0BB8x", ":0BB8",
        "0100007:0BB8", "0100007F0:0BB8", "010000zF:0BB8", "0000000000000000FFFF0000010000zF:0BB8",
        "0000000000000000FFFF00000100007F0:0BB8"}) {
    EXPECT_THAT(ListeningPorts::parse(line(local, "7")), IsEmpty()) << local;
  }
  for (const char* inode : {"x", "-1", "1x", "18446744073709551616"}) {
    EXPECT_THAT(ListeningPorts::parse(line("0100007F:0BB8", inode)), IsEmpty()) << inode;
  }
  EXPECT_THAT(ListeningPorts::parse("\n\n0:\nsl local\n" + line("0100007F:0BB8", "18446744073709551615")),
              ElementsAre(Socket{"127.0.0.1", 3000, 18446744073709551615U}));
}

TEST(ListeningPorts, ReadsATableCutAtAnyLength) {
  const std::string table = recorded("net-tcp6.txt");
  const std::vector<Socket> whole = ListeningPorts::parse(table);
  for (std::size_t length = 0; length <= table.size(); ++length) {
    const std::vector<Socket> part = ListeningPorts::parse(std::string_view(table).substr(0, length));
    ASSERT_LE(part.size(), whole.size()) << length;
    for (std::size_t i = 0; i < part.size(); ++i) {
      EXPECT_EQ(part[i].address, whole[i].address) << length;
      EXPECT_EQ(part[i].port, whole[i].port) << length;
    }
  }
}

TEST(ListeningPorts, KnowsTheInodeOfASocketLink) {
  EXPECT_EQ(ListeningPorts::socketInode("socket:[24187]"), 24187U);
  for (const char* target : {"", "socket:[]", "socket:[24187", "socket:24187]", "pipe:[24187]",
                             "socket:[12x]", "socket:[", "/tmp/socket:[1]"}) {
    EXPECT_EQ(ListeningPorts::socketInode(target), std::nullopt) << target;
  }
}

TEST(ListeningPorts, JoinsSocketsAndProcesses) {
  FakeProc proc;
  proc.files["/proc/net/tcp"] = line("0100007F:0BB8", "7") + line("00000000:0050", "8");
  proc.files["/proc/net/tcp6"] = line("00000000000000000000000001000000:1F90", "9");
  proc.folders["/proc"] = {"self", "net", "12x"};
  proc.add(90, "next-server (v1", {"/dev/null", "socket:[9]", "socket:[7]", "socket:[9]"});
  proc.add(8, "idle", {"socket:[99]", "pipe:[7]"});
  proc.add(12, "worker", {"socket:[7]"});
  const Listing listing = ListeningPorts::list(proc.probes());
  EXPECT_EQ(listing.lsofFields,
            "p12\ncworker\nn127.0.0.1:3000\n"
            "p90\ncnext-server (v1\nn127.0.0.1:3000\nn[::1]:8080\n");
  EXPECT_THAT(listing.withoutProcess, ElementsAre(Socket{"*", 80, 8}));
}

TEST(ListeningPorts, PortsAreAscendingAndEachOnce) {
  const std::vector<Socket> sockets = {{"*", 631, 3}, {"127.0.0.1", 22, 1}, {"[::1]", 631, 2}, {"*", 22, 4}};
  EXPECT_THAT(ListeningPorts::portsOf(sockets), ElementsAre(22, 631));
  EXPECT_THAT(ListeningPorts::portsOf({}), ElementsAre());
}

TEST(ListeningPorts, WithoutTablesThereAreNoListeners) {
  FakeProc proc;
  proc.add(12, "worker", {"socket:[7]"});
  EXPECT_EQ(ListeningPorts::list(proc.probes()), Listing{});
}

// A process chooses its own name. A line feed in it must not look like the lines of another process.
TEST(ListeningPorts, ANameWithControlCharactersStaysOneLine) {
  FakeProc proc;
  proc.files["/proc/net/tcp"] = line("0100007F:0BB8", "7");
  proc.add(12, "a\np1\tb\x1b\xc3\xa9", {"socket:[7]"});
  EXPECT_EQ(ListeningPorts::list(proc.probes()).lsofFields, "p12\nca\\np1^Ib^[\xc3\xa9\nn127.0.0.1:3000\n");
  proc.files.erase("/proc/12/comm");
  EXPECT_EQ(ListeningPorts::list(proc.probes()).lsofFields, "p12\nc\nn127.0.0.1:3000\n");
}

}  // namespace
}  // namespace tavrin
