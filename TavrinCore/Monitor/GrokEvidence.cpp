#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <cstdint>
#include <cstring>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/EvidenceJson.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"

namespace tavrin::GrokEvidence {

namespace json = boost::json;
using namespace EvidenceJson;
using Kind = SessionFact::Kind;

namespace {

// The known kinds of lines, the most frequent first.
enum Type : std::size_t {
  phaseChanged,
  loopStarted,
  turnStarted,
  turnEnded,
  firstToken,
  toolStarted,
  toolCompleted,
  permissionRequested,
  permissionResolved,
};
constexpr std::array<std::string_view, 9> knownTypes = {
    "phase_changed", "loop_started",   "turn_started",         "turn_ended",         "first_token",
    "tool_started",  "tool_completed", "permission_requested", "permission_resolved"};
constexpr std::string_view questionTool = "ask_user_question";

// What matters in a line, by the order of `keys`.
enum Key : std::size_t { typeKey, timeKey, toolKey, decisionKey, outcomeKey, cancellationKey };
constexpr std::array<std::string_view, 6> keys = {"type",     "ts",      "tool_name",
                                                  "decision", "outcome", "cancellation_category"};
// The texts under `keys`. Each is empty if there is none.
using Texts = std::array<std::string_view, keys.size()>;

// Reads lines of the form that the client writes: one object with no object or array inside, without spaces,
// escapes or characters beyond ASCII. Lines of another form may be JSON too.
class PlainLine {
 public:
  explicit PlainLine(std::string_view line) : at_(line.data()), end_(line.data() + line.size()) {}

  // Sets the texts under `keys`. Returns false if the line has another form.
  bool read(Texts& texts) {
    if (!isPlain() || !take('{')) return false;
    do {
      std::string_view key;
      std::string_view text;
      if (!takeText(key) || !take(':')) return false;
      if (!takeText(text) && !takeLiteral()) return false;
      // The last of equal keys counts.
      const auto known = std::ranges::find(keys, key);
      if (known != keys.end()) texts[static_cast<std::size_t>(known - keys.begin())] = text;
    } while (take(','));
    return take('}') && at_ == end_;
  }

 private:
  std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }

  // Whether the line has at least eight bytes, and each is ASCII, not below the space and not a backslash.
  // Looks at eight bytes at a time. Any other byte sets the highest bit of a byte of `odd`.
  bool isPlain() const {
    constexpr std::uint64_t each = 0x0101010101010101;
    std::uint64_t bytes = 0;
    if (left() < sizeof(bytes)) return false;
    std::uint64_t odd = 0;
    const auto look = [&](const char* at) {
      std::memcpy(&bytes, at, sizeof(bytes));
      odd |= bytes | (bytes - each * ' ') | ((bytes ^ each * '\\') - each);
    };
    const char* const last = end_ - sizeof(bytes);
    for (const char* at = at_; at < last; at += sizeof(bytes)) look(at);
    look(last);
    return (odd & each * 0x80) == 0;
  }

  bool take(char c) {
    if (at_ == end_ || *at_ != c) return false;
    ++at_;
    return true;
  }

  bool takeText(std::string_view& text) {
    if (at_ == end_ || *at_ != '"') return false;
    const char* const first = at_ + 1;
    const void* const quote = std::memchr(first, '"', left() - 1);
    if (quote == nullptr) return false;
    const char* const end = static_cast<const char*>(quote);
    text = {first, static_cast<std::size_t>(end - first)};
    at_ = end + 1;
    return true;
  }

  // Takes "true", "false", "null" or a whole number of a few digits.
  bool takeLiteral() {
    constexpr std::size_t mostDigits = 15;
    const std::string_view rest(at_, left());
    for (const std::string_view word : {"true", "false", "null"}) {
      if (!rest.starts_with(word)) continue;
      at_ += word.size();
      return true;
    }
    const std::size_t digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
    at_ += digits;
    return digits > 0 && digits <= mostDigits && (digits == 1 || rest.front() != '0');
  }

  const char* at_;
  const char* end_;
};

std::optional<JsonFields> fieldsIn(std::string_view line) {
  try {
    return JsonFields::ofMessage(line, keys);
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

Texts textsOf(const JsonFields& fields) {
  Texts texts;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (const std::string* const text = fields[i].asText()) texts[i] = *text;
  }
  return texts;
}

Kind endOfTurn(const Texts& texts) {
  const std::string_view outcome = texts[outcomeKey];
  if (outcome == "error") return Kind::failed;
  if (outcome != "cancelled" && outcome != "interrupted") return Kind::turnEnded;
  return texts[cancellationKey] == "permission_rejected" ? Kind::refused : Kind::interrupted;
}

// Whether the person did not allow it. An answer of a kind that is not known here was an answer all the same.
bool isRefusal(std::string_view decision) {
  return decision == "deny" || decision == "cancelled";
}

LineEvidence evidenceIn(const Texts& texts) {
  LineEvidence found;
  const auto known = std::ranges::find(knownTypes, texts[typeKey]);
  found.isKnown = known != knownTypes.end();
  const auto add = [&](Kind kind, std::string_view call = {}, std::string_view tool = {}) {
    const auto at = Iso8601::parse(texts[timeKey]);
    if (!at) return;
    SessionFact& fact = found.facts.emplace_back();
    fact.kind = kind;
    fact.at = *at;
    fact.call.append(call).append(tool);
  };
  // Questions about permission have no identifier; one tool is asked about once at a time.
  constexpr std::string_view permission = "permission:";
  constexpr std::string_view question = "question";
  switch (known - knownTypes.begin()) {
    case turnStarted:
      add(Kind::turnStarted);
      break;
    case turnEnded:
      add(endOfTurn(texts));
      break;
    case firstToken:
      add(Kind::output);
      break;
    case toolStarted:
      if (texts[toolKey] == questionTool) add(Kind::asked, question);
      break;
    case toolCompleted:
      if (texts[toolKey] == questionTool) add(Kind::callEnded, question);
      break;
    case permissionRequested:
      add(Kind::asked, permission, texts[toolKey]);
      break;
    case permissionResolved:
      add(isRefusal(texts[decisionKey]) ? Kind::withdrawn : Kind::answered, permission, texts[toolKey]);
      break;
    default:
      break;
  }
  return found;
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
  Texts texts;
  if (PlainLine(line).read(texts)) return evidenceIn(texts);
  const std::optional<JsonFields> fields = fieldsIn(line);
  return evidenceIn(fields ? textsOf(*fields) : Texts());
}

}  // namespace tavrin::GrokEvidence
