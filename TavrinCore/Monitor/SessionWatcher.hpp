#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TavrinCore/Agents/AgentHome.hpp"
#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Monitor/DirectoryCache.hpp"
#include "TavrinCore/Monitor/FollowedFacts.hpp"
#include "TavrinCore/Monitor/MonitorFiles.hpp"
#include "TavrinCore/Monitor/OpenSessions.hpp"
#include "TavrinCore/Monitor/SavedSessions.hpp"
#include "TavrinCore/Monitor/SessionMonitor.hpp"

namespace tavrin {

/// Collects what SessionMonitor judges: it reads the hook's records, the agents' own files and the process
/// table, and at each look only what is new. It writes nothing, starts nothing and never waits. One-shot
/// commands look once; a program that keeps going looks again when one of `Look::files` changes, when one of
/// `Look::processes` ends, and at `Look::next`.
class SessionWatcher {
 public:
  /// Where to look, and how. Tests and recordings hand in functions of their own.
  struct Surroundings {
    std::string sessionsDirectory;  ///< the one of SessionFileStore
    std::vector<AgentHome> homes;   ///< of the agents to look at
    MonitorFiles files = MonitorFiles::ofThisSystem();
    ProcessFacts processes = ProcessFacts::ofThisSystem();
  };

  /// What one look found.
  struct Look {
    std::vector<ObservedSession> sessions;  ///< in the order of `SessionWatcher::sessions`
    bool isWhole = true;                    ///< whether these are all; see `lookForChanges`
    std::vector<std::string> files;         ///< files and directories to watch, at most `mostWatched`
    std::vector<std::int32_t> processes;    ///< processes whose end changes the answer
    std::optional<Date> next;               ///< when to look again at the latest, if anything is due
  };

  static constexpr std::size_t mostWatched = 200;

  explicit SessionWatcher(Surroundings surroundings);

  /// Looks at everything. `now` goes back only when the clock is set back. Then processes are asked for anew.
  Look look(Date now);

  /// The same when a watch of `sessionsDirectory` reports that files of these names changed, or none. Of all
  /// records, only those in these files are read again, so a change to one of many costs little. The next
  /// `look(now)` finds what the watch missed.
  Look look(Date now, const std::vector<std::string>& changedRecords);

  /// Looks as these do, at everything where `changedRecords` is nullopt. If the same sessions are there
  /// as at the last look of any kind, `Look::sessions` has only those that changed since then, and
  /// `Look::isWhole` is false. It has all sessions otherwise, as at the first look.
  Look lookForChanges(Date now, const std::optional<std::vector<std::string>>& changedRecords);

  /// All sessions as the last look judged them, in the order of their agents' names and their ids.
  std::vector<ObservedSession> sessions() const;

  /// Reports that a process has ended, so that the next look checks it at once. Otherwise the processes of
  /// idle sessions are checked once a second.
  void processEnded(std::int32_t pid) { processes_.erase(pid); }

  /// How many lines and status files of unknown kinds were found so far. They are a sign that a client is
  /// newer than the readers.
  std::uint64_t unknownLines() const;

 private:
  struct Answered {
    std::string attentionId;
    std::vector<std::string> waitingOn;
  };
  // What is known of one session.
  struct Trace {
    MonitoredSession session;
    bool hasFile = false;
    std::string file;    // the name of the record's file, if it has one
    bool isUsed = true;  // whether a record or one of the agent's files names it
    bool wasOpen = false;
    std::optional<Date> closedAt;
    std::optional<Date> endedAt;  // since when `isUsed` is false
    std::optional<bool> isSubagent;
    std::map<std::string, FollowedFacts> followed;  // by path
    std::vector<SessionFact> fromProcesses;
    std::map<std::int32_t, std::string> children;  // a child, and the call that it answered
    std::optional<Answered> answered;
    bool isRecordNew = true;                // whether the record changed since the last look
    std::optional<SessionVerdict> verdict;  // of the last look
  };
  enum class Report : std::uint8_t { all, changes };
  struct KnownProcess {
    std::optional<ProcessFact> fact;
    Date askedAt;
  };

  const AgentHome* homeOf(Agent agent) const;
  bool isOutdated(Date askedAt, std::chrono::duration<double> age) const;
  const std::optional<ProcessFact>& process(std::int32_t pid, std::chrono::duration<double> oldest);
  OpenSessions::Surroundings surroundingsOfOpen();
  bool isRelated(std::int32_t pid, std::int32_t agentPid);
  void readRecords(Date now);
  void readRecords(Date now, const std::vector<std::string>& changed);
  Look lookAround(Report report);
  void dropClosed();
  void dropOldProcesses();
  void judge(Report report, Look& look);
  void takeRecords(bool isChanged);
  bool takeRecord(const std::string& name);
  void put(Trace& trace, const std::string& name, const SavedSessions::Saved& saved);
  void takeOpenSessions();
  void judgeOpen(Trace& trace);
  bool isSubagent(Trace& trace);
  void follow(Trace& trace, Look& look);
  std::vector<std::pair<std::string, bool>> filesOf(const Trace& trace);
  void askChildren(Trace& trace);
  void askCodexChildren(Trace& trace, std::int32_t pid);
  void askGeminiChildren(Trace& trace, std::int32_t pid);
  void plan(const Trace& trace, Look& look) const;

  Surroundings surroundings_;
  SavedSessions saved_;
  OpenSessions openSessions_;
  DirectoryCache directories_;
  std::map<std::string, Trace> traces_;  // by agent and id
  std::map<std::int32_t, KnownProcess> processes_;
  std::set<std::string> subagents_;  // ids that Copilot's files name
  bool isFirstLook_ = true;
  Date now_;
};

}  // namespace tavrin
