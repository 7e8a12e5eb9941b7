// The parser skips most transcript lines without reading them as JSON. Here each of many generated lines is
// also read the plain way, and both must find the same signals.

#include <gtest/gtest.h>

#include <array>
#include <boost/json/serialize.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Transcripts/TranscriptSignal.hpp"
#include "tests/support/Random.hpp"

namespace tavrin {
namespace {

namespace json = boost::json;

// The plain way: reads every line as JSON before looking at it.
namespace plain {

const json::value* at(const json::value& value, const char* key) {
  return value.is_object() ? value.get_object().if_contains(key) : nullptr;
}

bool isText(const json::value* value, const char* text) {
  return value != nullptr && value->is_string() && value->get_string() == text;
}

bool isName(const json::value* value) {
  return value != nullptr && value->is_string() && !value->get_string().empty();
}

std::vector<TranscriptSignal> claude(const json::value& line) {
  const json::value* const message = at(line, "message");
  const json::value* const content = message == nullptr ? nullptr : at(*message, "content");
  if (!isText(at(line, "type"), "user") || content == nullptr || !content->is_array()) return {};
  std::vector<TranscriptSignal> found;
  for (const json::value& element : content->get_array()) {
    if (!element.is_object()) return {};
    const json::value* const id = at(element, "tool_use_id");
    const json::value* const text = at(element, "text");
    if (isText(at(element, "type"), "tool_result") && isName(id))
      found.push_back(TranscriptSignal::toolResult(id->get_string().c_str()));
    if (isText(at(element, "type"), "text") && isName(text) &&
        text->get_string().starts_with("[Request interrupted by user"))
      found.push_back(TranscriptSignal::interrupted());
  }
  return found;
}

std::vector<TranscriptSignal> codex(const json::value& line) {
  const json::value* const payload = at(line, "payload");
  if (payload == nullptr) return {};
  const json::value* const type = at(*payload, "type");
  if (isText(at(line, "type"), "response_item")) {
    const json::value* const id = at(*payload, "call_id");
    const bool isOutput = isText(type, "function_call_output") || isText(type, "custom_tool_call_output");
    if (isOutput && isName(id)) return {TranscriptSignal::toolResult(id->get_string().c_str())};
  }
  if (!isText(at(line, "type"), "event_msg")) return {};
  if (isText(type, "token_count")) return {TranscriptSignal::resumed()};
  if (isText(type, "task_complete") || isText(type, "turn_aborted")) return {TranscriptSignal::interrupted()};
  const json::value* const item = isText(type, "item_completed") ? at(*payload, "item") : nullptr;
  if (item == nullptr || !isName(at(*item, "id"))) return {};
  for (const char* kind : {"CommandExecution", "McpToolCall", "Extension", "FileChange", "DynamicToolCall"}) {
    if (isText(at(*item, "type"), kind))
      return {TranscriptSignal::toolResult(at(*item, "id")->get_string().c_str())};
  }
  return {};
}

}  // namespace plain

// Lines made of the words that matter, nearly right or quite wrong, with any escapes and spaces.
class LineGenerator {
 public:
  explicit LineGenerator(unsigned seed) : random_(seed) {}

  std::string line() {
    std::string text;
    write(text, oneIn(2) ? claude() : codex());
    if (oneIn(6)) text.resize(upTo(text.size()));
    if (oneIn(6) && !text.empty()) text[upTo(text.size() - 1)] = static_cast<char>(upTo(255));
    if (oneIn(10)) text += oneIn(2) ? "\r\n" : " x";
    return text;
  }

 private:
  std::size_t upTo(std::size_t most) { return random_.below(most + 1); }
  bool oneIn(std::size_t n) { return upTo(n - 1) == 0; }

  // Mostly `right`. Otherwise one of the other words, or a value that is not a text.
  json::value word(const char* right) {
    static constexpr std::array<const char*, 22> words = {"user",
                                                          "assistant",
                                                          "tool_result",
                                                          "tool_use",
                                                          "text",
                                                          "[Request interrupted by user]",
                                                          "[Request interrupted by user for tool use]",
                                                          "",
                                                          "response_item",
                                                          "event_msg",
                                                          "function_call_output",
                                                          "custom_tool_call_output",
                                                          "function_call",
                                                          "token_count",
                                                          "task_complete",
                                                          "turn_aborted",
                                                          "item_completed",
                                                          "FileChange",
                                                          "CommandExecution",
                                                          "AgentMessage",
                                                          "id / \"é\" \\ \x1b \n",
                                                          "a_b_c"};
    if (oneIn(12)) return oneIn(2) ? json::value(nullptr) : json::array{1, right};
    return oneIn(6) ? words[upTo(words.size() - 1)] : right;
  }

