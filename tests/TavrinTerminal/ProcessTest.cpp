// The real executable, as a process.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/CommandTable.hpp"
#include "TavrinTerminal/Commands/Help.hpp"
#include "tests/TavrinTerminal/TestTerminal.hpp"
#include "tests/support/Restrictions.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;

class Tavrin : public testing::Test {
 protected:
  // A session of this very process.
  Session session(std::string id, SessionState state) const {
    Session made;
    made.sessionId = std::move(id);
    made.state = state;
    if (state == SessionState::needsYou) made.attentionId = "A";
    made.updatedAt = made.stateSince = Date(std::chrono::system_clock::now());
    made.cwd = home.string();
    made.repoRoot = "/work-of-somebody/shop";
    made.agentPid = ::getpid();
    return made;
  }
  void save(const Session& session) const {
    SessionFileStore(SessionFileStore::defaultDirectory(home.string())).save(session);
  }
  Subprocess::Environment environment() const {
    return {{"HOME", home.string()}, {"PATH", "/usr/bin:/bin"}, {"LANG", "C"}};
  }
  test::Outcome tavrin(std::vector<std::string> words) const {
    words.insert(words.begin(), TAVRIN_EXECUTABLE);
    return run(words, "", environment());
  }
  test::Outcome shell(const std::string& script) const {
    return run({"/bin/sh", "-c", script, TAVRIN_EXECUTABLE}, "", environment());
  }
  ScratchHome home;
};

TEST_F(Tavrin, ListsWithTheLocaleC) {
  // Hours and minutes stay the same for half a minute, however slowly the program starts.
  Session waiting = session("a", SessionState::needsYou);
  waiting.stateSince =
      Date(std::chrono::system_clock::now() - std::chrono::minutes(90) - std::chrono::seconds(30));
  save(waiting);
  EXPECT_EQ(tavrin({}), (test::Outcome{0, 0, "needs you\t1h 30m\tshop\tClaude\t\t\n", ""}));
  EXPECT_EQ(tavrin({"status"}), (test::Outcome{0, 0, "1 needs you\n", ""}));
}

TEST_F(Tavrin, WrongUsageHasStatus64) {
  EXPECT_EQ(
      tavrin({"frob"}),
      (test::Outcome{64, 0, "",
                     "tavrin: nothing was done. There is no command \"frob\". See \"tavrin help\".\n"}));
}

TEST_F(Tavrin, WaitsForEachStateThatCanBeNamed) {
  save(session("a", SessionState::needsYou));
  EXPECT_EQ(tavrin({"wait", "a", "--for", "needsYou"}), (test::Outcome{0, 0, "needsYou\n", ""}));
  EXPECT_EQ(tavrin({"wait", "a", "--for", "idle", "--timeout", "0"}).exitStatus, 3);
  save(session("a", SessionState::idle));
  EXPECT_EQ(tavrin({"wait", "a", "--for", "idle", "--timeout", "1m"}), (test::Outcome{0, 0, "idle\n", ""}));
  EXPECT_EQ(tavrin({"wait", "a", "--for", "needsYou", "--timeout", "0"}).exitStatus, 3);
  EXPECT_EQ(tavrin({"wait", "nobody", "--for", "gone"}), (test::Outcome{0, 0, "gone\n", ""}));
  EXPECT_EQ(tavrin({"wait", "--timeout", "soon"}),
            (test::Outcome{64, 0, "",
                           "tavrin: nothing was waited for. \"soon\" is not a time such as 30, 30s, 5m or "
                           "2h. See \"tavrin help wait\".\n"}));
}

TEST_F(Tavrin, AgentsAreNamedByWordsThatExistAndCountOnce) {
  for (const char* command : {"connect", "disconnect"}) {
    EXPECT_EQ(tavrin({command, "claude", "frob"}),
              (test::Outcome{64, 0, "",
                             "tavrin: nothing was changed. \"frob\" is not an agent. Name claude, codex, "
                             "gemini, copilot or grok.\n"}));
  }
  writeFile(home.path() / ".claude/settings.json",
            R"({"hooks":{"Stop":[{"hooks":[{"type":"command","command":"/x/Tavrin/bin/tavrin-hook"}]}]}})");
  const test::Outcome once = tavrin({"disconnect", "--dry-run", "claude"});
  EXPECT_THAT(once.output, HasSubstr("\n-"));
  EXPECT_EQ(tavrin({"disconnect", "--dry-run", "claude", "claude"}), once);
}

