#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <charconv>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/EvidenceJson.hpp"
#include "TavrinCore/Transcripts/TranscriptSignal.hpp"

namespace tavrin::CodexEvidence {

namespace json = boost::json;
using namespace EvidenceJson;
using Kind = SessionFact::Kind;

namespace {

constexpr std::size_t idLength = 36;

constexpr std::array<std::string_view, 12> knownTypes = {
    "session_meta",     "event_msg",          "response_item",  "turn_context",
    "world_state",      "compacted",          "token_count",    "session_state",
    "retained_context", "token_usage_record", "ghost_snapshot", "inter_agent_communication_metadata"};

// Codex writes "type" before "payload", so the first one is the line's own.
std::string_view typeOf(std::string_view line) {
  constexpr std::string_view key = R"("type":")";
  const std::size_t at = line.substr(0, 200).find(key);
  if (at == std::string_view::npos) return {};
  line.remove_prefix(at + key.size());
  return line.substr(0, line.find('"'));
}

// The command among a tool's arguments, which is a text or, for some tools, a list of words.
std::string commandAt(const json::object& arguments) {
  for (const std::string_view key : {"cmd", "command"}) {
    if (const std::string_view text = textAt(arguments, key); !text.empty()) return std::string(text);
    const json::value* const value = arguments.if_contains(key);
    const json::array* const words = value == nullptr ? nullptr : value->if_array();
    if (words == nullptr) continue;
    std::vector<std::string_view> all;
    for (const json::value& word : *words)
      if (word.is_string()) all.emplace_back(word.get_string());
    // A shell gets the command as one word: "bash", "-lc", COMMAND.
    if (all.size() == 3 && all[1].starts_with('-') && all[1].ends_with('c')) return std::string(all[2]);
    std::string joined;
    for (const std::string_view word : all) joined += (joined.empty() ? "" : " ") + std::string(word);
    return joined;
  }
  return {};
}

// The text of the first string literal of JavaScript after the word "cmd" as a key; nullopt if there is none.
std::optional<std::string> commandInProgram(std::string_view program) {
  constexpr std::string_view key = "cmd";
  constexpr std::string_view spaces = " \t\n";
  for (std::size_t at = program.find(key); at != std::string_view::npos; at = program.find(key, at + 1)) {
    std::string_view rest = program.substr(at + key.size());
    const auto skipSpaces = [&] {
      rest.remove_prefix(std::min(rest.find_first_not_of(spaces), rest.size()));
    };
    if (rest.starts_with('"') || rest.starts_with('\'')) rest.remove_prefix(1);
    skipSpaces();
    if (!rest.starts_with(':')) continue;
    rest.remove_prefix(1);
    skipSpaces();
    if (rest.empty() || std::string_view("\"'`").find(rest.front()) == std::string_view::npos) continue;
    const char quote = rest.front();
    std::string text;
    for (std::size_t i = 1; i < rest.size(); ++i) {
      if (rest[i] == quote) return text;
      const bool isEscape = rest[i] == '\\' && i + 1 < rest.size();
      if (isEscape) ++i;
      text += isEscape && rest[i] == 'n' ? '\n' : isEscape && rest[i] == 't' ? '\t' : rest[i];
    }
  }
  return std::nullopt;
}

// The command that a call with these arguments asks to run outside the sandbox; nullopt when it asks for
// nothing. In code mode the arguments are a program, which holds the call's own arguments as an object, in
// JSON or as JavaScript writes it. If no command is found there, the whole program stands for it.
std::optional<std::string> escalatedCommand(std::string_view arguments) {
  constexpr std::string_view key = "sandbox_permissions";
  constexpr std::string_view value = "require_escalated";
  if (const json::object object = objectIn(arguments); !object.empty())
    return textAt(object, key) == value ? std::optional(commandAt(object)) : std::nullopt;
  if (!holds(arguments, key) || !holds(arguments, value)) return std::nullopt;
  const std::size_t from = arguments.find('{');
  const std::size_t to = arguments.rfind('}');
  if (from == std::string_view::npos || to == std::string_view::npos || to < from) return std::string();
  const json::object inner = objectIn(arguments.substr(from, to - from + 1));
  if (!inner.empty()) return commandAt(inner);
  return commandInProgram(arguments).value_or(std::string(arguments));
}

void readCall(const json::object& payload, Date at, LineEvidence& found) {
  const std::string_view call = textAt(payload, "call_id");
  if (call.empty()) return;
  std::string_view arguments = textAt(payload, "arguments");
  if (arguments.empty()) arguments = textAt(payload, "input");
  const std::string_view name = textAt(payload, "name");
  // A patch is a text of any kind. It may quote such a call.
  if (name == "apply_patch") return;
  std::optional<std::string> command =
      name == "request_user_input" ? std::string() : escalatedCommand(arguments);
  if (!command) return;
  found.facts.push_back(
      {.kind = Kind::asked, .at = at, .call = std::string(call), .command = *std::move(command)});
}

}  // namespace

