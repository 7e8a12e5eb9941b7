#include "TavrinCore/Hook/HookEvent.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/json/parse.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Hook/AgentArgument.hpp"
#include "TavrinCore/Hook/HookPayload.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using Text = std::optional<std::string>;
using Case = HookEvent::ParseError::Case;

// The event in `bytes`. Checks that a payload parsed beforehand gives the same event.
HookEvent parsed(std::string_view bytes, const Text& eventOverride = std::nullopt) {
  HookEvent event = HookEvent::parse(bytes, eventOverride);
  EXPECT_EQ(HookEvent::parse(HookPayload(bytes), eventOverride), event) << bytes;
  return event;
}

// Why the bytes are not an event; nullopt if they are one.
std::optional<Case> refusal(std::string_view bytes, const Text& eventOverride = std::nullopt) {
  std::optional<Case> first;
  std::optional<Case> second;
  try {
    static_cast<void>(HookEvent::parse(bytes, eventOverride));
  } catch (const HookEvent::ParseError& error) {
    first = error.value();
  }
  try {
    static_cast<void>(HookEvent::parse(HookPayload(bytes), eventOverride));
  } catch (const HookEvent::ParseError& error) {
    second = error.value();
  }
  EXPECT_EQ(first, second) << bytes;
  return first;
}

HookEvent withTool(const Text& toolUseId, const Text& toolName) {
  HookEvent event;
  event.toolUseId = toolUseId;
  event.toolName = toolName;
  return event;
}

TEST(HookEvent, SnakeCaseKeysMakeAWholeEvent) {
  EXPECT_EQ(parsed(R"({"session_id":"s","hook_event_name":"PreToolUse","cwd":"/c","tool_name":"Bash",
                       "notification_type":"n","source":"o","tool_use_id":"u","agent_id":"a","transcript_path":"/t"})"),
            (HookEvent{.sessionId = "s",
                       .eventName = "PreToolUse",
                       .cwd = "/c",
                       .toolName = "Bash",
                       .notificationType = "n",
                       .source = "o",
                       .toolUseId = "u",
                       .agentId = "a",
                       .transcriptPath = "/t"}));
}

TEST(HookEvent, CamelCaseKeysMakeTheSameEvent) {
  EXPECT_EQ(parsed(R"({"sessionId":"s","hookEventName":"preToolUse","cwd":"/c","toolName":"Bash",
                       "notificationType":"n","source":"o","toolUseId":"u","agentId":"a","transcriptPath":"/t"})"),
            parsed(R"({"session_id":"s","hook_event_name":"PreToolUse","cwd":"/c","tool_name":"Bash",
                       "notification_type":"n","source":"o","tool_use_id":"u","agent_id":"a","transcript_path":"/t"})"));
}

TEST(HookEvent, SessionAndNameAreAllThatItTakes) {
  EXPECT_EQ(parsed(R"({"session_id":"s","hook_event_name":"Stop"})"), (HookEvent{.sessionId = "s",
                                                                                 .eventName = "Stop",
                                                                                 .cwd = "",
                                                                                 .toolName = {},
                                                                                 .notificationType = {},
                                                                                 .source = {},
                                                                                 .toolUseId = {},
                                                                                 .agentId = {},
                                                                                 .transcriptPath = {}}));
}

TEST(HookEvent, EventsDifferInEachField) {
  const HookEvent event = parsed(R"({"session_id":"s","hook_event_name":"Stop"})");
  std::vector<HookEvent> others(9, event);
  others[0].sessionId = "";
  others[1].eventName = "";
  others[2].cwd = "/";
  others[3].toolName = "";
  others[4].notificationType = "";
  others[5].source = "";
  others[6].toolUseId = "";
  others[7].agentId = "";
  others[8].transcriptPath = "";
  for (std::size_t i = 0; i < others.size(); ++i) EXPECT_NE(others[i], event) << i;
}

TEST(HookEvent, UnknownKeysAndOtherTypesAreNotErrors) {
  const HookEvent event = parsed(
      R"({"session_id":"s","hook_event_name":"Stop","cwd":7,"tool_name":null,"notification_type":[],"source":{},
          "tool_use_id":true,"agent_id":1.5,"transcript_path":["/t"],"tool_input":{"cwd":"/wrong"},"new key":1})");
  EXPECT_EQ(event, parsed(R"({"session_id":"s","hook_event_name":"Stop"})"));
}

