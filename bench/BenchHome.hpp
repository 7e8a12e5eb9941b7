#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Sessions/Session.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin::bench {

/// A session whose record holds its host and its repository, as after the first event of nearly every
/// session.
Session sessionUnderWay(std::string_view id);

/// A home directory with one session. Its record holds the host and the repository, as after the first event
/// of nearly every session.
class BenchHome : public test::ScratchHome {
 public:
  /// In `parent`, or in the system's directory for temporary files.
  explicit BenchHome(std::string_view sessionId,
                     const std::filesystem::path& parent = std::filesystem::temp_directory_path());

  /// Restores the record to its first state.
  void resetSession() const;

  /// Removes the host from the record, as over ssh(1) or in a container, where none is found.
  void forgetHost() const;

  /// The current record; nullopt if there is none.
  std::optional<Session> session() const;

  /// Adds `count` other sessions, each with its lock file.
  void addSessions(std::size_t count) const;

  /// Fills the log with lines, up to `bytes`. With 0 bytes the log is empty.
  void fillLog(std::size_t bytes) const;

 private:
  std::string sessionId_;
};

}  // namespace tavrin::bench
