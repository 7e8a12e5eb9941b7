#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentHome.hpp"
#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Monitor/MonitorFiles.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Date.hpp"
#include "TavrinTerminal/System/ServerListing.hpp"

namespace tavrin {

class EventLoop;
struct SessionChange;

/// Follows the changes of sessions; a notifier is one.
class SessionChangeObserver {
 public:
  SessionChangeObserver() = default;
  SessionChangeObserver(const SessionChangeObserver&) = delete;
  SessionChangeObserver& operator=(const SessionChangeObserver&) = delete;
  virtual ~SessionChangeObserver() = default;  ///< removes what must not outlast the command

  virtual void changed(const SessionChange& change) = 0;
};

/// Where a session can be seen.
struct SessionPlace {
  std::optional<std::string> terminal;  ///< such as "tmux:3.1"; nullopt when only the tty is known
  bool reachable = false;               ///< whether its terminal can be brought to the front
};

/// What a command takes from outside, beside its options and its console. Tests fill in their own.
struct Surroundings {
  std::string home;  ///< the user's home directory; "" for a user without one
  /// Whether this is root with another user's home. Then nothing is written, because the files would belong
  /// to root.
  bool isForeignHome = false;
  std::function<Date()> now;
  AgentHome::Environment environment;
  ProcessFacts processes;
  MonitorFiles files = MonitorFiles::ofThisSystem();

  /// The places of sessions, one for each, in their order; asked once for a whole list. May be empty: then
  /// only the tty of a session is known.
  std::function<std::vector<SessionPlace>(const std::vector<Session>& sessions)> places = nullptr;

  /// The listening sockets of this machine.
  std::function<ServerListing::Listing()> listeners = nullptr;
  /// Opens a URL in the browser; returns a sentence that says why it could not be opened.
  std::function<std::optional<std::string>(const std::string& url)> openInBrowser = nullptr;
  /// Makes what notifies the person of changes. Empty where nothing can.
  std::function<std::unique_ptr<SessionChangeObserver>(EventLoop& loop)> makeNotifier = nullptr;

  /// Those of this process.
  static Surroundings real();

  /// Whether there is a home directory to look at.
  bool hasHome() const { return !home.empty(); }
  /// Why sessions cannot be looked at, in words that follow "because"; "" if they can.
  std::string obstacle() const;
  /// The folder of session files.
  std::string sessionsDirectory() const;
};

/// The message for a user without a home.
inline constexpr std::string_view noHomeSentence =
    "there is no home directory to look in. Set HOME to the directory that holds your files.";

/// The message for root with another user's home. `what` was not done, such as "nothing was connected".
std::string foreignHomeSentence(const Surroundings& surroundings, std::string_view what);

}  // namespace tavrin
