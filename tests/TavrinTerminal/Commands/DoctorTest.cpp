#include "TavrinTerminal/Commands/Doctor.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cstdlib>
#include <optional>

#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/StaleFiles.hpp"
#include "tests/TavrinTerminal/Commands/AgentMachine.hpp"

namespace tavrin {
namespace {

using test::AgentMachine;
using test::writeFile;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;

class DoctorTest : public testing::Test {
 protected:
  DoctorTest() {
    // Carries its version as the real one does.
    machine.program("Tavrin/bin/tavrin-hook", "exit 0 # tavrin-hook " TAVRIN_VERSION);
    machine.folder(".grok");
    machine.program("bin/grok", "echo grok 1.0.41");
    machine.connect();
  }

  // Each finding as "WHAT | WHERE | FIX", the home directory as "~".
  std::vector<std::string> findings() const {
    std::vector<std::string> lines;
    for (const Doctor::Finding& finding : Doctor::examine(machine.surroundings, machine.machine).findings) {
      std::string line = finding.what + " | " + finding.where + " | " + finding.fix;
      for (std::size_t at = 0; (at = line.find(machine.home.string())) != std::string::npos;)
        line.replace(at, machine.home.string().size(), "~");
      lines.push_back(line);
    }
    return lines;
  }
  Outcome run(const Doctor::Options& options) {
    return Doctor::run(options, machine.surroundings, machine.screen.console(false), machine.machine);
  }

  // A file in the sessions folder, last written `hours` ago.
  std::string stored(std::string_view name, std::string_view text, int hours) const {
    const std::filesystem::path path = machine.home.sessions() / name;
    writeFile(path, text);
    const auto seconds = static_cast<time_t>(secondsOf(test::testTime)) - hours * 3600;
    const std::array<timespec, 2> times = {timespec{seconds, 0}, timespec{seconds, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times.data(), 0);
    return path.string();
  }
  // The record of a session whose agent ended long ago.
  std::string deadRecord(const std::string& id) const {
    Session session;
    session.sessionId = id;
    session.cwd = machine.home.string();
    session.agentPid = 999'999'999;
    session.updatedAt = session.stateSince = test::testTime - std::chrono::hours(30);
    return session.encode();
  }

  AgentMachine machine;
};

TEST_F(DoctorTest, FindsNothingOnAHealthyMachine) {
  writeFile(machine.home.logFile(),
            "2026-01-02T03:02:05Z grok 01234567 Stop → idle\n2026-01-02T03:03:05Z nonsense\n");
  EXPECT_EQ(Outcome::done("tavrin-hook " TAVRIN_VERSION ": ~/Tavrin/bin/tavrin-hook\n"
                          "Claude Code: not on this machine\n"
                          "Codex: not on this machine\n"
                          "Gemini CLI: not on this machine\n"
                          "Copilot CLI: not on this machine\n"
                          "Grok: 1.0.41, connected, last event 2m ago\n"
                          "\n"
                          "Everything is as it should be\n"),
            run({}));
}

TEST_F(DoctorTest, ExaminesTheHook) {
  machine.program("Tavrin/bin/tavrin-hook", "echo hello # tavrin-hook 0.0.1");
  EXPECT_THAT(findings(),
              ElementsAre("tavrin-hook has the version 0.0.1 and tavrin has " TAVRIN_VERSION
                          " | ~/Tavrin/bin/tavrin-hook | install Tavrin again",
                          "tavrin-hook is not silent when it is tried | ~/Tavrin/bin/tavrin-hook | "
                          "install Tavrin again"));
  std::filesystem::remove_all(machine.home / "Tavrin");
  EXPECT_THAT(findings(),
              ElementsAre("tavrin-hook is missing, cannot be executed, or is at a path that settings cannot "
                          "name | ~/Tavrin/bin/tavrin-hook | install Tavrin again",
                          "Grok runs a tavrin-hook that does not exist | ~/Tavrin/bin/tavrin-hook | tavrin "
                          "connect grok"));
}

TEST_F(DoctorTest, AHookMustCarryItsVersionEndWellAndBeSilent) {
  machine.program("Tavrin/bin/tavrin-hook", "exit 0 # tavrin-hook (old), tavrin-hook or tavrin-hook 7");
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("tavrin-hook has the version unknown and tavrin has ")));
  for (const char* script : {"exit 3", "echo hello >&2"}) {
    machine.program("Tavrin/bin/tavrin-hook", std::string(script) + " # tavrin-hook " TAVRIN_VERSION);
    EXPECT_THAT(findings(), ElementsAre(HasSubstr("tavrin-hook is not silent when it is tried"))) << script;
  }
}

TEST_F(DoctorTest, WithoutAFolderForTemporaryFilesTheRestIsExamined) {
  machine.program("Tavrin/bin/tavrin-hook", "echo hello # tavrin-hook " TAVRIN_VERSION);
  stored("broken.json", "{", 1);
  const char* const before = ::getenv("TMPDIR");
  const std::optional<std::string> kept = before == nullptr ? std::nullopt : std::optional(before);
  for (const char* folder : {"/does/not/exist", "/proc"}) {
    ::setenv("TMPDIR", folder, 1);
    EXPECT_THAT(findings(), ElementsAre(HasSubstr("this file holds no record of a session"))) << folder;
  }
  if (kept) {
    ::setenv("TMPDIR", kept->c_str(), 1);
  } else {
    ::unsetenv("TMPDIR");
  }
}

TEST_F(DoctorTest, NamesNoPlaceOfAHookThatIsLookedForNowhere) {
  machine.machine.hookCandidates.clear();
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("cannot name |  | install Tavrin again")));
  const Outcome outcome = run({.json = true});
  EXPECT_THAT(outcome.output, HasSubstr("install Tavrin again"));
  EXPECT_THAT(outcome.output, Not(HasSubstr("where")));
}

