#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Monitor/MonitorFiles.hpp"
#include "TavrinCore/Sessions/SharedSession.hpp"

namespace tavrin {

/// The session files of the hook, read again only when they change.
class SavedSessions {
 public:
  /// A file, and what it holds.
  struct Saved {
    FileStatus status;
    std::optional<SharedSession> record;  ///< nullopt if the file holds none
  };

  /// `directory` is the one of SessionFileStore.
  explicit SavedSessions(std::string directory) : directory_(std::move(directory)) {}

  const std::string& directory() const { return directory_; }

  /// Reads what changed. A file that holds no record is read again when it changes, and one that cannot be
  /// read at the next look. If all files could be read and the directory has not changed since, this makes
  /// only one `status` call: the hook replaces files, which changes the directory. Returns whether anything
  /// may have changed.
  bool look(const MonitorFiles& files, Date now);

  /// Reads again only the files of these names, without listing the directory. If a file is gone, its record
  /// is dropped. Names that cannot be a record's are skipped. If there are names, other files may have
  /// changed too, so the next `look` lists the directory. Returns false, and reads nothing, if the last
  /// `look` did not find the directory.
  bool lookAt(const std::vector<std::string>& names, const MonitorFiles& files);

  /// All files that could be read, by their names.
  const std::map<std::string, Saved>& all() const { return files_; }

 private:
  static bool isRecordName(const std::string& name);
  static std::optional<Saved> read(const std::string& path, const MonitorFiles& files);

  std::string directory_;
  std::map<std::string, Saved> files_;
  Date modifiedAt_;
  bool isSettled_ = false;
  bool isListed_ = false;
};

}  // namespace tavrin
