#pragma once

// Part of Tavrin::Core. Needs POSIX and the standard library.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Home.hpp"

namespace tavrin {

/// The directory with one JSON file per session. Hooks write it, one at a time for each session. Panels may
/// read it at any time. Beside "NAME.json" there is ".NAME.lock", which is only locked and never deleted, and
/// while a record is saved ".UUID.tmp", which is never read.
///
/// If a process dies, the old or the new record remains. After a power failure the file may also hold text
/// that Session::decode rejects. It then counts as missing.
class SessionFileStore {
 public:
  /// `afterUse` says what happens to the lock files.
  explicit SessionFileStore(std::string directory = defaultDirectory(Home::directory()),
                            AfterUse afterUse = AfterUse::close)
      : directory_(std::move(directory)), afterUse_(afterUse) {}

  /// "Library/Application Support/Tavrin/sessions" under the home directory.
  static std::string defaultDirectory(std::string_view home = Home::directory());

  const std::string& directory() const { return directory_; }

  /// The path of a session's file. Its name is the letters, numbers, "-" and "_" of the id, and ".json". Ids
  /// that differ only in other characters share one file and one lock.
  std::string fileURL(std::string_view sessionId) const;

  /// Makes the directory and all missing parents. Does nothing if it exists. Throws std::system_error.
  void ensureDirectory() const;

  /// Runs `body` while this process holds the session's lock, and returns its result. Waits while another
  /// process holds the lock, without a time-out. Different sessions never wait for each other. The lock ends
  /// when `body` returns or throws, or the process ends. Throws std::system_error if locking fails; `body`
  /// then does not run.
  template <class Body>
  auto withLock(std::string_view sessionId, Body&& body) const {
    const Lock held = lock(sessionId);
    return std::forward<Body>(body)();
  }

  /// The stored record, or nullopt if there is no file or Session::decode rejects it.
  std::optional<Session> load(std::string_view sessionId) const;

  /// Replaces the session's file in one step, so a reader sees the old or the new record. Throws
  /// std::system_error on failure. The old file then remains, and no temporary file.
  void save(const Session& session) const;

  /// Removes the session's file. A failure is ignored.
  void deleteSession(std::string_view sessionId) const;

  /// Removes a file that `loadAll` listed. A failure is ignored.
  static void deleteFile(const std::string& path);

  /// The files of a directory.
  struct Loaded {
    std::vector<Session> sessions;
    std::vector<std::string> corrupt;  ///< paths of files that Session::decode rejects
  };

  /// All records, in the order of readdir(3). Takes no lock, and changes no file. A directory that cannot be
  /// read counts as empty.
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

  // Opens `path` for writing. Makes the directory if it is missing.
  FileDescriptor openOrCreate(const std::string& path, int flags, mode_t mode) const;

  std::string directory_;
  AfterUse afterUse_;
};

}  // namespace tavrin
