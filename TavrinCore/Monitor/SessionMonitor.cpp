#include "TavrinCore/Monitor/SessionMonitor.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <utility>

#include "TavrinCore/Hook/HookTransitions.hpp"

namespace tavrin::SessionMonitor {

namespace {

using enum SessionState;
using Kind = SessionFact::Kind;
using Seconds = std::chrono::duration<double>;

namespace Reason {
constexpr std::string_view prompt = "a prompt was sent, according to its transcript";
constexpr std::string_view answered = "answered, according to its transcript";
constexpr std::string_view approved = "approved, according to the process table";
constexpr std::string_view resumed = "working again, according to its transcript";
constexpr std::string_view asks = "asks, according to its transcript";
constexpr std::string_view ended = "the turn ended, according to its transcript";
constexpr std::string_view interrupted = "interrupted, according to its transcript";
constexpr std::string_view refused = "refused, according to its transcript";
constexpr std::string_view failed = "failed, according to its transcript";
constexpr std::string_view status = "according to its status file";
constexpr std::string_view reopened = "opened again, according to the agent's files";
}  // namespace Reason

// Plays facts over a record, as events of the state machine.
class Play {
 public:
  Play(const Session& record, Date base) : session_(record), base_(base), since_(record.stateSince) {}

  void take(const SessionFact& fact) {
    const bool counts = fact.at > base_;
    if (fact.kind == Kind::turnStarted || fact.kind == Kind::stepStarted || fact.kind == Kind::asked)
      stopped_ = nullptr;
    switch (fact.kind) {
      case Kind::turnStarted:
        forgetQuestions(fact.kind);
        openTurn_ = fact.at;
        if (counts) apply("UserPromptSubmit", {}, fact.at, Reason::prompt);
        break;
      case Kind::stepStarted:
        if (counts && session_.state == idle) apply("UserPromptSubmit", {}, fact.at, Reason::resumed);
        [[fallthrough]];
      case Kind::output:
        if (counts && session_.state == needsYou && asked_.empty() && session_.waitingOn.empty())
          apply("Resumed", {}, fact.at, Reason::resumed);
        break;
      case Kind::asked:
        asked_.push_back(&fact);
        break;
      case Kind::answered:
      case Kind::callEnded:
      case Kind::withdrawn:
        close(fact, counts);
        break;
      case Kind::turnEnded:
      case Kind::interrupted:
      case Kind::refused:
      case Kind::failed:
        forgetQuestions(fact.kind);
        openTurn_.reset();
        stopped_ = mayPrecedeItsHook(fact, session_.agent, base_) ? &fact : nullptr;
        if (counts) apply("Interrupt", {}, fact.at, endReason(fact.kind));
        break;
      case Kind::sessionEnded:
        isEnded_ = counts;
        break;
    }
    if (fact.kind != Kind::sessionEnded && counts) isEnded_ = false;
    wasRefused_ = fact.kind == Kind::withdrawn;
  }

  // Headless, Grok runs the hooks for its start and for the prompt at once. If the start's ends last, the
  // record says idle. The file has each turn's start and end, so after a moment it is believed. A turn from
  // before the process started ended with the earlier process.
  void believeOpenTurn(const std::optional<ProcessFact>& process, Date now) {
    const bool mayRun = session_.agent == Agent::grok && session_.state == idle && openTurn_ && process;
    if (!mayRun || *openTurn_ < process->startedAt || now - base_ < Seconds(turnLag)) return;
    apply("UserPromptSubmit", {}, *openTurn_, Reason::prompt);
  }

  // A hook that was under way when the turn was stopped may end a moment later. The prompt's own hook may
  // too, if the turn fails at once. Such a record is believed only for a moment, unless the file goes on.
  void believeStop(Date now) {
    if (stopped_ == nullptr || session_.state != working || now - base_ < Seconds(turnLag)) return;
    apply("Interrupt", {}, stopped_->at, endReason(stopped_->kind));
  }

  // A question that is still open makes the session wait, unless the hooks saw the turn end after the
  // question. A sub-agent's question may outlive the turn, but not the process.
  void settle(const std::optional<ProcessFact>& process, Date now) {
    if (session_.state == needsYou) {
      // A hook that came after the answer may not know of it. These agents write down every question.
      const bool knowsAll = session_.agent == Agent::grok || session_.agent == Agent::copilot;
      if (knowsAll && asked_.empty() && answeredAt_ && *answeredAt_ >= session_.stateSince)
        apply("Resumed", {}, *answeredAt_, Reason::answered);
      return;
    }
    const Seconds settled(settling(session_.agent));
    for (const SessionFact* const fact : asked_) {
      const bool outlivesTurn = fact->isSubagents && process && fact->at >= process->startedAt;
      const bool isOver = session_.state == idle && fact->at <= base_ && !outlivesTurn;
      if (fact->at + settled > now || isOver) continue;
      session_.state = needsYou;
      since_ = fact->at;
      reason_ = Reason::asks;
      attentionId_ = derivedAttentionId(session_.sessionId, fact->at);
      return;
    }
  }

