#include "TavrinCore/Transcripts/TranscriptSignal.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace tavrin {

// How GoogleTest prints an unexpected signal.
void PrintTo(const TranscriptSignal& signal, std::ostream* out) {
  *out << "signal " << rawValue(signal.kind()) << " " << signal.id();
}

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TranscriptParser::claudeSignals;
using TranscriptParser::codexSignals;

TranscriptSignal result(std::string id) {
  return TranscriptSignal::toolResult(std::move(id));
}
const TranscriptSignal interrupted = TranscriptSignal::interrupted();
const TranscriptSignal resumed = TranscriptSignal::resumed();

// A line of Claude Code's transcript as it is written, with this content of its message.
std::string claudeLine(const std::string& content, const std::string& type = "user") {
  return R"({"parentUuid":"5f0c6a52-1d1f-4a53-9d52-6a3d4f0a9e11","isSidechain":false,"userType":"external",)"
         R"("cwd":"/Users/dev/src/app","sessionId":"8f3a2c1e-7b6d-4e5f-9a8b-1c2d3e4f5a6b","version":"2.1.197",)"
         R"("gitBranch":"main","type":")" +
         type + R"(","message":{"role":")" + type + R"(","content":)" + content +
         R"(},"uuid":"0b1c2d3e-4f5a-6b7c-8d9e-0f1a2b3c4d5e","timestamp":"2026-11-21T08:03:12.345Z"})" + "\n";
}

// A line of Codex's transcript with this payload.
std::string codexLine(const std::string& type, const std::string& payload) {
  return R"({"timestamp":"2026-11-21T08:03:12.345Z","type":")" + type + R"(","payload":)" + payload + "}\n";
}

std::string codexItem(const std::string& item) {
  return codexLine("event_msg",
                   R"({"type":"item_completed","thread_id":"t","turn_id":"u","item":)" + item + "}");
}

TEST(TranscriptSignal, SignalsAreEqualWhenKindAndIdentifierAre) {
  EXPECT_EQ(result("a"), result("a"));
  EXPECT_NE(result("a"), result("b"));
  EXPECT_NE(interrupted, resumed);
  EXPECT_NE(result(""), resumed);
  EXPECT_EQ(result("a").kind(), TranscriptSignal::Kind::toolResult);
  EXPECT_EQ(result("a").id(), "a");
  EXPECT_EQ(interrupted.kind(), TranscriptSignal::Kind::interrupted);
  EXPECT_EQ(resumed.kind(), TranscriptSignal::Kind::resumed);
}

TEST(ClaudeSignals, AResultOfAToolNamesItsCall) {
  EXPECT_THAT(
      claudeSignals(claudeLine(
          R"([{"tool_use_id":"toolu_01Ab","type":"tool_result","content":"total 8\n","is_error":false}])")),
      ElementsAre(result("toolu_01Ab")));
  EXPECT_THAT(
      claudeSignals(claudeLine(
          R"([{"type":"tool_result","content":[{"type":"text","text":"[Request interrupted by user"}],"tool_use_id":"t"}])")),
      ElementsAre(result("t")));
}

TEST(ClaudeSignals, TwoResultsGiveTwoSignalsInOrder) {
  EXPECT_THAT(
      claudeSignals(claudeLine(
          R"([{"type":"tool_result","tool_use_id":"b"},{"type":"text","text":"and"},{"type":"tool_result","tool_use_id":"a"}])")),
      ElementsAre(result("b"), result("a")));
  EXPECT_THAT(
      claudeSignals(claudeLine(
          R"([{"type":"text","text":"[Request interrupted by user]"},{"type":"tool_result","tool_use_id":"a"}])")),
      ElementsAre(interrupted, result("a")));
}

TEST(ClaudeSignals, AnInterruptionIsKnownByHowItsTextStarts) {
  for (const char* text : {"[Request interrupted by user]", "[Request interrupted by user for tool use]",
                           "[Request interrupted by user"})
    EXPECT_THAT(claudeSignals(claudeLine(R"([{"type":"text","text":")" + std::string(text) + "\"}]")),
                ElementsAre(interrupted))
        << text;
  for (const char* text : {" [Request interrupted by user]", "[Request interrupted by use",
                           "[request interrupted by user]", "Request interrupted by user", ""})
    EXPECT_THAT(claudeSignals(claudeLine(R"([{"type":"text","text":")" + std::string(text) + "\"}]")),
                IsEmpty())
        << text;
}

