#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tavrin {

/// What becomes of a file that is done with. A process that ends next leaves the closing to the system, which
/// does it without being called.
enum class AfterUse { close, leaveOpen };

/// An open file descriptor, closed with its owner.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { close(); }

  /// open(2), with the descriptor closed on exec. When it fails, the result is not open and errno says why.
  static FileDescriptor open(const std::string& path, int flags, mode_t mode = 0);

  bool isOpen() const { return number_ >= 0; }
  int number() const { return number_; }
  void close();
  /// Closes the file, or gives it up without that.
  void finish(AfterUse use);

  /// Closes a file that was written. False, with errno, when the system says only now that bytes were lost,
  /// as network file systems may (close(2)).
  [[nodiscard]] bool closeWritten();

  /// Waits for the exclusive flock(2) on the open file, without a time-out. False, with errno, on failure.
  bool lock() const;
  void unlock() const;

 private:
  int number_ = -1;
};

/// The file system as the formats need it. Calls that a signal interrupts are made again. A path with a zero
/// byte names nothing: it would reach the system cut off, as the name of something else.
namespace File {

/// read(2) that outlasts signals: the bytes read, 0 at the end, -1 with errno on failure.
ssize_t read(int descriptor, char* buffer, std::size_t size);

/// One write(2) that outlasts signals: the bytes written, -1 with errno on failure.
ssize_t write(int descriptor, std::string_view bytes);

/// Writes all of `bytes`, in as many write(2) calls as it takes. False, with errno, on failure; then some of
/// the bytes may have been written.
bool writeAll(int descriptor, std::string_view bytes);

/// The bytes of the file at `path`; nothing when it cannot be read, or holds more than `limit` bytes.
std::optional<std::string> contents(const std::string& path, std::size_t limit = SIZE_MAX);

/// The most bytes that `oneRead` gives.
inline constexpr std::size_t largestOneRead = 4096;

/// What one read(2) of at most `largestOneRead` bytes gives of the file at `path`: all of a file that the
/// kernel makes up as it is read, as in /proc. Nothing when it cannot be read.
std::optional<std::string> oneRead(const std::string& path);
/// The same of an open file.
std::optional<std::string> oneRead(const FileDescriptor& file);

/// Opens a file to read it. A pipe in its place is not waited for, and then reads as empty.
FileDescriptor openToRead(const std::string& path);

/// As `contents`, for a file that must be well-formed UTF-8.
std::optional<std::string> text(const std::string& path, std::size_t limit = SIZE_MAX);

/// Whether `path` names something; what cannot be asked is not there.
bool exists(const std::string& path);
/// Whether `path` names a directory.
bool isDirectory(const std::string& path);

/// The size in bytes that the file system gives for what `path` names; nothing when it cannot be asked.
std::optional<std::uint64_t> size(const std::string& path);

/// Makes the directory `path` with all missing parents, with the permissions that the umask leaves. False,
/// with errno, on failure; a directory that is there already is no failure. Parents made on the way stay.
bool makeDirectories(const std::string& path);

/// rename(2): moves a file over another in one step. False, with errno, on failure.
bool rename(const std::string& from, const std::string& to);

/// Removes the file at `path`, if it can be.
void remove(const std::string& path);

/// The working directory of this process, "/" when the system cannot name it in UTF-8.
std::string currentDirectory();

}  // namespace File

}  // namespace tavrin
