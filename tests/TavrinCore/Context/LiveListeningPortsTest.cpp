#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "TavrinCore/Context/ListeningPorts.hpp"
#include "TavrinCore/Support/File.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

// The ports of a real process, as we find them and as lsof finds them.

namespace tavrin {
namespace {

namespace fs = std::filesystem;

ListeningPorts::Probes realProbes() {
  return {.contents = [](const std::string& path) { return File::contents(path).value_or(""); },
          .names =
              [](const std::string& directory) {
                std::vector<std::string> names;
                std::error_code error;
                for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
                     entry.increment(error)) {
                  names.push_back(entry->path().filename());
                }
                return names;
              },
          .linkTarget =
              [](const std::string& path) {
                std::error_code error;
                return fs::read_symlink(path, error).string();
              }};
}

// The lines of one process that start with "n".
std::set<std::string> socketsOf(const std::string& fields, pid_t pid) {
  std::set<std::string> sockets;
  std::istringstream lines(fields);
  bool isIt = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('p')) isIt = line == "p" + std::to_string(pid);
    if (isIt && line.starts_with('n')) sockets.insert(line.substr(1));
  }
  return sockets;
}

std::string lsofOutput(const test::Subprocess::Environment& environment) {
  return test::run({"/usr/bin/env", "lsof", "-nP", "-iTCP", "-sTCP:LISTEN", "-F", "pcn"}, "", environment)
      .output;
}

// Listens on one port of each address, takes a name, reports that it is ready and waits for the end of its
// input.
constexpr const char* script = R"(
import socket, sys
for family, address in ((2, '127.0.0.1'), (2, '0.0.0.0'), (10, '::1'), (10, '::'), (10, '::ffff:127.0.0.1')):
    listener = socket.socket(family)
    if family == 10: listener.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0)
    listener.bind((address, 0))
    listener.listen()
    sys.argv.append(listener)
open('/proc/self/comm', 'w').write(sys.argv[1])
print('ready', flush=True)
sys.stdin.read()
)";

class LiveListeningPorts : public testing::Test {
 protected:
  // Starts the script under a name. Returns false if there is no Python or no IPv6 here.
  bool start(const std::string& name) {
    test::writeFile(home_ / "listen.py", script);
    server_ = std::make_unique<test::Subprocess>(
        std::vector<std::string>{"/usr/bin/env", "python3", home_ / "listen.py", name}, environment_);
    return server_->readLine() == "ready";
  }

  test::ScratchDirectory home_;
  test::Subprocess::Environment environment_ = {{"PATH", "/usr/local/bin:/usr/bin:/bin:/usr/sbin"},
                                                {"HOME", home_.string()}};
  std::unique_ptr<test::Subprocess> server_;
};

TEST_F(LiveListeningPorts, AreTheOnesThatLsofLists) {
  ASSERT_TRUE(start("listener")) << "python3 and IPv6 are needed";
  const std::set<std::string> expected = socketsOf(lsofOutput(environment_), server_->pid());
  ASSERT_EQ(expected.size(), 5U) << "lsof is needed";
  const ListeningPorts::Listing listing = ListeningPorts::list(realProbes());
  EXPECT_EQ(socketsOf(listing.lsofFields, server_->pid()), expected);
  EXPECT_NE(listing.lsofFields.find("\nclistener\n"), std::string::npos) << listing.lsofFields;
}

TEST_F(LiveListeningPorts, IncludeThoseOfANameThatLsofPassesOver) {
  ASSERT_TRUE(start("next-server (v1")) << "python3 and IPv6 are needed";
  const ListeningPorts::Listing listing = ListeningPorts::list(realProbes());
  EXPECT_EQ(socketsOf(listing.lsofFields, server_->pid()).size(), 5U);
  EXPECT_NE(listing.lsofFields.find("\ncnext-server (v1\n"), std::string::npos) << listing.lsofFields;
}

}  // namespace
}  // namespace tavrin
