#include "TavrinCore/Hook/HookPayload.hpp"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {
namespace {

using Text = std::optional<std::string>;

// One field and the keys under which it is read, the preferred one first.
struct Field {
  std::string_view name;
  std::vector<std::string_view> spellings;
  HookPayload::Field field;

  Text read(const HookPayload& payload) const { return payload.text(field); }
};

const std::vector<Field>& fields() {
  static const std::vector<Field> all = {
      {"sessionId", {"session_id", "sessionId"}, &HookEvent::sessionId},
      {"eventName", {"hook_event_name", "hookEventName"}, &HookEvent::eventName},
      {"cwd", {"cwd"}, &HookEvent::cwd},
      {"toolName", {"tool_name", "toolName"}, &HookEvent::toolName},
      {"notificationType", {"notification_type", "notificationType"}, &HookEvent::notificationType},
      {"source", {"source"}, &HookEvent::source},
      {"toolUseId", {"tool_use_id", "toolUseId", "tool_call_id", "toolCallId"}, &HookEvent::toolUseId},
      {"agentId", {"agent_id", "agentId"}, &HookEvent::agentId},
      {"transcriptPath", {"transcript_path", "transcriptPath"}, &HookEvent::transcriptPath},
  };
  return all;
}

std::string inQuotes(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

// An object with these keys and values. The values are JSON.
std::string object(const std::vector<std::pair<std::string_view, std::string>>& members) {
  std::string text = "{";
  for (const auto& [key, value] : members)
    text += (text.size() == 1 ? "" : ",") + inQuotes(key) + ":" + value;
  return text + "}";
}

constexpr std::array<std::string_view, 9> valuesThatAreNoText = {"null",  "true", "false", "0",       "12345",
                                                                 "1.5e3", "{}",   "[]",    R"(["a"])"};

TEST(HookPayload, EachFieldIsReadUnderEachOfItsSpellings) {
  int count = 0;
  for (const Field& field : fields()) {
    for (const auto key : field.spellings) {
      const HookPayload payload(object({{key, R"("value")"}}));
      EXPECT_TRUE(payload.isObject());
      for (const Field& other : fields()) {
        EXPECT_EQ(other.read(payload), &other == &field ? Text("value") : std::nullopt)
            << key << " " << other.name;
      }
      ++count;
    }
  }
  EXPECT_EQ(count, 18);
}

TEST(HookPayload, AFieldWithoutAnyOfItsSpellingsIsAbsent) {
  const HookPayload empty("{}");
  const HookPayload others(
      R"({"Session_id":"a","sessionID":"a","session-id":"a","CWD":"a","toolname":"a","tool_useId":"a",
          "a":{"session_id":"a","cwd":"a","tool_name":"a"},"b":[{"agent_id":"a"}],"":"a","source ":"a"})");
  for (const Field& field : fields()) {
    EXPECT_EQ(field.read(empty), std::nullopt) << field.name;
    EXPECT_EQ(field.read(others), std::nullopt) << field.name;
  }
}

TEST(HookPayload, OfAllSpellingsTheEarliestWithATextWins) {
  // Each spelling gets a text, an empty text, a number, or is left out; all combinations, in both orders.
  int count = 0;
  for (const Field& field : fields()) {
    const std::size_t size = field.spellings.size();
    std::size_t combinations = 1;
    for (std::size_t i = 0; i < size; ++i) combinations *= 4;
    for (std::size_t combination = 0; combination < combinations; ++combination) {
      Text expected;
      std::vector<std::pair<std::string_view, std::string>> members;
      std::size_t rest = combination;
      for (std::size_t i = 0; i < size; ++i, rest /= 4) {
        const std::array<Text, 4> texts = {Text("text " + std::to_string(i)), Text(""), std::nullopt,
                                           std::nullopt};
        const Text& text = texts[rest % 4];
        if (!expected) expected = text;
        if (rest % 4 != 3) members.emplace_back(field.spellings[i], text ? inQuotes(*text) : "7");
      }
      EXPECT_EQ(field.read(HookPayload(object(members))), expected) << object(members);
      members = {members.rbegin(), members.rend()};
      EXPECT_EQ(field.read(HookPayload(object(members))), expected) << object(members);
      ++count;
    }
  }
  EXPECT_EQ(count, 2 * 4 + 6 * 16 + 256);
}

TEST(HookPayload, AValueThatIsNotATextCountsAsMissing) {
  int count = 0;
  for (const Field& field : fields()) {
    for (const auto value : valuesThatAreNoText) {
      std::vector<std::pair<std::string_view, std::string>> members;
      for (const auto key : field.spellings) members.emplace_back(key, std::string(value));
      EXPECT_EQ(field.read(HookPayload(object(members))), std::nullopt) << object(members);
      members.back().second = R"("found")";
      EXPECT_EQ(field.read(HookPayload(object(members))), "found") << object(members);
      ++count;
    }
  }
  EXPECT_EQ(count, 81);
}

TEST(HookPayload, OfEqualKeysTheLastCountsEvenIfItIsNotAText) {
  EXPECT_EQ(HookPayload(R"({"session_id":"a","session_id":"b"})").text(&HookEvent::sessionId), "b");
  EXPECT_EQ(HookPayload(R"({"session_id":"a","session_id":5})").text(&HookEvent::sessionId), std::nullopt);
  EXPECT_EQ(
      HookPayload(R"({"session_id":"a","sessionId":"c","session_id":null})").text(&HookEvent::sessionId),
      "c");
  EXPECT_EQ(HookPayload(R"({"session_id":["a"],"session_id":"b"})").text(&HookEvent::sessionId), "b");
  EXPECT_EQ(HookPayload(R"({"cwd":"a","c\u0077d":"b"})").text(&HookEvent::cwd), "b");
}

TEST(HookPayload, TextsComeWithTheirEscapesUndone) {
  const HookPayload payload(
      R"({"tool\u005fname":"a\"b\\c\/d\b\f\n\r\t\u00e9\u20ac\ud83d\ude00","cwd":"/\u0041"})");
  EXPECT_EQ(payload.text(&HookEvent::toolName), "a\"b\\c/d\b\f\n\r\t\u00e9\u20ac\U0001F600");
  EXPECT_EQ(payload.text(&HookEvent::cwd), "/A");
  EXPECT_EQ(HookPayload(R"({"cwd":"a\u0000b"})").text(&HookEvent::cwd), std::string("a\0b", 3));
  EXPECT_EQ(HookPayload("{\"cwd\":\"\u2028\u00e9\x7f\"}").text(&HookEvent::cwd), "\u2028\u00e9\x7f");
}

