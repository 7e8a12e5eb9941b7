// The file format of Session: one table of keys and members, which both the writer and the reader follow.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <tuple>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"

namespace tavrin {

namespace {

template <class Value>
struct Field {
  std::string_view key;
  Value Session::*member;
};

template <class Value>
constexpr Field<Value> field(std::string_view key, Value Session::*member) {
  return {.key = key, .member = member};
}

// In the order of the file.
constexpr std::tuple fields(field("agent", &Session::agent),                                          //
                            field("agentPid", &Session::agentPid),                                    //
                            field("attentionId", &Session::attentionId),                              //
                            field("attentionTranscriptOffset", &Session::attentionTranscriptOffset),  //
                            field("cwd", &Session::cwd),                                              //
                            field("hostBundleId", &Session::hostBundleId),                            //
                            field("hostPid", &Session::hostPid),                                      //
                            field("inFlight", &Session::inFlight),                                    //
                            field("needsYouTool", &Session::needsYouTool),                            //
                            field("repoRoot", &Session::repoRoot),                                    //
                            field("sessionId", &Session::sessionId),                                  //
                            field("state", &Session::state),                                          //
                            field("stateSince", &Session::stateSince),                                //
                            field("title", &Session::title),                                          //
                            field("transcriptPath", &Session::transcriptPath),                        //
                            field("tty", &Session::tty),                                              //
                            field("updatedAt", &Session::updatedAt),                                  //
                            field("waitingOn", &Session::waitingOn),                                  //
                            field("worktreeName", &Session::worktreeName));

constexpr std::size_t fieldCount = std::tuple_size_v<decltype(fields)>;

// The fields' keys, and after them what earlier versions called "agentPid". That key is read, never written.
constexpr auto keys = std::apply(
    [](const auto&... each) {
      return std::array<std::string_view, fieldCount + 1>{each.key..., "claudePid"};
    },
    fields);
constexpr std::size_t formerAgentPidIndex = fieldCount;
constexpr std::size_t agentPidIndex =
    static_cast<std::size_t>(std::find(keys.begin(), keys.end(), "agentPid") - keys.begin());

static_assert(std::is_sorted(keys.begin(), keys.end() - 1), "the keys of a file are sorted");
static_assert(agentPidIndex < fieldCount);

// Writers of the types of fields.

void write(std::string& out, std::string_view value) {
  appendJsonText(out, value);
}
void write(std::string& out, Agent value) {
  write(out, rawValue(value));
}
void write(std::string& out, SessionState value) {
  write(out, rawValue(value));
}
void write(std::string& out, Date value) {
  write(out, Iso8601::text(value));
}
template <std::integral Integer>
void write(std::string& out, Integer value) {
  std::array<char, 24> digits{};
  out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
}
void write(std::string& out, const std::vector<std::string>& values) {
  out += '[';
  if (values.empty()) out += '\n';
  const char* separator = "\n    ";
  for (const std::string& value : values) {
    out += separator;
    write(out, value);
    separator = ",\n    ";
  }
  out += "\n  ]";
}

template <class Value>
void writeMember(std::string& out, std::string_view key, const Value& value) {
  out += out.empty() ? "{\n  " : ",\n  ";
  write(out, key);
  out += " : ";
  write(out, value);
}
template <class Value>
void writeMember(std::string& out, std::string_view key, const std::optional<Value>& value) {
  if (value) writeMember(out, key, *value);
}

// Readers of the types of fields. Each returns whether the file's value is one that the field may have.

// A null counts as a missing key.
bool isMissing(const JsonField& found) {
  return found.kind == JsonField::Kind::absent || found.kind == JsonField::Kind::null;
}

template <class Value>
bool assign(Value& value, const std::optional<Value>& found) {
  if (found) value = *found;
  return found.has_value();
}

bool read(const JsonField& found, std::string& value) {
  const std::string* const text = found.asText();
  if (text != nullptr) value = *text;
  return text != nullptr;
}
// Records without a known agent belong to Claude Code.
bool read(const JsonField& found, Agent& value) {
  if (isMissing(found)) return true;
  const std::string* const text = found.asText();
  if (text != nullptr) value = agentFromRawValue(*text).value_or(Agent::claude);
  return text != nullptr;
}
bool read(const JsonField& found, SessionState& value) {
  const std::string* const text = found.asText();
  return text != nullptr && assign(value, sessionStateFromRawValue(*text));
}
bool read(const JsonField& found, Date& value) {
  const std::string* const text = found.asText();
  return text != nullptr && assign(value, Iso8601::parse(*text));
}
bool read(const JsonField& found, std::int32_t& value) {
  return assign(value, found.asInt32());
}
bool read(const JsonField& found, std::uint64_t& value) {
  return assign(value, found.asUInt64());
}
bool read(const JsonField& found, std::vector<std::string>& value) {
  value = found.texts;
  return isMissing(found) || found.kind == JsonField::Kind::texts;
}
template <class Value>
bool read(const JsonField& found, std::optional<Value>& value) {
  return isMissing(found) || read(found, value.emplace());
}

}  // namespace

std::string Session::encode() const {
  std::string out;
  out.reserve(1024);
  std::apply([&](const auto&... each) { (writeMember(out, each.key, this->*each.member), ...); }, fields);
  out += "\n}";
  return out;
}

std::optional<Session> Session::decode(std::string_view text) {
  const std::optional<JsonFields> record = JsonFields::ofRecord(text, keys);
  if (!record) return std::nullopt;
  std::size_t index = 0;
  const auto next = [&]() -> const JsonField& {
    const std::size_t i = index++;
    return (*record)[i == agentPidIndex && isMissing((*record)[i]) ? formerAgentPidIndex : i];
  };
  Session session;
  const bool isRecord =
      std::apply([&](const auto&... each) { return (read(next(), session.*each.member) && ...); }, fields);
  return isRecord ? std::optional(std::move(session)) : std::nullopt;
}

}  // namespace tavrin
