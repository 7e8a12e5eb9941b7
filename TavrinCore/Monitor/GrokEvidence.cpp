#include <algorithm>
#include <array>
#include <boost/json/array.hpp>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/EvidenceJson.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"

namespace tavrin::GrokEvidence {

namespace json = boost::json;
using namespace EvidenceJson;
using Kind = SessionFact::Kind;

namespace {

constexpr std::array<std::string_view, 9> knownTypes = {
    "turn_started",         "turn_ended",          "loop_started", "phase_changed", "first_token",
    "permission_requested", "permission_resolved", "tool_started", "tool_completed"};
constexpr std::string_view questionTool = "ask_user_question";

// Whether a line is of a known kind and carries no evidence, as far as that can be seen without parsing it.
// The client writes one object with no object inside, without spaces and mostly without escapes. The last
// "type" of such a line is its own. The answer for a line of any other form is false.
bool carriesNothing(std::string_view line) {
  constexpr std::string_view key = R"("type":")";
  const bool isPlain = line.starts_with('{') && line.find('{', 1) == std::string_view::npos &&
                       line.find('\\') == std::string_view::npos;
  if (!isPlain) return false;
  const std::size_t at = line.find(key);
  if (at == std::string_view::npos) return false;
  const std::string_view rest = line.substr(at + key.size());
  const std::string_view type = rest.substr(0, rest.find('"'));
  const bool isOfTool = type == "tool_started" || type == "tool_completed";
  if (type != "phase_changed" && type != "loop_started" && !(isOfTool && !holds(line, questionTool)))
    return false;
  return rest.find(R"("type")") == std::string_view::npos;
}

// What matters in a line, by the order of `keys`.
enum Key : std::size_t { typeKey, timeKey, toolKey, decisionKey, outcomeKey, cancellationKey };
constexpr std::array<std::string_view, 6> keys = {"type",     "ts",      "tool_name",
                                                  "decision", "outcome", "cancellation_category"};

std::optional<JsonFields> fieldsIn(std::string_view line) {
  try {
    return JsonFields::ofMessage(line, keys);
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<std::vector<Open>> openSessions(std::string_view text) {
  const std::optional<json::value> document = Json::parse(text);
  const json::array* const entries = document ? Json::objects(*document) : nullptr;
  if (entries == nullptr) return std::nullopt;
  std::vector<Open> found;
  for (const json::value& value : *entries) {
    const json::object& entry = value.get_object();
    const std::string_view id = textAt(entry, "session_id");
    const auto pid = pidAt(entry, "pid");
    if (id.empty() || !pid) continue;
    found.push_back({.sessionId = std::string(id),
                     .pid = *pid,
                     .cwd = std::string(textAt(entry, "cwd")),
                     .since = dateAt(entry, "opened_at").value_or(Date())});
  }
  return found;
}

bool isSubagent(std::string_view summary) {
  return textAt(objectIn(summary), "session_kind") == "subagent";
}

LineEvidence line(std::string_view line) {
  LineEvidence found;
  if (carriesNothing(line)) return found;
  const std::optional<JsonFields> fields = fieldsIn(line);
  const auto textOf = [&](Key key) {
    const std::string* const text = fields ? (*fields)[key].asText() : nullptr;
    return text == nullptr ? std::string_view() : *text;
  };
  const std::string_view type = textOf(typeKey);
  found.isKnown = std::ranges::find(knownTypes, type) != knownTypes.end();
  const auto at = Iso8601::parse(textOf(timeKey));
  if (!at) return found;
  const std::string_view tool = textOf(toolKey);
  const auto add = [&](Kind kind, std::string call = {}) {
    found.facts.push_back({.kind = kind, .at = *at, .call = std::move(call), .command = {}});
  };
  // Questions about permission have no identifier; one tool is asked about once at a time.
  if (type == "permission_requested") add(Kind::asked, "permission:" + std::string(tool));
  if (type == "permission_resolved") {
    const bool isNo = textOf(decisionKey) == "deny";
    add(isNo ? Kind::withdrawn : Kind::answered, "permission:" + std::string(tool));
  }
  if (type == "tool_started" && tool == questionTool) add(Kind::asked, "question");
  if (type == "tool_completed" && tool == questionTool) add(Kind::callEnded, "question");
  if (type == "turn_started") add(Kind::turnStarted);
  if (type == "first_token") add(Kind::output);
  if (type == "turn_ended") {
    const std::string_view outcome = textOf(outcomeKey);
    const bool isRefusal = textOf(cancellationKey) == "permission_rejected";
    add(outcome == "error"       ? Kind::failed
        : outcome != "cancelled" ? Kind::turnEnded
        : isRefusal              ? Kind::refused
                                 : Kind::interrupted);
  }
  return found;
}

}  // namespace tavrin::GrokEvidence