TEST_F(DoctorTest, PassesOverLinesOfTheLogThatItCannotRead) {
  writeFile(machine.home.logFile(),
            "2026-01-02T03:02:05Z grok 01234567 Stop\nnospace\nyesterday grok 01234567 Stop\n"
            "2026-01-02T03:03:05Z nobody 01234567 Stop\n2026-01-02T03:03:05Z grok");
  EXPECT_THAT(run({}).output, HasSubstr("Grok: 1.0.41, connected, last event 1m ago\n"));
  writeFile(machine.home.logFile(), "nospace\nyesterday grok 01234567 Stop\n");
  EXPECT_THAT(run({}).output, HasSubstr("Grok: 1.0.41, connected, no event in the log\n"));
}

TEST_F(DoctorTest, TriesTheRealHook) {
  machine.machine.hookCandidates = {TAVRIN_BUILT_HOOK};
  for (const std::string& finding : findings()) EXPECT_THAT(finding, Not(HasSubstr("not silent"))) << finding;
}

TEST_F(DoctorTest, ExaminesSettings) {
  writeFile(machine.home / ".gemini/settings.json", "{ not JSON");
  machine.folder(".claude");
  machine.client(Agent::claude, "2.0.45");
  machine.connect({.agents = {Agent::claude}});
  machine.client(Agent::claude, "2.1.197");
  EXPECT_THAT(findings(), ElementsAre("Claude Code 2.1.197 also reports PostToolUseFailure, PermissionDenied "
                                      "and Elicitation, for which there are no hooks | "
                                      "~/.claude/settings.json | tavrin connect claude",
                                      AllOf(HasSubstr("settings.json"), HasSubstr("tavrin connect gemini"))));
  EXPECT_THAT(machine.connect({.agents = {Agent::claude}}).status, ExitStatus::done);
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("tavrin connect gemini")));
  // A downgrade below the first safe version.
  machine.client(Agent::claude, "1.0.20");
  EXPECT_THAT(findings(), Contains(HasSubstr("tavrin disconnect claude")));
}

