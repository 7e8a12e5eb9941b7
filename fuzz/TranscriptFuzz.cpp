// A line of a transcript. The parser skips most lines without reading them as JSON. Here a second reader
// reads each line, and both must see the same signals.
#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "TavrinCore/Transcripts/TranscriptSignal.hpp"
#include "fuzz/Laws.hpp"
#include "fuzz/PlainJson.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)
using PlainJson::Value;
using Signals = std::vector<TranscriptSignal>;

namespace {

// "" for a value that is missing or not a text.
std::string textUnder(const Value& object, std::string_view key) {
  const Value* const value = object.last(key);
  return value == nullptr || value->asText() == nullptr ? "" : *value->asText();
}

bool isObject(const Value* value) {
  return value != nullptr && value->kind == Value::Kind::object;
}

Signals resultWith(const std::string& id) {
  return id.empty() ? Signals() : Signals{TranscriptSignal::toolResult(id)};
}

Signals claudePlainly(const Value& line) {
  const Value* const message = line.last("message");
  if (textUnder(line, "type") != "user" || !isObject(message)) return {};
  const Value* const content = message->last("content");
  if (content == nullptr || content->kind != Value::Kind::array) return {};
  if (!std::ranges::all_of(content->elements, [](const Value& element) { return isObject(&element); }))
    return {};
  Signals signals;
  for (const Value& element : content->elements) {
    const std::string type = textUnder(element, "type");
    if (type == "tool_result") {
      for (const TranscriptSignal& signal : resultWith(textUnder(element, "tool_use_id")))
        signals.push_back(signal);
    }
    if (type == "text" && textUnder(element, "text").starts_with("[Request interrupted by user"))
      signals.push_back(TranscriptSignal::interrupted());
  }
  return signals;
}

Signals codexPlainly(const Value& line) {
  constexpr std::array<std::string_view, 5> tools = {"CommandExecution", "McpToolCall", "Extension",
                                                     "FileChange", "DynamicToolCall"};
  const Value* const payload = line.last("payload");
  if (!isObject(payload)) return {};
  const std::string kind = textUnder(*payload, "type");
  if (textUnder(line, "type") == "response_item") {
    const bool isOutput = kind == "function_call_output" || kind == "custom_tool_call_output";
    return isOutput ? resultWith(textUnder(*payload, "call_id")) : Signals();
  }
  if (textUnder(line, "type") != "event_msg") return {};
  if (kind == "token_count") return {TranscriptSignal::resumed()};
  if (kind == "task_complete" || kind == "turn_aborted") return {TranscriptSignal::interrupted()};
  const Value* const item = payload->last("item");
  if (kind != "item_completed" || !isObject(item)) return {};
  const bool isTool = std::ranges::find(tools, textUnder(*item, "type")) != tools.end();
  return isTool ? resultWith(textUnder(*item, "id")) : Signals();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view line = textOf(data, size);
  const std::optional<Value> plain = PlainJson::parseMessage(line);
  const bool isLine = plain && plain->kind == Value::Kind::object;
  require(TranscriptParser::claudeSignals(line) == (isLine ? claudePlainly(*plain) : Signals()),
          "both readers see the same signals of Claude Code");
  const Signals codex = TranscriptParser::codexSignals(line);
  require(codex == (isLine ? codexPlainly(*plain) : Signals()), "both readers see the same signals of Codex");
  require(codex.size() <= 1, "a line of Codex has at most one");
  require(TranscriptParser::signals(line, Agent::codex) == codex, "the agent chooses the format");
  require(TranscriptParser::signals(line, Agent::grok).empty(), "other agents' transcripts are not read");
  return 0;
}
