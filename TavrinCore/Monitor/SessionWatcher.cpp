#include "TavrinCore/Monitor/SessionWatcher.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/ChildEvidence.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

namespace {

using Kind = SessionFact::Kind;
using Seconds = std::chrono::duration<double>;

// How often, in seconds, the process of an idle session is asked for, and the children of one that waits.
constexpr Seconds processInterval(1);
constexpr Seconds childInterval(0.25);

// How long, in seconds, a closed session is remembered.
constexpr Seconds closedInterval(60);

std::string keyOf(Agent agent, const std::string& id) {
  return std::string(rawValue(agent)) + "/" + id;
}
std::string keyOf(const Session& record) {
  return keyOf(record.agent, record.sessionId);
}

}  // namespace

SessionWatcher::SessionWatcher(Surroundings surroundings)
    : surroundings_(std::move(surroundings)), saved_(surroundings_.sessionsDirectory) {}

const AgentHome* SessionWatcher::homeOf(Agent agent) const {
  const auto at = std::ranges::find(surroundings_.homes, agent, &AgentHome::agent);
  return at == surroundings_.homes.end() ? nullptr : &*at;
}

// Whether an answer is at least `age` old, or of a time to come, from before the clock was set back.
bool SessionWatcher::isOutdated(Date askedAt, Seconds age) const {
  return now_ - askedAt >= age || askedAt > now_;
}

// What is known of a process. Asks the system again if its last answer is at least `oldest` seconds old, but
// at most once a look, because many sessions may name one process.
const std::optional<ProcessFact>& SessionWatcher::process(std::int32_t pid, Seconds oldest) {
  KnownProcess& known = processes_[pid];
  if (known.askedAt == Date() || (known.askedAt != now_ && isOutdated(known.askedAt, oldest))) {
    known.fact = surroundings_.processes.process(pid);
    known.askedAt = now_;
  }
  return known.fact;
}

OpenSessions::Surroundings SessionWatcher::surroundingsOfOpen() {
  return {.files = surroundings_.files,
          .processes = surroundings_.processes,
          .process = [this](std::int32_t pid) { return process(pid, processInterval); },
          .directories = directories_,
          .now = now_};
}

bool SessionWatcher::isRelated(std::int32_t pid, std::int32_t agentPid) {
  if (pid == agentPid) return true;
  const std::optional<ProcessFact>& one = process(pid, processInterval);
  return one && one->parent == agentPid;
}

SessionWatcher::Look SessionWatcher::look(Date now) {
  readRecords(now);
  return lookAround(Report::all);
}

SessionWatcher::Look SessionWatcher::look(Date now, const std::vector<std::string>& changedRecords) {
  readRecords(now, changedRecords);
  return lookAround(Report::all);
}

SessionWatcher::Look SessionWatcher::lookForChanges(
    Date now, const std::optional<std::vector<std::string>>& changedRecords) {
  if (changedRecords) {
    readRecords(now, *changedRecords);
  } else {
    readRecords(now);
  }
  return lookAround(Report::changes);
}

void SessionWatcher::readRecords(Date now) {
  now_ = now;
  takeRecords(saved_.look(surroundings_.files, now));
}

void SessionWatcher::readRecords(Date now, const std::vector<std::string>& changed) {
  if (!saved_.lookAt(changed, surroundings_.files)) {
    readRecords(now);
    return;
  }
  now_ = now;
  const bool isEach =
      std::ranges::all_of(changed, [this](const std::string& name) { return takeRecord(name); });
  takeRecords(!isEach);
}

// Looks at everything but the records.
SessionWatcher::Look SessionWatcher::lookAround(Report report) {
  Look look;
  look.files.push_back(surroundings_.sessionsDirectory);
  openSessions_.clear();
  const OpenSessions::Surroundings with = surroundingsOfOpen();
  for (const AgentHome& home : surroundings_.homes) openSessions_.look(home, with, look.files);
  takeOpenSessions();
  dropClosed();
  // Busy sessions are followed first.
  std::vector<Trace*> order;
  order.reserve(traces_.size());
  for (auto& [key, trace] : traces_) order.push_back(&trace);
  std::stable_partition(order.begin(), order.end(), [](const Trace* trace) {
    return trace->session.record->state != SessionState::idle;
  });
  for (Trace* const trace : order) {
    judgeOpen(*trace);
    follow(*trace, look);
  }
  judge(report, look);
  const std::vector<std::int32_t> clients = openSessions_.clients();
  look.processes.insert(look.processes.end(), clients.begin(), clients.end());
  look.next = look.next && openSessions_.next() ? std::min(look.next, openSessions_.next())
              : look.next                       ? look.next
                                                : openSessions_.next();
  std::ranges::sort(look.processes);
  look.processes.erase(std::unique(look.processes.begin(), look.processes.end()), look.processes.end());
  if (look.files.size() > mostWatched) look.files.resize(mostWatched);
  directories_.dropUnused();
  dropOldProcesses();
  return look;
}

