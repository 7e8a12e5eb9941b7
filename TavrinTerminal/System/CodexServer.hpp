#pragma once

// Part of TavrinTerminal, which is not installed. Needs Boost.JSON and the standard library.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Agents/CodexActivation.hpp"

namespace tavrin {

/// The result of a conversation with Codex's app server.
struct CodexAnswer {
  enum class Problem : std::uint8_t {
    none,
    notStarted,   ///< the server could not be started; `detail` is the reason
    timedOut,     ///< it did not answer in time
    endedEarly,   ///< it ended before it had answered; `detail` is the last line it wrote as an error, or ""
    garbled,      ///< it answered with something that is not an answer
    refused,      ///< it answered with an error; `detail` is its message
    interrupted,  ///< the person interrupted the conversation
  };

  Problem problem = Problem::none;
  std::string detail;
  /// The hooks of the last list; nullopt when there was a problem, which may have come after trust was given.
  std::optional<std::vector<CodexActivation::Hook>> hooks;
  std::size_t trusted = 0;  ///< hooks for which the server confirmed trust

  /// One sentence about the problem, for a person, such as "Codex’s app server did not answer in time."; ""
  /// without one. Text of the server's own is cleaned.
  std::string sentence() const;

  bool operator==(const CodexAnswer&) const = default;
};

/// Codex's app server, `codex app-server`: a process that reads requests and writes answers, one JSON object
/// a line. Between answers it writes notifications, which are skipped.
struct CodexServer {
  std::string executable;                     ///< the absolute path of `codex`
  std::string version;                        ///< this program's own, which is sent to the server
  std::string directory;                      ///< for which hooks are listed; an absolute path
  std::chrono::milliseconds timeout{10'000};  ///< for the whole conversation
  int interrupt = -1;                         ///< as in ChildProcess::runAll
  /// Called with each step of the conversation, such as "Codex: trusting 12 hooks".
  std::function<void(const std::string& step)> progress = nullptr;

  /// Lists the hooks and changes nothing.
  CodexAnswer list() const;

  /// Asks Codex to trust those of Tavrin's hooks that it does not trust yet, and lists the hooks again.
  CodexAnswer activate() const;
};

}  // namespace tavrin
