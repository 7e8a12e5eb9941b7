#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <filesystem>

/// Things that the system denies this process as long as one of these objects exists.
namespace tavrin::test {

/// The umask.
class Umask {
 public:
  explicit Umask(mode_t mask);
  ~Umask();
  Umask(const Umask&) = delete;
  Umask& operator=(const Umask&) = delete;

 private:
  mode_t before_;
};

/// The size in bytes beyond which no file may grow. A write beyond it fails, without a signal.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes);
  ~FileSizeLimit();
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

/// A directory that this process may read and not write. Permissions do not stop the superuser, so it becomes
/// another user meanwhile.
class ReadOnly {
 public:
  explicit ReadOnly(std::filesystem::path directory);
  ~ReadOnly();
  ReadOnly(const ReadOnly&) = delete;
  ReadOnly& operator=(const ReadOnly&) = delete;

 private:
  std::filesystem::path directory_;
};

}  // namespace tavrin::test
