#pragma once

#include <string_view>
#include <vector>

#include "bench/Starts.hpp"

namespace tavrin::bench {

/// The session of the recorded events that are measured.
inline constexpr std::string_view recordedSession = "ba7fd3a0-b04a-45ff-b496-9a2c6e614ed3";

/// The hooks of bench/peers, run by the system's own interpreters. Throws std::runtime_error when one is
/// missing.
std::vector<Program> handWrittenHooks();

/// Plays a session to `hook` and to each of `peers`, and compares what they make of every event: the record
/// but for its times and random identifiers, and the line in the log. Throws std::runtime_error at the first
/// difference, which it tells.
void checkPeers(const Program& hook, const std::vector<Program>& peers);

}  // namespace tavrin::bench
