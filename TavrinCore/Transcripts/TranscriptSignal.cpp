#include "TavrinCore/Transcripts/TranscriptSignal.hpp"

#include <algorithm>
#include <array>
#include <boost/json/value.hpp>
#include <cstddef>
#include <optional>
#include <span>

#include "TavrinCore/Support/Json/Json.hpp"

namespace tavrin::TranscriptParser {

namespace json = boost::json;

namespace {

using Signals = std::vector<TranscriptSignal>;

constexpr std::array<std::string_view, 5> toolItemKinds = {"CommandExecution", "McpToolCall", "Extension",
                                                           "FileChange", "DynamicToolCall"};
constexpr std::array<std::string_view, 2> toolOutputKinds = {"function_call_output",
                                                             "custom_tool_call_output"};
constexpr std::string_view interruption = "[Request interrupted by user";

// A text that is in every line with a certain signal. The search looks for one of its characters, the anchor,
// which is rare in transcripts.
struct Word {
  std::string_view text;
  char anchor;
  std::size_t offset = text.find(anchor);
};

bool holds(std::string_view line, std::span<const Word> words) {
  const char anchor = words.front().anchor;
  for (std::size_t at = line.find(anchor); at != std::string_view::npos; at = line.find(anchor, at + 1)) {
    const auto isHere = [&](const Word& word) {
      return at >= word.offset && line.substr(at - word.offset).starts_with(word.text);
    };
    if (std::ranges::any_of(words, isHere)) return true;
  }
  return false;
}

// Whether a \u escape in `line` spells a visible ASCII character. Such an escape may hide a word.
bool spellsByEscapes(std::string_view line) {
  constexpr std::string_view start = "\\u00";
  for (std::size_t at = line.find('\\'); at != std::string_view::npos; at = line.find('\\', at + 1)) {
    const std::string_view escape = line.substr(at);
    if (escape.starts_with(start) && escape.size() > start.size() && escape[start.size()] >= '2' &&
        escape[start.size()] <= '7')
      return true;
  }
  return false;
}

constexpr std::array<Word, 1> claudeResult = {{{"tool_result", '_'}}};
constexpr std::array<Word, 1> claudeInterruption = {{{interruption, '['}}};
constexpr std::array<Word, 6> codexWords = {{{"function_call_output", '_'},
                                             {"custom_tool_call_output", '_'},
                                             {"token_count", '_'},
                                             {"task_complete", '_'},
                                             {"turn_aborted", '_'},
                                             {"item_completed", '_'}}};

std::optional<TranscriptSignal> toolResult(const json::object& object, std::string_view key) {
  const std::optional<std::string_view> id = Json::textAt(object, key);
  if (!id || id->empty()) return std::nullopt;
  return TranscriptSignal::toolResult(std::string(*id));
}

std::optional<TranscriptSignal> claudeSignal(const json::object& element) {
  const std::optional<std::string_view> type = Json::textAt(element, "type");
  if (type == "tool_result") return toolResult(element, "tool_use_id");
  if (type == "text" && Json::textAt(element, "text").value_or("").starts_with(interruption))
    return TranscriptSignal::interrupted();
  return std::nullopt;
}

std::optional<TranscriptSignal> codexEventSignal(std::string_view type, const json::object& payload) {
  if (type == "token_count") return TranscriptSignal::resumed();
  if (type == "task_complete" || type == "turn_aborted") return TranscriptSignal::interrupted();
  if (type != "item_completed") return std::nullopt;
  const json::object* const item = Json::objectAt(payload, "item");
  if (item == nullptr) return std::nullopt;
  const std::optional<std::string_view> kind = Json::textAt(*item, "type");
  if (!kind || std::ranges::find(toolItemKinds, *kind) == toolItemKinds.end()) return std::nullopt;
  return toolResult(*item, "id");
}

std::optional<TranscriptSignal> codexSignal(const json::object& line) {
  const json::object* const payload = Json::objectAt(line, "payload");
  if (payload == nullptr) return std::nullopt;
  const std::optional<std::string_view> payloadType = Json::textAt(*payload, "type");
  if (!payloadType) return std::nullopt;
  const std::optional<std::string_view> type = Json::textAt(line, "type");
  if (type == "event_msg") return codexEventSignal(*payloadType, *payload);
  const bool isToolOutput = std::ranges::find(toolOutputKinds, *payloadType) != toolOutputKinds.end();
  return type == "response_item" && isToolOutput ? toolResult(*payload, "call_id") : std::nullopt;
}

}  // namespace

Signals signals(std::string_view line, Agent agent) {
  switch (agent) {
    case Agent::claude:
      return claudeSignals(line);
    case Agent::codex:
      return codexSignals(line);
    default:
      return {};
  }
}

Signals claudeSignals(std::string_view line) {
  if (!holds(line, claudeResult) && !holds(line, claudeInterruption) && !spellsByEscapes(line)) return {};
  const std::optional<json::value> document = Json::parse(line);
  const json::object* const object = document ? document->if_object() : nullptr;
  if (object == nullptr || Json::textAt(*object, "type") != "user") return {};
  const json::object* const message = Json::objectAt(*object, "message");
  const json::array* const content = message == nullptr ? nullptr : Json::objectsAt(*message, "content");
  if (content == nullptr) return {};
  Signals found;
  for (const json::value& element : *content) {
    if (std::optional<TranscriptSignal> signal = claudeSignal(element.get_object()))
      found.push_back(*std::move(signal));
  }
  return found;
}

Signals codexSignals(std::string_view line) {
  if (!holds(line, codexWords) && !spellsByEscapes(line)) return {};
  const std::optional<json::value> document = Json::parse(line);
  const json::object* const object = document ? document->if_object() : nullptr;
  if (object == nullptr) return {};
  std::optional<TranscriptSignal> signal = codexSignal(*object);
  return signal ? Signals{*std::move(signal)} : Signals{};
}

}  // namespace tavrin::TranscriptParser
