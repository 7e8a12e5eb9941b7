#include "TavrinCore/Monitor/OpenSessions.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Support/Integer.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr std::size_t largestStatus = std::size_t{1024} * 1024;

// A process that started after its file was written is another one with the same id.
constexpr Seconds startMargin(5);

// After how long to look again at something that an agent is about to finish.
constexpr Seconds soon(0.1);

bool wrote(const ProcessFact& process, Date written) {
  return process.startedAt <= written + startMargin;
}

bool isClientName(std::string_view name) {
  return name == "codex" || name.starts_with("codex-");
}

}  // namespace

void OpenSessions::look(const AgentHome& home, const Surroundings& with, std::vector<std::string>& watched) {
  switch (home.agent()) {
    case Agent::claude:
      return lookClaude(home, with, watched);
    case Agent::codex:
      return lookCodex(home, with, watched);
    case Agent::copilot:
      return lookCopilot(home, with, watched);
    case Agent::grok:
      return lookGrok(home, with, watched);
    case Agent::gemini:
      return;  // it has no such file
  }
}

void OpenSessions::lookClaude(const AgentHome& home, const Surroundings& with,
                              std::vector<std::string>& watched) {
  const std::string directory = home.statusDirectory().value_or("");
  watched.push_back(directory);
  for (const std::string& name : with.directories.names(directory, with.files, with.now)) {
    const auto pid = Integer::int32(name.substr(0, name.find('.')));
    if (!pid || !name.ends_with(".json")) continue;
    const std::string path = Path::joined(directory, name);
    const std::optional<FileStatus> status = with.files.status(path);
    if (!status) {
      stated_.erase(path);
      continue;
    }
    auto& [known, sessions] = stated_[path];
    if (known != *status) {
      const auto text = with.files.read(path, 0, largestStatus);
      const auto claude = text ? ClaudeEvidence::status(*text) : std::nullopt;
      // A file that is being written is read again at the next look.
      if (claude) {
        if (!claude->isKnown) ++unknown_;
        known = *status;
        sessions = {OpenSession{.agent = Agent::claude,
                                .sessionId = claude->sessionId,
                                .pid = *pid,
                                .folder = claude->cwd,
                                .terminal = std::nullopt,
                                .since = claude->since,
                                .state = claude->state,
                                .stateSince = claude->since}};
      }
    }
    const auto process = with.process(*pid);
    if (sessions.empty() || !process || !wrote(*process, status->modifiedAt)) continue;
    open_.push_back(sessions.front());
    open_.back().terminal = process->terminal;
  }
}

void OpenSessions::lookGrok(const AgentHome& home, const Surroundings& with,
                            std::vector<std::string>& watched) {
  const std::string path = home.activeSessionsFile().value_or("");
  watched.push_back(path);
  const std::optional<FileStatus> status = with.files.status(path);
  if (!status) return;
  auto& [known, sessions] = stated_[path];
  if (known != *status) {
    const auto text = with.files.read(path, 0, largestStatus);
    if (const auto list = text ? GrokEvidence::openSessions(*text) : std::nullopt) {
      known = *status;
      sessions.clear();
      for (const GrokEvidence::Open& entry : *list)
        sessions.push_back({.agent = Agent::grok,
                            .sessionId = entry.sessionId,
                            .pid = entry.pid,
                            .folder = entry.cwd,
                            .terminal = std::nullopt,
                            .since = entry.since,
                            .state = std::nullopt,
                            .stateSince = entry.since});
    }
  }
  for (OpenSession session : sessions) {
    const auto process = with.process(session.pid);
    if (!process || !wrote(*process, session.since)) continue;
    session.terminal = process->terminal;
    open_.push_back(std::move(session));
  }
}

void OpenSessions::lookCopilot(const AgentHome& home, const Surroundings& with,
                               std::vector<std::string>& watched) {
  const std::string directory = home.sessionsDirectory();
  watched.push_back(directory);
  for (const std::string& id : with.directories.names(directory, with.files, with.now)) {
    const std::string folder = Path::joined(directory, id);
    bool isOpen = false;
    for (const std::string& name : with.directories.names(folder, with.files, with.now)) {
      const auto pid = CopilotEvidence::holder(name);
      const auto process = pid ? with.process(*pid) : std::nullopt;
      const auto status = process ? with.files.status(Path::joined(folder, name)) : std::nullopt;
      if (!status || !wrote(*process, status->modifiedAt)) continue;
      isOpen = true;
      open_.push_back({.agent = Agent::copilot,
                       .sessionId = id,
                       .pid = *pid,
                       .folder = with.processes.folder(*pid).value_or(""),
                       .terminal = process->terminal,
                       .since = status->modifiedAt,
                       .state = std::nullopt,
                       .stateSince = status->modifiedAt});
    }
    // The hold file comes a moment after the folder.
    const auto status = isOpen ? std::nullopt : with.files.status(folder);
    constexpr Seconds young(10);
    if (isOpen || (status && with.now - status->modifiedAt < young)) watched.push_back(folder);
  }
}

