// The text of a session file, read as the store reads it and by a second reader, and written back.
#include <cmath>
#include <optional>
#include <string>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "fuzz/Laws.hpp"
#include "fuzz/PlainJson.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)

namespace {

using PlainJson::Value;

// Takes fields out of a record one by one. The first of equal keys counts, null counts as missing, and a text
// must be whole.
class PlainRecord {
 public:
  explicit PlainRecord(const Value& object) : object_(object) {}

  bool failed() const { return failed_; }

  bool has(std::string_view key) const {
    const Value* const value = object_.first(key);
    return value != nullptr && value->kind != Value::Kind::null;
  }

  std::string text(std::string_view key) {
    const Value* const value = object_.first(key);
    return value == nullptr ? failure<std::string>() : wholeText(*value);
  }
  std::optional<std::string> optionalText(std::string_view key) {
    return has(key) ? std::optional(text(key)) : std::nullopt;
  }
  std::vector<std::string> texts(std::string_view key) {
    if (!has(key)) return {};
    const Value& list = *object_.first(key);
    if (list.kind != Value::Kind::array) return failure<std::vector<std::string>>();
    std::vector<std::string> texts;
    for (const Value& element : list.elements) texts.push_back(wholeText(element));
    return texts;
  }
  Date date(std::string_view key) { return required(Iso8601::parse(text(key))); }
  std::int32_t int32(std::string_view key) { return required(field(key).asInt32()); }
  std::optional<std::int32_t> optionalInt32(std::string_view key) {
    return has(key) ? std::optional(int32(key)) : std::nullopt;
  }
  std::optional<std::uint64_t> optionalUInt64(std::string_view key) {
    return has(key) ? std::optional(required(field(key).asUInt64())) : std::nullopt;
  }
  SessionState state(std::string_view key) { return required(sessionStateFromRawValue(text(key))); }

 private:
  template <class T>
  T failure() {
    failed_ = true;
    return {};
  }
  template <class T>
  T required(const std::optional<T>& value) {
    return value ? *value : failure<T>();
  }
  std::string wholeText(const Value& value) {
    return value.asText() == nullptr || value.hasLoneSurrogate ? failure<std::string>() : value.text;
  }
  JsonField field(std::string_view key) const {
    const Value* const value = object_.first(key);
    if (value == nullptr || value->kind != Value::Kind::number) return {};
    JsonField field{.kind = JsonField::Kind::number, .text = value->text, .texts = {}};
    if (const auto number = field.asInt32()) {
      require(std::strtod(value->text.c_str(), nullptr) == *number, "an integer is what its digits say");
      require(field.asUInt64().has_value() == (*number >= 0), "what fits 31 bits fits 64");
    }
    return field;
  }

  const Value& object_;
  bool failed_ = false;
};

std::optional<Session> decodePlainly(std::string_view text) {
  const std::optional<Value> value = PlainJson::parse(text);
  if (!value || value->kind != Value::Kind::object) return std::nullopt;
  PlainRecord record(*value);
  Session session;
  session.sessionId = record.text("sessionId");
  session.agent = agentFromRawValue(record.optionalText("agent").value_or("")).value_or(Agent::claude);
  session.state = record.state("state");
  session.needsYouTool = record.optionalText("needsYouTool");
  session.attentionId = record.optionalText("attentionId");
  session.attentionTranscriptOffset = record.optionalUInt64("attentionTranscriptOffset");
  session.inFlight = record.texts("inFlight");
  session.waitingOn = record.texts("waitingOn");
  session.transcriptPath = record.optionalText("transcriptPath");
  session.updatedAt = record.date("updatedAt");
  session.stateSince = record.date("stateSince");
  session.cwd = record.text("cwd");
  session.agentPid = record.int32(record.has("agentPid") ? "agentPid" : "claudePid");
  session.tty = record.optionalText("tty");
  session.hostPid = record.optionalInt32("hostPid");
  session.hostBundleId = record.optionalText("hostBundleId");
  session.repoRoot = record.optionalText("repoRoot");
  session.worktreeName = record.optionalText("worktreeName");
  session.title = record.optionalText("title");
  return record.failed() ? std::nullopt : std::optional(session);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = textOf(data, size);
  const std::optional<Session> session = Session::decode(text);
  require(session == decodePlainly(text), "both readers see the same record");
  if (!session) return 0;

  const std::string written = session->encode();
  require(Text::isValidUtf8(written), "a record's file is UTF-8");
  const std::optional<Session> again = Session::decode(written);
  require(again.has_value(), "a record that was written can be read");
  require(again->encode() == written, "and is written the same again");
  // Files hold whole seconds, from the year 0 to 32767.
  Session rounded = *session;
  rounded.updatedAt = again->updatedAt;
  rounded.stateSince = again->stateSince;
  require(*again == rounded, "nothing but fractions of seconds is lost");
  require(session->state == SessionState::needsYou || session->displayState() == session->state,
          "only a session that needs its user may show as another");
  require(!session->projectName("/home").empty() || session->cwd.empty(), "a session has a name");
  return 0;
}
