#include <algorithm>
#include <array>
#include <boost/json/object.hpp>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/EvidenceJson.hpp"
#include "TavrinCore/Support/Integer.hpp"

namespace tavrin::CopilotEvidence {

namespace json = boost::json;
using namespace EvidenceJson;
using Kind = SessionFact::Kind;

namespace {

// The families of events that the client writes, up to the dot.
bool isKnownType(std::string_view type) {
  constexpr std::array<std::string_view, 14> families = {
      "session.",  "assistant.", "user.",           "system.", "tool.",        "hook.",       "permission.",
      "subagent.", "model.",     "human_response.", "abort",   "elicitation.", "user_input.", "skill."};
  return std::ranges::any_of(families, [&](std::string_view family) { return type.starts_with(family); });
}

// Lines of a sub-agent are in its parent's file and have an "agentId". Its questions count for the parent,
// but its turns do not.
bool isFromSubagent(const json::object& object) {
  return !textAt(object, "agentId").empty();
}

void readHook(const json::object& data, Date at, LineEvidence& found) {
  const json::object& input = objectAt(data, "input");
  if (!textAt(input, "parentAgentId").empty()) {
    found.subagent = textAt(input, "sessionId");
    return;
  }
  if (textAt(data, "hookType") == "agentStop")
    found.facts.push_back({.kind = Kind::turnEnded, .at = at, .call = {}, .command = {}});
}

void readPermission(std::string_view type, const json::object& data, Date at, LineEvidence& found) {
  SessionFact fact{
      .kind = Kind::asked, .at = at, .call = std::string(textAt(data, "requestId")), .command = {}};
  if (type == "permission.completed") {
    const std::string_view result = textAt(objectAt(data, "result"), "kind");
    // A cancelled question does not show whether the turn goes on. If the turn ends, "abort" follows.
    fact.kind = result == "cancelled" ? Kind::withdrawn : Kind::answered;
  } else if (type != "permission.requested") {
    return;
  }
  found.facts.push_back(std::move(fact));
}

}  // namespace

LineEvidence line(std::string_view line) {
  LineEvidence found;
  const json::object object = objectIn(line);
  const std::string_view type = textAt(object, "type");
  found.isKnown = isKnownType(type);
  const auto at = dateAt(object, "timestamp");
  if (!at) return found;
  const json::object& data = objectAt(object, "data");
  const bool isSubagents = isFromSubagent(object);
  const auto add = [&](Kind kind, std::string_view call = {}) {
    found.facts.push_back({.kind = kind, .at = *at, .call = std::string(call), .command = {}});
  };
  if (type == "hook.start") {
    readHook(data, *at, found);
  } else if (type.starts_with("permission.")) {
    readPermission(type, data, *at, found);
  } else if (type == "subagent.started") {
    found.subagent = textAt(object, "agentId");
  } else if (type == "tool.execution_start") {
    if (textAt(data, "toolName") == "ask_user") add(Kind::asked, textAt(data, "toolCallId"));
  } else if (type == "tool.execution_complete") {
    add(Kind::callEnded, textAt(data, "toolCallId"));
  } else if (type == "abort") {
    add(Kind::interrupted);
  } else if (type == "session.shutdown") {
    add(Kind::sessionEnded);
  } else if (!isSubagents) {
    if (type == "user.message") add(Kind::turnStarted);
    if (type == "assistant.turn_start") add(Kind::stepStarted);
    if (type == "session.error") add(Kind::failed);
  }
  for (SessionFact& fact : found.facts) fact.isSubagents = isSubagents;
  return found;
}

std::optional<std::int32_t> holder(std::string_view name) {
  constexpr std::string_view start = "inuse.";
  if (!name.starts_with(start)) return std::nullopt;
  name.remove_prefix(start.size());
  return Integer::int32(name.substr(0, name.find('.')));
}

}  // namespace tavrin::CopilotEvidence