TEST_F(DoctorTest, ExaminesCodexsTrustWithoutGivingIt) {
  machine.folder(".codex");
  machine.codex("plays");
  EXPECT_EQ(ExitStatus::done, machine.connect({.agents = {Agent::codex}}).status);
  const std::string asked = test::readFile(machine.home / "codex-log");
  EXPECT_THAT(findings(),
              ElementsAre("Codex does not trust the hooks, so it does not run them | ~/bin/codex | tavrin "
                          "connect codex"));
  EXPECT_EQ(std::string::npos, test::readFile(machine.home / "codex-log").find("batchWrite", asked.size()));
  machine.codex("garbles");
  EXPECT_THAT(findings(), ElementsAre(HasSubstr("answered with something that is not an answer")));
  machine.codex("forgets");
  EXPECT_THAT(findings(), ElementsAre("Codex does not list the hooks, so it does not run them | "
                                      "~/.codex/hooks.json | tavrin connect codex"));
  machine.codex("plays", "0.120.0");
  EXPECT_THAT(findings(),
              ElementsAre("Codex 0.120.0 does not run hooks. Install 0.124.0 or later. | ~/bin/codex | "
                          "update Codex"));
}

TEST_F(DoctorTest, FindsAnAgentWhoseProgramIsGoneUnlessItStillReports) {
  std::filesystem::remove(machine.home / "bin/grok");
  EXPECT_THAT(
      findings(),
      ElementsAre("Grok is connected, but its program was not found, and the log has no event of it | "
                  " | start Grok and give it a prompt, or run \"tavrin disconnect grok\""));
  EXPECT_THAT(run({}).output, HasSubstr("Grok: program not found, connected, no event in the log\n"));
  writeFile(machine.home.logFile(), "2025-12-26T03:04:04Z grok 01234567 Stop → idle\n");
  EXPECT_THAT(findings(), ElementsAre("Grok is connected, but its program was not found, and its last event "
                                      "was 7d 0h ago |  | tavrin disconnect grok"));
  writeFile(machine.home.logFile(), "2025-12-26T03:04:06Z grok 01234567 Stop → idle\n");
  EXPECT_THAT(findings(), IsEmpty());
}

TEST_F(DoctorTest, FindsTheLastEventInTheLogThatWasFullToo) {
  const std::filesystem::path full = machine.home.logFile().replace_extension("1.log");
  writeFile(full, "2026-01-02T01:04:05Z grok 01234567 Stop → idle\n");
  EXPECT_THAT(run({}).output, HasSubstr("Grok: 1.0.41, connected, last event 2h 0m ago\n"));
  writeFile(machine.home.logFile(), "2026-01-02T02:04:05Z grok 01234567 Stop → idle\n");
  EXPECT_THAT(run({}).output, HasSubstr("Grok: 1.0.41, connected, last event 1h 0m ago\n"));
}

TEST_F(DoctorTest, SaysThatNobodyKnowsOfCodexsTrustUntilItsHooksRun) {
  machine.folder(".codex");
  machine.codex("plays");
  machine.connect({.agents = {Agent::codex}});
  std::filesystem::remove(machine.home / "bin/codex");
  const std::string unknown =
      "it is not known whether Codex trusts the hooks, because there is no program \"codex\" to ask | "
      "~/.codex/hooks.json | start Codex and trust the hooks on its screen \"Hooks need review\", or install "
      "\"codex\" and run \"tavrin connect codex\"";
  EXPECT_THAT(findings(),
              ElementsAre(HasSubstr("Codex is connected, but its program was not found"), unknown));
  // Its last event was an hour ago. Hooks that were there by then are trusted, and newer ones may not be.
  constexpr int hour = 3600;
  const std::time_t event = static_cast<std::time_t>(secondsOf(test::testTime)) - hour;
  writeFile(machine.home.logFile(),
            Iso8601::text(test::testTime - std::chrono::seconds(hour)) + " codex 01234567 Stop → idle\n");
  const auto written = [&](std::time_t at) {
    const std::array<timespec, 2> times = {timespec{at, 0}, timespec{at, 0}};
    ::utimensat(AT_FDCWD, (machine.home / ".codex/hooks.json").c_str(), times.data(), 0);
  };
  written(event - 1);
  EXPECT_THAT(findings(), IsEmpty());
  written(event + 1);
  EXPECT_THAT(findings(), ElementsAre(unknown));
}

