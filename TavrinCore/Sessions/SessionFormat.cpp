// The file format of Session: its writer and its reader side by side, over one list of keys.
#include <array>
#include <charconv>
#include <cstddef>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"

namespace tavrin {

namespace {

// In the order in which the encoder sorts them, so that an index serves both ways. "claudePid" is what
// earlier versions called "agentPid"; it is never written.
enum Key : std::uint8_t {
  agent,
  agentPid,
  attentionId,
  attentionTranscriptOffset,
  claudePid,
  cwd,
  hostBundleId,
  hostPid,
  inFlight,
  needsYouTool,
  repoRoot,
  sessionId,
  state,
  stateSince,
  title,
  transcriptPath,
  tty,
  updatedAt,
  waitingOn,
  worktreeName,
  keyCount,
};

constexpr std::array<std::string_view, keyCount> keys = {
    "agent",     "agentPid",     "attentionId",  "attentionTranscriptOffset",
    "claudePid", "cwd",          "hostBundleId", "hostPid",
    "inFlight",  "needsYouTool", "repoRoot",     "sessionId",
    "state",     "stateSince",   "title",        "transcriptPath",
    "tty",       "updatedAt",    "waitingOn",    "worktreeName",
};

// Writes one object line by line, two blanks deep; the caller keeps the keys sorted.
class RecordWriter {
 public:
  RecordWriter() { out_.reserve(1024); }

  void text(Key key, std::string_view value) {
    begin(key);
    appendJsonText(out_, value);
  }
  void optionalText(Key key, const std::optional<std::string>& value) {
    if (value) text(key, *value);
  }
  template <class Integer>
  void number(Key key, Integer value) {
    std::array<char, 24> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    begin(key);
    out_.append(digits.data(), end);
  }
  template <class Integer>
  void optionalNumber(Key key, const std::optional<Integer>& value) {
    if (value) number(key, *value);
  }
  void list(Key key, const std::vector<std::string>& values) {
    begin(key);
    out_ += '[';
    if (values.empty()) out_ += '\n';
    const char* separator = "\n    ";
    for (const std::string& value : values) {
      out_ += separator;
      appendJsonText(out_, value);
      separator = ",\n    ";
    }
    out_ += "\n  ]";
  }
  std::string finish() {
    out_ += "\n}";
    return std::move(out_);
  }

 private:
  void begin(Key key) {
    out_ += out_.empty() ? "{\n  " : ",\n  ";
    appendJsonText(out_, keys[key]);
    out_ += " : ";
  }

  std::string out_;
};

// Takes the fields of a record one after the other; after the first that is not what it must be, `failed` is
// set.
class RecordReader {
 public:
  explicit RecordReader(const JsonFields& fields) : fields_(fields) {}

  bool failed() const { return failed_; }

  std::string text(Key key) {
    const std::string* value = fields_[key].asText();
    if (value == nullptr) failed_ = true;
    return value == nullptr ? std::string() : *value;
  }
  std::optional<std::string> optionalText(Key key) {
    return isMissing(key) ? std::nullopt : std::optional(text(key));
  }
  Date date(Key key) {
    const std::optional<Date> value = Iso8601::parse(text(key));
    if (!value) failed_ = true;
    return value.value_or(Date());
  }
  std::int32_t int32(Key key) { return required(fields_[key].asInt32()); }
  std::optional<std::int32_t> optionalInt32(Key key) {
    return isMissing(key) ? std::nullopt : std::optional(int32(key));
  }
  std::optional<std::uint64_t> optionalUInt64(Key key) {
    return isMissing(key) ? std::nullopt : std::optional(required(fields_[key].asUInt64()));
  }
  std::vector<std::string> list(Key key) {
    if (!isMissing(key) && fields_[key].kind != JsonField::Kind::texts) failed_ = true;
    return fields_[key].texts;
  }
  SessionState sessionState(Key key) { return required(sessionStateFromRawValue(text(key))); }

  // A null stands for a missing key.
  bool isMissing(Key key) const {
    return fields_[key].kind == JsonField::Kind::absent || fields_[key].kind == JsonField::Kind::null;
  }

 private:
  template <class T>
  T required(std::optional<T> value) {
    if (!value) failed_ = true;
    return value.value_or(T{});
  }

  const JsonFields& fields_;
  bool failed_ = false;
};

}  // namespace

std::string Session::encode() const {
  RecordWriter writer;
  writer.text(Key::agent, rawValue(agent));
  writer.number(Key::agentPid, agentPid);
  writer.optionalText(Key::attentionId, attentionId);
  writer.optionalNumber(Key::attentionTranscriptOffset, attentionTranscriptOffset);
  writer.text(Key::cwd, cwd);
  writer.optionalText(Key::hostBundleId, hostBundleId);
  writer.optionalNumber(Key::hostPid, hostPid);
  writer.list(Key::inFlight, inFlight);
  writer.optionalText(Key::needsYouTool, needsYouTool);
  writer.optionalText(Key::repoRoot, repoRoot);
  writer.text(Key::sessionId, sessionId);
  writer.text(Key::state, rawValue(state));
  writer.text(Key::stateSince, Iso8601::text(stateSince));
  writer.optionalText(Key::title, title);
  writer.optionalText(Key::transcriptPath, transcriptPath);
  writer.optionalText(Key::tty, tty);
  writer.text(Key::updatedAt, Iso8601::text(updatedAt));
  writer.list(Key::waitingOn, waitingOn);
  writer.optionalText(Key::worktreeName, worktreeName);
  return writer.finish();
}

std::optional<Session> Session::decode(std::string_view text) {
  try {
    const JsonFields fields = JsonFields::ofRecord(text, keys);
    RecordReader reader(fields);
    Session session;
    session.sessionId = reader.text(Key::sessionId);
    const std::string agentName = reader.optionalText(Key::agent).value_or("");
    session.agent = agentFromRawValue(agentName).value_or(Agent::claude);
    session.state = reader.sessionState(Key::state);
    session.needsYouTool = reader.optionalText(Key::needsYouTool);
    session.attentionId = reader.optionalText(Key::attentionId);
    session.attentionTranscriptOffset = reader.optionalUInt64(Key::attentionTranscriptOffset);
    session.inFlight = reader.list(Key::inFlight);
    session.waitingOn = reader.list(Key::waitingOn);
    session.transcriptPath = reader.optionalText(Key::transcriptPath);
    session.updatedAt = reader.date(Key::updatedAt);
    session.stateSince = reader.date(Key::stateSince);
    session.cwd = reader.text(Key::cwd);
    session.agentPid = reader.int32(reader.isMissing(Key::agentPid) ? Key::claudePid : Key::agentPid);
    session.tty = reader.optionalText(Key::tty);
    session.hostPid = reader.optionalInt32(Key::hostPid);
    session.hostBundleId = reader.optionalText(Key::hostBundleId);
    session.repoRoot = reader.optionalText(Key::repoRoot);
    session.worktreeName = reader.optionalText(Key::worktreeName);
    session.title = reader.optionalText(Key::title);
    return reader.failed() ? std::nullopt : std::optional(std::move(session));
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

}  // namespace tavrin
