#include "TavrinCore/Monitor/MonitorFiles.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Uninterrupted.hpp"

namespace tavrin {

namespace {

Date dateOf(const timespec& time) {
  return dateFromSeconds(static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9);
}

FileStatus statusIn(const struct stat& status) {
#ifdef __APPLE__
  const timespec& modified = status.st_mtimespec;
#else
  const timespec& modified = status.st_mtim;
#endif
  return {.size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0,
          .modifiedAt = dateOf(modified),
          .identity = static_cast<std::uint64_t>(status.st_ino),
          .isDirectory = S_ISDIR(status.st_mode)};
}

// Whether the kernel would see the whole of `path`. It would cut it at a zero byte.
bool isName(const std::string& path) {
  return path.find('\0') == std::string::npos;
}

std::optional<FileStatus> statusOf(const std::string& path) {
  struct ::stat status {};
  if (!isName(path) || uninterrupted([&] { return ::stat(path.c_str(), &status); }) != 0) return std::nullopt;
  return statusIn(status);
}

std::optional<std::string> readPiece(const FileDescriptor& file, std::uint64_t offset, std::size_t most) {
  const auto readAt = [&](char* place, std::size_t room, std::uint64_t at) {
    return uninterrupted([&] { return ::pread(file.number(), place, room, static_cast<off_t>(at)); });
  };
  // Most files are far smaller than `most`. A regular file gives less than there is room for only at its end
  // (read(2)), so one call reads such a file. The buffer for a longer one grows with what is read.
  std::array<char, 8192> first;
  const ssize_t begun = readAt(first.data(), std::min(most, first.size()), offset);
  if (begun < 0) return std::nullopt;
  std::string bytes(first.data(), static_cast<std::size_t>(begun));
  bool isWhole = bytes.size() < first.size();
  while (!isWhole && bytes.size() < most) {
    const std::size_t size = bytes.size();
    bytes.resize(std::min(most, 2 * size));
    const ssize_t more = readAt(bytes.data() + size, bytes.size() - size, offset + size);
    if (more < 0) return std::nullopt;
    isWhole = static_cast<std::size_t>(more) < bytes.size() - size;
    bytes.resize(size + static_cast<std::size_t>(more));
  }
  return bytes;
}

std::optional<std::string> pieceOf(const std::string& path, std::uint64_t offset, std::size_t most) {
  const FileDescriptor file = File::openToRead(path);
  return file.isOpen() ? readPiece(file, offset, most) : std::nullopt;
}

std::optional<FileContents> contentsOf(const std::string& path, std::size_t most) {
  const FileDescriptor file = File::openToRead(path);
  struct ::stat status {};
  if (!file.isOpen() || ::fstat(file.number(), &status) != 0) return std::nullopt;
  std::optional<std::string> text = readPiece(file, 0, most);
  if (!text) return std::nullopt;
  return FileContents{.status = statusIn(status), .text = *std::move(text)};
}

std::vector<std::string> namesIn(const std::string& path) {
  std::vector<std::string> names;
  if (!isName(path)) return names;
  const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(path.c_str()), ::closedir);
  if (!open) return names;
  while (const dirent* const entry = uninterrupted([&] { return ::readdir(open.get()); })) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return names;
}

}  // namespace

MonitorFiles MonitorFiles::ofThisSystem() {
  return {.status = statusOf, .read = pieceOf, .contents = contentsOf, .list = namesIn};
}

}  // namespace tavrin
