// What the real executable does with input that is not an event, or that arrives in an odd way: it prints
// nothing and leaves the record unharmed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TavrinHook/HookCommand.hpp"
#include "tests/process/ProcessSupport.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t largest = HookCommand::largestPayload;

std::string repeated(std::string_view part, std::size_t count) {
  std::string text;
  text.reserve(part.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += part;
  return text;
}

std::string inQuotes(std::string_view bytes) {
  return '"' + std::string(bytes) + '"';
}

// An event that holds the bytes `value` under an unused key, or under another key.
std::string eventWith(std::string_view value, std::string_view key = "a") {
  std::string event = toolStart("s", "call-1");
  event.insert(event.size() - 1, "," + inQuotes(key) + ":" + std::string(value));
  return event;
}

// An event of exactly `size` bytes.
std::string eventOfSize(std::size_t size) {
  const std::size_t rest = eventWith(inQuotes("")).size();
  return eventWith(inQuotes(std::string(size - rest, 'x')));
}

struct BadInputCase {
  std::string name;
  std::string bytes;
  std::string message;  // the log's message; "" for any error
};

std::vector<BadInputCase> badInputs() {
  const std::string event = toolStart("s", "call-1");
  std::string allBytes;
  for (int byte = 0; byte < 256; ++byte) allBytes += static_cast<char>(byte);
  constexpr std::size_t deep = 100'000;
  return {
      {"nothing", "", ""},
      {"white space", " \t\r\n ", ""},
      {"every byte", allBytes, ""},
      {"one zero byte", std::string(1, '\0'), ""},
      {"zero bytes", std::string(1000, '\0'), ""},
      {"a zero byte after the event", event + std::string(1, '\0'), ""},
      {"a zero byte in a text", eventWith(inQuotes(std::string(1, '\0'))), ""},
      {"a raw line feed in a text", eventWith(inQuotes("\n")), ""},
      {"invalid UTF-8 in a value", eventWith(inQuotes("\xff")), ""},
      {"invalid UTF-8 in a key", eventWith("1", "\xc3\x28"), ""},
      {"an overlong slash", eventWith(inQuotes("\xc0\xaf")), ""},
      {"a surrogate in UTF-8", eventWith(inQuotes("\xed\xa0\x80")), ""},
      {"words", "not json", ""},
      {"an event and words", event + " not json", ""},
      {"two events", event + event, ""},
      {"a comment", "/* */" + event, ""},
      {"not a number", eventWith("NaN"), ""},
      {"a number too large", eventWith("1e999"), ""},
      {"two commas", eventWith("1,,"), ""},
      {"no value", eventWith(""), ""},
      {"an open text", eventWith("\"b"), ""},
      {"an empty array", "[]", "notAnObject"},
      {"an event in an array", "[" + event + "]", "notAnObject"},
      {"a number", "1", "notAnObject"},
      {"a text", "\"text\"", "notAnObject"},
      {"true", "true", "notAnObject"},
      {"null", "null", "notAnObject"},
      {"an empty object", "{}", "missingSessionId"},
      {"an empty session id", R"({"session_id":"","sessionId":"s","hook_event_name":"Stop"})",
       "missingSessionId"},
      {"a session id that is not a text", R"({"session_id":7,"hook_event_name":"Stop"})", "missingSessionId"},
      {"an event in an object", "{\"event\":" + event + "}", "missingSessionId"},
      {"no event name", R"({"session_id":"s"})", "missingEventName"},
      {"an empty event name", R"({"session_id":"s","hook_event_name":""})", "missingEventName"},
      {"open arrays", repeated("[", deep), ""},
      {"nested arrays", repeated("[", deep) + repeated("]", deep), ""},
      {"nested arrays in an event", eventWith(repeated("[", deep) + repeated("]", deep)), ""},
      {"nested objects in an event", eventWith(repeated(R"({"a":)", deep) + "1" + repeated("}", deep)), ""},
      {"513 levels", eventWith(repeated("[", 512) + repeated("]", 512)), ""},
  };
}

TEST(BadInput, InputThatIsNotAnEventIsOneErrorLineAndLeavesTheRecord) {
  SeededHome home;
  int cases = 0;
  for (const auto& [name, bytes, message] : badInputs()) {
    SCOPED_TRACE(name);
    EXPECT_EQ(runHook(home.path(), bytes), silentSuccess);
    home.expectUntouched();
    const std::vector<std::string> lines = home.newLogLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(lines[0], errorLine(bytes.size()));
    if (!message.empty()) {
      EXPECT_EQ(lines[0], "error: " + message + " (" + std::to_string(bytes.size()) + " bytes)");
    }
    ++cases;
  }
  EXPECT_EQ(cases, 38);
  home.expectNextEventWorks();
}

TEST(BadInput, AnOddEventIsHandled) {
  const std::string event = toolStart("s", "call-1");
  std::string surrounded(100'000, ' ');
  surrounded += event;
  surrounded.resize(300'000, '\n');
  for (const std::string& bytes :
       {event, surrounded, "\xEF\xBB\xBF" + event, eventWith("1,"), eventWith(inQuotes("\\ud800")),
        eventWith(inQuotes("\\u0000")), eventWith(inQuotes(""), ""), eventWith("-1.5e300"),
        eventWith("123456789012345678901234567890"),
        eventWith(repeated("[", 511) + repeated("]", 511), "tool_input"),
        eventWith(inQuotes("s"), "session_id"), eventWith("1", std::string(500'000, 'k'))}) {
    SCOPED_TRACE(bytes.substr(0, 200));
    SeededHome home;
    EXPECT_EQ(runHook(home.path(), bytes), silentSuccess);
    home.expectUpdated("call-1");
    EXPECT_THAT(home.newLogLines(), ElementsAre("claude s PreToolUse Bash#call-1 \u2192 working"));
  }
}

TEST(BadInput, APayloadOfAnotherToolIsDroppedInSilenceUnlessAnAgentIsNamed) {
  SeededHome home;
  const std::string foreign = eventWith("null", "cursor_version");
  EXPECT_EQ(runHook(home.path(), foreign), silentSuccess);
  EXPECT_EQ(runHook(home.path(), R"({"cursor_version":1})"), silentSuccess);
  home.expectUntouched();
  EXPECT_THAT(home.newLogLines(), IsEmpty());
  EXPECT_EQ(runHook(home.path(), foreign, {"--agent", "codex"}), silentSuccess);
  home.expectUpdated("call-1");
}

TEST(BadInput, ARealEventCutAtAnyByteLeavesTheRecordAsItWas) {
  const auto scenarios = recordedScenarios();
  const auto scenario = std::ranges::find(scenarios, "p01-plain", &Scenario::name);
  ASSERT_NE(scenario, scenarios.end());
  std::vector<std::string> events;
  for (const RecordedEvent& event : scenario->events) events.push_back(readFile(event.file));
  std::string& whole = events.at(2);
  whole.resize(whole.find_last_of('}') + 1);

  const ScratchHome home;
  EXPECT_EQ(runHook(home.path(), events[0]), silentSuccess);
  EXPECT_EQ(runHook(home.path(), events[1]), silentSuccess);
  const auto record = home.sessionFile("ba7fd3a0-b04a-45ff-b496-9a2c6e614ed3");
  const std::string before = readFile(record);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    ASSERT_EQ(runHook(home.path(), whole.substr(0, length)), silentSuccess) << length;
    ASSERT_EQ(readFile(record), before) << length;
  }
  const std::vector<std::string> lines = logLines(home);
  ASSERT_EQ(lines.size(), 2 + whole.size());
  EXPECT_GT(whole.size(), 400U);
  for (std::size_t length = 0; length < whole.size(); ++length)
    EXPECT_THAT(lines[2 + length], errorLine(length));

  EXPECT_EQ(runHook(home.path(), whole), silentSuccess);
  EXPECT_EQ(logLines(home).back(), "claude ba7fd3a0 PreToolUse Bash#a33972 \u2192 working");
  EXPECT_NE(readFile(record), before);
}

TEST(BadInput, APayloadOfAMillionBytesIsHandledAndOneOfAByteMoreIsNot) {
  SeededHome home;
  const std::string tooLarge = eventOfSize(largest + 1);
  ASSERT_EQ(tooLarge.size(), 1'000'001U);
  EXPECT_EQ(runHook(home.path(), tooLarge), silentSuccess);
  home.expectUntouched();
  EXPECT_THAT(home.newLogLines(), ElementsAre("error: payload of 1000001 bytes rejected"));

  EXPECT_EQ(runHook(home.path(), eventOfSize(largest)), silentSuccess);
  home.expectUpdated("call-1");
  EXPECT_THAT(home.newLogLines(), ElementsAre("claude s PreToolUse Bash#call-1 \u2192 working"));
  home.expectNextEventWorks();
}

TEST(BadInput, AnOversizedPayloadIsCountedToItsEndAndMakesNoFile) {
  const ScratchHome home;
  EXPECT_EQ(runHook(home.path(), std::string(64U << 20U, '[')), silentSuccess);
  EXPECT_THAT(logLines(home), ElementsAre("error: payload of 67108864 bytes rejected"));
  EXPECT_FALSE(std::filesystem::exists(home.sessions()));
  // The input is dropped before anything is known about its sender.
  std::string foreign = R"({"cursor_version":1})";
  foreign.resize(largest + 1, ' ');
  EXPECT_EQ(runHook(home.path(), foreign), silentSuccess);
  EXPECT_THAT(logLines(home).back(), "error: payload of 1000001 bytes rejected");
}

TEST(BadInput, ARunWaitsForItsInputToEndAndThenHandlesIt) {
  for (const bool isNonBlocking : {false, true}) {
    SCOPED_TRACE(isNonBlocking);
    SeededHome home;
    std::vector<std::string> words = {confined(), hookExecutable()};
    if (isNonBlocking) words.insert(words.begin() + 1, "nonblocking=0");
    const Running process = start(words, {{"HOME", home.string()}});
    const std::string event = toolStart("s", "call-1");
    for (const std::string& part : {event.substr(0, 20), event.substr(20), std::string("\n")}) {
      process->write(part);
      process->waitUntilInputIsRead();
      home.expectUntouched();
      EXPECT_THAT(home.newLogLines(), IsEmpty());
    }
    process->closeInput();
    EXPECT_EQ(process->wait(), silentSuccess);
    home.expectUpdated("call-1");
  }
}

TEST(BadInput, InputMayBeAFileOrAnythingElseThatAShellCanOpen) {
  struct Case {
    std::string redirection;
    std::size_t bytes;
  };
  for (const auto& [redirection, bytes] :
       {Case{"</dev/null", 0}, Case{"<&-", 0}, Case{"<.", 0}, Case{"0>here", 0}, Case{"<blank", 3}}) {
    SCOPED_TRACE(redirection);
    SeededHome home;
    writeFile(home / "blank", "\n\n\n");
    const std::string script = R"(cd "$HOME" && exec "$0" )" + redirection;
    EXPECT_EQ(run({"/bin/sh", "-c", script, hookExecutable()}, "", {{"HOME", home.string()}}), silentSuccess);
    home.expectUntouched();
    EXPECT_THAT(home.newLogLines(), ElementsAre(errorLine(bytes)));
    home.expectNextEventWorks();
  }
  SeededHome home;
  writeFile(home / "event", toolStart("s", "call-1"));
  EXPECT_EQ(
      run({"/bin/sh", "-c", "exec \"$0\" <\"$HOME\"/event", hookExecutable()}, "", {{"HOME", home.string()}}),
      silentSuccess);
  home.expectUpdated("call-1");
}

TEST(BadInput, UnknownWordsAreIgnored) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"--help"},
                                                {"--agent"},
                                                {"--event"},
                                                {"--agent", "nonsense"},
                                                {""},
                                                {"--event="},
                                                {"-", "--", "\xff", std::string(100'000, 'x')}}) {
    SeededHome home;
    EXPECT_EQ(runHook(home.path(), toolStart("s", "call-1"), words), silentSuccess);
    home.expectUpdated("call-1");
    EXPECT_THAT(home.newLogLines(), ElementsAre("claude s PreToolUse Bash#call-1 \u2192 working"));
  }
}

}  // namespace
}  // namespace tavrin::test