// A session that ended is remembered for a while: a hook that comes after its end must not bring it back.
void SessionWatcher::dropClosed() {
  std::erase_if(traces_, [this](const auto& entry) {
    const Trace& trace = entry.second;
    return !trace.isUsed && trace.endedAt && now_ - *trace.endedAt >= closedInterval;
  });
}

// Forgets what is too old for the next look. OpenSessions asks for every process of the machine when it looks
// for the clients of Codex's daemon. These would pile up.
void SessionWatcher::dropOldProcesses() {
  std::erase_if(processes_,
                [this](const auto& entry) { return isOutdated(entry.second.askedAt, processInterval); });
}

// Judges all sessions, and reports all of them or those that are judged differently than at the last look.
void SessionWatcher::judge(Report report, Look& look) {
  const Date bootedAt = surroundings_.processes.bootedAt();
  look.isWhole = std::exchange(isFirstLook_, false) || report == Report::all;
  std::vector<const Trace*> changed;
  for (auto& [key, trace] : traces_) {
    trace.session.evidence.isSubagent = isSubagent(trace);
    askChildren(trace);
    std::optional<SessionVerdict> verdict =
        trace.isUsed ? SessionMonitor::verdict(trace.session, now_, bootedAt) : std::nullopt;
    look.isWhole = look.isWhole || verdict.has_value() != trace.verdict.has_value();
    if (verdict && (trace.isRecordNew || verdict != trace.verdict)) changed.push_back(&trace);
    trace.isRecordNew = false;
    trace.verdict = std::move(verdict);
    plan(trace, look);
  }
  if (look.isWhole) {
    look.sessions = sessions();
    return;
  }
  for (const Trace* const trace : changed)
    look.sessions.push_back(SessionMonitor::observed(trace->session.record, *trace->verdict));
}

std::vector<ObservedSession> SessionWatcher::sessions() const {
  std::vector<ObservedSession> sessions;
  sessions.reserve(traces_.size());
  for (const auto& [key, trace] : traces_) {
    if (trace.verdict) sessions.push_back(SessionMonitor::observed(trace.session.record, *trace.verdict));
  }
  return sessions;
}

void SessionWatcher::takeRecords(bool isChanged) {
  for (auto& [key, trace] : traces_) {
    trace.hasFile = trace.hasFile && !isChanged;
    trace.isUsed = trace.hasFile;
    trace.session.evidence.open.reset();
  }
  if (!isChanged) return;
  for (const auto& [name, saved] : saved_.all())
    if (saved.record) put(traces_[keyOf(**saved.record)], name, saved);
}

void SessionWatcher::put(Trace& trace, const std::string& name, const SavedSessions::Saved& saved) {
  trace.isUsed = trace.hasFile = true;
  trace.file = name;
  MonitoredSession& session = trace.session;
  if (session.savedAt == saved.status.modifiedAt && session.record == *saved.record) return;
  if (session.record->agentPid != (*saved.record)->agentPid) session.evidence.wasSeen = false;
  session.record = *saved.record;
  session.savedAt = saved.status.modifiedAt;
  trace.isRecordNew = true;
}

// Takes the new record of a known session's file. Returns false if the file is new, is gone, or now holds
// another session's record. Then all records must be taken again.
bool SessionWatcher::takeRecord(const std::string& name) {
  const auto saved = saved_.all().find(name);
  if (saved == saved_.all().end() || !saved->second.record) return false;
  const auto trace = traces_.find(keyOf(**saved->second.record));
  if (trace == traces_.end() || !trace->second.hasFile || trace->second.file != name) return false;
  put(trace->second, name, saved->second);
  return true;
}

