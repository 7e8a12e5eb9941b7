#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <map>
#include <string>
#include <vector>

#include "TavrinCore/Monitor/MonitorFiles.hpp"
#include "TavrinCore/Sessions/Session.hpp"

namespace tavrin {

/// The session files of the hook, read again only when they change.
class SavedSessions {
 public:
  /// A record and the modification time of its file.
  struct Saved {
    Session record;
    Date savedAt;
  };

  /// `directory` is the one of SessionFileStore.
  explicit SavedSessions(std::string directory) : directory_(std::move(directory)) {}

  const std::string& directory() const { return directory_; }

  /// Reads what changed. A file that holds no record is left out, and read again when it changes. One
  /// `status` call is made while the directory is as it was: the hook replaces files, which changes the
  /// directory.
  /// Returns whether anything may have changed.
  bool look(const MonitorFiles& files, Date now);

  /// All records by their file's name.
  const std::map<std::string, Saved>& all() const { return saved_; }

 private:
  std::string directory_;
  std::map<std::string, Saved> saved_;
  std::map<std::string, FileStatus> statuses_;
  Date modifiedAt_;
  bool isSettled_ = false;
};

}  // namespace tavrin