TEST(ClaudeSignals, AResultWithoutAnIdentifierIsNoSignal) {
  for (const char* element :
       {R"({"type":"tool_result","tool_use_id":""})", R"({"type":"tool_result"})",
        R"({"type":"tool_result","tool_use_id":5})", R"({"type":"tool_result","tool_use_id":null})",
        R"({"type":"tool_result","tool_use_id":["a"]})", R"({"type":"tool_result","toolUseId":"a"})"}) {
    EXPECT_THAT(claudeSignals(claudeLine("[" + std::string(element) + "]")), IsEmpty()) << element;
  }
}

TEST(ClaudeSignals, OtherElementsAreNoSignals) {
  for (const char* element :
       {"{}", R"({"type":"tool_use","id":"tool_result","tool_use_id":"a"})",
        R"({"type":"image","text":"[Request interrupted by user]"})",
        R"({"type":"text","text":["[Request interrupted by user]"]})",
        R"({"type":"text","content":"[Request interrupted by user]"})",
        R"({"type":null,"tool_use_id":"tool_result"})", R"({"type":["tool_result"],"tool_use_id":"a"})",
        R"({"type":"Tool_Result","tool_use_id":"tool_result"})"}) {
    EXPECT_THAT(claudeSignals(claudeLine("[" + std::string(element) + "]")), IsEmpty()) << element;
  }
}

TEST(ClaudeSignals, OnlyUserMessagesWithAListOfObjectsCount) {
  const std::string list = R"([{"type":"tool_result","tool_use_id":"a"}])";
  EXPECT_THAT(claudeSignals(claudeLine(list)), ElementsAre(result("a")));
  EXPECT_THAT(claudeSignals(claudeLine(list, "assistant")), IsEmpty());
  EXPECT_THAT(claudeSignals(claudeLine(list, "User")), IsEmpty());
  for (const char* content :
       {"[]", R"("[Request interrupted by user]")", R"({"type":"tool_result","tool_use_id":"a"})", "null",
        R"([{"type":"tool_result","tool_use_id":"a"},"text"])",
        R"([null,{"type":"tool_result","tool_use_id":"a"}])",
        R"([[{"type":"tool_result","tool_use_id":"a"}]])"}) {
    EXPECT_THAT(claudeSignals(claudeLine(content)), IsEmpty()) << content;
  }
  for (const char* line :
       {R"({"message":{"content":[{"type":"tool_result","tool_use_id":"a"}]}})",
        R"({"type":["user"],"message":{"content":[{"type":"tool_result","tool_use_id":"a"}]}})",
        R"({"type":"user","content":[{"type":"tool_result","tool_use_id":"a"}]})",
        R"({"type":"user","message":[{"type":"tool_result","tool_use_id":"a"}]})",
        R"({"type":"user","message":"tool_result"})", R"({"type":"user","message":null,"x":"tool_result"})",
        R"([{"type":"user","message":{"content":[{"type":"tool_result","tool_use_id":"a"}]}}])",
        R"("tool_result")"}) {
    EXPECT_THAT(claudeSignals(line), IsEmpty()) << line;
  }
}

TEST(ClaudeSignals, OfTwoEqualKeysTheLastCounts) {
  EXPECT_THAT(
      claudeSignals(
          R"({"type":"assistant","type":"user","message":{"content":[]},"message":{"content":[{"type":"text","type":"tool_result","tool_use_id":"","tool_use_id":"a"}]}})"),
      ElementsAre(result("a")));
  EXPECT_THAT(
      claudeSignals(
          R"({"type":"user","message":{"content":[{"type":"tool_result","tool_use_id":"a"}]},"type":"x"})"),
      IsEmpty());
}