TEST(HookPayload, AnUnpairedSurrogateEscapeLosesNoEvent) {
  const HookPayload payload(
      R"({"session_id":"s\ud83e","x":"\ude00\ud83d","tool_name":"\ud83d\ude00\ud83dA","agent_id":"\\ud83e"})");
  EXPECT_EQ(payload.text(&HookEvent::sessionId), "s\uFFFD");
  EXPECT_EQ(payload.text(&HookEvent::toolName), "\U0001F600\uFFFDA");
  EXPECT_EQ(payload.text(&HookEvent::agentId), "\\ud83e");
}

TEST(HookPayload, FieldsAmongLargeAndDeepOnesAreFound) {
  std::string opening;
  std::string closing;
  for (int i = 0; i < 200; ++i) {
    opening += R"({"session_id":["wrong",)";
    closing += "]}";
  }
  const std::string large(900'000, 'x');
  const HookPayload payload(R"({"a":)" + opening + "1" + closing + R"(,"tool_input":{"content":")" + large +
                            R"(","cwd":"wrong"},"cwd":"/right","tool_response":[")" +
                            large.substr(0, 50'000) + R"("],"session_id":"s"})");
  EXPECT_EQ(payload.text(&HookEvent::cwd), "/right");
  EXPECT_EQ(payload.text(&HookEvent::sessionId), "s");
}

TEST(HookPayload, ALongTextIsWhole) {
  const std::string text(999'000, 'y');
  EXPECT_EQ(HookPayload(object({{"session_id", inQuotes(text)}})).text(&HookEvent::sessionId), text);
}

TEST(HookPayload, OnlyAnObjectIsAnObject) {
  for (const std::string_view bytes :
       {"[]", R"([{"session_id":"a"}])", R"("session_id")", "7", "true", "null"}) {
    const HookPayload payload(bytes);
    EXPECT_FALSE(payload.isObject()) << bytes;
    for (const Field& field : fields()) EXPECT_EQ(field.read(payload), std::nullopt) << bytes;
    EXPECT_FALSE(payload.hasCursorVersion()) << bytes;
    EXPECT_FALSE(payload.hasWorkspaceRoot()) << bytes;
  }
}

TEST(HookPayload, BytesThatAreNotJsonAreAnError) {
  for (const std::string_view bytes : {"",
                                       " ",
                                       "\n",
                                       "{",
                                       "}",
                                       "{]",
                                       R"({"session_id":"a"} {})",
                                       R"({"session_id":"a"}x)",
                                       R"({session_id:"a"})",
                                       R"({"session_id":'a'})",
                                       R"({"session_id":"a)",
                                       R"({"session_id" "a"})",
                                       "{\"session_id\":\"a\nb\"}",
                                       "{\"session_id\":\"\xff\"}",
                                       "{\"session_id\":\"\xed\xa0\x80\"}",
                                       R"({"session_id":"\x"})",
                                       R"({"session_id":"\u12"})",
                                       R"({"a":01})",
                                       R"({"a":1e999})",
                                       R"({"a":NaN})",
                                       R"(/**/{})",
                                       "nul"}) {
    EXPECT_THROW(HookPayload{bytes}, JsonError) << bytes;
  }
  EXPECT_THROW(HookPayload(std::string_view("{}\0", 3)), JsonError);
}

TEST(HookPayload, OnlyTheKeysOfOtherToolsMarksCount) {
  EXPECT_TRUE(HookPayload(R"({"cursor_version":null})").hasCursorVersion());
  EXPECT_FALSE(HookPayload(R"({"cursor_version":null})").hasWorkspaceRoot());
  EXPECT_TRUE(HookPayload(R"({"workspaceRoot":[]})").hasWorkspaceRoot());
  EXPECT_FALSE(HookPayload(R"({"workspaceRoot":[]})").hasCursorVersion());
}

}  // namespace
}  // namespace tavrin
