#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinTerminal/System/ProcessSignal.hpp"

namespace tavrin {

/// The name of a server in a sentence, such as "Vite on port 5173", cleaned.
std::string nameAndPort(const LocalServer& server);

/// Stops one server: first politely, then, once the person was asked again, by force. Its process is held in
/// between, so nothing else is ever signalled. Before each signal it must still have the start time and the
/// folder that were listed.
class ServerStop {
 public:
  enum class Step : std::uint8_t {
    stopped,
    stillRuns,  ///< it did not end in time
    refused,    ///< it was not signalled
  };
  struct Result {
    Step step = Step::refused;
    std::string sentence;  ///< what has happened, for a person
  };

  /// Holds the process of a server. If it must not be stopped, returns a sentence that says why. `processes`
  /// must outlive it.
  static std::variant<std::shared_ptr<ServerStop>, std::string> of(const LocalServer& server,
                                                                   const ProcessFacts& processes);

  /// Sends SIGTERM and waits for the end. `interrupt`, unless -1, is a descriptor that ends the wait when it
  /// becomes readable.
  Result ask(std::chrono::milliseconds patience, int interrupt = -1) const;
  /// The same with SIGKILL.
  Result kill(std::chrono::milliseconds patience, int interrupt = -1) const;

  /// The server, as nameAndPort.
  const std::string& name() const { return name_; }

 private:
  ServerStop(const LocalServer& server, const ServerStopTarget::Process& target,
             const ProcessFacts& processes);

  Result signal(int number, std::chrono::milliseconds patience, int interrupt) const;

  std::string name_;
  HeldProcess process_;
};

}  // namespace tavrin