TEST_F(DoctorTest, SaysWhenAVersionIsUnknown) {
  machine.program("bin/grok", "exit 1");
  EXPECT_THAT(run({}).output, HasSubstr("Grok: version unknown, connected, no event in the log\n"));
}

TEST_F(DoctorTest, LooksAtFilesThatWereConnectedBefore) {
  machine.folder("moved");
  machine.environment["CLAUDE_CONFIG_DIR"] = machine.at("moved");
  machine.program("other/Tavrin/bin/tavrin-hook", "exit 0");
  const std::vector<std::string> mine = machine.machine.hookCandidates;
  machine.machine.hookCandidates = {machine.at("other/Tavrin/bin/tavrin-hook")};
  machine.connect({.agents = {Agent::claude}});
  machine.machine.hookCandidates = mine;
  machine.environment.erase("CLAUDE_CONFIG_DIR");
  EXPECT_THAT(findings(), IsEmpty());
  std::filesystem::remove_all(machine.home / "other");
  EXPECT_THAT(findings(), ElementsAre("a file that was connected runs a tavrin-hook that does not exist | "
                                      "~/moved/settings.json | tavrin disconnect claude"));
  writeFile(machine.home / "moved/settings.json", "{ not JSON");
  EXPECT_THAT(findings(), ElementsAre(HasSubstr(" | ~/moved/settings.json | "
                                                "correct the file, then run \"tavrin disconnect claude\"")));
}

TEST_F(DoctorTest, NamesTheCommandWhenNothingIsConnected) {
  machine.disconnect();
  EXPECT_THAT(findings(), ElementsAre("no agent is connected |  | tavrin connect"));
}

TEST_F(DoctorTest, FindsFilesThatNobodyRemoves) {
  stored("broken.json", "{", 1);
  stored("dead.json", deadRecord("dead"), 30);
  stored("recent.json", deadRecord("recent"), 23);
  stored(".A.tmp", "x", 25);
  stored(".B.tmp", "x", 1);
  EXPECT_THAT(findings(), ElementsAre("a writer that was killed left this file | ~/Library/Application "
                                      "Support/Tavrin/sessions/.A.tmp | tavrin doctor --fix",
                                      "this file holds no record of a session | ~/Library/Application "
                                      "Support/Tavrin/sessions/broken.json | rm '~/Library/Application "
                                      "Support/Tavrin/sessions/broken.json'",
                                      "the agent of this record is gone | ~/Library/Application "
                                      "Support/Tavrin/sessions/dead.json | tavrin doctor --fix"));
}

TEST_F(DoctorTest, RemovesOnlyWhatIsOldAndUnchanged) {
  const std::string broken = stored("broken.json", "{", 100);
  const std::string dead = stored("dead.json", deadRecord("dead"), 30);
  const std::string locked = stored("locked.json", deadRecord("locked"), 30);
  const std::string recent = stored("recent.json", deadRecord("recent"), 23);
  const std::string old = stored(".A.tmp", "x", 25);
  const std::string fresh = stored(".B.tmp", "x", 1);
  // A hook is about to write this one.
  const FileDescriptor lock =
      FileDescriptor::open((machine.home.sessions() / ".locked.lock").string(), O_RDWR | O_CREAT, 0600);
  ASSERT_EQ(0, ::flock(lock.number(), LOCK_EX));

  const Outcome outcome = run({.fix = true});
  EXPECT_EQ(ExitStatus::failed, outcome.status);
  EXPECT_THAT(outcome.output,
              testing::StartsWith("removed ~/Library/Application Support/Tavrin/sessions/.A.tmp\n"
                                  "removed ~/Library/Application Support/Tavrin/sessions/dead.json\n"));
  EXPECT_THAT(outcome.error, HasSubstr("locked.json was not removed: a hook is writing it."));
  for (const std::string& path : {broken, locked, recent, fresh}) EXPECT_TRUE(File::exists(path)) << path;
  for (const std::string& path : {dead, old}) EXPECT_FALSE(File::exists(path)) << path;
}

