#include "TavrinTerminal/Commands/Completions.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TavrinTerminal/CommandTable.hpp"
#include "tests/TavrinTerminal/TestTerminal.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(CompletionScripts, NameEveryCommandAndOption) {
  for (const char* shell : {"bash", "zsh", "fish"}) {
    const std::string script = Completions::script(shell).output;
    for (const CommandTable::CommandDescription& command : CommandTable::commands()) {
      EXPECT_THAT(script, HasSubstr(std::string(command.name))) << shell;
      for (const CommandTable::OptionDescription& option : command.options)
        EXPECT_THAT(script, HasSubstr(std::string(option.name.substr(2)))) << shell;
    }
  }
}

class CompletionWords : public testing::Test, public TestTerminal {};

TEST_F(CompletionWords, AreTheSessionsTheServersAndTheAgents) {
  save(session("a", SessionState::working));
  listeners = {{.pid = 201, .command = "node", .port = 3000, .host = "localhost"}};
  EXPECT_EQ(Completions::words("sessions", surroundings).output, "a\tshop, burning\n");
  EXPECT_EQ(Completions::words("servers", surroundings).output, "3000\tnode\n");
  EXPECT_EQ(Completions::words("agents", surroundings).output,
            "claude\tClaude\ncodex\tCodex\ngemini\tGemini\ncopilot\tCopilot\ngrok\tGrok\n");
}

TEST_F(CompletionWords, ThatAShellCouldNotInsertAreLeftOut) {
  for (const char* id : {"$(reboot)", "a b", "-x", "a;b", "a'b", "a\tb", "é"}) {
    Session hostile = session(id, SessionState::idle);
    save(hostile);
  }
  EXPECT_EQ(Completions::words("sessions", surroundings).output, "");
}

TEST_F(CompletionWords, AFailureHasNoWordsAndNoSentence) {
  surroundings.home = "";
  const tavrin::Outcome outcome = Completions::words("sessions", surroundings);
  EXPECT_EQ(outcome.output + outcome.error, "");
  EXPECT_EQ(outcome.status, ExitStatus::failed);
}

// The words to which a real shell completes `line`, with the real tavrin in a home with one session of this
// very process.
class CompletionShells : public testing::Test {
 protected:
  CompletionShells() {
    Session session;
    session.sessionId = "sess-1234";
    session.updatedAt = session.stateSince = Date(std::chrono::system_clock::now());
    session.cwd = home.string();
    session.agentPid = ::getpid();
    SessionFileStore(SessionFileStore::defaultDirectory(home.string())).save(session);
  }
  static std::string program(const char* name) {
    for (const char* folder : {"/usr/bin/", "/bin/", "/opt/homebrew/bin/", "/usr/local/bin/"}) {
      if (std::filesystem::exists(std::string(folder) + name)) return std::string(folder) + name;
    }
    return "";
  }
  test::Outcome shell(std::vector<std::string> words) {
    const std::string folder = std::filesystem::path(TAVRIN_EXECUTABLE).parent_path().string();
    return run(words, "", {{"HOME", home.string()}, {"PATH", folder + ":/usr/bin:/bin"}, {"TERM", "dumb"}});
  }
  ScratchHome home;
};

TEST_F(CompletionShells, BashCompletes) {
  const std::string bash = program("bash");
  if (bash.empty()) GTEST_SKIP() << "bash is not installed, so its completion is not tried.";
  const auto completed = [&](const std::string& line) {
    const test::Outcome outcome =
        shell({bash, "--norc", "-c",
               "eval \"$(tavrin completions bash)\" || exit 9\nCOMP_LINE=$1; COMP_POINT=${#1}\n"
               "read -ra COMP_WORDS <<<\"$1\"; [[ $1 == *' ' ]] && "
               "COMP_WORDS+=('')\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
               "_tavrin; echo \"${COMPREPLY[*]}\"",
               "bash", line});
    EXPECT_EQ(outcome.error, "");
    return outcome.output;
  };
  EXPECT_EQ(completed("tavrin st"), "status stop\n");
  EXPECT_EQ(completed("tavrin wait "), "sess-1234\n");
  EXPECT_EQ(completed("tavrin wait sess"), "sess-1234\n");
  EXPECT_EQ(completed("tavrin status --format t"), "tmux\n");
  EXPECT_EQ(completed("tavrin status --f"), "--format --follow\n");
  EXPECT_EQ(completed("tavrin --color ne"), "never\n");
  EXPECT_EQ(completed("tavrin --color never st"), "status stop\n");
  EXPECT_EQ(completed("tavrin completions z"), "zsh\n");
  EXPECT_EQ(completed("tavrin help wai"), "wait\n");
}

TEST_F(CompletionShells, FishCompletes) {
  const std::string fish = program("fish");
  if (fish.empty()) GTEST_SKIP() << "fish is not installed, so its completion is not tried.";
  const auto completed = [&](const std::string& line) {
    const test::Outcome outcome =
        shell({fish, "--no-config", "-c", "tavrin completions fish | source; complete -C '" + line + "'"});
    EXPECT_EQ(outcome.error, "");
    return outcome.output;
  };
  EXPECT_THAT(completed("tavrin st"), HasSubstr("status\t"));
  EXPECT_THAT(completed("tavrin wait "), HasSubstr("sess-1234\t"));
  EXPECT_THAT(completed("tavrin status --format "), HasSubstr("waybar"));
  EXPECT_THAT(completed("tavrin status --f"), testing::AllOf(HasSubstr("--format"), HasSubstr("--follow")));
  EXPECT_THAT(completed("tavrin list --"), Not(HasSubstr("--follow")));
}

TEST_F(CompletionShells, ZshCompletes) {
  const std::string zsh = program("zsh");
  if (zsh.empty()) GTEST_SKIP() << "zsh is not installed, so its completion is not tried.";
  // zsh completes only on a terminal, which its own module zpty gives it.
  const std::string script = R"zsh(
zmodload zsh/zpty
zpty z "zsh -f -i"
send() { zpty -w -n z "$1" }
until_seen() { zpty -r -m z part "*$1*" || { print -r -- "ended before $1: $part"; exit 1 } }
send $'autoload -Uz compinit; compinit -u -D; eval "$(tavrin completions zsh)"\n'
# What is completed is printed by a function in the place of the program.
send $'tavrin() { print -r -- "GOT:$*:" }; print lo""aded\n'
until_seen loaded
send $'tavrin wait ses\t\n'
until_seen "GOT:wait sess-1234:"
send $'tavrin status --format tm\t\n'
until_seen "GOT:status --format tmux:"
send $'tavrin compl\tz\t\n'
until_seen "GOT:completions zsh:"
print all completed
zpty -d z
)zsh";
  const test::Outcome outcome = shell({zsh, "-f", "-c", script});
  EXPECT_EQ(outcome.output, "all completed\n") << outcome.error;
}

}  // namespace
}  // namespace tavrin::test
