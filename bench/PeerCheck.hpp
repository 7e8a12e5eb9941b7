#pragma once

#include <vector>

#include "bench/Starts.hpp"

namespace tavrin::bench {

/// The hooks of bench/peers, run by the system's own interpreters. Throws std::runtime_error when one is
/// missing.
std::vector<Program> handWrittenHooks();

/// Plays a session to `hook` and to each of `peers`, and compares what they make of every event: the record
/// but for its times and random identifiers, and the line in the log. Throws std::runtime_error at the first
/// difference, which it tells.
void checkPeers(const Program& hook, const std::vector<Program>& peers);

}  // namespace tavrin::bench
