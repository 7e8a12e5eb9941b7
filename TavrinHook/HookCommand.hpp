#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Context/ProcessTree.hpp"
#include "TavrinCore/Context/RepoLabel.hpp"
#include "TavrinCore/Hook/HookEvent.hpp"
#include "TavrinCore/Support/Date.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Uuid.hpp"

/// One run of tavrin-hook, from the bytes of one event to one session file and one log line.
namespace tavrin::HookCommand {

/// The largest payload that is handled, in bytes; a larger one is counted, logged and dropped.
inline constexpr std::size_t largestPayload = 1'000'000;

/// What a run takes from outside, beside the files that its event and its home name.
struct Surroundings {
  int input = 0;               ///< the descriptor that the payload is read from, to its end
  std::string home;            ///< the directory that holds "Library"
  std::int32_t parentPid = 0;  ///< the process that ran this command
  ProcessTable processes;
  RepoLabel::Probes files;
  std::function<Date()> now;
  UuidSource makeId;
  AfterUse afterUse = AfterUse::close;  ///< of the lock and of the log, with which a run ends

  /// Those of this process.
  static Surroundings real();
};

/// Does the whole run. `words` is the command line, the program's name first. Nothing is printed; what went
/// wrong is one line in the log, and the session's record is then what it was. Throws only for want of memory
/// or of a clock, and then, too, leaves no half-written file.
void run(std::span<const std::string_view> words, const Surroundings& surroundings);

/// The log line for a handled event: agent, session, event, tool and what came of it.
std::string trace(const HookEvent& event, Agent agent, std::string_view outcome);

}  // namespace tavrin::HookCommand
