// A session's life. The input is the hook's command line, with spaces between the words, and then payloads.
// Each payload leads to its event, its action and the next record. Every step is compared with a second
// implementation.
#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "TavrinCore/Hook/AgentArgument.hpp"
#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Hook/HookOrigin.hpp"
#include "TavrinCore/Hook/HookPayload.hpp"
#include "TavrinCore/Hook/HookTransitions.hpp"
#include "TavrinCore/Hook/SessionUpdate.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinHook/HookCommand.hpp"
#include "TavrinHook/JsonSkimmer.hpp"
#include "TavrinHook/JsonText.hpp"
#include "fuzz/Laws.hpp"
#include "fuzz/PlainJson.hpp"
#include "tests/TavrinCore/Hook/TransitionTable.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)
using test::TransitionTable::action;
using test::TransitionTable::advance;
using test::TransitionTable::resolve;

namespace {

using MissingCase = HookEvent::ParseError::Case;

std::optional<std::string> textUnder(const PlainJson::Value& object,
                                     std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    const PlainJson::Value* const value = object.last(key);
    if (value != nullptr && value->asText() != nullptr) return *value->asText();
  }
  return std::nullopt;
}

// The event of a payload, or the reason why it is not one.
using Reading = std::variant<HookEvent, MissingCase>;

Reading readPlainly(const PlainJson::Value& payload, const std::optional<std::string>& override) {
  if (payload.kind != PlainJson::Value::Kind::object) return MissingCase::notAnObject;
  HookEvent event;
  event.sessionId = textUnder(payload, {"session_id", "sessionId"}).value_or("");
  if (event.sessionId.empty()) return MissingCase::missingSessionId;
  std::optional<std::string> name = textUnder(payload, {"hook_event_name", "hookEventName"});
  if (!name) name = override;
  if (!name || name->empty()) return MissingCase::missingEventName;
  event.eventName = *name == "userPromptSubmitted" ? "UserPromptSubmit"
                    : *name == "agentStop"         ? "Stop"
                                                   : Text::upperCasedFirst(*name);
  event.cwd = textUnder(payload, {"cwd"}).value_or("");
  event.toolName = textUnder(payload, {"tool_name", "toolName"});
  event.notificationType = textUnder(payload, {"notification_type", "notificationType"});
  event.source = textUnder(payload, {"source"});
  event.toolUseId = textUnder(payload, {"tool_use_id", "toolUseId", "tool_call_id", "toolCallId"});
  event.agentId = textUnder(payload, {"agent_id", "agentId"});
  event.transcriptPath = textUnder(payload, {"transcript_path", "transcriptPath"});
  return event;
}

Reading read(const HookPayload& payload, const std::optional<std::string>& override) {
  try {
    return HookEvent::parse(payload, override);
  } catch (const HookEvent::ParseError& error) {
    return error.value();
  }
}

