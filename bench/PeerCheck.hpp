#pragma once

#include <vector>

#include "bench/Starts.hpp"

namespace tavrin::bench {

/// The hooks of bench/peers, run by the system's interpreters. Throws std::runtime_error if an interpreter is
/// missing.
std::vector<Program> handWrittenHooks();

/// Plays a session to `hook` and to each of `peers`, and compares the results of every event: the record
/// without its times and random identifiers, and the line in the log. Throws std::runtime_error that
/// describes the first difference.
void checkPeers(const Program& hook, const std::vector<Program>& peers);

}  // namespace tavrin::bench
