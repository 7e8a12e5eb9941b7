#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <map>
#include <string>
#include <vector>

#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinCore/Sessions/Session.hpp"

/// Places servers under the sessions that work on them.
namespace tavrin::ServerPlacement {

/// Servers by where they are shown.
struct Placed {
  std::map<std::string, std::vector<LocalServer>>
      bySession;                     ///< by session id, only of sessions with servers
  std::vector<LocalServer> orphans;  ///< those of no session

  bool operator==(const Placed&) const = default;
};

/// Gives each server to the first session with the same repository root, compared byte by byte. A session's
/// servers are sorted by port. The orphans are sorted by their repository's name in the order of the user's
/// language, and by port where the name is the same.
Placed place(std::vector<LocalServer> servers, const std::vector<Session>& sessions);

}  // namespace tavrin::ServerPlacement