void SessionWatcher::takeOpenSessions() {
  for (const OpenSession& open : openSessions_.all()) {
    Trace& trace = traces_[keyOf(open.agent, open.sessionId)];
    trace.isUsed = true;
    SessionEvidence& evidence = trace.session.evidence;
    if (evidence.open && evidence.open->since >= open.since) continue;
    evidence.open = open;
    if (trace.hasFile) continue;
    const Session& record = *trace.session.record;
    if (record.sessionId.empty() || record.agentPid != open.pid || trace.session.savedAt != open.since) {
      trace.session.record = SessionMonitor::opened(open);
      trace.session.savedAt = open.since;
      trace.isRecordNew = true;
    }
  }
}

// Judges whether the session is open or closed. There may be no sign of either.
void SessionWatcher::judgeOpen(Trace& trace) {
  const Session& record = *trace.session.record;
  SessionEvidence& evidence = trace.session.evidence;
  const bool isUrgent = record.state != SessionState::idle || trace.isRecordNew;
  evidence.process = process(record.agentPid, isUrgent ? Seconds(0) : processInterval);
  const bool isIts = evidence.process && evidence.process->startedAt <= record.updatedAt + Seconds(5);
  // A session that was seen here still belongs to this machine after its folder is deleted.
  if (!evidence.wasSeen) evidence.isFolderHere = surroundings_.files.status(record.cwd).has_value();
  if (isIts && evidence.isFolderHere) evidence.wasSeen = true;
  trace.endedAt = trace.isUsed ? std::nullopt : std::optional(trace.endedAt.value_or(now_));
  evidence.isOpenByItsAgent = !evidence.open || isRelated(evidence.open->pid, record.agentPid);

  if (evidence.open) {
    trace.wasOpen = true;
    trace.closedAt.reset();
    evidence.isClosed = false;
    return;
  }
  if (trace.wasOpen) trace.closedAt = now_;
  trace.wasOpen = false;
  // Grok's last hook, and others that were under way, come after the end. They leave the session idle.
  if (trace.closedAt && trace.session.savedAt > *trace.closedAt && record.state != SessionState::idle)
    trace.closedAt.reset();
  const bool showsAnother = std::ranges::any_of(openSessions_.all(), [&](const OpenSession& open) {
    return open.agent == record.agent && isRelated(open.pid, record.agentPid);
  });
  evidence.isClosed =
      trace.closedAt || showsAnother || !trace.isUsed || openSessions_.isLeft(record.sessionId);
}

bool SessionWatcher::isSubagent(Trace& trace) {
  const Session& record = *trace.session.record;
  const AgentHome* const home = homeOf(record.agent);
  if (trace.isSubagent || home == nullptr || !trace.hasFile) return trace.isSubagent.value_or(false);
  if (record.agent == Agent::grok) {
    const auto folder = home->sessionDirectory(record.sessionId, record.cwd);
    const auto summary =
        folder ? surroundings_.files.read(Path::joined(*folder, "summary.json"), 0, std::size_t{64} * 1024)
               : std::nullopt;
    if (summary) trace.isSubagent = GrokEvidence::isSubagent(*summary);
  } else if (record.agent == Agent::copilot) {
    if (subagents_.contains(record.sessionId)) trace.isSubagent = true;
  }
  return trace.isSubagent.value_or(false);
}

