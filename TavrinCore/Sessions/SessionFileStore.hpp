#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Home.hpp"

namespace tavrin {

/// The directory that holds one JSON file per session, shared by all running hooks (the writers, one at a
/// time for each session) and the desktop app (the reader, at any time). Beside "NAME.json" lie ".NAME.lock",
/// which is only ever locked and never deleted, and for a moment ".UUID.tmp", which is never read.
///
/// A process that dies at any point leaves the old record or the new one. After a loss of power the file
/// holds the old record, the new one, or text that `decode` refuses, which counts as no record.
class SessionFileStore {
 public:
  /// `afterUse` is of the lock files.
  explicit SessionFileStore(std::string directory = defaultDirectory(Home::directory()),
                            AfterUse afterUse = AfterUse::close)
      : directory_(std::move(directory)), afterUse_(afterUse) {}

  /// "Library/Application Support/Tavrin/sessions" under the home directory.
  static std::string defaultDirectory(std::string_view home = Home::directory());

  const std::string& directory() const { return directory_; }

  /// The file of a session: the id's letters, numbers, "-" and "_", and ".json". Ids that differ only in
  /// other characters share one file and one lock.
  std::string fileURL(std::string_view sessionId) const;

  /// Makes the directory with all missing parents; one that exists is fine. Throws std::system_error.
  void ensureDirectory() const;

  /// Runs `body` while this process alone holds the session's lock, and gives back what it returns. Waits
  /// without a time-out for as long as another process holds it; sessions never wait for each other. The lock
  /// ends with `body`, also when that throws, and with the process. Throws std::system_error when it cannot
  /// be taken; then `body` has not run.
  template <class Body>
  auto withLock(std::string_view sessionId, Body&& body) const {
    const Lock held = lock(sessionId);
    return std::forward<Body>(body)();
  }

  /// The stored record; nothing when there is none, or none that can be read.
  std::optional<Session> load(std::string_view sessionId) const;

  /// Replaces the session's file in one step, so that a reader sees the old record or the new one. Throws
  /// std::system_error; then the file is what it was and no temporary is left.
  void save(const Session& session) const;

  /// Removes the session's file. A failure, or a file that is not there, changes nothing and is not told.
  void deleteSession(std::string_view sessionId) const;

  /// The same for a file by its path, as `loadAll` names it.
  static void deleteFile(const std::string& path);

  /// What a directory of session files holds.
  struct Loaded {
    std::vector<Session> sessions;
    std::vector<std::string> corrupt;  ///< paths of files that hold no record
  };

  /// All records, in the order in which the directory lists them. Takes no lock, moves and deletes nothing. A
  /// directory that cannot be listed is empty.
  Loaded loadAll() const;

 private:
  class Lock {
   public:
    Lock(FileDescriptor file, AfterUse afterUse) : file_(std::move(file)), afterUse_(afterUse) {}
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() {
      file_.unlock();
      file_.finish(afterUse_);
    }

   private:
    FileDescriptor file_;
    AfterUse afterUse_;
  };

  Lock lock(std::string_view sessionId) const;

  // Opens `path` for writing in the directory, which is made only when that turns out to be missing.
  FileDescriptor openOrCreate(const std::string& path, int flags, mode_t mode) const;

  std::string directory_;
  AfterUse afterUse_;
};

}  // namespace tavrin
