#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Monitor/SessionFact.hpp"
#include "TavrinCore/Sessions/SessionState.hpp"

/// Readers of the agents' own files: text in, facts out. They read nothing themselves and never fail. What
/// they do not know, they ignore. docs/agents.md says where each file is and which client was observed.
namespace tavrin {

/// What one line of the agent's transcript says. A line without a time of its own says nothing.
LineEvidence evidenceInLine(std::string_view line, Agent agent);

/// The status files of Claude Code, "sessions/PID.json".
namespace ClaudeEvidence {

/// What a status file says.
struct Status {
  std::int32_t pid = 0;
  std::string sessionId;
  std::string cwd;
  std::optional<SessionState>
      state;            ///< nullopt when the file has no status, as in headless runs, or an unknown one
  Date since;           ///< when the state began; when the process started if there is no status
  bool isKnown = true;  ///< false for a status that this reader does not know

  bool operator==(const Status&) const = default;
};

/// nullopt when the text is not such a file.
std::optional<Status> status(std::string_view text);

/// A line of "projects/FOLDER/ID.jsonl".
LineEvidence line(std::string_view line);

}  // namespace ClaudeEvidence

/// Codex's rollouts, "sessions/Y/M/D/rollout-TIME-ID.jsonl".
namespace CodexEvidence {

/// The line of a rollout that describes its thread.
struct Meta {
  std::string id;
  std::string parentId;            ///< the thread that started this one as a sub-agent; "" for none
  std::uint64_t firstOwnLine = 0;  ///< the "ordinal" of the first line that is not a copy of the parent's

  bool operator==(const Meta&) const = default;
};

/// nullopt for any other line.
std::optional<Meta> meta(std::string_view line);

/// The "ordinal" of a line; nullopt when it has none.
std::optional<std::uint64_t> ordinal(std::string_view line);

/// Any line. A command that asks to run outside the sandbox asks the person, unless a rule allows it; see
/// SessionMonitor::settling.
LineEvidence line(std::string_view line);

/// The id in the name of a rollout or of a lock file; "" when there is none.
std::string_view idInName(std::string_view name);

/// When a thread was made, by the time in its id (RFC 9562, version 7); nullopt for another kind of id.
std::optional<Date> createdAt(std::string_view id);

}  // namespace CodexEvidence

/// Gemini CLI's chats, "tmp/PROJECT/chats/session-TIME-ID8.jsonl".
namespace GeminiEvidence {

/// What one line of a chat says.
LineEvidence line(std::string_view line);

}  // namespace GeminiEvidence

/// Copilot CLI's "session-state/ID/events.jsonl".
namespace CopilotEvidence {

/// What one line of events.jsonl says.
LineEvidence line(std::string_view line);

/// The process id in the name of a hold file, "inuse.PID.hold" or with another ending; nullopt for another
/// name.
std::optional<std::int32_t> holder(std::string_view name);

}  // namespace CopilotEvidence

/// Grok's "sessions/FOLDER/ID/events.jsonl" and "active_sessions.json".
namespace GrokEvidence {

/// A session that the list names.
struct Open {
  std::string sessionId;
  std::int32_t pid = 0;
  std::string cwd;
  Date since;

  bool operator==(const Open&) const = default;
};

/// The list of open sessions; nullopt when the text is not such a list. Entries without an id or a process
/// are left out.
std::optional<std::vector<Open>> openSessions(std::string_view text);

/// Whether a session's "summary.json" says that it is a sub-agent's.
bool isSubagent(std::string_view summary);

/// What one line of events.jsonl says.
LineEvidence line(std::string_view line);

}  // namespace GrokEvidence

}  // namespace tavrin
