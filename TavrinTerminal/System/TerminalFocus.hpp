#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinTerminal/Surroundings.hpp"
#include "TavrinTerminal/System/ChildProcess.hpp"
#include "TavrinTerminal/System/ProcessEnvironment.hpp"
#include "TavrinTerminal/System/TmuxServer.hpp"

namespace tavrin {

/// Brings the terminal of a session to the front. Each call looks up where the session is, from the
/// environment and the terminal of its agent's process.
class TerminalFocus {
 public:
  /// Questions to the system. Tests supply their own functions.
  struct Tools {
    std::function<std::optional<std::string>(std::string_view name)> executable;  ///< the path of a program
    std::function<ProcessEnvironment::Variables(std::int32_t pid)> environment;   ///< of a process
    ProcessFacts processes;
    TmuxServer::Runner run;
    bool isMac = false;
  };

  /// The result.
  struct Result {
    enum class Kind : std::uint8_t {
      front,        ///< the terminal is in front
      shown,        ///< its multiplexer shows it, in a terminal that could not be brought to the front
      application,  ///< the application is in front, perhaps with another of its windows
      unreachable,  ///< nothing could be done
    };

    Kind kind = Kind::unreachable;
    std::string place;   ///< such as "tmux:3.1", "kitty", or the terminal's path; "" without any
    std::string advice;  ///< what a person can do instead; "" when there is nothing to say

    bool operator==(const Result&) const = default;
  };

  explicit TerminalFocus(Tools tools) : tools_(std::move(tools)) {}

  /// One of the running system; programs are looked up in PATH.
  static TerminalFocus ofThisSystem(const Surroundings& surroundings);

  /// Brings the session to the front.
  Result focus(const Session& session) const;

  /// Where each session is, in their order, for Surroundings::places. Each tmux server is asked once; other
  /// terminals are not asked.
  std::vector<SessionPlace> places(const std::vector<Session>& sessions) const;

  /// Whether the session is what a person looks at: the active pane of a tmux client whose terminal has the
  /// keyboard. Outside tmux nobody knows, so false.
  bool isInFront(const Session& session) const;

 private:
  // A terminal to bring to the front: that of an agent, or that of a tmux client around it.
  struct Target {
    std::int32_t pid = 0;
    std::string tty;
    std::string bundleId;
  };

  Result focus(const Target& target, int depth) const;
  std::optional<Result> focusInTmux(const Target& target, const std::string& variable, int depth) const;
  bool focusInKitty(const Target& target, const ProcessEnvironment::Variables& environment) const;
  bool focusInWezTerm(const Target& target, const ProcessEnvironment::Variables& environment) const;
  std::optional<Result> focusOnMac(const Target& target) const;
  std::string tmuxVariableOf(std::int32_t pid) const;
  std::optional<TmuxServer> tmuxServer(std::string_view variable) const;

  Tools tools_;
};

/// Scripts for osascript(1). What they look for comes as an argument, never as text of the script.
namespace AppleScripts {

/// The arguments of osascript that have iTerm2 select the session with the terminal `tty`. It prints "found"
/// or "missing".
std::vector<std::string> selectInITerm(std::string_view tty);

/// The same for Terminal.
std::vector<std::string> selectInTerminal(std::string_view tty);

/// Shows a notification.
std::vector<std::string> notify(std::string_view title, std::string_view text);

}  // namespace AppleScripts

}  // namespace tavrin