std::optional<HookPayload> payloadOf(std::string_view bytes) {
  try {
    return HookPayload(bytes);
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

// What is left of a payload that arrives in pieces of `size` bytes. If `size` is 0, the payload's own bytes
// decide the sizes, from 1 to 32.
std::string skimmed(std::string_view bytes, std::size_t size) {
  JsonSkimmer skimmer(HookPayload::keys());
  std::string held;
  while (!bytes.empty()) {
    const std::size_t next = size > 0 ? size : 1U + static_cast<unsigned char>(bytes.front()) % 32U;
    held += bytes.substr(0, next);
    bytes.remove_prefix(std::min(next, bytes.size()));
    held.erase(0, skimmer.add(held, false));
    require(held.size() <= JsonSkimmer::mostLeftOver, "at most mostLeftOver bytes of a piece are left");
  }
  require(skimmer.add(held, true) == held.size(), "and none at the end");
  return skimmer.take();
}

// Whether the payload is an object, and the requested fields; nullopt if it is not JSON.
std::optional<std::pair<bool, std::vector<JsonField>>> fieldsOf(std::string_view bytes) {
  try {
    const JsonFields fields = JsonFields::ofMessage(bytes, HookPayload::keys());
    std::vector<JsonField> all;
    for (std::size_t i = 0; i < HookPayload::keys().size(); ++i) all.push_back(fields[i]);
    return std::pair(fields.isObject(), all);
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

// Reads the bytes as the contents of strings, one after the other, in vectors of every size.
void checkBlockReaders(std::string_view bytes) {
  static const std::vector<JsonText::BlockReader*> readers = JsonText::blockReaders();
  while (!bytes.empty()) {
    const std::size_t length = JsonText::soundLength(bytes);
    for (JsonText::BlockReader* const reader : readers) {
      require(JsonText::soundLength(bytes, reader) == length, "vectors of every size find the same");
    }
    bytes.remove_prefix(std::min(length + 1, bytes.size()));
  }
}

void checkSkimmer(std::string_view bytes) {
  checkBlockReaders(bytes);
  const std::string left = skimmed(bytes, bytes.size());
  require(fieldsOf(left) == fieldsOf(bytes), "what is left of a payload has the same fields");
  for (const std::size_t size : {0U, 1U}) {
    require(skimmed(bytes, size) == left, "in whatever pieces it comes");
  }
}

HookOrigin originPlainly(const PlainJson::Value& payload) {
  if (payload.last("cursor_version") != nullptr) return HookOrigin::unsupported();
  if (payload.last("workspaceRoot") != nullptr) return HookOrigin::agent(Agent::grok);
  return HookOrigin::declared();
}

void checkRecord(const Session& session) {
  const bool waits = session.state == SessionState::needsYou;
  require(session.inFlight.size() <= HookTransitions::mostCallsInFlight, "at most 64 calls are in flight");
  require(waits == session.attentionId.has_value(), "a record has an attention id while it needs its user");
  require(waits || (session.waitingOn.empty() && !session.needsYouTool),
          "only a session that needs its user waits for calls");
  require(session.stateSince <= session.updatedAt, "a state is not younger than its record");
  const std::string text = session.encode();
  require(Text::isValidUtf8(text), "a record's file is UTF-8");
  require(Session::decode(text) == session, "a record comes back from its file");
}

// The surroundings of the sessions: no processes, no repositories, and files as long as their paths.
constexpr std::int32_t parentPid = 42;
const ProcessTable noProcesses = {.record = [](std::int32_t /*pid*/) { return std::nullopt; },
                                  .longName = [](std::int32_t /*pid*/) { return std::nullopt; },
                                  .terminal = [](std::int32_t /*pid*/) { return std::nullopt; },
                                  .application = [](std::int32_t /*pid*/) { return std::nullopt; }};
const RepoLabel::Probes noFiles = {.exists = [](const std::string& /*path*/) { return false; },
                                   .isDirectory = [](const std::string& /*path*/) { return false; },
                                   .contents = [](const std::string& /*path*/) { return std::nullopt; },
                                   .currentDirectory = [] { return "/"; }};
std::optional<std::uint64_t> sizeOf(const std::string& path) {
  return path.size();
}

SessionUpdate updatePlainly(const std::optional<Session>& stored, const HookEvent& event, Agent agent,
                            Date now, const std::string& freshId) {
  const HookAction wanted = action(event);
  require(HookTransitions::action(event) == wanted, "the action is that of the table");
  const HookAction resolved = resolve(wanted, event, stored, agent);
  require(HookTransitions::resolve(wanted, event, stored, agent) == resolved, "and so is the resolved one");
  if (resolved.isRemove()) return SessionUpdate::remove();
  const std::optional<SessionState> state = resolved.state();
  if (!state) return SessionUpdate::ignore();

  const std::optional<SessionState> previous = stored ? std::optional(stored->state) : std::nullopt;
  const Session base = stored ? *stored : HookTransitions::newRecord(event, agent, now);
  Session next = advance(base, *state, event, previous, now, freshId);
  next.agent = agent;
  next.agentPid = parentPid;
  if (!event.cwd.empty()) next.cwd = event.cwd;
  if (!event.transcriptPath.value_or("").empty()) next.transcriptPath = event.transcriptPath;
  const bool begins = state == SessionState::needsYou && previous != SessionState::needsYou;
  if (begins && next.transcriptPath) next.attentionTranscriptOffset = next.transcriptPath->size();
  return SessionUpdate::store(std::move(next));
}

// What the store, and one run of the command after the other, make of payloads.
class Sessions {
 public:
  explicit Sessions(AgentArgument::Parsed arguments) : arguments_(std::move(arguments)) {}

  void handle(std::string_view bytes) {
    const std::optional<PlainJson::Value> plain = PlainJson::parseMessage(bytes);
    const std::optional<HookPayload> payload = payloadOf(bytes);
    const std::optional<boost::json::value> document = Json::parse(bytes);
    checkSkimmer(bytes);
    require(payload.has_value() == plain.has_value(), "both readers take the same payloads");
    require(document.has_value() == plain.has_value(), "and so does the reader of documents");
    require(HookOrigin::detect(bytes) == (plain ? originPlainly(*plain) : HookOrigin::declared()),
            "the keys decide the origin");
    if (!payload) return;
    require(PlainJson::agree(*plain, *document), "both readers see the same value");
    const Reading reading = read(*payload, arguments_.event);
    require(reading == readPlainly(*plain, arguments_.event), "both readers see the same event");
    const std::optional<Agent> agent = HookOrigin::resolve(arguments_.agent, HookOrigin::detect(*payload));
    require(agent || arguments_.agent == Agent::claude, "a declared agent other than Claude Code wins");
    const auto* const event = std::get_if<HookEvent>(&reading);
    if (agent && event != nullptr) apply(*event, *agent);
  }

 private:
  void apply(const HookEvent& event, Agent agent) {
    require(HookEvent::normalizedEventName(event.eventName) == event.eventName ||
                event.eventName == "userPromptSubmitted" || event.eventName == "agentStop",
            "a normalised name is normal");
    std::optional<Session>& current = records_[Text::onlyNameCharacters(event.sessionId)];
    checkTrace(event, agent);
    const Date now = dateFromSeconds(1'738'314'902 + ++steps_);
    const std::string freshId = "ID-" + std::to_string(steps_);
    const UuidSource makeId = [&] { return freshId; };
    const SessionUpdate update = SessionUpdate::of(current, event, agent,
                                                   {.now = now,
                                                    .parentPid = parentPid,
                                                    .processes = noProcesses,
                                                    .files = noFiles,
                                                    .makeId = makeId,
                                                    .fileSize = sizeOf,
                                                    .desktopTitle = nullptr});
    require(update == updatePlainly(current, event, agent, now, freshId), "both make the same record");
    if (update.isRemove()) current.reset();
    if (const Session* const record = update.record()) {
      checkRecord(*record);
      current = *record;
    }
  }

  static void checkTrace(const HookEvent& event, Agent agent) {
    const std::string line = HookCommand::trace(event, agent, "outcome");
    const std::string start = std::string(rawValue(agent)) + " ";
    require(line.starts_with(start) && line.ends_with(" \u2192 outcome"), "a trace has its frame");
    const std::string_view id = Text::firstCharacters(event.sessionId, 8);
    require(line.substr(start.size()).starts_with(std::string(id) + " " + event.eventName),
            "a trace begins with session and event");
    require(Text::isValidUtf8(line), "a trace is UTF-8");
  }

  AgentArgument::Parsed arguments_;
  std::map<std::string, std::optional<Session>> records_;  // by the names of their files
  int steps_ = 0;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::string_view> parts = split(textOf(data, size), recordSeparator);
  std::vector<std::string_view> words = split(parts.front(), ' ');
  words.insert(words.begin(), "tavrin-hook");
  Sessions sessions(AgentArgument::parseAll(words));
  for (std::size_t i = 1; i < parts.size(); ++i) sessions.handle(parts[i]);
  return 0;
}
