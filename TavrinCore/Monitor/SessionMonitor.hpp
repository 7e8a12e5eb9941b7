#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Monitor/SessionEvidence.hpp"
#include "TavrinCore/Sessions/SharedSession.hpp"

namespace tavrin {

/// A session's record as the hook saved it, and what else is known.
struct MonitoredSession {
  SharedSession record;  ///< made by SessionMonitor::opened when there is no file
  Date savedAt;          ///< the modification time of its file; without a file, when the session was opened
  SessionEvidence evidence;
};

/// A session as it is, as far as anybody can know.
struct ObservedSession {
  SharedSession record;  ///< as the hook saved it
  SessionState state = SessionState::idle;
  Date since;               ///< when that state began
  std::string_view reason;  ///< why the state differs from the record's, such as "refused, according to its
                            ///< transcript"; "" when the hooks said it. Constant text
  std::optional<std::string> attentionId;  ///< while it needs the person: the record's, or a derived one
  bool isElsewhere = false;  ///< its folder is not on this machine, so its process cannot be asked

  bool operator==(const ObservedSession&) const = default;
};

/// What is true of a session, apart from its record: the members of ObservedSession.
struct SessionVerdict {
  SessionState state = SessionState::idle;
  Date since;
  std::string_view reason;
  std::optional<std::string> attentionId;
  bool isElsewhere = false;

  bool operator==(const SessionVerdict&) const = default;
};

/// Judges sessions from records, evidence and the time. It reads nothing and writes nothing. Facts become
/// events of the one state machine (HookTransitions); docs/agents.md lists the rules.
namespace SessionMonitor {

/// How long, in seconds, after a question it counts as one. Until then there may be a sign that nobody is
/// asked: Codex starts a command at once that is allowed beforehand, and Grok answers itself within 2 ms if
/// it always approves. 0 for other agents.
double settling(Agent agent);

/// How long, in seconds, a hook's record is believed against an older status file. Claude Code rewrites its
/// status file up to 0.4 s after the hook.
inline constexpr double statusLag = 0.5;

/// How long, in seconds, a record is believed against the agent's file: an idle one while the file has a turn
/// without an end, and a working one that was saved within that time after a turn was stopped. Grok writes
/// the end of a turn up to 0.1 s after the hook, and Copilot CLI writes a prompt up to 0.25 s after it.
inline constexpr double turnLag = 0.5;

/// Whether the fact is the end of a turn that no hook reports, and a hook that was under way then may have
/// saved the record.
bool mayPrecedeItsHook(const SessionFact& fact, Agent agent, Date savedAt);

/// How long, in seconds, a record is believed if its process was never seen running.
inline constexpr double unseenLimit = 60;

/// The record that stands for a session that has no file yet: it is idle since it was opened.
Session opened(const OpenSession& open);

/// What is true of a session; nullopt for a session that is gone and for a sub-agent's. `bootedAt` is when
/// the system was started.
std::optional<SessionVerdict> verdict(const MonitoredSession& session, Date now, Date bootedAt);

/// A record with what is true of its session.
ObservedSession observed(SharedSession record, SessionVerdict verdict);

/// The session as it is; nullopt as `verdict` returns it.
std::optional<ObservedSession> judge(const MonitoredSession& session, Date now, Date bootedAt);

/// The same for all of them, in their order.
std::vector<ObservedSession> observe(std::span<const MonitoredSession> sessions, Date now, Date bootedAt);

/// The attentionId of a wait that began at `since` and that no hook reported: the same each time, in the form
/// of a UUID (RFC 9562, version 8).
std::string derivedAttentionId(std::string_view sessionId, Date since);

}  // namespace SessionMonitor

}  // namespace tavrin
