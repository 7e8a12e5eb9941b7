#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "TavrinCore/Hook/AgentArgument.hpp"
#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"
#include "tests/support/TestData.hpp"

/// Sends recorded sessions through the executable, event by event. Beside each scenario's events is
/// expected.txt. It holds comments, and a line for each event: its number, the log message, "|" and what the
/// session's file then holds.
namespace tavrin::test {

void PrintTo(const Scenario& scenario, std::ostream* out) {
  *out << scenario.agent << "/" << scenario.name;
}

namespace {

using ::testing::EndsWith;

std::vector<std::string> expectedLines(const Scenario& scenario) {
  std::istringstream text(readFile(scenario.directory / "expected.txt"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    if (!line.starts_with('#')) lines.push_back(line);
  }
  return lines;
}

std::string joined(const std::vector<std::string>& keys) {
  std::string text;
  for (const std::string& key : keys) text += (text.empty() ? "" : ",") + key;
  return "[" + text + "]";
}

std::string recordText(const std::filesystem::path& file) {
  if (!std::filesystem::exists(file)) return "none";
  const std::optional<Session> session = Session::decode(readFile(file));
  if (!session) return "unreadable";
  return std::string(rawValue(session->state)) + " inFlight=" + joined(session->inFlight) +
         " waitingOn=" + joined(session->waitingOn) + " tool=" + session->needsYouTool.value_or("-");
}

// The identifier of the event's session. It consists of letters, digits and dashes, so it is also the file's
// name.
std::string sessionOf(const RecordedEvent& event, const std::string& payload) {
  std::vector<std::string_view> words = {"tavrin-hook"};
  words.insert(words.end(), event.arguments.begin(), event.arguments.end());
  return HookEvent::parse(payload, AgentArgument::parseAll(words).event).sessionId;
}

std::map<std::string, std::string> sessionFiles(const ScratchHome& home) {
  std::map<std::string, std::string> files;
  if (!std::filesystem::exists(home.sessions())) return files;
  for (const auto& entry : std::filesystem::directory_iterator(home.sessions())) {
    if (entry.path().extension() == ".json") files[entry.path().filename().string()] = readFile(entry.path());
  }
  return files;
}

// The text that a run has added to the log, without its final line feed.
std::string addedTo(const std::string& before, const std::string& log) {
  std::string added = log.substr(before.size());
  if (added.ends_with('\n')) added.pop_back();
  return added;
}

class Replay : public ::testing::TestWithParam<Scenario> {};

TEST_P(Replay, EachEventIsLoggedAndLeavesTheRecordAsExpected) {
  const Scenario& scenario = GetParam();
  const std::vector<std::string> expected = expectedLines(scenario);
  ASSERT_EQ(expected.size(), scenario.events.size());
  const ScratchHome home;
  for (std::size_t i = 0; i < scenario.events.size(); ++i) {
    const RecordedEvent& event = scenario.events[i];
    const std::string name = event.file.filename().string();
    SCOPED_TRACE(scenario.agent + "/" + scenario.name + "/" + name);
    const std::string payload = readFile(event.file);
    const std::string file = sessionOf(event, payload) + ".json";
    const std::string log = home.logMessages();
    auto filesBefore = sessionFiles(home);

    ASSERT_EQ(runHook(home.path(), payload, event.arguments), silentSuccess);

    const std::string message = addedTo(log, home.logMessages());
    ASSERT_EQ(name.substr(0, 3) + " " + message + " | " + recordText(home.sessions() / file), expected[i]);
    auto filesAfter = sessionFiles(home);
    if (message.ends_with(" ignored")) {
      ASSERT_EQ(filesAfter, filesBefore);
    }
    filesBefore.erase(file);
    filesAfter.erase(file);
    ASSERT_EQ(filesAfter, filesBefore) << "the file of another session";
  }
}

std::string testName(const ::testing::TestParamInfo<Scenario>& info) {
  std::string name = info.param.agent + "_" + info.param.name;
  for (char& c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, Replay, ::testing::ValuesIn(recordedScenarios()), testName);

TEST(ReplayData, IsOfTwentyNineScenariosWithFourHundredAndSeventyOneEvents) {
  std::map<std::string, std::size_t> scenarios;
  std::map<std::string, std::size_t> events;
  for (const Scenario& scenario : recordedScenarios()) {
    ++scenarios[scenario.agent];
    events[scenario.agent] += scenario.events.size();
  }
  EXPECT_EQ(scenarios, (std::map<std::string, std::size_t>{
                           {"claude", 10}, {"codex", 6}, {"copilot", 4}, {"gemini", 4}, {"grok", 5}}));
  EXPECT_EQ(events, (std::map<std::string, std::size_t>{
                        {"claude", 206}, {"codex", 50}, {"copilot", 35}, {"gemini", 114}, {"grok", 66}}));
}

// A record as another program may have written it, not as the encoder writes it.
TEST(ReplayData, AnIgnoredEventLeavesAFileOfAnotherProgramUnchanged) {
  const ScratchHome home;
  const std::string text =
      "{\"state\":\"needsYou\", \"sessionId\":\"s-1\",\r\n\t\"agentPid\": 7.0, \"unknown\": null,\n"
      "\"updatedAt\":\"2025-01-31T09:15:02Z\",\"stateSince\":\"2025-01-31T09:15:02Z\",\"cwd\":\"/\"}\n\n";
  ASSERT_TRUE(Session::decode(text));
  writeFile(home.sessionFile("s-1"), text);
  for (const char* name :
       {"PreCompress", "PreCompact", "SubagentStop", "CwdChanged", "stop ", "notification"}) {
    const std::string payload = std::string(R"({"session_id":"s-1","hook_event_name":")") + name + R"("})";
    EXPECT_EQ(runHook(home.path(), payload, {"--agent", "gemini"}), silentSuccess) << name;
    EXPECT_EQ(readFile(home.sessionFile("s-1")), text) << name;
    EXPECT_THAT(home.logMessages(), EndsWith(" ignored\n")) << name;
  }
}

}  // namespace
}  // namespace tavrin::test