TEST(CodexSignals, ToolOutputsNameTheirCall) {
  EXPECT_THAT(codexSignals(codexLine(
                  "response_item",
                  R"({"type":"function_call_output","call_id":"call_1","output":"{\"output\":\"ok\\n\"}"})")),
              ElementsAre(result("call_1")));
  EXPECT_THAT(
      codexSignals(codexLine("response_item",
                             R"({"type":"custom_tool_call_output","call_id":"call_2","output":"Success"})")),
      ElementsAre(result("call_2")));
}

TEST(CodexSignals, OtherResponseItemsAreNoSignals) {
  for (const char* payload :
       {R"({"type":"function_call","name":"shell","arguments":"function_call_output","call_id":"call_1"})",
        R"({"type":"custom_tool_call","call_id":"function_call_output"})",
        R"({"type":"message","role":"user","content":"task_complete"})",
        R"({"type":"function_call_output","call_id":""})", R"({"type":"function_call_output"})",
        R"({"type":"function_call_output","call_id":7})", R"({"type":"function_call_output","id":"call_1"})",
        R"({"type":"token_count"})", R"({"type":"task_complete"})", R"({"type":"turn_aborted"})",
        R"({"type":"item_completed","item":{"id":"i","type":"FileChange"}})",
        R"({"type":"local_shell_call_output","call_id":"function_call_output"})"}) {
    EXPECT_THAT(codexSignals(codexLine("response_item", payload)), IsEmpty()) << payload;
  }
}

TEST(CodexSignals, EventsShowThatTheTurnGoesOnOrStops) {
  EXPECT_THAT(
      codexSignals(codexLine(
          "event_msg",
          R"({"type":"token_count","info":{"total_token_usage":{"input_tokens":31337}},"rate_limits":null})")),
      ElementsAre(resumed));
  EXPECT_THAT(codexSignals(codexLine(
                  "event_msg", R"({"type":"task_complete","turn_id":"u","last_agent_message":"Done."})")),
              ElementsAre(interrupted));
  EXPECT_THAT(codexSignals(codexLine("event_msg", R"({"type":"turn_aborted","reason":"interrupted"})")),
              ElementsAre(interrupted));
}

TEST(CodexSignals, CompletedItemsAreResultsWhenTheyAreToolCalls) {
  for (const std::string kind :
       {"CommandExecution", "McpToolCall", "Extension", "FileChange", "DynamicToolCall"})
    EXPECT_THAT(codexSignals(codexItem(R"({"type":")" + kind + R"(","id":"exec-1","status":"completed"})")),
                ElementsAre(result("exec-1")))
        << kind;
  for (const char* item : {R"({"type":"AgentMessage","id":"i"})", R"({"type":"Reasoning","id":"i"})",
                           R"({"type":"commandExecution","id":"i"})", R"({"type":"","id":"i"})",
                           R"({"type":null,"id":"i"})", R"({"id":"i"})", R"({"type":"FileChange"})",
                           R"({"type":"FileChange","id":""})", R"({"type":"FileChange","id":3})",
                           R"([{"type":"FileChange","id":"i"}])", "null", "\"FileChange\"", "{}"}) {
    EXPECT_THAT(codexSignals(codexItem(item)), IsEmpty()) << item;
  }
  EXPECT_THAT(codexSignals(codexLine("event_msg", R"({"type":"item_completed","id":"i"})")), IsEmpty());
  EXPECT_THAT(
      codexSignals(codexLine(
          "event_msg", R"({"type":"item_started","item":{"type":"FileChange","id":"item_completed"}})")),
      IsEmpty());
}

TEST(CodexSignals, OtherEventsAndLinesAreNoSignals) {
  for (const char* payload :
       {R"({"type":"function_call_output","call_id":"c"})",
        R"({"type":"agent_message","message":"token_count"})",
        R"({"type":"exec_command_end","call_id":"item_completed"})", R"({"type":["token_count"]})",
        R"({"kind":"token_count"})", "null", "\"token_count\"", R"([{"type":"token_count"}])", "{}"}) {
    EXPECT_THAT(codexSignals(codexLine("event_msg", payload)), IsEmpty()) << payload;
  }
  for (const char* type : {"session_meta", "turn_context", "compacted", "Event_Msg", ""}) {
    EXPECT_THAT(codexSignals(codexLine(type, R"({"type":"token_count"})")), IsEmpty()) << type;
    EXPECT_THAT(codexSignals(codexLine(type, R"({"type":"function_call_output","call_id":"c"})")), IsEmpty())
        << type;
  }
  for (const char* line :
       {R"({"payload":{"type":"token_count"}})", R"({"type":7,"payload":{"type":"token_count"}})",
        R"({"type":"event_msg","x":"token_count"})",
        R"([{"type":"event_msg","payload":{"type":"token_count"}}])", "\"token_count\"", "null"}) {
    EXPECT_THAT(codexSignals(line), IsEmpty()) << line;
  }
}

TEST(Signals, EachAgentsLinesAreReadItsWay) {
  const std::string claude = claudeLine(R"([{"type":"tool_result","tool_use_id":"a"}])");
  const std::string codex = codexLine("event_msg", R"({"type":"token_count"})");
  EXPECT_THAT(TranscriptParser::signals(claude, Agent::claude), ElementsAre(result("a")));
  EXPECT_THAT(TranscriptParser::signals(codex, Agent::codex), ElementsAre(resumed));
  EXPECT_THAT(TranscriptParser::signals(codex, Agent::claude), IsEmpty());
  EXPECT_THAT(TranscriptParser::signals(claude, Agent::codex), IsEmpty());
  for (const Agent agent : {Agent::gemini, Agent::copilot, Agent::grok}) {
    EXPECT_THAT(TranscriptParser::signals(claude, agent), IsEmpty());
    EXPECT_THAT(TranscriptParser::signals(codex, agent), IsEmpty());
  }
}

TEST(Signals, NamesSpelledWithEscapesCount) {
  EXPECT_THAT(
      claudeSignals(
          R"({"type":"\u0075ser","message":{"content":[{"type":"tool\u005fresult","tool_use_id":"a"}]}})"),
      ElementsAre(result("a")));
  EXPECT_THAT(
      claudeSignals(
          R"({"type":"user","message":{"content":[{"type":"text","text":"\u005BRequest interrupted by user]"}]}})"),
      ElementsAre(interrupted));
  EXPECT_THAT(
      claudeSignals(
          R"({"type":"user","message":{"content":[{"type":"text","text":"[Request\u0020interrupted by user]"}]}})"),
      ElementsAre(interrupted));
  EXPECT_THAT(codexSignals(R"({"type":"event_msg","payload":{"type":"token\u005Fcount"}})"),
              ElementsAre(resumed));
  EXPECT_THAT(codexSignals(R"({"type":"event_msg","payload":{"type":"\u0074ask_complete"}})"),
              ElementsAre(interrupted));
}

