#include <boost/json/array.hpp>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/EvidenceJson.hpp"
#include "TavrinCore/Transcripts/TranscriptSignal.hpp"

namespace tavrin::ClaudeEvidence {

namespace json = boost::json;
using namespace EvidenceJson;
using Kind = SessionFact::Kind;

namespace {

// A refusal that stops the turn says both. One with words of the person, on what to do instead, is a result
// like any other, with which the agent goes on.
constexpr std::string_view refusal = "The user doesn't want to proceed with this tool use.";
constexpr std::string_view stops = "STOP what you are doing";

// Whether a user line is a prompt that the person typed. The client writes user lines of its own: results of
// tools, notes in angle brackets (commands, notifications) and interruptions in square ones.
bool isPrompt(const json::object& object) {
  const json::value* const meta = object.if_contains("isMeta");
  if (textAt(object, "type") != "user" || (meta != nullptr && meta->if_bool() != nullptr && meta->get_bool()))
    return false;
  const std::string_view text = textAt(objectAt(object, "message"), "content");
  return !text.empty() && text.front() != '<' && text.front() != '[';
}

}  // namespace

std::optional<Status> status(std::string_view text) {
  const json::object object = objectIn(text);
  const auto pid = pidAt(object, "pid");
  const std::string_view id = textAt(object, "sessionId");
  if (!pid || id.empty()) return std::nullopt;
  Status found{.pid = *pid,
               .sessionId = std::string(id),
               .cwd = std::string(textAt(object, "cwd")),
               .state = std::nullopt,
               .since = millisecondsAt(object, "startedAt").value_or(Date()),
               .isKnown = true};
  const std::string_view status = textAt(object, "status");
  if (status == "busy") found.state = SessionState::working;
  if (status == "waiting") found.state = SessionState::needsYou;
  if (status == "idle") found.state = SessionState::idle;
  // The status is "shell" for a moment after a command was stopped, and then "idle".
  found.isKnown = found.state || status.empty() || status == "shell";
  if (const auto since = millisecondsAt(object, "statusUpdatedAt")) found.since = *since;
  return found;
}

LineEvidence line(std::string_view line) {
  LineEvidence found;
  const bool mayHold = holds(line, "tool_result") || holds(line, "[Request interrupted by user") ||
                       holds(line, "isApiErrorMessage") || holds(line, "turn_duration") ||
                       holds(line, "\"promptId\"");
  if (!mayHold) return found;
  const json::object object = objectIn(line);
  const auto at = dateAt(object, "timestamp");
  if (!at) return found;
  const auto add = [&](Kind kind, std::string call = {}) {
    found.facts.push_back({.kind = kind, .at = *at, .call = std::move(call), .command = {}});
  };
  const std::string_view type = textAt(object, "type");
  if (type == "assistant") {
    const json::value* const isError = object.if_contains("isApiErrorMessage");
    if (isError != nullptr && isError->if_bool() != nullptr && isError->get_bool()) add(Kind::failed);
  } else if (type == "system") {
    if (textAt(object, "subtype") == "turn_duration") add(Kind::turnEnded);
  } else if (isPrompt(object)) {
    // This is not a fact, because the hook reports each prompt, and some lines that look like one start no
    // turn, as after /compact.
    found.startsTurn = true;
  } else if (type == "user") {
    for (const TranscriptSignal& signal : TranscriptParser::claudeSignals(line)) {
      if (signal.kind() == TranscriptSignal::Kind::toolResult)
        add(Kind::callEnded, signal.id());
      else
        add(Kind::interrupted);
    }
    // A refusal is written as the tool's result. The line that stops the turn follows it.
    if (holds(line, refusal) && holds(line, stops)) {
      for (SessionFact& fact : found.facts)
        if (fact.kind == Kind::callEnded) fact.kind = Kind::withdrawn;
    }
  }
  return found;
}

}  // namespace tavrin::ClaudeEvidence
