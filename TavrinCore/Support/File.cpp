#include "TavrinCore/Support/File.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinCore/Support/Uninterrupted.hpp"

namespace tavrin {

namespace {

// Whether the kernel would see the whole of `path`. If not, errno is set.
bool isName(const std::string& path) {
  if (path.find('\0') == std::string::npos) return true;
  errno = ENOENT;
  return false;
}

// The result of stat(2), or nullopt if it fails.
std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status = {};
  if (!isName(path) || uninterrupted([&] { return ::stat(path.c_str(), &status); }) != 0) return std::nullopt;
  return status;
}

}  // namespace

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  if (this != &other) {
    close();
    number_ = std::exchange(other.number_, -1);
  }
  return *this;
}

FileDescriptor FileDescriptor::open(const std::string& path, int flags, mode_t mode) {
  if (!isName(path)) return {};
  // If the path is a terminal, it must not become the controlling terminal of this process.
  const int always = O_CLOEXEC | O_NOCTTY;
  return FileDescriptor(uninterrupted([&] { return ::open(path.c_str(), flags | always, mode); }));
}

void FileDescriptor::close() {
  // Linux closes the file even if a signal interrupts the call, so never close twice. errno stays as it was.
  if (number_ < 0) return;
  const int kept = errno;
  ::close(std::exchange(number_, -1));
  errno = kept;
}

void FileDescriptor::finish(AfterUse use) {
  if (use == AfterUse::leaveOpen) number_ = -1;
  close();
}

bool FileDescriptor::closeWritten() {
  return ::close(std::exchange(number_, -1)) == 0 || errno == EINTR;
}

bool FileDescriptor::lock() const {
  return uninterrupted([&] { return ::flock(number_, LOCK_EX); }) == 0;
}

void FileDescriptor::unlock() const {
  ::flock(number_, LOCK_UN);
}

namespace File {

ssize_t read(int descriptor, char* buffer, std::size_t size) {
  return uninterrupted([&] { return ::read(descriptor, buffer, size); });
}

ssize_t write(int descriptor, std::string_view bytes) {
  return uninterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes);
    if (written == 0) errno = EIO;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::optional<std::string> contents(const std::string& path, std::size_t limit) {
  const FileDescriptor file = openToRead(path);
  if (!file.isOpen()) return std::nullopt;
  std::string bytes;
  std::array<char, 4096> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
  for (;;) {
    const ssize_t count = read(file.number(), buffer.data(), buffer.size());
    if (count < 0) return std::nullopt;
    if (count == 0) return bytes;
    if (static_cast<std::size_t>(count) > limit - bytes.size()) return std::nullopt;
    bytes.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

FileDescriptor openToRead(const std::string& path) {
  return FileDescriptor::open(path, O_RDONLY | O_NONBLOCK);
}

std::optional<std::string> oneRead(const std::string& path) {
  const FileDescriptor file = openToRead(path);
  return file.isOpen() ? oneRead(file) : std::nullopt;
}

std::optional<std::string> oneRead(const FileDescriptor& file) {
  std::array<char, largestOneRead> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
  const ssize_t count = read(file.number(), buffer.data(), buffer.size());
  if (count < 0) return std::nullopt;
  return std::string(buffer.data(), static_cast<std::size_t>(count));
}

std::optional<std::string> text(const std::string& path, std::size_t limit) {
  std::optional<std::string> bytes = contents(path, limit);
  if (bytes && !Text::isValidUtf8(*bytes)) bytes.reset();
  return bytes;
}

bool exists(const std::string& path) {
  return isName(path) && uninterrupted([&] { return ::access(path.c_str(), F_OK); }) == 0;
}

bool isDirectory(const std::string& path) {
  const auto status = statusOf(path);
  return status && S_ISDIR(status->st_mode);
}

std::optional<std::uint64_t> size(const std::string& path) {
  const auto status = statusOf(path);
  return status ? std::optional(static_cast<std::uint64_t>(status->st_size)) : std::nullopt;
}

std::optional<std::string> readLink(const std::string& path) {
  std::array<char, 4096> target;  // NOLINT(cppcoreguidelines-pro-type-member-init): readlink fills it
  const ssize_t length = isName(path) ? ::readlink(path.c_str(), target.data(), target.size()) : -1;
  return length < 0 ? std::nullopt
                    : std::optional(std::string(target.data(), static_cast<std::size_t>(length)));
}

bool rename(const std::string& from, const std::string& to) {
  return uninterrupted([&] { return std::rename(from.c_str(), to.c_str()); }) == 0;
}

void remove(const std::string& path) {
  if (isName(path)) uninterrupted([&] { return ::unlink(path.c_str()); });
}

bool makeDirectories(const std::string& path) {
  constexpr mode_t anyone = 0777;
  const auto make = [&] { return uninterrupted([&] { return ::mkdir(path.c_str(), anyone); }) == 0; };
  if (make()) return true;
  if (errno == ENOENT) {
    const std::string parent(Path::parent(path));
    if (parent.size() >= path.size() || !makeDirectories(parent)) return false;
    if (make()) return true;
  }
  // Another process may have made it meanwhile. On a read-only file system it may exist although errno is
  // EROFS.
  const int code = errno;
  if (isDirectory(path)) return true;
  errno = code;
  return false;
}

std::string currentDirectory() {
  std::string path(4096, '\0');
  if (::getcwd(path.data(), path.size()) == nullptr) return "/";
  path.resize(path.find('\0'));
  return Text::isValidUtf8(path) ? path : "/";
}

}  // namespace File

}  // namespace tavrin
