#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Home.hpp"

/// Short names for the rows of sessions.
namespace tavrin::SessionLabels {

/// A label for each session id: the session's name (Session::projectName). If several sessions share a name,
/// " · " and what differs follow: the agent if they have different agents, else the terminal if there is one.
/// If sessions share an id, the last one's label counts.
std::map<std::string, std::string> display(const std::vector<Session>& sessions,
                                           std::string_view home = Home::directory());

/// A label for each of `sessions`, at the same index. Sessions with the same id have a label each.
std::vector<std::string> ofEach(const std::vector<const Session*>& sessions,
                                std::string_view home = Home::directory());

/// The last component of a terminal's path without "tty", such as "s004" or "3", or nullopt if that is empty.
std::optional<std::string> terminalSuffix(const std::optional<std::string>& tty);

}  // namespace tavrin::SessionLabels