void OpenSessions::lookCodex(const AgentHome& home, const Surroundings& with,
                             std::vector<std::string>& watched) {
  const std::string directory = home.statusDirectory().value_or("");
  watched.push_back(directory);
  std::map<std::int32_t, std::vector<Holding>> byHolder;
  for (const std::string& name : with.directories.names(directory, with.files, with.now)) {
    if (!name.ends_with(".lock") || CodexEvidence::idInName(name).empty()) continue;
    const std::optional<Holding> held = holding(directory, name, with);
    if (held && mayShow(home, held->id, with)) byHolder[held->holder].push_back(*held);
  }
  for (auto& [holder, held] : byHolder) {
    for (const Holding& one : held) {
      const auto made = codexRollout(home, one.id, with) ? std::nullopt : CodexEvidence::createdAt(one.id);
      if (!made) continue;
      // The first prompt makes the rollout, and the folders of its day.
      const std::string day = Iso8601::text(*made);
      std::string folder = home.sessionsDirectory();
      watched.push_back(folder);
      for (const std::string& part : {day.substr(0, 4), day.substr(5, 2), day.substr(8, 2)})
        watched.push_back(folder = Path::joined(folder, part));
    }
    std::ranges::sort(held, {}, &Holding::since);
    const std::vector<std::string> words = with.processes.arguments(holder);
    const auto isWord = [&](std::string_view word) { return std::ranges::find(words, word) != words.end(); };
    if (isWord("app-server"))
      lookDaemon(held, isWord("--managed-daemon"), with);
    else
      add(held.back(), with);
  }
}

std::optional<OpenSessions::Holding> OpenSessions::holding(const std::string& directory,
                                                           const std::string& name,
                                                           const Surroundings& with) {
  const std::string path = Path::joined(directory, name);
  const std::optional<FileStatus> status = with.files.status(path);
  if (!status) {
    locks_.erase(path);
    return std::nullopt;
  }
  // The holder is looked up again when the file changes, when the holder ends, and now and then.
  constexpr Seconds recheck(5);
  Lock& lock = locks_[path];
  auto process = lock.holder ? with.process(*lock.holder) : std::nullopt;
  const bool isHeld = process && lock.status == status && wrote(*process, lock.askedAt);
  if (!isHeld && (lock.status != status || lock.holder || with.now - lock.askedAt >= recheck)) {
    lock.holder = with.processes.lockHolder(path);
    lock.askedAt = with.now;
    // A client makes the file and then locks it, so a new file may be free for a moment.
    const bool isSettled = lock.holder || with.now - status->modifiedAt > Seconds(1);
    lock.status = isSettled ? status : std::nullopt;
    if (!isSettled) next_ = with.now + soon;
    process = lock.holder ? with.process(*lock.holder) : std::nullopt;
  }
  if (!lock.holder || !process) return std::nullopt;
  return Holding{.id = std::string(CodexEvidence::idInName(name)),
                 .holder = *lock.holder,
                 .since = std::max(status->modifiedAt, process->startedAt),
                 .process = *process};
}

// Whether a terminal may show the thread. It never shows a sub-agent's thread. A rollout without its first
// line may be a sub-agent's, so its thread counts as not shown yet.
bool OpenSessions::mayShow(const AgentHome& home, const std::string& id, const Surroundings& with) {
  const std::optional<std::string> rollout = codexRollout(home, id, with);
  if (!rollout) return true;
  Thread& thread = threads_[id];
  if (!thread.hasMeta) {
    const auto text = with.files.read(*rollout, 0, largestStatus);
    std::string_view lines = text ? std::string_view(*text) : std::string_view();
    if (lines.find('\n') == std::string_view::npos) {
      next_ = with.now + soon;
      return false;
    }
    // As far as is known, it is the first line. A later version may write others before it.
    std::optional<CodexEvidence::Meta> meta;
    while (!meta && !lines.empty()) {
      const std::size_t end = lines.find('\n');
      meta = CodexEvidence::meta(lines.substr(0, end));
      lines.remove_prefix(end == std::string_view::npos ? lines.size() : end + 1);
    }
    if (meta) thread.parentId = meta->parentId;
    thread.hasMeta = true;
  }
  return thread.parentId.empty();
}

