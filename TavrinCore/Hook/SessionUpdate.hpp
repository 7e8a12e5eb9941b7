#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Context/ProcessTree.hpp"
#include "TavrinCore/Context/RepoLabel.hpp"
#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Date.hpp"
#include "TavrinCore/Support/Uuid.hpp"

namespace tavrin {

/// What an update reads besides the event. The references must outlive the call.
struct SessionSurroundings {
  Date now;                    ///< the time of the update
  std::int32_t parentPid = 0;  ///< the process that ran the hook
  const ProcessTable& processes;
  const RepoLabel::Probes& files;
  const UuidSource& makeId;
  /// The size of a file in bytes, or nullopt if it cannot be read.
  std::function<std::optional<std::uint64_t>(const std::string& path)> fileSize;
  /// The title that the Claude desktop app has for a session, or nullopt.
  std::function<std::optional<std::string>(const std::string& sessionId)> desktopTitle;
};

/// What one event does to its session's record: store a new version, remove it, or leave it alone.
class SessionUpdate {
 public:
  /// The whole path from the stored record (nullopt if there is none) and an event to the next record: the
  /// state machine (HookTransitions) first, then the transcript, the repository, the processes and the title.
  /// Reads through `around`, and writes nothing.
  static SessionUpdate of(const std::optional<Session>& stored, const HookEvent& event, Agent agent,
                          const SessionSurroundings& around);

  static SessionUpdate store(Session record) { return SessionUpdate(std::move(record)); }
  static SessionUpdate remove() { return SessionUpdate(Remove{}); }
  static SessionUpdate ignore() { return SessionUpdate(Ignore{}); }

  /// The record to store, or null for the other two.
  const Session* record() const { return std::get_if<Session>(&update_); }
  bool isRemove() const { return std::holds_alternative<Remove>(update_); }
  bool isIgnore() const { return std::holds_alternative<Ignore>(update_); }

  /// What the log says about it: the state, "ended" or "ignored". A waiting session's state is followed by
  /// the number of calls it waits for, as in "needsYou holding 2".
  std::string outcome() const;

  bool operator==(const SessionUpdate&) const = default;

 private:
  struct Remove {
    bool operator==(const Remove&) const = default;
  };
  struct Ignore {
    bool operator==(const Ignore&) const = default;
  };
  using Update = std::variant<Session, Remove, Ignore>;

  explicit SessionUpdate(Update update) : update_(std::move(update)) {}

  Update update_;
};

}  // namespace tavrin