  bool isEnded() const { return isEnded_; }
  SessionState state() const { return session_.state; }
  Date since() const { return since_; }
  std::string_view reason() const { return reason_; }
  const std::optional<std::string>& attentionId() const {
    return attentionId_ ? attentionId_ : session_.attentionId;
  }

 private:
  std::string_view endReason(Kind kind) const {
    if (kind == Kind::failed) return Reason::failed;
    if (kind == Kind::turnEnded) return Reason::ended;
    return kind == Kind::refused || wasRefused_ ? Reason::refused : Reason::interrupted;
  }

  // When the person stops a turn, or it fails, nobody waits for an answer any more. Otherwise sub-agents in
  // the background may go on to wait.
  void forgetQuestions(Kind kind) {
    const bool keeps = kind == Kind::turnStarted || kind == Kind::turnEnded;
    std::erase_if(asked_, [&](const SessionFact* open) { return !keeps || !open->isSubagents; });
  }

  void close(const SessionFact& fact, bool counts) {
    bool wasAsked = false;
    if (!fact.call.empty()) {
      // Grok's questions are named after their tools, so the main agent and a sub-agent may ask the same.
      const auto isAbout = [&](const SessionFact* open) { return open->call == fact.call; };
      auto at = std::ranges::find_if(asked_, [&](const SessionFact* open) {
        return isAbout(open) && open->isSubagents == fact.isSubagents;
      });
      if (at == asked_.end()) at = std::ranges::find_if(asked_, isAbout);
      wasAsked = at != asked_.end();
      if (wasAsked) asked_.erase(at);
    } else if (fact.kind == Kind::answered) {
      asked_.clear();
    }
    if (fact.kind != Kind::withdrawn && wasAsked) answeredAt_ = fact.at;
    // An answer to one of several questions does not end the wait.
    if (!counts || session_.state != needsYou || !asked_.empty() || fact.kind == Kind::withdrawn) return;
    if (fact.kind == Kind::callEnded)
      apply("PostToolUse", fact.call, fact.at, Reason::answered);
    else
      apply("Resumed", {}, fact.at, fact.call.empty() ? Reason::approved : Reason::answered);
  }

  void apply(std::string_view name, const std::string& call, Date at, std::string_view reason) {
    const SessionState before = session_.state;
    HookEvent event{.sessionId = session_.sessionId,
                    .eventName = std::string(name),
                    .cwd = session_.cwd,
                    .toolName = std::nullopt,
                    .notificationType = std::nullopt,
                    .source = std::nullopt,
                    .toolUseId = std::nullopt,
                    .agentId = std::nullopt,
                    .transcriptPath = std::nullopt};
    // Gemini's calls have no identifiers; both sides know them by the tool's name.
    constexpr std::string_view byName = "name:";
    if (call.starts_with(byName))
      event.toolName = call.substr(byName.size());
    else if (!call.empty())
      event.toolUseId = call;
    const HookAction action =
        HookTransitions::resolve(HookTransitions::action(event), event, session_, session_.agent);
    if (!action.state()) return;
    session_ = HookTransitions::advance(session_, *action.state(), event, before, at,
                                        [&] { return derivedAttentionId(session_.sessionId, at); });
    if (session_.state == before) return;
    since_ = at;
    reason_ = reason;
  }