TEST(HookEvent, AnEmptyTextIsKept) {
  const HookEvent event = parsed(
      R"({"session_id":"s","hook_event_name":"Stop","cwd":"","tool_name":"","toolName":"x","notification_type":"",
          "source":"","tool_use_id":"","tool_call_id":"x","agent_id":"","agentId":"x","transcript_path":""})");
  EXPECT_EQ(event.toolName, "");
  EXPECT_EQ(event.notificationType, "");
  EXPECT_EQ(event.source, "");
  EXPECT_EQ(event.toolUseId, "");
  EXPECT_EQ(event.agentId, "");
  EXPECT_EQ(event.transcriptPath, "");
}

TEST(HookEvent, TheSnakeCaseSessionIdWins) {
  EXPECT_EQ(parsed(R"({"sessionId":"b","session_id":"a","hook_event_name":"Stop"})").sessionId, "a");
}

TEST(HookEvent, ANumberAsSessionIdGivesWayToTheOtherSpelling) {
  EXPECT_EQ(parsed(R"({"session_id":12,"sessionId":"abc","hook_event_name":"Stop"})").sessionId, "abc");
}

TEST(HookEvent, EmptySessionIdIsMissingEvenWhenTheOtherSpellingHasOne) {
  EXPECT_EQ(refusal(R"({"session_id":"","sessionId":"abc","hook_event_name":"Stop"})"),
            Case::missingSessionId);
  EXPECT_EQ(refusal(R"({"session_id":7,"sessionId":"","hook_event_name":"Stop"})"), Case::missingSessionId);
}

TEST(HookEvent, NoTextAsSessionIdIsMissing) {
  for (const std::string_view bytes : {"{}", R"({"hook_event_name":"Stop"})",
                                       R"({"session_id":1,"sessionId":null,"hook_event_name":"Stop"})",
                                       R"({"session":{"session_id":"a"},"hook_event_name":"Stop"})"}) {
    EXPECT_EQ(refusal(bytes), Case::missingSessionId) << bytes;
    EXPECT_EQ(refusal(bytes, "Stop"), Case::missingSessionId) << bytes;
  }
}

TEST(HookEvent, NoNameAnywhereIsMissing) {
  for (const std::string_view bytes :
       {R"({"session_id":"s"})", R"({"session_id":"s","hook_event_name":1,"hookEventName":false})"}) {
    EXPECT_EQ(refusal(bytes), Case::missingEventName) << bytes;
    EXPECT_EQ(refusal(bytes, ""), Case::missingEventName) << bytes;
  }
}

TEST(HookEvent, TheCommandLineNamesTheEventOnlyWhenThePayloadDoesNot) {
  EXPECT_EQ(parsed(R"({"session_id":"s"})", "userPromptSubmitted").eventName, "UserPromptSubmit");
  EXPECT_EQ(parsed(R"({"session_id":"s","hook_event_name":5})", "agentStop").eventName, "Stop");
  EXPECT_EQ(parsed(R"({"session_id":"s","hook_event_name":"Stop"})", "SessionEnd").eventName, "Stop");
  EXPECT_EQ(parsed(R"({"session_id":"s","hookEventName":"Stop"})", "SessionEnd").eventName, "Stop");
  EXPECT_EQ(parsed(R"({"session_id":"s","hook_event_name":1,"hookEventName":"sessionEnd"})", "x").eventName,
            "SessionEnd");
}

TEST(HookEvent, AnEmptyNameInThePayloadIsMissingWhateverTheCommandLineSays) {
  for (const Text& eventOverride : {Text(), Text("Stop"), Text("")}) {
    EXPECT_EQ(refusal(R"({"session_id":"s","hook_event_name":""})", eventOverride), Case::missingEventName);
    EXPECT_EQ(refusal(R"({"session_id":"s","hook_event_name":"","hookEventName":"Stop"})", eventOverride),
              Case::missingEventName);
  }
}

TEST(HookEvent, TheFirstFailureIsReported) {
  EXPECT_EQ(refusal("[]"), Case::notAnObject);
  EXPECT_EQ(refusal("{}"), Case::missingSessionId);
  EXPECT_EQ(refusal(R"({"session_id":"","hook_event_name":""})"), Case::missingSessionId);
  EXPECT_THROW(parsed("[", "Stop"), JsonError);
}

