#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Surroundings.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin::test {

/// 2026-01-02T03:04:05Z.
inline constexpr Date testTime = dateFromSeconds(1'767'323'045);

/// A console that keeps what is written to it.
struct TestConsole {
  std::string output;
  std::string error;
  std::vector<std::string> answers;  ///< what the person types, the next one last
  bool isRead = true;                ///< whether somebody reads the output

  Console console(bool isTerminal, bool colour = false) {
    Console made;
    made.out = [this](std::string_view bytes) {
      output += bytes;
      return isRead;
    };
    made.error = [this](std::string_view bytes) {
      error += bytes;
      return true;
    };
    made.readLine = [this]() -> std::optional<std::string> {
      if (answers.empty()) return std::nullopt;
      std::string answer = answers.back();
      answers.pop_back();
      return answer;
    };
    made.inputIsTerminal = made.outputIsTerminal = made.errorIsTerminal = isTerminal;
    made.colour = colour;
    return made;
  }
};

/// A process table made up by a test.
struct FakeProcessFacts {
  std::map<std::int32_t, ProcessFact> processes;
  std::map<std::int32_t, std::string> folders;
  std::map<std::int32_t, std::vector<std::string>> arguments;
  Date bootedAt = testTime - std::chrono::hours(100);

  ProcessFacts facts() const {
    return {.process = [this](std::int32_t pid) -> std::optional<ProcessFact> {
              const auto found = processes.find(pid);
              return found == processes.end() ? std::nullopt : std::optional(found->second);
            },
            .executable = [](std::int32_t) { return std::nullopt; },
            .folder = [this](std::int32_t pid) -> std::optional<std::string> {
              const auto found = folders.find(pid);
              return found == folders.end() ? std::nullopt : std::optional(found->second);
            },
            .arguments =
                [this](std::int32_t pid) {
                  const auto found = arguments.find(pid);
                  return found == arguments.end() ? std::vector<std::string>() : found->second;
                },
            .children = [](std::int32_t) { return std::vector<std::int32_t>(); },
            .all = [] { return std::vector<std::int32_t>(); },
            .lockHolder = [](const std::string&) { return std::nullopt; },
            .bootedAt = [this] { return bootedAt; }};
  }
};

/// A home with sessions, at a time that stands still. Process 100 is every agent.
class TestTerminal {
 public:
  static constexpr std::int32_t agentPid = 100;

  TestTerminal() {
    processes.processes[agentPid] = {.parent = 1,
                                     .name = "agent",
                                     .startedAt = testTime - std::chrono::hours(9),
                                     .terminal = "/dev/pts/1"};
    surroundings.home = home.string();
    surroundings.now = [] { return testTime; };
    surroundings.environment = [](std::string_view) { return std::nullopt; };
    surroundings.processes = processes.facts();
    surroundings.listeners = [this] {
      return ServerListing::Listing{.listeners = listeners, .unseenPorts = unseenPorts};
    };
  }

  /// A session that has been in its state for 90 s, in a folder that exists.
  Session session(std::string id, SessionState state, std::string_view project = "shop") const {
    Session made;
    made.sessionId = std::move(id);
    made.state = state;
    if (state == SessionState::needsYou) {
      made.needsYouTool = "Bash";
      made.attentionId = "A-" + made.sessionId;
    }
    made.updatedAt = made.stateSince = testTime - std::chrono::seconds(90);
    made.cwd = home.string();
    made.repoRoot = "/work-of-somebody/" + std::string(project);
    made.agentPid = agentPid;
    return made;
  }

  /// Saves the record, with the time of its last change as that of its file.
  void save(const Session& session) const {
    store().save(session);
    const timespec time = {.tv_sec = static_cast<time_t>(secondsOf(session.updatedAt)), .tv_nsec = 0};
    const std::array<timespec, 2> times = {time, time};
    ::utimensat(AT_FDCWD, store().fileURL(session.sessionId).c_str(), times.data(), 0);
  }
  void remove(std::string_view id) const { store().deleteSession(id); }
  SessionFileStore store() const {
    return SessionFileStore(SessionFileStore::defaultDirectory(home.string()));
  }

  ScratchHome home;
  FakeProcessFacts processes;
  std::vector<PortScan::Listener> listeners;
  std::vector<int> unseenPorts;
  Surroundings surroundings;
};

}  // namespace tavrin::test