  Session session_;
  Date base_;
  Date since_;
  std::string_view reason_;
  std::optional<std::string> attentionId_;
  std::vector<const SessionFact*> asked_;
  std::optional<Date> answeredAt_;
  std::optional<Date> openTurn_;          // the start of the turn that has no end yet
  const SessionFact* stopped_ = nullptr;  // how the last turn ended, if no hook reports that
  bool isEnded_ = false;
  bool wasRefused_ = false;
};

// Whether the record's process is certainly gone.
bool isDead(const MonitoredSession& session, Date now, Date bootedAt) {
  const SessionEvidence& evidence = session.evidence;
  const Session& record = *session.record;
  if (record.updatedAt < bootedAt) return true;
  if (!evidence.process) return evidence.wasSeen || now - session.savedAt >= Seconds(unseenLimit);
  // Another process has the id now. The 5 s are there because `updatedAt` is in whole seconds and a hook
  // takes a moment.
  if (evidence.process->startedAt > record.updatedAt + Seconds(5)) return true;
  return record.tty && !evidence.process->terminal;
}

// Whether the hooks know something that the status file does not say yet.
bool isAhead(const MonitoredSession& session, SessionState level, Date now) {
  if (session.savedAt <= session.evidence.open->stateSince) return false;
  if (now - session.savedAt >= Seconds(statusLag)) return false;
  if (session.savedAt - session.record->stateSince >= Seconds(1)) return false;
  return severity(session.record->state) > severity(level);
}

}  // namespace

bool mayPrecedeItsHook(const SessionFact& fact, Agent agent, Date savedAt) {
  if (fact.at > savedAt || savedAt - fact.at >= Seconds(turnLag)) return false;
  // Claude Code's status file decides. Its transcript does not show that the next prompt was sent.
  if (agent == Agent::claude) return false;
  // Gemini CLI reports the end of a turn that failed.
  if (fact.kind == Kind::failed) return agent != Agent::gemini;
  return fact.kind == Kind::interrupted || fact.kind == Kind::refused;
}

double settling(Agent agent) {
  if (agent == Agent::codex) return 0.5;
  return agent == Agent::grok ? 0.1 : 0;
}

Session opened(const OpenSession& open) {
  Session record;
  record.sessionId = open.sessionId;
  record.agent = open.agent;
  record.updatedAt = open.since;
  record.stateSince = open.since;
  record.cwd = open.folder;
  record.agentPid = open.pid;
  record.tty = open.terminal;
  return record;
}

std::optional<SessionVerdict> verdict(const MonitoredSession& session, Date now, Date bootedAt) {
  const SessionEvidence& evidence = session.evidence;
  if (evidence.isSubagent) return std::nullopt;
  const bool isElsewhere = !evidence.isFolderHere && !evidence.wasSeen && !evidence.open;
  bool isReopened = evidence.open && !evidence.isOpenByItsAgent && evidence.open->since > session.savedAt;
  if (!isElsewhere && !isReopened) {
    const bool isGone = evidence.isClosed || isDead(session, now, bootedAt);
    if (isGone && (!evidence.open || evidence.isClosed)) return std::nullopt;
    isReopened = isGone;
  }

  const bool isPlain = evidence.facts.empty() && !isReopened && (!evidence.open || !evidence.open->state);
  if (isPlain)
    return SessionVerdict{.state = session.record->state,
                          .since = session.record->stateSince,
                          .reason = {},
                          .attentionId = session.record->attentionId,
                          .isElsewhere = isElsewhere};

  const Date base = isReopened ? std::max(evidence.open->since, session.savedAt) : session.savedAt;
  Play play(isReopened ? opened(*evidence.open) : *session.record, base);
  for (const SessionFact& fact : evidence.facts) play.take(fact);
  play.believeOpenTurn(evidence.process, now);
  play.believeStop(now);
  play.settle(evidence.process, now);
  if (play.isEnded()) return std::nullopt;

  SessionVerdict found{.state = play.state(),
                       .since = play.since(),
                       .reason = play.reason(),
                       .attentionId = play.attentionId(),
                       .isElsewhere = isElsewhere};
  if (isReopened && found.reason.empty()) found.reason = Reason::reopened;
  if (evidence.open && evidence.open->state && *evidence.open->state != found.state &&
      !isAhead(session, *evidence.open->state, now)) {
    found.state = *evidence.open->state;
    found.since = evidence.open->stateSince;
    found.reason = found.state == session.record->state ? std::string_view() : Reason::status;
    found.attentionId = session.record->state == needsYou
                            ? session.record->attentionId
                            : std::optional(derivedAttentionId(session.record->sessionId, found.since));
  }
  if (found.state != needsYou) found.attentionId.reset();
  return found;
}

ObservedSession observed(SharedSession record, SessionVerdict verdict) {
  return {.record = std::move(record),
          .state = verdict.state,
          .since = verdict.since,
          .reason = verdict.reason,
          .attentionId = std::move(verdict.attentionId),
          .isElsewhere = verdict.isElsewhere};
}

std::optional<ObservedSession> judge(const MonitoredSession& session, Date now, Date bootedAt) {
  std::optional<SessionVerdict> found = verdict(session, now, bootedAt);
  return found ? std::optional(observed(session.record, *std::move(found))) : std::nullopt;
}

std::vector<ObservedSession> observe(std::span<const MonitoredSession> sessions, Date now, Date bootedAt) {
  std::vector<ObservedSession> observed;
  observed.reserve(sessions.size());
  for (const MonitoredSession& session : sessions) {
    if (std::optional<ObservedSession> one = judge(session, now, bootedAt))
      observed.push_back(*std::move(one));
  }
  return observed;
}

std::string derivedAttentionId(std::string_view sessionId, Date since) {
  // FNV-1a, twice with different starts. Two waits with one id would only lose a notification.
  const std::string text =
      std::string(sessionId) + "@" + std::to_string(std::llround(secondsOf(since) * 1000));
  std::string digits;
  for (std::uint64_t hash : {0xcbf29ce484222325U, 0x84222325cbf29ce4U}) {
    for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
    for (int shift = 60; shift >= 0; shift -= 4) digits += "0123456789ABCDEF"[(hash >> shift) & 0xfU];
  }
  digits[12] = '8';
  digits[16] = '8';
  for (const std::size_t at : {20U, 16U, 12U, 8U}) digits.insert(at, "-");
  return digits;
}

}  // namespace tavrin::SessionMonitor
