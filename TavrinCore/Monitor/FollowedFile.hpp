#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Monitor/MonitorFiles.hpp"

namespace tavrin {

/// A file of lines that another program appends to, read as it grows. Each look reads only what is new, a
/// piece at a time. It keeps at most one incomplete line, of at most `longestLine` bytes. A longer line is
/// skipped.
class FollowedFile {
 public:
  /// The most bytes that one read asks for.
  static constexpr std::size_t pieceSize = std::size_t{256} * 1024;
  /// The most bytes of a line that are kept.
  static constexpr std::size_t longestLine = std::size_t{1024} * 1024;
  /// How much of a file's end is read at first, and at most, to find the start of a turn.
  static constexpr std::uint64_t firstTail = std::uint64_t{256} * 1024;
  static constexpr std::uint64_t longestTail = std::uint64_t{4} * 1024 * 1024;

  /// What happened to the file since the last look.
  enum class Change : std::uint8_t {
    none,      ///< it is as it was, or not there yet
    grew,      ///< it has new bytes
    started,   ///< it is read for the first time
    replaced,  ///< another file is in its place, or it was cut or rewritten: it is read anew
    vanished,  ///< it is gone
  };

  /// What to do with lines. They come without their line feed and are valid only during the call.
  struct Reader {
    /// Whether the line starts a turn; asked while the place to start from is looked for.
    std::function<bool(std::string_view line)> startsTurn;
    /// Forgets all lines given before, because the file is read anew.
    std::function<void()> restart;
    /// Takes the next whole line.
    std::function<void(std::string_view line)> take;
  };

  /// `start` is the offset in bytes to start from, if one is known; else the file's end is read, from the
  /// first whole line of its last `firstTail` bytes, doubled until the start of a turn is found or
  /// `longestTail` is reached.
  explicit FollowedFile(std::string path, std::optional<std::uint64_t> start = std::nullopt)
      : path_(std::move(path)), start_(start) {}

  const std::string& path() const { return path_; }

  /// When the file was last changed, as of the last look; the start of 1970 if no look has found it.
  Date modifiedAt() const { return status_ ? status_->modifiedAt : Date(); }

  /// Reads what is new. `restart` is called before the lines of a file that started or was replaced.
  Change look(const MonitorFiles& files, const Reader& reader);

 private:
  std::uint64_t startOf(const MonitorFiles& files, std::uint64_t size, const Reader& reader) const;
  void begin(std::uint64_t offset);
  void readOn(const MonitorFiles& files, const std::function<void(std::string_view)>& take);
  bool hasSameEnd(const MonitorFiles& files) const;

  std::string path_;
  std::optional<std::uint64_t> start_;
  std::optional<FileStatus> status_;
  std::uint64_t offset_ = 0;  // of the next byte to read
  std::string half_;          // the start of a line whose end is not written yet
  bool passesOver_ = false;   // whether the bytes up to the next line feed are left out
  std::string end_;           // the last bytes read; they distinguish a rewritten file from one that grew
};

}  // namespace tavrin