TEST_F(Tavrin, FocusTakesASessionOrNext) {
  const test::Outcome outcome = tavrin({"focus", "shop", "--next"});
  EXPECT_EQ(outcome.exitStatus, 64);
  EXPECT_EQ(outcome.error,
            "tavrin: nothing was brought to the front. Name a session or use --next, not both. See \"tavrin "
            "help focus\".\n");
}

TEST_F(Tavrin, CompletionsNeedAShell) {
  const test::Outcome outcome = tavrin({"completions"});
  EXPECT_EQ(outcome.exitStatus, 64);
  EXPECT_THAT(outcome.error, HasSubstr("Name a shell: bash, zsh or fish."));
}

TEST_F(Tavrin, NotifyBellRingsTheTerminalOfTheSession) {
  const FileDescriptor master(::posix_openpt(O_RDWR | O_NOCTTY));
  ASSERT_EQ(::grantpt(master.number()), 0);
  ASSERT_EQ(::unlockpt(master.number()), 0);
  const std::string tty = ::ptsname(master.number());
  // An agent in that terminal.
  std::array<int, 2> ready{};
  ASSERT_EQ(::pipe(ready.data()), 0);
  const FileDescriptor input(ready[0]);
  const FileDescriptor output(ready[1]);
  const pid_t agent = ::fork();
  if (agent == 0) {
    ::setsid();
    const int terminal = ::open(tty.c_str(), O_RDWR);  // becomes its controlling terminal
    if (terminal < 0 || ::write(output.number(), "r", 1) != 1) ::_exit(1);
    for (;;) ::pause();
  }
  char byte = 0;
  ASSERT_EQ(::read(input.number(), &byte, 1), 1);
  Session waiting = session("a", SessionState::working);
  waiting.tty = tty;
  waiting.agentPid = agent;
  save(waiting);
  Subprocess watching({TAVRIN_EXECUTABLE, "watch", "--notify=bell"}, environment());
  EXPECT_EQ(watching.readLine(), "shop, burning, Claude");
  waiting.state = SessionState::needsYou;
  waiting.attentionId = "A";
  save(waiting);
  EXPECT_EQ(watching.readLine(), "shop, needs you, Claude");
  ASSERT_EQ(File::read(master.number(), &byte, 1), 1);
  EXPECT_EQ(byte, '\a');
  ::kill(watching.pid(), SIGTERM);
  EXPECT_EQ(watching.wait().signal, SIGTERM);
  ::kill(agent, SIGKILL);
  ::waitpid(agent, nullptr, 0);
}

TEST_F(Tavrin, AUserWithoutAHomeReadsASentenceWithStatus1) {
  for (const char* command : {"list", "status", "watch", "wait"}) {
    const test::Outcome outcome = run({TAVRIN_EXECUTABLE, command}, "", {{"HOME", "/does/not/exist"}});
    EXPECT_EQ(outcome.exitStatus, 1) << command;
    EXPECT_THAT(outcome.error, HasSubstr("Set HOME")) << command;
    EXPECT_EQ(outcome.output, "");
  }
  EXPECT_EQ(run({TAVRIN_EXECUTABLE, "help"}, "", {{"HOME", "/does/not/exist"}}).output, Help::overview());
}

// sudo may leave HOME as it was. What root writes there, its owner cannot change any more.
TEST_F(Tavrin, RootWritesNothingIntoAnotherUsersHomeAndStillLooks) {
  if (::geteuid() != 0) GTEST_SKIP() << "left out: only root can run with another user's home";
  constexpr uid_t nobody = 65'534;
  std::filesystem::create_directory(home / ".claude");
  save(session("a", SessionState::needsYou));
  ASSERT_EQ(::chown(home.path().c_str(), nobody, nobody), 0);
  const test::Outcome refused = tavrin({"connect", "--yes", "claude"});
  EXPECT_EQ(refused.exitStatus, 1);
  EXPECT_THAT(refused.error, HasSubstr(home.string() + " belongs to another user"));
  EXPECT_TRUE(std::filesystem::is_empty(home / ".claude"));
  EXPECT_EQ(tavrin({"status"}).output, "1 needs you\n");
}

TEST_F(Tavrin, HelpMatchesTheTableWordForWord) {
  EXPECT_EQ(tavrin({"--help"}).output, Help::overview());
  EXPECT_EQ(tavrin({"--version"}).output, Help::version());
  for (const CommandTable::CommandDescription& command : CommandTable::commands()) {
    const std::string name(command.name);
    EXPECT_EQ(tavrin({name, "--help"}).output, Help::ofCommand(command));
    EXPECT_EQ(tavrin({"help", name}).output, Help::ofCommand(command));
  }
}

