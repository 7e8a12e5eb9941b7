#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Hook/HookTransitions.hpp"
#include "TavrinCore/Support/FixedList.hpp"
#include "tests/TavrinCore/Hook/TransitionSamples.hpp"
#include "tests/TavrinCore/Hook/TransitionTable.hpp"

/// Compares the state machine with the plain table for every combination of what an event may hold and what
/// may be stored, and for every short sequence of events.
namespace tavrin::test {
namespace {

using Text = std::optional<std::string>;

const Date now = dateFromSeconds(1'750'000'000);
const std::string freshId = "FRESH";

std::string sameId() {
  return freshId;
}

// Events

constexpr FixedList<std::string_view, 27> tableNames = {
    "SessionStart",        "UserPromptSubmit",
    "PostToolUse",         "PostToolUseFailure",
    "PreToolUse",          "PermissionRequest",
    "Elicitation",         "PermissionDenied",
    "Notification",        "Stop",
    "StopFailure",         "StopCancelled",
    "Interrupt",           "Resumed",
    "PreCompact",          "PostCompact",
    "SubagentStart",       "SubagentStop",
    "BeforeAgent",         "BeforeTool",
    "AfterTool",           "AfterAgent",
    "BeforeModel",         "AfterModel",
    "BeforeToolSelection", "PreCompress",
    "SessionEnd",
};

// Names that an agent sends or might send and that no table lists.
constexpr FixedList<std::string_view, 13> otherNames = {
    "",
    "Setup",
    "CwdChanged",
    "PostToolBatch",
    "InstructionsLoaded",
    "UserPromptExpansion",
    "ElicitationResult",
    "UserPromptSubmitted",
    "userPromptSubmitted",
    "AgentStop",
    "agentStop",
    "ErrorOccurred",
    "SESSIONEND",
};

// A name of the table with a lower-case first letter, cut short, and with a space.
std::vector<std::string> nearMisses(std::string_view name) {
  std::string lower(name);
  lower[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(lower[0])));
  return {lower, std::string(name.substr(0, name.size() - 1)), std::string(name) + " "};
}

struct Named {
  std::string name;
  bool isOfTable;
};

std::vector<Named> allNames() {
  std::vector<Named> names;
  for (const std::string_view name : tableNames) {
    names.push_back({std::string(name), true});
    for (const std::string& miss : nearMisses(name)) names.push_back({miss, false});
  }
  for (const std::string_view name : otherNames) names.push_back({std::string(name), false});
  return names;
}

struct Detail {
  Text source;
  Text notificationType;
};

// All sources and types for the two events that depend on them. A few for the events that must not.
std::vector<Detail> details(const Named& event) {
  const Detail most{.source = "compact", .notificationType = "permission_prompt"};
  if (!event.isOfTable) return {most};
  if (event.name != "SessionStart" && event.name != "Notification") return {Detail{}, most};
  std::vector<Detail> all;
  for (const Text& source : {Text(), Text(""), Text("compact"), Text("startup"), Text("Compact")}) {
    for (const Text& type : {Text(), Text(""), Text("permission_prompt"), Text("ToolPermission"),
                             Text("elicitation_dialog"), Text("idle_prompt"), Text("toolPermission")})
      all.push_back({.source = source, .notificationType = type});
  }
  return all;
}

struct Call {
  Text tool;
  Text id;
};

// Without a key, keyed by id and keyed by name. The records below hold some of these keys in `inFlight` and
// some in `waitingOn`.
std::vector<Call> calls() {
  std::vector<Call> calls;
  for (const Text& tool : {Text(), Text(""), Text("Bash"), Text("AskUserQuestion"),
                           Text("request_user_input"), Text("askUserQuestion")}) {
    for (const Text& id : {Text(), Text(""), Text("open"), Text("asked"), Text("new")})
      calls.push_back({.tool = tool, .id = id});
  }
  return calls;
}

const std::array<Text, 3> agentIds = {Text(), Text(""), Text("sub-1")};

// Calls `body` with every event of these names.
template <class Body>
void forEachEvent(const std::vector<Named>& names, const Body& body) {
  HookEvent event;
  event.sessionId = "session";
  event.cwd = "/elsewhere";
  event.transcriptPath = "/other.jsonl";
  for (const Named& name : names) {
    event.eventName = name.name;
    for (const Detail& detail : details(name)) {
      event.source = detail.source;
      event.notificationType = detail.notificationType;
      for (const Call& call : calls()) {
        event.toolName = call.tool;
        event.toolUseId = call.id;
        for (const Text& agentId : agentIds) {
          event.agentId = agentId;
          body(event);
        }
      }
    }
  }
}

// Records

std::vector<std::string> numberedCalls(int count) {
  std::vector<std::string> calls;
  for (int i = 1; i <= count; ++i) calls.push_back("call " + std::to_string(i));
  return calls;
}

Session storedRecord(SessionState state, std::vector<std::string> inFlight,
                     std::vector<std::string> waitingOn) {
  Session session = sessionOf(Agent::claude, state);
  session.inFlight = std::move(inFlight);
  session.waitingOn = std::move(waitingOn);
  session.updatedAt = dateFromSeconds(1'700'000'200);
  session.stateSince = dateFromSeconds(1'700'000'100);
  session.transcriptPath = "/t.jsonl";
  session.cwd = "/project";
  session.agentPid = 12;
  session.tty = "/dev/ttys004";
  session.hostPid = 34;
  session.hostBundleId = "com.example.terminal";
  session.repoRoot = "/project";
  session.worktreeName = "tree";
  session.title = "Title";
  return session;
}

Session withAttention(Session session) {
  session.needsYouTool = "Edit";
  session.attentionId = "STORED";
  session.attentionTranscriptOffset = 4711;
  return session;
}

// Records as Tavrin writes them, and records that only another program can have left.
std::vector<Session> storedRecords() {
  std::vector<std::string> tooMany = numberedCalls(70);
  tooMany.insert(tooMany.begin() + 30, {"open", "name:Bash", "open"});
  return {
      storedRecord(SessionState::idle, {}, {}),
      withAttention(storedRecord(SessionState::idle, {"open", "asked"}, {"asked", "call 1"})),
      storedRecord(SessionState::working, {}, {}),
      storedRecord(SessionState::working, {"open", "asked", "name:Bash"}, {}),
      withAttention(storedRecord(SessionState::working, numberedCalls(64), {"asked"})),
      storedRecord(SessionState::working, tooMany, {}),
      storedRecord(SessionState::needsYou, {}, {}),
      withAttention(storedRecord(SessionState::needsYou, {"open", "asked"}, {"asked"})),
      withAttention(
          storedRecord(SessionState::needsYou, {"open", "asked", "name:Bash"}, {"asked", "name:Bash"})),
      withAttention(storedRecord(SessionState::needsYou, numberedCalls(64), {"asked", "asked", "name:Bash"})),
      storedRecord(SessionState::needsYou, {"open", "name:request_user_input"}, {"name:request_user_input"}),
  };
}

// One record or none, and the agent that calls, if it is known.
struct Situation {
  std::optional<Session> stored;
  std::optional<Agent> agent;
};

std::vector<std::optional<Agent>> agentsAndNone() {
  std::vector<std::optional<Agent>> agents(allAgents.begin(), allAgents.end());
  agents.emplace_back();
  return agents;
}

std::vector<Situation> situations() {
  std::vector<Situation> situations;
  for (const std::optional<Agent> agent : agentsAndNone()) {
    situations.push_back({.stored = std::nullopt, .agent = agent});
    for (Session stored : storedRecords()) {
      for (const Agent owner : allAgents) {
        stored.agent = owner;
        situations.push_back({.stored = stored, .agent = agent});
      }
    }
  }
  return situations;
}

std::string describe(const Situation& situation, const HookEvent& event) {
  const auto& [stored, agent] = situation;
  return ::testing::PrintToString(event) + ", agent " + std::string(agent ? rawValue(*agent) : "not given") +
         ", stored " + (stored ? stored->encode() : "none");
}

// Compares the library's answers with the table's, and prints the first few that differ.
class Comparison {
 public:
  template <class T, class Description>
  bool same(const T& library, const T& table, const Description& description) {
    ++compared_;
    if (library == table) return true;
    if (++different_ <= mostTold) {
      EXPECT_EQ(library, table) << description();
    }
    return false;
  }

  std::size_t compared() const { return compared_; }
  std::size_t different() const { return different_; }

 private:
  static constexpr std::size_t mostTold = 20;

  std::size_t compared_ = 0;
  std::size_t different_ = 0;
};

TEST(HookTransitionsExhaustive, EveryEventHasTheActionOfTheTable) {
  Comparison actions;
  forEachEvent(allNames(), [&](const HookEvent& event) {
    actions.same(HookTransitions::action(event), TransitionTable::action(event),
                 [&] { return ::testing::PrintToString(event); });
  });
  EXPECT_EQ(actions.different(), 0U);
  EXPECT_EQ(actions.compared(), 19'260U);
}

TEST(HookTransitionsExhaustive, EveryEventMakesOfEveryRecordWhatTheTableSays) {
  const std::vector<Situation> all = situations();
  Comparison actions;
  Comparison records;
  forEachEvent(allNames(), [&](const HookEvent& event) {
    const HookAction wanted = TransitionTable::action(event);
    for (const Situation& situation : all) {
      const auto& [stored, agent] = situation;
      const auto description = [&] { return describe(situation, event); };
      const HookAction action = HookTransitions::resolve(wanted, event, stored, agent);
      if (!actions.same(action, TransitionTable::resolve(wanted, event, stored, agent), description))
        continue;
      if (!action.state()) continue;
      const SessionState state = *action.state();
      const Session base = stored ? *stored : HookTransitions::newRecord(event, Agent::claude, now);
      const auto previous = stored ? std::optional(stored->state) : std::nullopt;
      records.same(HookTransitions::advance(base, state, event, previous, now, sameId),
                   TransitionTable::advance(base, state, event, previous, now, freshId), description);
    }
  });
  EXPECT_EQ(actions.different(), 0U);
  EXPECT_EQ(actions.compared(), 6'471'360U);
  EXPECT_EQ(records.different(), 0U);
  EXPECT_EQ(records.compared(), 2'255'940U);
}

TEST(HookTransitionsExhaustive, EveryActionIsResolvedAsTheTableSaysWhicheverEventItIsFor) {
  const std::vector<Situation> all = situations();
  Comparison actions;
  forEachEvent(allNames(), [&](const HookEvent& event) {
    for (const HookAction wanted : {idle, working, needsYou, remove, ignore}) {
      for (const Situation& situation : all) {
        const auto& [stored, agent] = situation;
        actions.same(HookTransitions::resolve(wanted, event, stored, agent),
                     TransitionTable::resolve(wanted, event, stored, agent),
                     [&] { return ::testing::PrintToString(wanted) + " " + describe(situation, event); });
      }
    }
  });
  EXPECT_EQ(actions.different(), 0U);
  EXPECT_EQ(actions.compared(), 32'356'800U);
}

TEST(HookTransitionsExhaustive, EveryEventAdvancesEveryRecordToEveryStateAsTheTableSays) {
  std::vector<Named> names;
  for (const std::string_view name : tableNames) names.push_back({std::string(name), true});
  const std::vector<Session> all = storedRecords();
  // The state before is stored apart from the record and may differ from the record's.
  const std::array<std::optional<SessionState>, 4> previousStates = {
      std::nullopt, SessionState::idle, SessionState::working, SessionState::needsYou};
  Comparison records;
  forEachEvent(names, [&](const HookEvent& event) {
    for (const Session& stored : all) {
      for (const SessionState target : allSessionStates) {
        for (const auto previous : previousStates) {
          records.same(HookTransitions::advance(stored, target, event, previous, now, sameId),
                       TransitionTable::advance(stored, target, event, previous, now, freshId), [&] {
                         return ::testing::PrintToString(event) + " to " + std::string(rawValue(target)) +
                                " from " + std::string(previous ? rawValue(*previous) : "none") + " on " +
                                stored.encode();
                       });
        }
      }
    }
  });
  EXPECT_EQ(records.different(), 0U);
  EXPECT_EQ(records.compared(), 1'425'600U);
}

// Sequences

using Eight = std::array<HookEvent, 8>;

struct Cast {
  Agent agent;
  Eight events;
};

// Eight events of each agent that occur in its sessions.
std::vector<Cast> casts() {
  const HookEvent prompt = event("UserPromptSubmit");
  const HookEvent end = event("SessionEnd");
  return {
      {Agent::claude,
       {toolEvent("PreToolUse", "Bash", "a"), toolEvent("PreToolUse", "AskUserQuestion", "q"),
        fromSubagent(toolEvent("PreToolUse", "Read", "s")), toolEvent("PermissionRequest", "Bash"),
        toolEvent("PostToolUse", "Bash", "a"), toolEvent("PostToolUse", "AskUserQuestion", "q"),
        event("Stop"), end}},
      {Agent::codex,
       {start("startup"), prompt, toolEvent("PreToolUse", "Bash", "a"),
        toolEvent("PreToolUse", "request_user_input", "q"), toolEvent("PermissionRequest", "Bash"),
        toolEvent("PostToolUse", "request_user_input", "q"), event("Interrupt"), end}},
      {Agent::gemini,
       {start("resume"), event("BeforeAgent"), toolEvent("BeforeTool", "read_file"),
        toolEvent("BeforeTool", "run_shell_command"), notification("ToolPermission"),
        toolEvent("AfterTool", "run_shell_command"), event("AfterAgent"), end}},
      {Agent::copilot,
       {start("new"), prompt, toolEvent("PostToolUse", "bash"), toolEvent("PostToolUseFailure", "view"),
        notification("permission_prompt"), notification("elicitation_dialog"), event("Stop"), end}},
      {Agent::grok,
       {prompt, toolEvent("PreToolUse", "run_terminal_command", "a"),
        toolEvent("PreToolUse", "read_file", "b"), notification("permission_prompt"),
        toolEvent("PostToolUse", "run_terminal_command", "a"),
        toolEvent("PermissionDenied", "read_file", "b"), event("StopCancelled"), end}},
  };
}

// All sequences of a cast's events. Each sequence carries one record along.
class Walk {
 public:
  explicit Walk(const Cast& cast) : cast_(cast) {}

  std::size_t run(std::size_t longest) {
    follow(std::nullopt, longest);
    return sequences_;
  }

 private:
  void follow(const std::optional<Session>& stored, std::size_t stepsLeft) {
    if (stepsLeft == 0) return;
    for (const HookEvent& event : cast_.events) {
      path_.push_back(&event);
      ++sequences_;
      std::optional<Session> next = stored;
      if (step(event, next)) follow(next, stepsLeft - 1);
      path_.pop_back();
      if (::testing::Test::HasFailure()) return;
    }
  }

  // Applies one event to `record`. Returns false if the library and the table disagree.
  bool step(const HookEvent& event, std::optional<Session>& record) const {
    const HookAction action =
        HookTransitions::resolve(HookTransitions::action(event), event, record, cast_.agent);
    const HookAction expected =
        TransitionTable::resolve(TransitionTable::action(event), event, record, cast_.agent);
    EXPECT_EQ(action, expected) << describe();
    if (action != expected) return false;
    if (action.isRemove()) record.reset();
    if (!action.state()) return true;

    const Date date = dateFromSeconds(static_cast<double>(path_.size()));
    const std::string id = "ID-" + std::to_string(path_.size());
    const auto previous = record ? std::optional(record->state) : std::nullopt;
    const Session base = record ? *record : HookTransitions::newRecord(event, cast_.agent, date);
    Session next = HookTransitions::advance(base, *action.state(), event, previous, date,
                                            [&id] { return std::string(id); });
    const Session wanted = TransitionTable::advance(base, *action.state(), event, previous, date, id);
    EXPECT_EQ(next, wanted) << describe();
    if (next != wanted) return false;
    // The fields that the command adds when a new stretch of attention begins.
    if (next.state == SessionState::needsYou && previous != SessionState::needsYou)
      next.attentionTranscriptOffset = 1000 + path_.size();
    record = std::move(next);
    return true;
  }

  std::string describe() const {
    std::string text = std::string(rawValue(cast_.agent));
    for (const HookEvent* event : path_) text += "\n  " + ::testing::PrintToString(*event);
    return text;
  }

  const Cast& cast_;
  std::vector<const HookEvent*> path_;
  std::size_t sequences_ = 0;
};

TEST(HookTransitionsExhaustive, EverySequenceOfUpToFiveEventsGoesAsTheTableSays) {
  std::size_t total = 0;
  for (const Cast& cast : casts()) {
    const std::size_t sequences = Walk(cast).run(5);
    EXPECT_EQ(sequences, 8U + 64 + 512 + 4'096 + 32'768) << rawValue(cast.agent);
    total += sequences;
  }
  EXPECT_EQ(total, 187'240U);
}

}  // namespace
}  // namespace tavrin::test
