// The real executable connects Codex, whose app server misbehaves.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>

#include "TavrinCore/Support/File.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// A home with Codex, and tavrin with a hook beside it.
class CodexHome : public ScratchHome {
 public:
  explicit CodexHome(const std::string& mode) {
    std::filesystem::create_directories(path() / ".codex");
    std::filesystem::create_directories(path() / "Tavrin/bin");
    ::mkfifo((path() / "server").c_str(), 0600);
    server_ = FileDescriptor::open((path() / "server").string(), O_RDONLY | O_NONBLOCK);
    program("bin/codex",
            "if [ \"$1\" = --version ]; then echo codex-cli 0.169.0; exit; fi\n"
            "exec 3> '" +
                (path() / "server").string() +
                "'\n"
                "exec python3 '" TAVRIN_STAND_INS "/codex-app-server.py' '" +
                mode + "' '" + (dataDirectory() / "rpc").string() + "' '" + (path() / "codex-log").string() +
                "' \"$@\"");
    // tavrin takes the hook that is found from its own real path.
    std::filesystem::copy_file(TAVRIN_EXECUTABLE, path() / "Tavrin/bin/tavrin");
    program("Tavrin/bin/tavrin-hook", "exit 0");
  }
  std::vector<std::string> words(const std::string& command) const {
    return {(path() / "Tavrin/bin/tavrin").string(), command, "codex", "--yes"};
  }
  Subprocess::Environment environment() const {
    return {{"HOME", string()}, {"PATH", (path() / "bin").string() + ":/usr/bin:/bin"}};
  }
  /// Waits until no server of Codex is left that was started here.
  void waitForServersEnd() const {
    pollfd end = {.fd = server_.number(), .events = POLLIN, .revents = 0};
    while ((end.revents & POLLHUP) == 0) ::poll(&end, 1, -1);
  }

 private:
  void program(const std::string& place, const std::string& script) const {
    writeFile(path() / place, "#!/bin/sh\n" + script + "\n");
    ::chmod((path() / place).c_str(), 0755);
  }

  FileDescriptor server_;  // the reading end of a named pipe, which a server holds open
};

constexpr std::string_view trustScreen =
    " The hooks are written, but Codex does not run them until it trusts them. Start Codex and trust them on its "
    "screen \"Hooks need review\", or run \"tavrin connect codex\" again.\n";

TEST(ConnectProcess, EachTroubleOfCodexHasItsOwnSentence) {
  const std::vector<std::pair<std::string, std::string>> modes = {
      {"never answers", "Codex’s app server did not answer in time."},
      {"dies at once", "Codex’s app server ended before it had answered: �[31mno config�[0m."},
      {"dies within an answer", "Codex’s app server ended before it had answered."},
      {"garbles", "Codex’s app server answered with something that is not an answer."},
      {"floods", "Codex’s app server answered with something that is not an answer."},
      {"refuses 1", "Codex’s app server answered with an error: Not �initialized�."},
      {"refuses 3", "Codex’s app server answered with an error: Not �initialized�."},
  };
  // All homes are made before the first process, which might inherit a program that is open for writing.
  std::vector<std::unique_ptr<CodexHome>> homes;
  for (const auto& [mode, sentence] : modes) homes.push_back(std::make_unique<CodexHome>(mode));
  std::vector<std::unique_ptr<Subprocess>> runs;
  for (const auto& home : homes)
    runs.push_back(std::make_unique<Subprocess>(home->words("connect"), home->environment()));
  for (std::size_t i = 0; i < modes.size(); ++i) {
    SCOPED_TRACE(modes[i].first);
    const Outcome outcome = runs[i]->wait();
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.output, "Codex: connected through ~/.codex/hooks.json, but not active\n");
    EXPECT_EQ(outcome.error, "tavrin: " + modes[i].second + std::string(trustScreen));
    EXPECT_THAT(readFile(homes[i]->path() / ".codex/hooks.json"), HasSubstr("/Tavrin/bin/tavrin-hook"));
    homes[i]->waitForServersEnd();
  }
}

TEST(ConnectProcess, AnInterruptEndsTheConversationAndTheServer) {
  const CodexHome home("never answers");
  Subprocess connect(home.words("connect"), home.environment());
  while (!std::filesystem::exists(home.path() / "codex-log")) ::usleep(1000);
  ASSERT_EQ(0, ::kill(connect.pid(), SIGTERM));
  const Outcome outcome = connect.wait();
  EXPECT_EQ(outcome.signal, SIGTERM);
  EXPECT_EQ(outcome.output, "Codex: connected through ~/.codex/hooks.json, but not active\n");
  EXPECT_THAT(outcome.error, StartsWith("tavrin: You interrupted the conversation with Codex’s app server."));
  home.waitForServersEnd();
}

TEST(ConnectProcess, TheServerEndsWithAConnectThatIsKilled) {
  const CodexHome home("never answers");
  Subprocess connect(home.words("connect"), home.environment());
  while (!std::filesystem::exists(home.path() / "codex-log")) ::usleep(1000);
  ASSERT_EQ(0, ::kill(connect.pid(), SIGKILL));
  EXPECT_EQ(connect.wait().signal, SIGKILL);
  EXPECT_THAT(readFile(home.path() / ".codex/hooks.json"), HasSubstr("/Tavrin/bin/tavrin-hook"));
  home.waitForServersEnd();
}

}  // namespace
}  // namespace tavrin::test
