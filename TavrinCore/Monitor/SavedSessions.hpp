#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <map>
#include <optional>
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

  /// Reads what changed. A file that holds no record is left out, and read again when it changes. While the
  /// directory has not changed, this makes only one `status` call: the hook replaces files, which changes the
  /// directory. Returns whether anything may have changed.
  bool look(const MonitorFiles& files, Date now);

  /// Reads again only the files of these names, without listing the directory. If a file is gone, its record
  /// is dropped. Names that cannot be a record's are skipped. Other files may have changed too, so the next
  /// `look` lists the directory. Returns false, and reads nothing, if the last `look` did not find the
  /// directory.
  bool lookAt(const std::vector<std::string>& names, const MonitorFiles& files);

  /// All records by their file's name.
  const std::map<std::string, Saved>& all() const { return saved_; }

 private:
  static bool isRecordName(const std::string& name);
  static std::optional<Saved> readRecord(const std::string& path, const FileStatus& status,
                                         const MonitorFiles& files);

  std::string directory_;
  std::map<std::string, Saved> saved_;
  std::map<std::string, FileStatus> statuses_;  // of all files of such a name
  Date modifiedAt_;
  bool isSettled_ = false;
  bool isListed_ = false;
};

}  // namespace tavrin