  template <std::size_t count>
  json::value anyWord(const std::array<const char*, count>& right) {
    return word(right[upTo(count - 1)]);
  }

  json::value element() {
    if (oneIn(15)) return word("tool_result");
    json::object element;
    element["type"] = anyWord(std::array{"tool_result", "text", "tool_use"});
    if (!oneIn(5)) element["tool_use_id"] = word("toolu_01");
    if (!oneIn(3))
      element["text"] = anyWord(
          std::array{"[Request interrupted by user", "[Request interrupted by user for tool use]", "hello"});
    return element;
  }

  json::value claude() {
    json::array content;
    for (std::size_t i = upTo(3); i > 0; --i) content.push_back(element());
    json::object message;
    message["content"] = oneIn(10) ? word("tool_result") : json::value(content);
    json::object line;
    line["type"] = word("user");
    line["message"] = oneIn(10) ? json::value(content) : json::value(message);
    return line;
  }

  json::value codex() {
    json::object item;
    item["type"] = anyWord(std::array{"CommandExecution", "McpToolCall", "Extension", "FileChange",
                                      "DynamicToolCall", "AgentMessage"});
    item["id"] = word("exec-1");
    json::object payload;
    payload["type"] = anyWord(std::array{"function_call_output", "custom_tool_call_output", "token_count",
                                         "task_complete", "turn_aborted", "item_completed"});
    payload["call_id"] = word("call_1");
    payload["item"] = oneIn(10) ? json::value(json::array{item}) : json::value(item);
    json::object line;
    line["type"] = anyWord(std::array{"response_item", "event_msg"});
    line["payload"] = oneIn(12) ? word("token_count") : json::value(payload);
    return line;
  }

  void blanks(std::string& out) {
    if (oneIn(8)) out += oneIn(2) ? " " : "\t ";
  }

  void writeText(std::string& out, std::string_view text) {
    static constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";
    const std::size_t odds = oneIn(3) ? 4 : 1000;
    out += '"';
    for (const char c : text) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte < 0x20 || c == '"' || c == '\\' || (byte < 0x80 && oneIn(odds))) {
        const unsigned low = byte & 0xFU;
        out += "\\u00";
        out += hexDigits[byte >> 4U];
        out += hexDigits[low >= 10 && oneIn(2) ? low + 6 : low];
      } else if (c == '/' && oneIn(2)) {
        out += "\\/";
      } else {
        out += c;
      }
    }
    out += '"';
  }

  void writeMember(std::string& out, std::string_view key, const json::value& value) {
    blanks(out);
    writeText(out, key);
    blanks(out);
    out += ':';
    write(out, value);
  }

  void write(std::string& out, const json::value& value) {
    blanks(out);
    if (const auto* const text = value.if_string()) {
      writeText(out, std::string_view(text->data(), text->size()));
    } else if (const auto* const array = value.if_array()) {
      out += '[';
      for (std::size_t i = 0; i < array->size(); ++i) {
        if (i > 0) out += ',';
        write(out, (*array)[i]);
      }
      out += ']';
    } else if (const auto* const object = value.if_object()) {
      out += '{';
      bool isFirst = true;
      for (const auto& [key, member] : *object) {
        if (!isFirst) out += ',';
        isFirst = false;
        // Sometimes another value comes first under the same key.
        if (oneIn(20)) {
          writeMember(out, key, word("user"));
          out += ',';
        }
        writeMember(out, key, member);
      }
      if (oneIn(30) && !isFirst) out += ',';
      out += '}';
    } else {
      out += json::serialize(value);
    }
    blanks(out);
  }

  test::Random random_;
};

TEST(TranscriptLines, SkippingLinesLosesNoSignal) {
  LineGenerator generator(test::randomSeed());
  std::size_t claudeFound = 0;
  std::size_t codexFound = 0;
  constexpr int lines = test::generatedCases(200'000);
  for (int i = 0; i < lines; ++i) {
    const std::string line = generator.line();
    const std::optional<json::value> document = Json::parse(line);
    const auto claudeExpected = document ? plain::claude(*document) : std::vector<TranscriptSignal>();
    const auto codexExpected = document ? plain::codex(*document) : std::vector<TranscriptSignal>();
    ASSERT_EQ(TranscriptParser::claudeSignals(line), claudeExpected) << line;
    ASSERT_EQ(TranscriptParser::codexSignals(line), codexExpected) << line;
    claudeFound += claudeExpected.size();
    codexFound += codexExpected.size();
  }
  EXPECT_GT(claudeFound, lines / 20U);
  EXPECT_GT(codexFound, lines / 20U);
}

}  // namespace
}  // namespace tavrin
