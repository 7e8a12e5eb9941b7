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

/// The programs beside these tests that play a part in them; each says in its source what it does.
std::string sessionWorker();
std::string confined();
std::string chainLink();

/// A process that is under way, so that many can be kept in a list.
using Running = std::unique_ptr<Subprocess>;
Running start(const std::vector<std::string>& words, const Subprocess::Environment& environment = {});

/// The run of tavrin-hook, fed nothing yet.
Running startHook(const ScratchHome& home);

/// Whether a child of this process has ended; it can still be waited for.
bool hasEnded(pid_t pid);

/// Waits until a process waits for a lock, as Linux tells in /proc/locks (proc(5)), or has ended, and says
/// which: true when it waits.
bool waitsForLock(pid_t pid);

/// The event of Claude Code that starts the call `toolUseId` in a session.
std::string toolStart(std::string_view sessionId, std::string_view toolUseId, std::string_view cwd = "");

/// What is stored about a session, if anything that can be read.
std::optional<Session> stored(const ScratchHome& home, std::string_view sessionId);

/// The names of the files beside the records that a run must not leave: temporaries.
std::vector<std::string> temporaries(const std::filesystem::path& directory);

/// The lines of the log without their time stamps.
std::vector<std::string> logLines(const ScratchHome& home);

/// Whether a line begins with a time stamp and a blank.
bool isStamped(std::string_view line);

/// A home with the record of the session "s", in which one call is open. What a run makes of it is checked
/// here: all failures are those of the test.
class SeededHome : public ScratchHome {
 public:
  SeededHome();

  /// The record's file, and its text as it was at first.
  std::filesystem::path record() const { return sessionFile("s"); }
  const std::string& oldText() const { return oldText_; }

  /// The record is byte for byte what it was, and no temporary lies beside it.
  void expectUntouched() const;

  /// The record holds the call `toolUseId` as its newest, and no temporary lies beside it.
  void expectUpdated(std::string_view toolUseId) const;

  /// The log's lines since this was asked last, without their time stamps, which each of them must have.
  std::vector<std::string> newLogLines();

  /// A further event is handled as if nothing had happened.
  void expectNextEventWorks();

 private:
  std::string oldText_;
  std::size_t logRead_ = 0;
};

/// Matches the log line of an error over a payload of so many bytes.
testing::Matcher<std::string> errorLine(std::size_t bytes);

}  // namespace tavrin::test