TEST(HookEvent, AValueThatIsNotAnObjectIsReportedAsSuch) {
  for (const std::string_view bytes : {"[]", R"([{"session_id":"s","hook_event_name":"Stop"}])", R"("Stop")",
                                       "12", "-0.5", "true", "null", " [1,2] "}) {
    EXPECT_EQ(refusal(bytes), Case::notAnObject) << bytes;
    EXPECT_EQ(refusal(bytes, "Stop"), Case::notAnObject) << bytes;
  }
}

TEST(HookEvent, InvalidJsonFailsWithTheReadersError) {
  for (const std::string_view bytes :
       {"", " ", "{", R"({"session_id":"s","hook_event_name":"Stop"}})", "Stop"}) {
    EXPECT_THROW(static_cast<void>(HookEvent::parse(bytes, "Stop")), JsonError) << bytes;
    try {
      static_cast<void>(HookEvent::parse(bytes, std::nullopt));
    } catch (const std::exception& error) {
      EXPECT_STRNE(error.what(), "") << bytes;
      EXPECT_EQ(std::string_view(error.what()).find('\n'), std::string_view::npos) << bytes;
    }
  }
}

TEST(HookEvent, AFailureReadsAsTheNameOfItsCase) {
  EXPECT_STREQ(HookEvent::ParseError(Case::notAnObject).what(), "notAnObject");
  EXPECT_STREQ(HookEvent::ParseError(Case::missingSessionId).what(), "missingSessionId");
  EXPECT_STREQ(HookEvent::ParseError(Case::missingEventName).what(), "missingEventName");
  EXPECT_LT(Case::notAnObject, Case::missingSessionId);
  EXPECT_LT(Case::missingSessionId, Case::missingEventName);
}

TEST(HookEvent, AToolCallIdServesAsToolUseId) {
  const std::string_view start = R"({"session_id":"s","hook_event_name":"Stop",)";
  for (const auto& [rest, expected] : std::vector<std::pair<std::string_view, Text>>{
           {R"("tool_call_id":"c"})", "c"},
           {R"("toolCallId":"c"})", "c"},
           {R"("tool_use_id":1,"toolUseId":null,"tool_call_id":[],"toolCallId":"c"})", "c"},
           {R"("toolCallId":"d","tool_call_id":"c"})", "c"},
           {R"("tool_call_id":"c","toolUseId":"u"})", "u"},
           {R"("toolCallId":"d","tool_use_id":"u"})", "u"},
           {R"("tool_call_id":"c","toolUseId":""})", ""},
           {R"("tool_call_id":3})", std::nullopt}}) {
    EXPECT_EQ(parsed(std::string(start) + std::string(rest)).toolUseId, expected) << rest;
  }
}

TEST(HookEvent, NamesAreNormalizedOnTheWay) {
  for (const std::string_view key : {"hook_event_name", "hookEventName"}) {
    const auto name = [&](std::string_view value) {
      return parsed(R"({"session_id":"s",")" + std::string(key) + R"(":")" + std::string(value) + "\"}")
          .eventName;
    };
    EXPECT_EQ(name("agentStop"), "Stop");
    EXPECT_EQ(name("userPromptSubmitted"), "UserPromptSubmit");
    EXPECT_EQ(name("postToolUseFailure"), "PostToolUseFailure");
    EXPECT_EQ(name("pre_tool_use"), "Pre_tool_use");
  }
}

TEST(HookEvent, NormalizingTranslatesTwoNamesAndCapitalizesTheOthers) {
  for (const auto& [name, expected] : std::vector<std::pair<std::string_view, std::string_view>>{
           {"userPromptSubmitted", "UserPromptSubmit"},
           {"agentStop", "Stop"},
           {"sessionStart", "SessionStart"},
           {"preToolUse", "PreToolUse"},
           {"notification", "Notification"},
           {"stop", "Stop"},
           {"a", "A"},
           {"userPromptSubmit", "UserPromptSubmit"},
           {"userPromptSubmittedX", "UserPromptSubmittedX"},
           {"UserPromptSubmitted", "UserPromptSubmitted"},
           {"userpromptsubmitted", "Userpromptsubmitted"},
           {"AgentStop", "AgentStop"},
           {"agentstop", "Agentstop"},
           {"agentStop ", "AgentStop "},
           {" agentStop", " agentStop"},
           {"SessionStart", "SessionStart"},
           {"STOP", "STOP"},
           {"", ""},
           {"_stop", "_stop"},
           {"1stop", "1stop"},
           {"\u00e9v\u00e9nement", "\u00c9v\u00e9nement"},
           {"\u0436", "\u0416"},
           {"\u4e2d", "\u4e2d"},
           {"\U0001F600x", "\U0001F600x"}}) {
    EXPECT_EQ(HookEvent::normalizedEventName(name), expected) << name;
  }
}