// The files that say something about the session, and whether each is a sub-agent's.
std::vector<std::pair<std::string, bool>> SessionWatcher::filesOf(const Trace& trace) {
  std::vector<std::pair<std::string, bool>> paths;
  const Session& record = *trace.session.record;
  const AgentHome* const home = homeOf(record.agent);
  const std::string& id = record.sessionId;
  const OpenSessions::Surroundings with = surroundingsOfOpen();
  const auto names = [&](const std::string& path) -> const std::vector<std::string>& {
    return directories_.names(path, surroundings_.files, now_);
  };
  switch (record.agent) {
    case Agent::claude: {
      std::optional<std::string> path = record.transcriptPath;
      if (!path && home) path = home->transcript(id, record.cwd);
      if (!path) break;
      paths.emplace_back(*path, false);
      // The sub-agents of "ID.jsonl" have their files in "ID/subagents". These show answers that a status
      // file also shows.
      const auto& open = trace.session.evidence.open;
      if (record.state != SessionState::needsYou || (open && open->state)) break;
      const std::string subagents = Path::joined(path->substr(0, path->rfind('.')), "subagents");
      for (const std::string& name : names(subagents))
        if (Path::extension(name) == "jsonl") paths.emplace_back(Path::joined(subagents, name), true);
      break;
    }
    case Agent::codex: {
      // While a sub-agent works, the record names the sub-agent's rollout.
      std::optional<std::string> rollout = home ? openSessions_.codexRollout(*home, id, with) : std::nullopt;
      if (!rollout && record.transcriptPath && CodexEvidence::idInName(*record.transcriptPath) == id)
        rollout = record.transcriptPath;
      if (rollout) paths.emplace_back(*rollout, false);
      for (const std::string& subagent : openSessions_.codexSubagents(id)) {
        if (const auto path = home ? openSessions_.codexRollout(*home, subagent, with) : std::nullopt)
          paths.emplace_back(*path, true);
      }
      break;
    }
    case Agent::gemini:
      if (record.transcriptPath) {
        paths.emplace_back(*record.transcriptPath, false);
        const std::string chats(Path::parent(*record.transcriptPath));
        const std::string subagents = Path::joined(chats, id);
        if (AgentHome::isPlainName(id))
          for (const std::string& name : names(subagents))
            paths.emplace_back(Path::joined(subagents, name), true);
      }
      break;
    case Agent::copilot:
    case Agent::grok: {
      const auto path = home ? home->transcript(id, record.cwd) : std::nullopt;
      if (!path) break;
      paths.emplace_back(*path, false);
      if (record.agent == Agent::copilot) break;
      const std::string folder(Path::parent(Path::parent(*path)));
      // The sub-agents may have some of their own.
      std::vector<std::string> ids = {id};
      for (std::size_t i = 0; i < ids.size(); ++i) {
        const std::string subagents = Path::joined(folder, ids[i] + "/subagents");
        for (const std::string& child : names(subagents)) {
          if (!AgentHome::isPlainName(child) || std::ranges::find(ids, child) != ids.end()) continue;
          ids.push_back(child);
          paths.emplace_back(Path::joined(folder, child + "/events.jsonl"), true);
        }
      }
      break;
    }
  }
  return paths;
}

void SessionWatcher::follow(Trace& trace, Look& look) {
  SessionEvidence& evidence = trace.session.evidence;
  const Session& record = *trace.session.record;
  const bool isGone = evidence.isClosed || (!evidence.process && !evidence.open);
  if (isGone || look.files.size() >= mostWatched) return;
  bool isChanged = false;
  for (const auto& [path, isSubagents] : filesOf(trace)) {
    const bool isOffset = record.transcriptPath == path && record.state == SessionState::needsYou;
    FollowedFacts& followed =
        trace.followed
            .try_emplace(path, path, record.agent, isSubagents,
                         isOffset ? record.attentionTranscriptOffset : std::optional<std::uint64_t>())
            .first->second;
    isChanged = followed.look(surroundings_.files) || isChanged;
    if (record.agent == Agent::copilot)
      subagents_.insert(followed.subagents().begin(), followed.subagents().end());
    look.files.push_back(path);
  }
  if (!isChanged) return;
  evidence.facts.clear();
  for (const auto& [path, followed] : trace.followed)
    evidence.facts.insert(evidence.facts.end(), followed.facts().begin(), followed.facts().end());
  evidence.facts.insert(evidence.facts.end(), trace.fromProcesses.begin(), trace.fromProcesses.end());
  std::ranges::stable_sort(evidence.facts, {}, &SessionFact::at);
}

void SessionWatcher::askChildren(Trace& trace) {
  const Session& record = *trace.session.record;
  const SessionEvidence& evidence = trace.session.evidence;
  const bool isIts = evidence.process && evidence.isOpenByItsAgent;
  const std::int32_t pid = isIts || !evidence.open ? record.agentPid : evidence.open->pid;
  if (evidence.isClosed || evidence.isSubagent || (!evidence.process && !evidence.open)) return;
  if (record.agent == Agent::codex) askCodexChildren(trace, pid);
  if (record.agent == Agent::gemini) askGeminiChildren(trace, pid);
}