std::optional<std::string> OpenSessions::codexRollout(const AgentHome& home, const std::string& id,
                                                      const Surroundings& with) {
  Thread& thread = threads_[id];
  if (!thread.rollout.empty()) return thread.rollout;
  // "sessions/Y/M/D" is the local day on which the thread was made. In UTC it may be the day before or after.
  const auto made = CodexEvidence::createdAt(id);
  if (!made) return std::nullopt;
  for (const int offset : {0, -1, 1}) {
    const std::string day = Iso8601::text(*made + Seconds(offset * 86'400.0));
    const std::string directory = Path::joined(
        home.sessionsDirectory(), day.substr(0, 4) + "/" + day.substr(5, 2) + "/" + day.substr(8, 2));
    for (const std::string& name : with.directories.names(directory, with.files, with.now)) {
      if (!name.ends_with(".jsonl") || CodexEvidence::idInName(name) != id) continue;
      thread.rollout = Path::joined(directory, name);
      return thread.rollout;
    }
  }
  return std::nullopt;
}

std::vector<std::string> OpenSessions::codexSubagents(const std::string& sessionId) const {
  // A sub-agent may start others. An id is listed once, so a circle of parents ends.
  std::vector<std::string> found;
  std::set<std::string> known = {sessionId};
  for (bool isNew = true; std::exchange(isNew, false);) {
    for (const auto& [id, thread] : threads_) {
      if (!known.contains(thread.parentId) || !known.insert(id).second) continue;
      found.push_back(id);
      isNew = true;
    }
  }
  return found;
}

void OpenSessions::lookClients(const Surroundings& with) {
  for (auto& [pid, client] : clients_) {
    const auto process = with.process(pid);
    if (!client.isAlive || (process && process->startedAt == client.startedAt)) continue;
    client.isAlive = false;
    client.endedAt = with.now;
  }
  for (const std::int32_t pid : with.processes.all()) {
    if (clients_.contains(pid) && clients_[pid].isAlive) continue;
    const auto process = with.process(pid);
    if (!process || !process->terminal || !isClientName(process->name)) continue;
    const auto parent = with.process(process->parent);
    if (parent && isClientName(parent->name)) continue;
    clients_[pid] = {.startedAt = process->startedAt, .isAlive = true, .endedAt = {}, .sessionId = {}};
  }
}

// The daemon holds the locks of all its clients, and lives on without them. A client opens its session when
// it starts, so a lock belongs to the last client that started before the lock was taken and shows nothing
// yet. If no client fits, the session counts as open while any client runs that started before. The daemon
// that clients start for themselves ("managed") serves only terminals. A server that another program started
// has sessions which that program shows.
void OpenSessions::lookDaemon(const std::vector<Holding>& held, bool isManaged, const Surroundings& with) {
  lookClients(with);
  std::map<std::string, std::int32_t> ownerOf;
  for (auto& [pid, client] : clients_)
    if (!client.sessionId.empty()) ownerOf[client.sessionId] = pid;
  const auto alive = std::ranges::count_if(clients_, [](const auto& entry) { return entry.second.isAlive; });
  if (isManaged && alive == 0)
    for (const Holding& one : held) left_.insert(one.id);
  for (const Holding& one : held) {
    if (ownerOf.contains(one.id) || past_.contains(one.id)) continue;
    Client* owner = nullptr;
    std::int32_t ownerPid = 0;
    for (auto& [pid, client] : clients_) {
      if (!client.sessionId.empty() || !client.ranAt(one.since)) continue;
      if (owner == nullptr || client.startedAt > owner->startedAt) {
        owner = &client;
        ownerPid = pid;
      }
    }
    if (owner == nullptr && alive == 1) {
      // The only client shows what was opened last.
      for (auto& [pid, client] : clients_) {
        if (!client.isAlive || client.startedAt > one.since) continue;
        owner = &client;
        ownerPid = pid;
      }
    }
    if (owner == nullptr) continue;
    if (!owner->sessionId.empty()) {
      past_.insert(owner->sessionId);
      ownerOf.erase(owner->sessionId);
    }
    owner->sessionId = one.id;
    ownerOf[one.id] = ownerPid;
  }
  for (const Holding& one : held) {
    const auto owner = ownerOf.find(one.id);
    bool isShown = false;
    if (past_.contains(one.id)) continue;
    if (owner != ownerOf.end())
      isShown = clients_[owner->second].isAlive && clients_[owner->second].sessionId == one.id;
    else
      isShown = std::ranges::any_of(clients_, [&](const auto& entry) {
        return entry.second.isAlive && entry.second.startedAt <= one.since;
      });
    if (isShown) add(one, with);
  }
}

std::vector<std::int32_t> OpenSessions::clients() const {
  std::vector<std::int32_t> pids;
  for (const auto& [pid, client] : clients_)
    if (client.isAlive) pids.push_back(pid);
  return pids;
}

void OpenSessions::add(const Holding& held, const Surroundings& with) {
  open_.push_back({.agent = Agent::codex,
                   .sessionId = held.id,
                   .pid = held.holder,
                   .folder = with.processes.folder(held.holder).value_or(""),
                   .terminal = held.process.terminal,
                   .since = held.since,
                   .state = std::nullopt,
                   .stateSince = held.since});
}

}  // namespace tavrin