TEST(HookEvent, NormalizingTwiceChangesNothingMore) {
  for (const std::string_view name : {"userPromptSubmitted", "agentStop", "sessionStart", "Stop", "", "_a"}) {
    const std::string once = HookEvent::normalizedEventName(name);
    EXPECT_EQ(HookEvent::normalizedEventName(once), once) << name;
  }
}

TEST(HookEvent, ASubagentIsOneWithAnId) {
  HookEvent event;
  EXPECT_FALSE(event.isFromSubagent());
  event.agentId = "";
  EXPECT_FALSE(event.isFromSubagent());
  event.agentId = "a";
  EXPECT_TRUE(event.isFromSubagent());
}

TEST(HookEvent, ACallIsKeyedByItsIdOrWithoutOneByItsToolsName) {
  EXPECT_EQ(withTool("u", "Bash").callKey(), "u");
  EXPECT_EQ(withTool("u", std::nullopt).callKey(), "u");
  EXPECT_EQ(withTool("u", "").callKey(), "u");
  EXPECT_EQ(withTool(std::nullopt, "Bash").callKey(), "name:Bash");
  EXPECT_EQ(withTool("", "Bash").callKey(), "name:Bash");
  EXPECT_EQ(withTool(std::nullopt, std::nullopt).callKey(), std::nullopt);
  EXPECT_EQ(withTool("", "").callKey(), std::nullopt);
  EXPECT_EQ(withTool(std::nullopt, "").callKey(), std::nullopt);
  EXPECT_EQ(withTool("", std::nullopt).callKey(), std::nullopt);
  EXPECT_EQ(withTool("name:Bash", "Read").callKey(), "name:Bash");
}

// The event of an object, looked up key by key in a whole tree of values.
HookEvent lookedUp(const boost::json::object& object, const Text& eventOverride) {
  const auto text = [&](std::initializer_list<std::string_view> keys) -> Text {
    for (const auto key : keys) {
      const auto* value = object.if_contains(key);
      if (value != nullptr && value->is_string()) return std::string(value->as_string());
    }
    return std::nullopt;
  };
  HookEvent event;
  event.sessionId = text({"session_id", "sessionId"}).value_or("");
  std::string name = text({"hook_event_name", "hookEventName"}).value_or(eventOverride.value_or(""));
  if (name == "userPromptSubmitted") name = "UserPromptSubmit";
  if (name == "agentStop") name = "Stop";
  if (name.front() >= 'a' && name.front() <= 'z') name.front() = static_cast<char>(name.front() - 'a' + 'A');
  event.eventName = name;
  event.cwd = text({"cwd"}).value_or("");
  event.toolName = text({"tool_name", "toolName"});
  event.notificationType = text({"notification_type", "notificationType"});
  event.source = text({"source"});
  event.toolUseId = text({"tool_use_id", "toolUseId", "tool_call_id", "toolCallId"});
  event.agentId = text({"agent_id", "agentId"});
  event.transcriptPath = text({"transcript_path", "transcriptPath"});
  return event;
}

TEST(HookEvent, EveryRecordedEventIsReadAsAPlainLookUpReadsIt) {
  int compared = 0;
  int beyondAStrictParser = 0;
  for (const test::Scenario& scenario : test::recordedScenarios()) {
    for (const test::RecordedEvent& recorded : scenario.events) {
      SCOPED_TRACE(recorded.file);
      const std::string bytes = test::readFile(recorded.file);
      std::vector<std::string_view> words = {"tavrin-hook"};
      words.insert(words.end(), recorded.arguments.begin(), recorded.arguments.end());
      const Text eventOverride = AgentArgument::parseAll(words).event;
      const HookEvent event = parsed(bytes, eventOverride);
      boost::system::error_code error;
      const boost::json::value value = boost::json::parse(bytes, error);
      if (error) {
        ++beyondAStrictParser;
        EXPECT_NE(event.sessionId, "");
        continue;
      }
      EXPECT_EQ(event, lookedUp(value.as_object(), eventOverride));
      ++compared;
    }
  }
  EXPECT_GT(compared, 400);
  EXPECT_GT(beyondAStrictParser, 0);
  EXPECT_LT(beyondAStrictParser, 10);
}

}  // namespace
}  // namespace tavrin