TEST_F(DoctorTest, ReportsEachFileThatCouldNotBeRemoved) {
  for (const char* id : {"one", "two"}) {
    stored(std::string(id) + ".json", deadRecord(id), 30);
    // What a lock cannot be.
    machine.folder("Library/Application Support/Tavrin/sessions/." + std::string(id) + ".lock");
  }
  const Outcome outcome = run({.fix = true});
  const std::string folder = "~/Library/Application Support/Tavrin/sessions/";
  const std::string reason = ".json was not removed: its lock cannot be opened: Is a directory.";
  EXPECT_EQ(folder + "one" + reason + "\n" + folder + "two" + reason, outcome.error);
  EXPECT_EQ(ExitStatus::failed, outcome.status);
}

TEST_F(DoctorTest, LeavesARecordThatChangedAfterItWasJudged) {
  const std::string path = stored("dead.json", deadRecord("dead"), 30);
  const std::vector<StaleFile> judged = StaleFiles::find(machine.surroundings);
  ASSERT_EQ(1U, judged.size());
  stored("dead.json", deadRecord("dead") + " ", 30);
  EXPECT_EQ("it has changed", StaleFiles::remove(judged[0], machine.surroundings));
  stored("dead.json", deadRecord("dead"), 2);
  EXPECT_EQ("it is less than a day old", StaleFiles::remove(judged[0], machine.surroundings));
  EXPECT_TRUE(File::exists(path));
}

TEST_F(DoctorTest, FindsFilesOfAnotherUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "not root, so no file of another user can be made";
  const std::string path = stored("dead.json", deadRecord("dead"), 30);
  constexpr uid_t nobody = 65534;
  ASSERT_EQ(0, ::chown(path.c_str(), nobody, nobody));
  EXPECT_THAT(findings(),
              ElementsAre(HasSubstr("files here belong to another user, so hooks cannot write them | "
                                    "~/Library/Application Support/Tavrin | sudo chown -R 0 ")));
  run({.fix = true});
  EXPECT_TRUE(File::exists(path));
}

TEST_F(DoctorTest, PrintsFindingsAsJson) {
  EXPECT_EQ("{\"version\":1,\"findings\":[]}", [&] {
    std::string text = boost::json::serialize(boost::json::parse(run({.json = true}).output));
    return text;
  }());
  stored("bro'ken.json", "{", 1);
  const Outcome outcome = run({.json = true});
  EXPECT_EQ(ExitStatus::failed, outcome.status);
  const boost::json::value document = boost::json::parse(outcome.output);
  const boost::json::object& finding = document.at("findings").as_array().at(0).as_object();
  EXPECT_EQ(3U, finding.size());
  EXPECT_EQ("this file holds no record of a session", finding.at("what").as_string());
  EXPECT_THAT(std::string(finding.at("fix").as_string()), HasSubstr("bro'\\''ken.json'"));
}

TEST_F(DoctorTest, WritesNothingUnlessAskedToFix) {
  stored("dead.json", deadRecord("dead"), 30);
  stored(".A.tmp", "x", 25);
  const auto before = machine.tree();
  run({});
  EXPECT_EQ(before, machine.tree());
  machine.surroundings.isForeignHome = true;
  EXPECT_EQ(ExitStatus::failed, run({.fix = true}).status);
  machine.surroundings.home = "";
  EXPECT_EQ(ExitStatus::failed, run({}).status);
  EXPECT_EQ(before, machine.tree());
}

}  // namespace
}  // namespace tavrin