TEST_F(Tavrin, TheManualPageIsTheOneInTheDocuments) {
  EXPECT_EQ(tavrin({"help", "--man"}).output, readFile(TAVRIN_MANUAL))
      << "docs/man/tavrin.1 is made by: tavrin help --man";
}

TEST_F(Tavrin, AClosedPipeIsANormalEnd) {
  save(session("a", SessionState::idle));
  save(session("b", SessionState::idle));
  EXPECT_EQ(shell("{ \"$0\" watch; echo status $? >&2; } | head -1").error, "status 0\n");
  EXPECT_EQ(shell("{ \"$0\" watch --json; echo status $? >&2; } | head -1").error, "status 0\n");
  EXPECT_EQ(shell("{ \"$0\" status --follow; echo status $? >&2; } | head -1").error, "status 0\n");
  for (const char* command : {"list", "list --json", "servers", "help", "completions bash", "--version"}) {
    EXPECT_EQ(shell("{ \"$0\" " + std::string(command) + " 2>/dev/null; echo status $? >&2; } | :").error,
              "status 0\n")
        << command;
  }
}

TEST_F(Tavrin, AFullDiskAndAClosedOutputAreErrors) {
  save(session("a", SessionState::idle));
  for (const char* command :
       {"list", "list --json", "status", "help", "completions bash", "status --follow", "watch"}) {
    const test::Outcome full = shell("\"$0\" " + std::string(command) + " >/dev/full");
    EXPECT_EQ(full.exitStatus, 1) << command;
    EXPECT_EQ(full.error, "tavrin: the output is not complete: No space left on device.\n") << command;
  }
  for (const char* command : {"list", "status", "watch"}) {
    const test::Outcome closed = shell("\"$0\" " + std::string(command) + " >&-");
    EXPECT_EQ(closed.exitStatus, 1) << command;
    EXPECT_EQ(closed.error, "tavrin: the output is not complete: Bad file descriptor.\n") << command;
  }
  EXPECT_EQ(shell("\"$0\" list <&- 2>&- | cat").output, shell("\"$0\" list | cat").output);
}

TEST_F(Tavrin, FollowingEndsWithItsReaderWhileNothingHappens) {
  // The reader is gone before there is a second line to print.
  EXPECT_EQ(
      shell("mkfifo \"$HOME/f\"; \"$0\" status --follow >\"$HOME/f\" & exec 3<\"$HOME/f\"; read -r line <&3; "
            "exec 3<&-; wait $!; echo \"$line\" $?"),
      (test::Outcome{0, 0, "No Claude Code sessions 0\n", ""}));
}

TEST_F(Tavrin, FollowingPrintsEachChangeOnce) {
  Subprocess following({TAVRIN_EXECUTABLE, "status", "--follow"}, environment());
  EXPECT_EQ(following.readLine(), "No Claude Code sessions");
  save(session("a", SessionState::working));
  EXPECT_EQ(following.readLine(), "1 burning");
  save(session("a", SessionState::working));  // no change of the text
  save(session("b", SessionState::needsYou));
  EXPECT_EQ(following.readLine(), "1 burning \u00b7 1 needs you");
  ::kill(following.pid(), SIGTERM);
  EXPECT_EQ(following.wait(), (test::Outcome{-1, SIGTERM, "", ""}));
}

TEST_F(Tavrin, WatchEndsByTheSignalThatItGot) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    save(session("a", SessionState::working));
    Subprocess watching({TAVRIN_EXECUTABLE, "watch"}, environment());
    EXPECT_EQ(watching.readLine(), "shop, burning, Claude");
    ::kill(watching.pid(), signal);
    EXPECT_EQ(watching.wait().signal, signal);
  }
}

TEST_F(Tavrin, WatchSeesTheEndOfAnAgentThatNoHookReports) {
  const pid_t agent = ::fork();
  if (agent == 0) {
    ::pause();
    ::_exit(0);
  }
  Session dying = session("a", SessionState::working);
  dying.agentPid = agent;
  save(dying);
  Subprocess watching({TAVRIN_EXECUTABLE, "watch"}, environment());
  EXPECT_EQ(watching.readLine(), "shop, burning, Claude");
  ::kill(agent, SIGKILL);
  ::waitpid(agent, nullptr, 0);
  EXPECT_EQ(watching.readLine(), "shop, gone, Claude");
}

