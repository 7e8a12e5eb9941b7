#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "FakeFiles.hpp"
#include "TavrinCore/Monitor/SessionWatcher.hpp"

namespace tavrin::test {

inline constexpr std::string_view home = "/Users/dev";
inline const std::string sessions = "/sessions";

// A watcher over files and processes in memory.
class Watching : public testing::Test {
 protected:
  void SetUp() override {
    files.write("/src/app/file", "", 1);
    addProcess(18, "agent");
    SessionWatcher::Surroundings surroundings{
        .sessionsDirectory = sessions, .homes = {}, .files = files.access(), .processes = facts()};
    for (const Agent agent : allAgents) surroundings.homes.push_back(AgentHome::standard(agent, home));
    watcher.emplace(std::move(surroundings));
  }

  ProcessFacts facts() {
    return {.process = [this](std::int32_t pid) -> std::optional<ProcessFact> {
              ++lookUps;
              const auto at = processes.find(pid);
              return at == processes.end() ? std::nullopt : std::optional(at->second);
            },
            .executable = [](std::int32_t) -> std::optional<std::string> { return std::nullopt; },
            .folder = [](std::int32_t) -> std::optional<std::string> { return "/src/app"; },
            .arguments = [this](std::int32_t pid) { return arguments[pid]; },
            .children =
                [this](std::int32_t pid) {
                  std::vector<std::int32_t> found;
                  for (const auto& [child, fact] : processes)
                    if (fact.parent == pid) found.push_back(child);
                  return found;
                },
            .all =
                [this] {
                  std::vector<std::int32_t> found;
                  for (const auto& [pid, fact] : processes) found.push_back(pid);
                  return found;
                },
            .lockHolder = [this](const std::string& path) -> std::optional<std::int32_t> {
              const auto at = locks.find(path);
              return at == locks.end() ? std::nullopt : std::optional(at->second);
            },
            .bootedAt = [] { return dateFromSeconds(0); }};
  }

  void addProcess(std::int32_t pid, const std::string& name, std::int32_t parent = 1, double startedAt = 10,
                  std::optional<std::string> terminal = "/dev/pts/3") {
    processes[pid] = {.parent = parent,
                      .name = name,
                      .startedAt = dateFromSeconds(startedAt),
                      .terminal = std::move(terminal)};
  }

  Session save(const std::string& id, Agent agent, SessionState state, double at, std::int32_t pid = 18) {
    Session record;
    record.sessionId = id;
    record.agent = agent;
    record.state = state;
    record.cwd = "/src/app";
    record.agentPid = pid;
    record.tty = "/dev/pts/3";
    record.updatedAt = record.stateSince = dateFromSeconds(at);
    if (state == SessionState::needsYou) record.attentionId = "ATTENTION";
    save(record, at);
    return record;
  }

  void save(const Session& record, double at) {
    files.write(sessions + "/" + record.sessionId + ".json", record.encode(), at);
  }

  // The state of a session; nullopt if it is not shown.
  std::optional<SessionState> stateOf(const std::string& id, double at) {
    last = watcher->look(dateFromSeconds(at));
    return stateIn(last, id);
  }

  // The same when these files are reported as changed.
  std::optional<SessionState> stateAfter(const std::vector<std::string>& changed, const std::string& id,
                                         double at) {
    last = watcher->look(dateFromSeconds(at), changed);
    return stateIn(last, id);
  }

  static std::optional<SessionState> stateIn(const SessionWatcher::Look& look, const std::string& id) {
    for (const ObservedSession& session : look.sessions)
      if (session.record->sessionId == id) return session.state;
    return std::nullopt;
  }

  FakeFiles files;
  std::map<std::int32_t, ProcessFact> processes;
  std::map<std::int32_t, std::vector<std::string>> arguments;
  std::map<std::string, std::int32_t> locks;
  int lookUps = 0;
  std::optional<SessionWatcher> watcher;
  SessionWatcher::Look last;
};

inline std::string claudeStatus(int pid, const std::string& id, const std::string& status, int second) {
  return R"({"pid":)" + std::to_string(pid) + R"(,"sessionId":")" + id + R"(","cwd":"/src/app","status":")" +
         status + R"(","statusUpdatedAt":)" + std::to_string(second) + "000}";
}

// Names of Codex's threads and files.
inline constexpr std::string_view thread = "01a20054-7c97-7890-932d-c7bd65f0f20a";
inline constexpr std::string_view later = "01a20055-7c97-7890-932d-c7bd65f0f20b";
inline const std::string lockFolder = "/Users/dev/.codex/thread-writer-locks/";

inline std::string lockOf(std::string_view id) {
  return lockFolder + std::string(id) + ".lock";
}

inline const std::string day = "/Users/dev/.codex/sessions/2026/11/21/rollout-2026-11-21T22-57-45-";

}  // namespace tavrin::test
