#include <algorithm>
#include <array>
#include <boost/json/array.hpp>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/EvidenceJson.hpp"

namespace tavrin::GrokEvidence {

namespace json = boost::json;
using namespace EvidenceJson;
using Kind = SessionFact::Kind;

namespace {

constexpr std::array<std::string_view, 9> knownTypes = {
    "turn_started",         "turn_ended",          "loop_started", "phase_changed", "first_token",
    "permission_requested", "permission_resolved", "tool_started", "tool_completed"};
constexpr std::string_view questionTool = "ask_user_question";

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
  const json::object object = objectIn(line);
  const std::string_view type = textAt(object, "type");
  found.isKnown = std::ranges::find(knownTypes, type) != knownTypes.end();
  const auto at = dateAt(object, "ts");
  if (!at) return found;
  const std::string_view tool = textAt(object, "tool_name");
  const auto add = [&](Kind kind, std::string call = {}) {
    found.facts.push_back({.kind = kind, .at = *at, .call = std::move(call), .command = {}});
  };
  // Questions about permission have no identifier; one tool is asked about once at a time.
  if (type == "permission_requested") add(Kind::asked, "permission:" + std::string(tool));
  if (type == "permission_resolved") {
    const bool isNo = textAt(object, "decision") == "deny";
    add(isNo ? Kind::withdrawn : Kind::answered, "permission:" + std::string(tool));
  }
  if (type == "tool_started" && tool == questionTool) add(Kind::asked, "question");
  if (type == "tool_completed" && tool == questionTool) add(Kind::callEnded, "question");
  if (type == "turn_started") add(Kind::turnStarted);
  if (type == "first_token") add(Kind::output);
  if (type == "turn_ended") {
    const std::string_view outcome = textAt(object, "outcome");
    const bool isRefusal = textAt(object, "cancellation_category") == "permission_rejected";
    add(outcome == "error"       ? Kind::failed
        : outcome != "cancelled" ? Kind::turnEnded
        : isRefusal              ? Kind::refused
                                 : Kind::interrupted);
  }
  return found;
}

}  // namespace tavrin::GrokEvidence
