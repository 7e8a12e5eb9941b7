#include <algorithm>
#include <array>
#include <boost/json/array.hpp>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/EvidenceJson.hpp"

namespace tavrin::GeminiEvidence {

namespace json = boost::json;
using namespace EvidenceJson;
using Kind = SessionFact::Kind;

namespace {

constexpr std::array<std::string_view, 5> knownTypes = {"user", "gemini", "info", "error", "warning"};

// The text of a line's "content", which is a string or a list of parts; "" when it holds anything but text.
std::string_view contentText(const json::object& object) {
  const std::string_view text = textAt(object, "content");
  if (!text.empty()) return text;
  const json::array* const parts = Json::objectsAt(object, "content");
  return parts == nullptr || parts->empty() ? std::string_view()
                                            : textAt(parts->front().get_object(), "text");
}

// Each call has a time of its own. The line's time is that of the answer that made the calls.
void readCalls(const json::array& calls, Date lineAt, LineEvidence& found) {
  for (const json::value& value : calls) {
    const json::object& call = value.get_object();
    const std::string_view status = textAt(call, "status");
    const Date at = dateAt(call, "timestamp").value_or(lineAt);
    const std::string name = "name:" + std::string(textAt(call, "name"));
    if (status == "cancelled")
      found.facts.push_back({.kind = Kind::refused, .at = at, .call = name, .command = {}});
    else if (status == "success" || status == "error")
      found.facts.push_back({.kind = Kind::callEnded, .at = at, .call = name, .command = {}});
  }
}

}  // namespace

LineEvidence line(std::string_view line) {
  LineEvidence found;
  const json::object object = objectIn(line);
  const std::string_view type = textAt(object, "type");
  // The first line of a file lacks a type. So do lines that change earlier ones.
  if (type.empty()) {
    found.isKnown = object.contains("sessionId") || object.contains("$set") || object.contains("$rewindTo");
    return found;
  }
  found.isKnown = std::ranges::find(knownTypes, type) != knownTypes.end();
  const auto at = dateAt(object, "timestamp");
  if (!at) return found;
  const auto add = [&](Kind kind) {
    found.facts.push_back({.kind = kind, .at = *at, .call = {}, .command = {}});
  };
  // After a cancelled turn the client writes its history again, prompts included, so a prompt in the file
  // does not mean that a turn starts now. The hook reports that.
  found.startsTurn = type == "user" && !contentText(object).empty();
  if (type == "error") add(Kind::failed);
  if (type == "info" && contentText(object) == "Request cancelled.") add(Kind::interrupted);
  if (type == "gemini") {
    if (const json::array* const calls = Json::objectsAt(object, "toolCalls")) readCalls(*calls, *at, found);
  }
  return found;
}

}  // namespace tavrin::GeminiEvidence