void SessionWatcher::askCodexChildren(Trace& trace, std::int32_t pid) {
  SessionEvidence& evidence = trace.session.evidence;
  std::vector<const SessionFact*> open = ChildEvidence::openQuestions(evidence.facts);
  const bool hasAsked =
      std::ranges::any_of(evidence.facts, [](const SessionFact& fact) { return fact.kind == Kind::asked; });
  if (!hasAsked) {
    trace.children.clear();
    trace.fromProcesses.clear();
  }
  if (open.empty()) return;
  std::vector<SessionFact> answers;
  for (const std::int32_t child : surroundings_.processes.children(pid)) {
    if (trace.children.contains(child)) continue;
    const auto fact = surroundings_.processes.process(child);
    if (!fact) continue;
    const std::vector<std::string> words = surroundings_.processes.arguments(child);
    for (const SessionFact* const question : open) {
      if (fact->startedAt + Seconds(0.05) < question->at || !ChildEvidence::runs(words, question->command))
        continue;
      trace.children.emplace(child, question->call);
      answers.push_back({.kind = Kind::answered,
                         .at = std::max(fact->startedAt, question->at),
                         .call = question->call,
                         .command = {},
                         .isSubagents = question->isSubagents});
      std::erase(open, question);
      break;
    }
  }
  for (SessionFact& answer : answers) {
    trace.fromProcesses.push_back(answer);
    evidence.facts.push_back(std::move(answer));
  }
}

void SessionWatcher::askGeminiChildren(Trace& trace, std::int32_t pid) {
  const Session& record = *trace.session.record;
  SessionEvidence& evidence = trace.session.evidence;
  if (record.state != SessionState::needsYou) {
    trace.answered.reset();
    trace.fromProcesses.clear();
    return;
  }
  const auto answer = [&](Date at) {
    const SessionFact fact{.kind = Kind::answered, .at = at, .call = {}, .command = {}};
    trace.answered = Answered{.attentionId = record.attentionId.value_or(""), .waitingOn = record.waitingOn};
    trace.fromProcesses.push_back(fact);
    evidence.facts.push_back(fact);
  };
  // A hook that closes one of several calls leaves the wait answered. A hook that asks again does not.
  if (trace.answered && trace.answered->attentionId == record.attentionId &&
      trace.answered->waitingOn != record.waitingOn &&
      std::ranges::includes(trace.answered->waitingOn, record.waitingOn)) {
    answer(trace.session.savedAt + Seconds(0.001));
    return;
  }
  for (const std::int32_t child : surroundings_.processes.children(pid)) {
    const auto fact = surroundings_.processes.process(child);
    // Commands run on a terminal of their own. Hooks and the client's helpers have no terminal, or the
    // client's.
    if (!fact || !fact->terminal || fact->terminal == record.tty || fact->startedAt <= trace.session.savedAt)
      continue;
    if (!trace.children.contains(child)) {
      trace.children.emplace(child, "");
      answer(fact->startedAt);
    }
    return;
  }
}

void SessionWatcher::plan(const Trace& trace, Look& look) const {
  const auto at = [&](Date date) {
    if (date > now_ && (!look.next || date < *look.next)) look.next = date;
  };
  const SessionEvidence& evidence = trace.session.evidence;
  const Session& record = *trace.session.record;
  if (!trace.verdict) return;
  if (evidence.process) look.processes.push_back(record.agentPid);
  if (evidence.open) look.processes.push_back(evidence.open->pid);
  if (!evidence.process && !evidence.wasSeen)
    at(trace.session.savedAt + Seconds(SessionMonitor::unseenLimit));
  if (evidence.open && evidence.open->state) at(trace.session.savedAt + Seconds(SessionMonitor::statusLag));
  const bool isStopped =
      record.state != SessionState::idle && std::ranges::any_of(evidence.facts, [&](const SessionFact& fact) {
        return SessionMonitor::mayPrecedeItsHook(fact, record.agent, trace.session.savedAt);
      });
  if (record.agent == Agent::grok || isStopped) at(trace.session.savedAt + Seconds(SessionMonitor::turnLag));
  const bool hasChildren = record.agent == Agent::codex || record.agent == Agent::gemini;
  if (hasChildren && trace.verdict->state == SessionState::needsYou) at(now_ + Seconds(childInterval));
  for (const SessionFact* const question : ChildEvidence::openQuestions(evidence.facts))
    at(question->at + Seconds(SessionMonitor::settling(record.agent)));
}

std::uint64_t SessionWatcher::unknownLines() const {
  std::uint64_t count = openSessions_.unknown();
  for (const auto& [key, trace] : traces_)
    for (const auto& [path, followed] : trace.followed) count += followed.unknown();
  return count;
}

}  // namespace tavrin
