#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string_view>
#include <vector>

#include "TavrinCore/Monitor/SessionMonitor.hpp"
#include "TavrinCore/Monitor/SessionWatcher.hpp"
#include "TavrinTerminal/Surroundings.hpp"

namespace tavrin {

/// What looks at the sessions of the home directory, at the agents' own files and at their processes.
SessionWatcher sessionWatcher(const Surroundings& surroundings);

/// The sessions that one look finds, in no particular order; those that are over are left out. A folder that
/// is missing or cannot be read has none. Nothing is written.
std::vector<ObservedSession> observedSessions(const Surroundings& surroundings);

/// The records with the observed state, time and attentionId in the place of the stored ones, for the
/// library's functions that count, order and label.
std::vector<Session> asObserved(const std::vector<ObservedSession>& sessions);

/// The sessions in the order in which they are shown: the most urgent first. `withProbes` keeps those that an
/// application started for itself.
std::vector<ObservedSession> inShownOrder(std::vector<ObservedSession> sessions, std::string_view home,
                                          bool withProbes);

/// The sessions that are shown: each id once, and without those that an application started for itself.
std::vector<ObservedSession> withoutProbes(std::vector<ObservedSession> sessions, std::string_view home);

}  // namespace tavrin
