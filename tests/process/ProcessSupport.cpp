#include "tests/process/ProcessSupport.hpp"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>

#include <algorithm>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <sstream>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin::test {

namespace {

// Whether a process waits for a lock: "N: -> FLOCK ADVISORY WRITE PID DEVICE:INODE START END".
bool isWaiting(pid_t pid) {
  std::istringstream locks(readFile("/proc/locks"));
  for (std::string line; std::getline(locks, line);) {
    std::istringstream fields(line);
    std::string number;
    std::string arrow;
    std::string kind;
    std::string advisory;
    std::string access;
    pid_t owner = 0;
    fields >> number >> arrow >> kind >> advisory >> access >> owner;
    if (arrow == "->" && kind == "FLOCK" && owner == pid) return true;
  }
  return false;
}

}  // namespace

std::string sessionWorker() {
  return TAVRIN_TEST_PROGRAMS "/session-worker";
}

std::string confined() {
  return TAVRIN_TEST_PROGRAMS "/confined";
}

std::string chainLink() {
  return TAVRIN_TEST_PROGRAMS "/chain-link";
}

Running start(const std::vector<std::string>& words, const Subprocess::Environment& environment) {
  return std::make_unique<Subprocess>(words, environment);
}

Running startHook(const ScratchHome& home) {
  return start({hookExecutable().string()}, {{"HOME", home.string()}});
}

bool hasEnded(pid_t pid) {
  siginfo_t state{};
  return ::waitid(P_PID, static_cast<id_t>(pid), &state, WEXITED | WNOHANG | WNOWAIT) != 0 ||
         state.si_pid == pid;
}

bool waitsForLock(pid_t pid) {
  constexpr int milliseconds = 1;
  while (!isWaiting(pid)) {
    if (hasEnded(pid)) return false;
    ::poll(nullptr, 0, milliseconds);
  }
  return true;
}

std::string toolStart(std::string_view sessionId, std::string_view toolUseId, std::string_view cwd) {
  boost::json::object event = {{"session_id", sessionId},
                               {"hook_event_name", "PreToolUse"},
                               {"tool_name", "Bash"},
                               {"tool_use_id", toolUseId}};
  if (!cwd.empty()) event["cwd"] = cwd;
  return boost::json::serialize(event);
}

std::optional<Session> stored(const ScratchHome& home, std::string_view sessionId) {
  return SessionFileStore(home.sessions().string()).load(sessionId);
}

std::vector<std::string> temporaries(const std::filesystem::path& directory) {
  std::vector<std::string> names;
  if (!std::filesystem::exists(directory)) return names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() == ".tmp") names.push_back(entry.path().filename());
  }
  return names;
}

std::vector<std::string> logLines(const ScratchHome& home) {
  std::istringstream messages(home.logMessages());
  std::vector<std::string> lines;
  for (std::string line; std::getline(messages, line);) lines.push_back(line);
  return lines;
}

SeededHome::SeededHome() {
  EXPECT_EQ(runHook(path(), toolStart("s", "call-0")), silentSuccess);
  EXPECT_EQ(newLogLines(), std::vector<std::string>{"claude s PreToolUse Bash#call-0 \u2192 working"});
  oldText_ = readFile(record());
  expectUpdated("call-0");
}

void SeededHome::expectUntouched() const {
  EXPECT_EQ(readFile(record()), oldText_);
  EXPECT_THAT(temporaries(sessions()), testing::IsEmpty());
}

void SeededHome::expectUpdated(std::string_view toolUseId) const {
  const std::optional<Session> session = stored(*this, "s");
  ASSERT_TRUE(session) << "no whole record";
  EXPECT_EQ(session->sessionId, "s");
  EXPECT_EQ(session->state, SessionState::working);
  ASSERT_THAT(session->inFlight, testing::Not(testing::IsEmpty()));
  EXPECT_EQ(session->inFlight.back(), toolUseId);
  EXPECT_THAT(temporaries(sessions()), testing::IsEmpty());
}

std::vector<std::string> SeededHome::newLogLines() {
  const bool isThere = std::filesystem::is_regular_file(logFile());
  const std::string text = isThere ? readFile(logFile()) : "";
  if (text.size() < logRead_) logRead_ = 0;  // a new log was begun
  std::istringstream log(text.substr(logRead_));
  logRead_ = text.size();
  std::vector<std::string> lines;
  for (std::string line; std::getline(log, line);) {
    EXPECT_TRUE(isStamped(line)) << line;
    lines.push_back(messageOf(line));
  }
  EXPECT_TRUE(text.empty() || text.ends_with('\n')) << "the log's last line is cut off";
  return lines;
}

void SeededHome::expectNextEventWorks() {
  logRead_ = std::filesystem::exists(logFile()) ? readFile(logFile()).size() : 0;
  EXPECT_EQ(runHook(path(), toolStart("s", "next-1")), silentSuccess);
  expectUpdated("next-1");
  EXPECT_EQ(newLogLines(), std::vector<std::string>{"claude s PreToolUse Bash#next-1 \u2192 working"});
}

testing::Matcher<std::string> errorLine(std::size_t bytes) {
  return testing::AllOf(testing::StartsWith("error: "),
                        testing::EndsWith(" (" + std::to_string(bytes) + " bytes)"));
}

bool isStamped(std::string_view line) {
  constexpr std::string_view form = "dddd-dd-ddTdd:dd:ddZ ";
  if (line.size() < form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool isDigit = line[i] >= '0' && line[i] <= '9';
    if (form[i] == 'd' ? !isDigit : line[i] != form[i]) return false;
  }
  return true;
}

}  // namespace tavrin::test
