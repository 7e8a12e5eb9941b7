#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentHome.hpp"
#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Monitor/DirectoryCache.hpp"
#include "TavrinCore/Monitor/SessionEvidence.hpp"

namespace tavrin {

/// The files in which agents state which sessions are open: Claude's status files, Codex's locks, Copilot's
/// hold files and Grok's list. They are read again only when they change.
class OpenSessions {
 public:
  using ProcessLookup = std::function<std::optional<ProcessFact>(std::int32_t pid)>;

  /// What one look is made with.
  struct Surroundings {
    const MonitorFiles& files;
    const ProcessFacts& processes;
    ProcessLookup process;  ///< as processes.process, which it may remember
    DirectoryCache& directories;
    Date now;
  };

  /// Reads what changed in this agent's files. Adds to `watched` the files and directories whose change may
  /// change the answer.
  void look(const AgentHome& home, const Surroundings& with, std::vector<std::string>& watched);

  /// The sessions that live processes have open, of all agents. If one process of Codex has several open,
  /// only the newest is here, because its terminal shows that one.
  const std::vector<OpenSession>& all() const { return open_; }

  /// Whether Codex's own daemon keeps the session although no client runs any more that could show it.
  bool isLeft(const std::string& id) const { return left_.contains(id); }

  /// When to look again at the latest, because a process can take a lock without changing the file.
  const std::optional<Date>& next() const { return next_; }

  /// Forgets what the last looks found, before the looks of a new round.
  void clear() {
    open_.clear();
    left_.clear();
    next_.reset();
  }

  /// The threads that Codex started as sub-agents of the session, and those of the sub-agents, by their ids.
  std::vector<std::string> codexSubagents(const std::string& sessionId) const;

  /// The rollout of a thread of Codex; nullopt when there is none.
  std::optional<std::string> codexRollout(const AgentHome& home, const std::string& id,
                                          const Surroundings& with);

  /// The clients of Codex's daemon, whose end changes what is open.
  std::vector<std::int32_t> clients() const;

  /// Files with a status that no reader knows, so far.
  std::uint64_t unknown() const { return unknown_; }

 private:
  struct Lock {
    std::optional<FileStatus> status;
    std::optional<std::int32_t> holder;
    Date askedAt;
  };
  struct Thread {
    std::string rollout;
    bool hasMeta = false;
    std::string parentId;
  };
  // A client with a terminal, which the daemon serves.
  struct Client {
    Date startedAt;
    bool isAlive = true;
    Date endedAt;           // when it was first missed
    std::string sessionId;  // what it shows

    bool ranAt(Date date) const { return startedAt <= date && (isAlive || date <= endedAt); }
  };
  struct Holding {
    std::string id;
    std::int32_t holder = 0;
    Date since;
    ProcessFact process;
  };

  void lookClaude(const AgentHome& home, const Surroundings& with, std::vector<std::string>& watched);
  void lookCodex(const AgentHome& home, const Surroundings& with, std::vector<std::string>& watched);
  void lookCopilot(const AgentHome& home, const Surroundings& with, std::vector<std::string>& watched);
  void lookGrok(const AgentHome& home, const Surroundings& with, std::vector<std::string>& watched);

  std::optional<Holding> holding(const std::string& directory, const std::string& name,
                                 const Surroundings& with);
  bool mayShow(const AgentHome& home, const std::string& id, const Surroundings& with);
  void lookDaemon(const std::vector<Holding>& held, bool isManaged, const Surroundings& with);
  void lookClients(const Surroundings& with);
  void add(const Holding& held, const Surroundings& with);

  std::vector<OpenSession> open_;
  std::optional<Date> next_;
  std::map<std::string, std::pair<FileStatus, std::vector<OpenSession>>> stated_;  // by path
  std::map<std::string, Lock> locks_;
  std::map<std::string, Thread> threads_;
  std::map<std::int32_t, Client> clients_;
  std::set<std::string> left_;
  std::set<std::string> past_;  // sessions that their client left for another one
  std::uint64_t unknown_ = 0;
};

}  // namespace tavrin
