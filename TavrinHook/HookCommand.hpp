#pragma once

// Part of TavrinHook, which is not installed. Needs nothing but the standard library.

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

/// One run of tavrin-hook: reads one event, updates one session file and writes one line of the log.
namespace tavrin::HookCommand {

/// The largest payload that is handled, in bytes. A larger one is only counted and logged.
inline constexpr std::size_t largestPayload = 1'000'000;

/// What a run reads besides its files.
struct Surroundings {
  int input = 0;               ///< the descriptor to read the payload from
  std::string home;            ///< the directory that contains "Library"
  std::int32_t parentPid = 0;  ///< the process that ran this command
  ProcessTable processes;
  RepoLabel::Probes files;
  std::function<Date()> now;
  UuidSource makeId;
  AfterUse afterUse = AfterUse::close;  ///< what happens to the lock and the log at the end of the run

  /// The surroundings of this process.
  static Surroundings real();
};

/// Does the whole run. `words` is the command line, the program's name first. Prints nothing. A failure is
/// one line in the log, and leaves the session's record as it was. Throws only what `surroundings` throws,
/// and std::bad_alloc. Even then no file is half written.
void run(std::span<const std::string_view> words, const Surroundings& surroundings);

/// The log line of an event: agent, session, event, tool and `outcome`.
std::string trace(const HookEvent& event, Agent agent, std::string_view outcome);

}  // namespace tavrin::HookCommand