TEST_F(Tavrin, TheFlagsOfSharedDescriptorsStay) {
  save(session("a", SessionState::working));
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  const int before = ::fcntl(ends[1], F_GETFL);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    ::setenv("HOME", home.string().c_str(), 1);
    ::execl(TAVRIN_EXECUTABLE, "tavrin", "watch", nullptr);
    ::_exit(127);
  }
  char first = 0;
  ASSERT_EQ(::read(ends[0], &first, 1), 1);
  EXPECT_EQ(::fcntl(ends[1], F_GETFL), before);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(Tavrin, LooksAtAReadOnlyHome) {
  save(session("a", SessionState::idle));
  std::filesystem::permissions(home.path(), std::filesystem::perms(0755));
  const ReadOnly sessions(home.sessions());
  EXPECT_EQ(tavrin({"status"}).output, "1 idle\n");
}

TEST_F(Tavrin, SessionsThatMayNotBeReadAreNotCalledMissing) {
  save(session("a", SessionState::idle));
  constexpr uid_t nobody = 65'534;
  const std::string record = home.sessions() / "a.json";
  const std::string folder = home.sessions();
  std::filesystem::permissions(home.path(), std::filesystem::perms(0755));
  // The superuser may read everything, so it becomes another user, who owns the folder.
  if (::geteuid() == 0) {
    for (const std::string& path : {record, folder}) ASSERT_EQ(::chown(path.c_str(), nobody, nobody), 0);
  }
  std::filesystem::create_directory(home / "other");
  const ReadOnly other(home / "other");
  std::filesystem::permissions(record, std::filesystem::perms(0));
  EXPECT_THAT(tavrin({"doctor"}).output,
              HasSubstr("you may not read this file, so its session is not shown\n"
                        "  where: ~/Library/Application Support/Tavrin/sessions/a.json\n"
                        "  fix: chmod u+rw '" +
                        record + "'\n"));
  std::filesystem::permissions(folder, std::filesystem::perms(0));
  for (const char* command : {"list", "status", "watch", "wait", "focus"}) {
    const test::Outcome refused = tavrin({command});
    EXPECT_EQ(refused.exitStatus, 1) << command;
    EXPECT_EQ(refused.output, "") << command;
    EXPECT_THAT(refused.error,
                HasSubstr(", because you may not read " + folder + ". Run \"tavrin doctor\".\n"));
  }
  EXPECT_THAT(tavrin({"doctor"}).output, HasSubstr("fix: chmod u+rwx '" + folder + "'\n"));
  std::filesystem::permissions(folder, std::filesystem::perms(0700));
}

TEST_F(Tavrin, ListsTenThousandSessions) {
  const ScratchHome large(directoryInMemory());
  const SessionFileStore store(SessionFileStore::defaultDirectory(large.string()));
  for (int i = 0; i < 10'000; ++i) store.save(session("s" + std::to_string(i), SessionState::idle));
  const Subprocess::Environment environment = {{"HOME", large.string()}};
  EXPECT_EQ(run({TAVRIN_EXECUTABLE, "status"}, "", environment).output, "10000 idle\n");
  const std::string listed = run({TAVRIN_EXECUTABLE, "list"}, "", environment).output;
  EXPECT_EQ(std::ranges::count(listed, '\n'), 10'000);
}

TEST_F(Tavrin, TmuxShowsTheStatus) {
  const std::string tmux = "/usr/bin/tmux";
  if (!std::filesystem::exists(tmux))
    GTEST_SKIP() << "tmux is not installed, so its status line is not tried.";
  save(session("a", SessionState::needsYou));
  // A pane of an outer tmux shows the status line of an inner one. The test waits until it appears there.
  const std::string script =
      "t() { '" + tmux +
      "' -S \"$HOME/outer\" -f /dev/null \"$@\"; }\n"
      "i() { '" +
      tmux +
      "' -S \"$HOME/inner\" -f /dev/null \"$@\"; }\n"
      "trap 'i kill-server; t kill-server' EXIT\n"
      "export TERM=screen LC_ALL=C.UTF-8\n"
      "i new-session -d -x 80 -y 5 'cat'\n"
      "i set -g status-right-length 80\ni set -g status-interval 1\n"
      "i set -g status-right \"#('$0' status --format tmux --follow)\"\n"
      "t new-session -d -x 80 -y 6 \"env -u TMUX '" +
      tmux +
      "' -S '$HOME/inner' attach\"\n"
      "until t capture-pane -p -e -t 0 | tail -1 | grep 'needs you' || ! t has-session; do sleep 0.1; done\n";
  const test::Outcome outcome = shell(script);
  EXPECT_THAT(outcome.output, HasSubstr("1 needs you"));
  EXPECT_THAT(outcome.output, testing::Not(HasSubstr("#[")));
  EXPECT_THAT(outcome.output, HasSubstr("\033[33m")) << "yellow is a style, not text";
}

}  // namespace
}  // namespace tavrin::test