TEST(Signals, HalfLinesHaveNoSignals) {
  for (const std::string& line :
       {claudeLine(R"([{"type":"tool_result","tool_use_id":"a","content":"x"}])"),
        codexLine("response_item", R"({"type":"function_call_output","call_id":"c","output":"x"})")}) {
    const std::size_t end = line.rfind('}');
    for (std::size_t size = 0; size <= end; ++size) {
      ASSERT_THAT(claudeSignals(line.substr(0, size)), IsEmpty()) << size;
      ASSERT_THAT(codexSignals(line.substr(0, size)), IsEmpty()) << size;
    }
    for (std::size_t start = 1; start < line.size(); ++start) {
      ASSERT_THAT(claudeSignals(line.substr(start)), IsEmpty()) << start;
      ASSERT_THAT(codexSignals(line.substr(start)), IsEmpty()) << start;
    }
    EXPECT_EQ(claudeSignals(line).size() + codexSignals(line).size(), 1U);
    EXPECT_THAT(claudeSignals(line + line), IsEmpty());
    EXPECT_THAT(codexSignals(line + line), IsEmpty());
  }
}

TEST(Signals, InvalidUtf8HasNoSignalsAndAnUnpairedSurrogateIsFine) {
  for (const char* bytes : {"\xff", "\xc3", "\xed\xa0\x80", "\xc0\xaf", "\xf5\x80\x80\x80"})
    EXPECT_THAT(claudeSignals(claudeLine(R"([{"type":"tool_result","tool_use_id":"a","content":")" +
                                         std::string(bytes) + "\"}]")),
                IsEmpty());
  EXPECT_THAT(claudeSignals(claudeLine(R"([{"type":"tool_result","tool_use_id":"a","content":"\ud83e"}])")),
              ElementsAre(result("a")));
  EXPECT_THAT(codexSignals(codexLine("response_item",
                                     R"({"type":"function_call_output","call_id":"c","output":"\udc00"})")),
              ElementsAre(result("c")));
}

TEST(Signals, LinesOfFiveMegabytesAreRead) {
  std::string output;
  while (output.size() < 5'000'000) output += R"(const auto some_value = \"tool_use\"; \u001b[0m\n)";
  EXPECT_THAT(
      claudeSignals(claudeLine(R"([{"type":"tool_result","tool_use_id":"a","content":")" + output + "\"}]")),
      ElementsAre(result("a")));
  EXPECT_THAT(claudeSignals(claudeLine(R"([{"type":"text","text":")" + output + "\"}]", "assistant")),
              IsEmpty());
  EXPECT_THAT(
      codexSignals(codexLine("response_item",
                             R"({"type":"function_call_output","call_id":"c","output":")" + output + "\"}")),
      ElementsAre(result("c")));
  // Garbage of that size in which every byte looks like the start of something.
  for (const char* piece :
       {"_", "[", "\\", "\\u00", "{\"type\":", "tool_resul", "item_complete", "\"", "\xff", "[{"}) {
    std::string garbage = "tool_result task_complete ";
    while (garbage.size() < 5'000'000) garbage += piece;
    EXPECT_THAT(claudeSignals(garbage), IsEmpty()) << piece;
    EXPECT_THAT(codexSignals(garbage), IsEmpty()) << piece;
  }
}

}  // namespace
}  // namespace tavrin
