#pragma once

// Part of Tavrin::Core. Needs POSIX and the standard library.

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tavrin {

/// What happens to a file that is no longer needed. A process that is about to end can leave it open, because
/// the system closes it anyway.
enum class AfterUse { close, leaveOpen };

/// An open file descriptor. The destructor closes it.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { close(); }

  /// open(2) with O_CLOEXEC. On failure the result is not open, and errno says why.
  static FileDescriptor open(const std::string& path, int flags, mode_t mode = 0);

  bool isOpen() const { return number_ >= 0; }
  int number() const { return number_; }
  void close();
  /// Closes the file, or only forgets its descriptor and leaves the file open.
  void finish(AfterUse use);

  /// Closes a file that was written. Returns false and sets errno if bytes were lost. Network file systems
  /// may report that only here (close(2)).
  [[nodiscard]] bool closeWritten();

  /// Waits for the exclusive flock(2) on the file, without a time-out. Returns false and sets errno on
  /// failure.
  bool lock() const;
  void unlock() const;

 private:
  int number_ = -1;
};

/// File operations. A call that a signal interrupts is made again. A path with a zero byte counts as missing,
/// because the kernel would cut it at the zero byte and open another file.
namespace File {

/// One read(2). Returns the number of bytes, 0 at the end of the file, or -1 with errno set.
ssize_t read(int descriptor, char* buffer, std::size_t size);

/// One write(2). Returns the number of bytes, or -1 with errno set.
ssize_t write(int descriptor, std::string_view bytes);

/// Writes all of `bytes` with as many calls of write(2) as needed. Returns false and sets errno on failure.
/// Some of the bytes may then be written.
bool writeAll(int descriptor, std::string_view bytes);

/// The content of the file at `path`, or nullopt if it cannot be read or is longer than `limit` bytes.
std::optional<std::string> contents(const std::string& path, std::size_t limit = SIZE_MAX);

/// The most bytes that `oneRead` returns.
inline constexpr std::size_t largestOneRead = 4096;

/// The bytes that one read(2) of at most `largestOneRead` bytes returns from the file at `path`. That is all
/// of a short file that the kernel generates when it is read, as in /proc. Returns nullopt if it cannot be
/// read.
std::optional<std::string> oneRead(const std::string& path);
/// The same for an open file.
std::optional<std::string> oneRead(const FileDescriptor& file);

/// Opens a file to read it. If a pipe is in its place, does not wait for a writer; the pipe then reads as
/// empty.
FileDescriptor openToRead(const std::string& path);

/// As `contents`, for a file that must be well-formed UTF-8.
std::optional<std::string> text(const std::string& path, std::size_t limit = SIZE_MAX);

/// Whether `path` exists. Returns false if the system does not answer.
bool exists(const std::string& path);
/// Whether `path` names a directory.
bool isDirectory(const std::string& path);

/// The size in bytes that stat(2) reports for `path`, or nullopt if it fails.
std::optional<std::uint64_t> size(const std::string& path);

/// What the symbolic link at `path` points to, as it is written there, at most 4,096 bytes. Returns nullopt
/// and sets errno if there is no link or it cannot be read (readlink(2)).
std::optional<std::string> readLink(const std::string& path);

/// Makes the directory `path` and all missing parents with mode 0777, less the umask. An existing directory
/// is fine. Returns false and sets errno on failure. Parents that were made before the failure stay.
bool makeDirectories(const std::string& path);

/// rename(2): replaces `to` by `from` in one step. Returns false and sets errno on failure.
bool rename(const std::string& from, const std::string& to);

/// Removes the file at `path`. A failure is ignored.
void remove(const std::string& path);

/// The working directory of this process, or "/" if its path cannot be read or is not UTF-8.
std::string currentDirectory();

}  // namespace File

}  // namespace tavrin