std::optional<Meta> meta(std::string_view line) {
  if (typeOf(line) != "session_meta") return std::nullopt;
  const json::object object = objectIn(line);
  const json::object& payload = objectAt(object, "payload");
  if (textAt(payload, "id").empty()) return std::nullopt;
  const auto first = integerAt(payload, "subagent_history_start_ordinal").value_or(0);
  return Meta{.id = std::string(textAt(payload, "id")),
              .parentId = std::string(textAt(payload, "parent_thread_id")),
              .firstOwnLine = static_cast<std::uint64_t>(std::max<std::int64_t>(first, 0))};
}

std::optional<std::uint64_t> ordinal(std::string_view line) {
  constexpr std::string_view key = R"("ordinal":)";
  const std::size_t at = line.substr(0, 200).find(key);
  if (at == std::string_view::npos) return std::nullopt;
  line.remove_prefix(at + key.size());
  std::uint64_t number = 0;
  const auto [stop, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  return error == std::errc() ? std::optional(number) : std::nullopt;
}

LineEvidence line(std::string_view line) {
  LineEvidence found;
  const std::string_view type = typeOf(line);
  found.isKnown = std::ranges::find(knownTypes, type) != knownTypes.end();
  const bool mayCall = holds(line, "require_escalated") || holds(line, "request_user_input");
  const bool mayTurn = holds(line, "task_started") || holds(line, "task_complete");
  const std::vector<TranscriptSignal> signals = TranscriptParser::codexSignals(line);
  if (!mayCall && !mayTurn && signals.empty()) return found;

  const json::object object = objectIn(line);
  const auto at = dateAt(object, "timestamp");
  if (!at) return found;
  const json::object& payload = objectAt(object, "payload");
  const std::string_view payloadType = textAt(payload, "type");
  if (type == "response_item" && (payloadType == "function_call" || payloadType == "custom_tool_call"))
    readCall(payload, *at, found);
  if (type == "event_msg" && payloadType == "task_started")
    found.facts.push_back({.kind = Kind::turnStarted, .at = *at, .call = {}, .command = {}});
  for (const TranscriptSignal& signal : signals) {
    SessionFact fact{.kind = Kind::output, .at = *at, .call = signal.id(), .command = {}};
    if (signal.kind() == TranscriptSignal::Kind::toolResult) fact.kind = Kind::callEnded;
    if (signal.kind() == TranscriptSignal::Kind::interrupted) {
      const bool isFailure = !objectAt(payload, "error").empty();
      fact.kind = payloadType == "turn_aborted" ? Kind::interrupted
                  : isFailure                   ? Kind::failed
                                                : Kind::turnEnded;
    }
    found.facts.push_back(std::move(fact));
  }
  return found;
}

std::string_view idInName(std::string_view name) {
  name = name.substr(0, name.rfind('.'));
  if (name.size() < idLength) return {};
  const std::string_view id = name.substr(name.size() - idLength);
  const bool isId = id.find_first_not_of("0123456789abcdef-") == std::string_view::npos && id[8] == '-' &&
                    id[13] == '-' && id[18] == '-' && id[23] == '-';
  return isId ? id : std::string_view();
}

std::optional<Date> createdAt(std::string_view id) {
  if (id.size() != idLength || id[14] != '7') return std::nullopt;
  const std::string digits = std::string(id.substr(0, 8)) + std::string(id.substr(9, 4));
  std::uint64_t milliseconds = 0;
  const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), milliseconds, 16);
  if (error != std::errc() || stop != digits.data() + digits.size()) return std::nullopt;
  return dateFromSeconds(static_cast<double>(milliseconds) / 1000);
}

}  // namespace tavrin::CodexEvidence
