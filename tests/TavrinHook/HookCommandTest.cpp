// One run as a whole: the input, the agent, the files and the log that it leaves.
#include "TavrinHook/HookCommand.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "tests/TavrinHook/HookRun.hpp"

namespace tavrin {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using enum SessionState;

class HookCommandRun : public test::HookRun {
 protected:
  // An event of exactly this many bytes.
  static std::string eventOfSize(std::size_t size) {
    const std::string start = R"({"session_id":"s1","hook_event_name":"UserPromptSubmit","prompt":")";
    return start + std::string(size - start.size() - 2, 'p') + "\"}";
  }

  std::string errorLine(std::string_view what, std::size_t size) const {
    return "error: " + std::string(what) + " (" + std::to_string(size) + " bytes)";
  }

  // Expects that the last run logged an error, for any reason, about a payload of this size.
  void expectError(std::size_t size) const {
    EXPECT_THAT(lastMessage(), StartsWith("error: "));
    EXPECT_THAT(lastMessage(), EndsWith(" (" + std::to_string(size) + " bytes)"));
    EXPECT_GT(lastMessage().size(), errorLine("", size).size());
  }

  bool hasTemporaries() const {
    for (const auto& entry : fs::directory_iterator(home.sessions())) {
      if (entry.path().extension() == ".tmp") return true;
    }
    return false;
  }
};

TEST_F(HookCommandRun, AFirstEventCreatesItsSessionsRecord) {
  run(event("UserPromptSubmit"));
  EXPECT_EQ(stored(), usualRecord(working));
  EXPECT_EQ(home.logMessages(), "claude s1 UserPromptSubmit  \u2192 working\n");
}

TEST_F(HookCommandRun, TheFileHoldsJustTheRecord) {
  run(event("UserPromptSubmit"));
  EXPECT_EQ(readFile(home.sessionFile("s1")), R"({
  "agent" : "claude",
  "agentPid" : 200,
  "cwd" : "\/Users\/dev\/app",
  "hostBundleId" : "com.apple.Terminal",
  "hostPid" : 100,
  "inFlight" : [

  ],
  "repoRoot" : "\/Users\/dev\/app",
  "sessionId" : "s1",
  "state" : "working",
  "stateSince" : "2025-01-31T09:15:02Z",
  "tty" : "\/dev\/ttys004",
  "updatedAt" : "2025-01-31T09:15:02Z",
  "waitingOn" : [

  ]
})");
  EXPECT_EQ(readFile(home.logFile()), "2025-01-31T09:15:02Z claude s1 UserPromptSubmit  \u2192 working\n");
}

TEST_F(HookCommandRun, ARunLeavesOnlyRecordLockAndLog) {
  run(event("UserPromptSubmit"));
  run(event("Stop"));
  std::vector<std::string> left;
  for (const auto& entry : fs::recursive_directory_iterator(home.path())) {
    if (!entry.is_directory()) left.push_back(entry.path().lexically_relative(home.path()));
  }
  EXPECT_THAT(left, ::testing::UnorderedElementsAre("Library/Application Support/Tavrin/sessions/s1.json",
                                                    "Library/Application Support/Tavrin/sessions/.s1.lock",
                                                    "Library/Logs/Tavrin/hook.log"));
  EXPECT_TRUE(fs::is_empty(home.sessions() / ".s1.lock"));
}

TEST_F(HookCommandRun, AMillionBytesAreHandled) {
  const std::string payload = eventOfSize(1'000'000);
  ASSERT_EQ(payload.size(), 1'000'000U);
  run(payload);
  EXPECT_EQ(lastMessage(), "claude s1 UserPromptSubmit  \u2192 working");
  EXPECT_TRUE(stored().has_value());
}

TEST_F(HookCommandRun, OneByteMoreIsRejected) {
  run(eventOfSize(1'000'001));
  EXPECT_EQ(home.logMessages(), "error: payload of 1000001 bytes rejected\n");
  EXPECT_FALSE(fs::exists(home.sessions()));
}

