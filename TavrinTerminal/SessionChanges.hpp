#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/SessionRows.hpp"

namespace tavrin {

/// What became of a session between two looks.
struct SessionChange {
  enum class Kind : std::uint8_t { appeared, changed, gone };

  Kind kind = Kind::appeared;
  SessionRow row;  ///< as it is now; of a session that is gone, as it was
};

/// The name of a kind in JSON and in TAVRIN_CHANGE: "appeared", "changed" or "gone".
std::string_view nameOf(SessionChange::Kind kind);

/// A change as a line for people, without a line feed: "shop, needs you, Bash, Claude".
std::string lineOf(const SessionChange& change);

/// A change as an object of `watch --json` (docs/watch.schema.json), without a line feed.
std::string jsonOf(const SessionChange& change, Date time);

/// Compares each look with the one before.
class SessionChanges {
 public:
  /// The changes since the last call, in the order of `rows`, those that are gone first. The first call
  /// reports every session as appeared. A session has changed when its JSON has.
  std::vector<SessionChange> since(std::vector<SessionRow> rows);

 private:
  struct Known {
    SessionRow row;
    std::string json;
  };
  std::map<std::string, Known> known_;
};

}  // namespace tavrin
