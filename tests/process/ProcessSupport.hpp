#pragma once

#include <sys/types.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin::test {

/// Programs beside these tests that play a part in them. Each describes itself at the top of its source.
std::string sessionWorker();
std::string confined();
std::string chainLink();

/// A running process, in a form that can be kept in a list.
using Running = std::unique_ptr<Subprocess>;
Running start(const std::vector<std::string>& words, const Subprocess::Environment& environment = {});

/// The run of tavrin-hook, without any input so far.
Running startHook(const ScratchHome& home);

/// Whether a child of this process has ended; it can still be waited for.
bool hasEnded(pid_t pid);

/// Waits until a process waits for a lock, according to Linux's /proc/locks (proc(5)), or has ended. Returns
/// true if it waits.
bool waitsForLock(pid_t pid);

/// The event of Claude Code that starts the call `toolUseId` in a session.
std::string toolStart(std::string_view sessionId, std::string_view toolUseId, std::string_view cwd = "");

/// What is stored about a session; nullopt if nothing readable is.
std::optional<Session> stored(const ScratchHome& home, std::string_view sessionId);

/// The names of temporaries beside the records. A run must not leave any.
std::vector<std::string> temporaries(const std::filesystem::path& directory);

/// The lines of the log without their time stamps.
std::vector<std::string> logLines(const ScratchHome& home);

/// Whether a line begins with a time stamp and a space.
bool isStamped(std::string_view line);

/// A home with the record of the session "s", in which one call is open. It checks what a run makes of the
/// record. All failures are failures of the test.
class SeededHome : public ScratchHome {
 public:
  SeededHome();

  /// The record's file, and its text at the start.
  std::filesystem::path record() const { return sessionFile("s"); }
  const std::string& oldText() const { return oldText_; }

  /// The record is byte for byte what it was, and no temporary lies beside it.
  void expectUntouched() const;

  /// The newest call in the record is `toolUseId`, and no temporary lies beside it.
  void expectUpdated(std::string_view toolUseId) const;

  /// The log's lines since the last call, without their time stamps. Each line must have one.
  std::vector<std::string> newLogLines();

  /// A further event is handled as if nothing had happened.
  void expectNextEventWorks();

 private:
  std::string oldText_;
  std::size_t logRead_ = 0;
};

/// Matches the log line of an error about a payload of `size` bytes.
testing::Matcher<std::string> errorLine(std::size_t bytes);

}  // namespace tavrin::test
