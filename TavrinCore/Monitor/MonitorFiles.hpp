#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Support/Date.hpp"

namespace tavrin {

/// What the file system reports about a file.
struct FileStatus {
  std::uint64_t size = 0;  ///< in bytes
  Date modifiedAt;
  std::uint64_t identity = 0;  ///< the inode: another one means that the file was replaced
  bool isDirectory = false;

  bool operator==(const FileStatus&) const = default;
};

/// The beginning of a file, and the status that the file had when it was opened to be read.
struct FileContents {
  FileStatus status;
  std::string text;
};

/// The file access of the monitor, which only reads. Tests and recordings fill in functions of their own; all
/// of them must be set. A path with a zero byte counts as missing.
struct MonitorFiles {
  /// The status of what `path` names, links followed; nullopt when it is not there or stat(2) fails.
  std::function<std::optional<FileStatus>(const std::string& path)> status;
  /// At most `most` bytes of the file from `offset` on, fewer only at its end; nullopt when it cannot be
  /// read.
  std::function<std::optional<std::string>(const std::string& path, std::uint64_t offset, std::size_t most)>
      read;
  /// At most `most` bytes of the file from its start on, with its status; nullopt when it cannot be read,
  /// like a directory. This costs less than `status` and `read`. The status and the bytes are certainly of
  /// the same file, even if another one takes its place meanwhile.
  std::function<std::optional<FileContents>(const std::string& path, std::size_t most)> contents;
  /// The names in a directory, without "." and "..", in no particular order; none when it cannot be listed.
  std::function<std::vector<std::string>(const std::string& path)> list;

  /// The files of the running system. A pipe in the place of a file cannot be read. No function waits for a
  /// writer to open it.
  static MonitorFiles ofThisSystem();
};

}  // namespace tavrin