TEST_F(HookCommandRun, ARejectedPayloadIsCountedToItsEnd) {
  run(std::string(23'456'789, ' '), {"--agent", "codex", "--event", "Stop"});
  EXPECT_EQ(home.logMessages(), "error: payload of 23456789 bytes rejected\n");
  EXPECT_FALSE(fs::exists(home.sessions()));
  EXPECT_THAT(processes.asked, IsEmpty());
  EXPECT_THAT(files.asked, IsEmpty());
}

TEST_F(HookCommandRun, TheSizeIsJudgedBeforeTheSender) {
  run(R"({"cursor_version":1})" + std::string(1'000'000, ' '));
  EXPECT_EQ(home.logMessages(), "error: payload of 1000020 bytes rejected\n");
}

TEST_F(HookCommandRun, AnEmptyInputIsAnError) {
  run("");
  expectError(0);
  EXPECT_FALSE(fs::exists(home.sessions()));
}

TEST_F(HookCommandRun, AnInputThatCannotBeReadIsAnEmptyOne) {
  runOn(-1);
  expectError(0);
  const FileDescriptor folder = FileDescriptor::open(home.string(), O_RDONLY);
  runOn(folder.number());
  expectError(0);
  EXPECT_FALSE(fs::exists(home.sessions()));
}

TEST_F(HookCommandRun, InvalidJsonIsAnErrorWithItsSize) {
  for (const std::string_view payload :
       {"{", "hello", "\n", "{\"session_id\":\"s1\",\"hook_event_name\":\"Stop\"}}"}) {
    run(payload);
    expectError(payload.size());
  }
  EXPECT_FALSE(fs::exists(home.sessions()));
}

TEST_F(HookCommandRun, AnObjectThatIsNotAnEventIsANamedError) {
  int count = 0;
  for (const auto& [payload, name] : std::vector<std::pair<std::string, std::string>>{
           {"[]", "notAnObject"},
           {"[1,2]\n", "notAnObject"},
           {"\"text\"", "notAnObject"},
           {"12", "notAnObject"},
           {"null", "notAnObject"},
           {"{}", "missingSessionId"},
           {R"({"session_id":"","sessionId":"s1","hook_event_name":"Stop"})", "missingSessionId"},
           {R"({"session_id":"s1"})", "missingEventName"},
           {R"({"session_id":"s1","hook_event_name":""})", "missingEventName"}}) {
    run(payload);
    EXPECT_EQ(lastMessage(), errorLine(name, payload.size())) << payload;
    ++count;
  }
  EXPECT_EQ(count, 9);
  EXPECT_FALSE(fs::exists(home.sessions()));
  EXPECT_THAT(processes.asked, IsEmpty());
}

TEST_F(HookCommandRun, AnUnservedToolLeavesNoTraceAtAll) {
  for (const std::string_view payload :
       {R"({"cursor_version":"1.7","session_id":"s1","hook_event_name":"Stop"})",
        R"({"cursor_version":null})",
        R"({"workspaceRoot":"/a","cursor_version":1,"session_id":"s1","hook_event_name":"Stop"})"}) {
    run(payload);
    run(payload, {"--agent", "claude"});
    run(payload, {"--agent=nonsense"});
    run(payload, {"--agent", "codex", "--agent="});
    EXPECT_TRUE(homeIsUntouched()) << payload;
  }
  EXPECT_THAT(processes.asked, IsEmpty());
  EXPECT_THAT(files.asked, IsEmpty());
}

TEST_F(HookCommandRun, AnUnservedToolLeavesAnExistingRecordAlone) {
  run(event("UserPromptSubmit"));
  const std::string before = readFile(home.sessionFile("s1"));
  run(event("SessionEnd", R"("cursor_version":"1.7")"));
  EXPECT_EQ(readFile(home.sessionFile("s1")), before);
  EXPECT_EQ(home.logMessages(), "claude s1 UserPromptSubmit  \u2192 working\n");
}

TEST_F(HookCommandRun, ADeclaredAgentIsServedWhateverThePayloadLooksLike) {
  run(event("Stop", R"("cursor_version":"1.7")"), {"--agent", "codex"});
  EXPECT_EQ(record().agent, Agent::codex);
  EXPECT_EQ(lastMessage(), "codex s1 Stop  \u2192 idle");
  run(event("Stop", R"("workspaceRoot":"/a/")"), {"--agent=gemini"});
  EXPECT_EQ(record().agent, Agent::gemini);
}

TEST_F(HookCommandRun, AnEventOfGrokIsKnownByItsWorkspace) {
  for (const std::vector<std::string_view>& arguments :
       {std::vector<std::string_view>{}, {"--agent", "claude"}, {"--agent", "grok"}, {"--agent=unknown"}}) {
    run(event("Stop", R"("workspaceRoot":"/a/")"), arguments);
    EXPECT_EQ(record().agent, Agent::grok);
    EXPECT_EQ(lastMessage(), "grok s1 Stop  \u2192 idle");
  }
}

TEST_F(HookCommandRun, WithoutArgumentsItIsClaudeCode) {
  HookCommand::run({}, {.input = -1,
                        .home = home.string(),
                        .parentPid = 300,
                        .processes = processes.table(),
                        .files = files.probes(),
                        .now = [this] { return now; },
                        .makeId = [] { return "x"; }});
  expectError(0);
  run(event("Stop"));
  EXPECT_EQ(record().agent, Agent::claude);
}

TEST_F(HookCommandRun, TheCommandLineNamesAnEventThatThePayloadDoesNotName) {
  const std::string payload = R"({"sessionId":"s1","cwd":"/Users/dev/app","timestamp":1738314902000})";
  run(payload, {"--agent", "copilot", "--event", "userPromptSubmitted"});
  EXPECT_EQ(lastMessage(), "copilot s1 UserPromptSubmit  \u2192 working");
  run(payload, {"--agent", "copilot", "--event=agentStop"});
  EXPECT_EQ(lastMessage(), "copilot s1 Stop  \u2192 idle");
  run(event("UserPromptSubmit"), {"--agent", "copilot", "--event=sessionEnd"});
  EXPECT_EQ(lastMessage(), "copilot s1 UserPromptSubmit  \u2192 working");
  run(payload, {"--agent", "copilot", "--event=sessionEnd"});
  EXPECT_EQ(lastMessage(), "copilot s1 SessionEnd  \u2192 ended");
  EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(HookCommandRun, AnEndDeletesTheRecordAndKeepsTheLock) {
  run(event("UserPromptSubmit"));
  run(event("SessionEnd"));
  EXPECT_FALSE(fs::exists(home.sessionFile("s1")));
  EXPECT_TRUE(fs::exists(home.sessions() / ".s1.lock"));
  EXPECT_EQ(lastMessage(), "claude s1 SessionEnd  \u2192 ended");
}

TEST_F(HookCommandRun, AnEndOfAnUnknownSessionIsLoggedAllTheSame) {
  run(event("SessionEnd"));
  EXPECT_EQ(home.logMessages(), "claude s1 SessionEnd  \u2192 ended\n");
  EXPECT_EQ(stored(), std::nullopt);
  EXPECT_THAT(processes.asked, IsEmpty());
  EXPECT_THAT(files.asked, IsEmpty());
  EXPECT_EQ(idsMade, 0);
}

TEST_F(HookCommandRun, AnEndDeletesARecordThatCannotBeRead) {
  writeFile(home.sessionFile("s1"), "damaged");
  run(event("SessionEnd"));
  EXPECT_FALSE(fs::exists(home.sessionFile("s1")));
  EXPECT_EQ(lastMessage(), "claude s1 SessionEnd  \u2192 ended");
}

TEST_F(HookCommandRun, OtherSessionsAreLeftAlone) {
  run(event("UserPromptSubmit"));
  writeFile(home.sessionFile("s2"), "whatever");
  run(R"({"session_id":"s3","hook_event_name":"Stop"})");
  run(event("SessionEnd"));
  EXPECT_EQ(readFile(home.sessionFile("s2")), "whatever");
  EXPECT_EQ(stored("s3")->state, idle);
}

TEST_F(HookCommandRun, AnIgnoredEventWritesOnlyItsLine) {
  run(event("UserPromptSubmit"));
  const std::string before = readFile(home.sessionFile("s1"));
  struct stat first {};
  ASSERT_EQ(::stat(home.sessionFile("s1").c_str(), &first), 0);
  processes.asked.clear();
  files.asked.clear();
  now += std::chrono::seconds(60);
  for (const char* const name :
       {"PreCompact", "PreCompress", "Notification", "SubagentStop", "SomethingNew", "x"}) {
    run(event(name, R"("transcript_path":"/new","cwd":"/elsewhere")"));
    EXPECT_THAT(lastMessage(), EndsWith(" \u2192 ignored")) << name;
  }
  EXPECT_EQ(readFile(home.sessionFile("s1")), before);
  struct stat last {};
  ASSERT_EQ(::stat(home.sessionFile("s1").c_str(), &last), 0);
  EXPECT_EQ(first.st_ino, last.st_ino);
  EXPECT_THAT(processes.asked, IsEmpty());
  EXPECT_THAT(files.asked, IsEmpty());
}

TEST_F(HookCommandRun, AnIgnoredEventOfAnUnknownSessionMakesNoRecord) {
  run(event("SessionStart", R"("source":"compact")"));
  EXPECT_EQ(home.logMessages(), "claude s1 SessionStart  \u2192 ignored\n");
  EXPECT_FALSE(fs::exists(home.sessionFile("s1")));
}

TEST_F(HookCommandRun, TheSendersAgentDecidesWhatIsIgnored) {
  run(event("PermissionRequest"), {"--agent", "codex"});
  EXPECT_EQ(lastMessage(), "codex s1 PermissionRequest  \u2192 ignored");
  EXPECT_EQ(stored(), std::nullopt);
  run(event("PermissionRequest"));
  EXPECT_EQ(record().state, needsYou);
  run(event("PermissionRequest"), {"--agent", "codex"});
  EXPECT_EQ(lastMessage(), "codex s1 PermissionRequest  \u2192 ignored");
  EXPECT_EQ(record().agent, Agent::claude);
}

TEST_F(HookCommandRun, ADamagedRecordCountsAsMissing) {
  for (const char* const text : {"", "{", "[]", R"({"sessionId":"s1","state":"sleeping"})", "\xff"}) {
    writeFile(home.sessionFile("s1"), text);
    run(event("UserPromptSubmit"));
    EXPECT_EQ(stored(), usualRecord(working)) << text;
  }
}

TEST_F(HookCommandRun, IdsOfOneSafeNameShareOneRecord) {
  run(R"({"session_id":"a/b:c","hook_event_name":"UserPromptSubmit"})");
  EXPECT_TRUE(fs::exists(home.sessionFile("abc")));
  EXPECT_TRUE(fs::exists(home.sessions() / ".abc.lock"));
  EXPECT_EQ(stored("a/b:c")->sessionId, "a/b:c");
  run(R"({"session_id":"../../../abc","hook_event_name":"SessionEnd"})");
  EXPECT_FALSE(fs::exists(home.sessionFile("abc")));
}

TEST_F(HookCommandRun, ALockThatCannotBeTakenIsAnErrorAndChangesNothing) {
  run(event("UserPromptSubmit"));
  const std::string before = readFile(home.sessionFile("s1"));
  fs::remove(home.sessions() / ".s1.lock");
  fs::create_directory(home.sessions() / ".s1.lock");
  for (const char* const name : {"Stop", "SessionEnd", "PreCompact"}) {
    run(event(name));
    expectError(event(name).size());
  }
  EXPECT_EQ(readFile(home.sessionFile("s1")), before);
}

TEST_F(HookCommandRun, ADirectoryThatCannotBeMadeIsAnError) {
  writeFile(home.path() / "Library/Application Support", "in the way");
  run(event("Stop"));
  expectError(event("Stop").size());
  EXPECT_EQ(readFile(home.path() / "Library/Application Support"), "in the way");
}

TEST_F(HookCommandRun, ARecordThatCannotBeReplacedIsAnErrorAndLeavesNoTemporary) {
  fs::create_directories(home.sessionFile("s1") / "in the way");
  run(event("Stop"));
  expectError(event("Stop").size());
  EXPECT_FALSE(hasTemporaries());
  EXPECT_TRUE(fs::exists(home.sessionFile("s1") / "in the way"));
  // The lock has been released, and other sessions are not affected.
  run(event("SessionEnd"));
  EXPECT_EQ(lastMessage(), "claude s1 SessionEnd  \u2192 ended");
  EXPECT_TRUE(fs::exists(home.sessionFile("s1") / "in the way"));
  run(R"({"session_id":"s2","hook_event_name":"Stop"})");
  EXPECT_TRUE(stored("s2").has_value());
}

TEST_F(HookCommandRun, AFailureIsReportedInOneLine) {
  fs::create_directories(home.sessionFile("s1") / "in the way");
  run(event("Stop"));
  EXPECT_EQ(home.logMessages(), lastMessage() + "\n");
}

TEST_F(HookCommandRun, AnIdTooLongForAFileNameIsOnlyAnError) {
  const std::string payload =
      R"({"session_id":")" + std::string(300, 'i') + R"(","hook_event_name":"UserPromptSubmit"})";
  run(payload);
  expectError(payload.size());
  EXPECT_FALSE(hasTemporaries());
}

TEST_F(HookCommandRun, WithoutALogTheEventIsHandledAllTheSame) {
  writeFile(home.path() / "Library/Logs", "in the way");
  run(event("UserPromptSubmit"));
  EXPECT_EQ(stored(), usualRecord(working));
  run("no JSON");
  run(std::string(1'000'001, ' '));
  EXPECT_EQ(readFile(home.path() / "Library/Logs"), "in the way");
}

TEST_F(HookCommandRun, AllStampsOfARecordAreOneTimeAndTheLogTakesItsOwn) {
  int asked = 0;
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  ASSERT_TRUE(File::writeAll(writing.number(), event("PermissionRequest")));
  writing.close();
  HookCommand::run({}, {.input = reading.number(),
                        .home = home.string(),
                        .parentPid = parentPid,
                        .processes = processes.table(),
                        .files = files.probes(),
                        .now = [&] { return now + std::chrono::seconds(10 * asked++); },
                        .makeId = [] { return "x"; }});
  EXPECT_EQ(asked, 2);
  EXPECT_EQ(record().updatedAt, now);
  EXPECT_EQ(record().stateSince, now);
  EXPECT_THAT(readFile(home.logFile()), StartsWith("2025-01-31T09:15:12Z claude "));
}

TEST_F(HookCommandRun, NothingIsPrinted) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  run(event("UserPromptSubmit"));
  run("no JSON");
  run(std::string(1'000'001, ' '));
  fs::create_directories(home.sessionFile("s2") / "in the way");
  run(R"({"session_id":"s2","hook_event_name":"Stop"})");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(HookCommandRun, NoDescriptorIsLeftOpen) {
  const auto openDescriptors = [] { return std::distance(fs::directory_iterator("/dev/fd"), {}); };
  fs::create_directories(home.sessionFile("s2") / "in the way");
  const auto before = openDescriptors();
  for (const std::string& payload :
       {event("UserPromptSubmit"), event("SessionEnd"), event("x"), std::string("no JSON"),
        std::string(R"({"session_id":"s2","hook_event_name":"Stop"})"), std::string(1'000'001, ' ')}) {
    run(payload);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST(HookCommand, ItsRealSurroundingsAreThoseOfThisProcess) {
  const HookCommand::Surroundings real = HookCommand::Surroundings::real();
  EXPECT_EQ(real.input, STDIN_FILENO);
  EXPECT_EQ(real.parentPid, ::getppid());
  EXPECT_EQ(real.home, Home::directory());
  EXPECT_EQ(real.makeId().size(), 36U);
  EXPECT_NE(real.makeId(), real.makeId());
  EXPECT_TRUE(real.files.exists("/"));
  EXPECT_TRUE(real.processes.record(::getpid()).has_value());
  const Date before = std::chrono::system_clock::now();
  const Date now = real.now();
  const Date after = std::chrono::system_clock::now();
  EXPECT_GE(now, before);
  EXPECT_LE(now, after);
}

TEST(HookCommand, APayloadHasAtMostAMillionBytes) {
  EXPECT_EQ(HookCommand::largestPayload, 1'000'000U);
}

}  // namespace
}  // namespace tavrin
