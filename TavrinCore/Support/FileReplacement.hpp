#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Support/File.hpp"

/// Replaces, creates and removes a file that belongs to somebody else as well: only while it still holds the
/// bytes that were read, and without changing anything of it but its bytes.
namespace tavrin::FileReplacement {

/// A file as it was read.
struct Read {
  enum class Kind : std::uint8_t {
    file,
    missing,
    other,     ///< a directory, a device, a pipe
    tooLarge,  ///< it holds more bytes than were allowed
    failed,    ///< errno says why
  };

  Kind kind = Kind::missing;
  std::string text;
  struct stat status = {};
};

/// Follows links at `path` to the name that is no link, at most 40 (path_resolution(7)). That name need not
/// exist. nullopt, with errno, when there are more, or one cannot be read.
std::optional<std::string> linkTarget(const std::string& path);

Read read(const std::string& path, std::size_t limit);

enum class Result : std::uint8_t {
  done,
  overtaken,  ///< somebody else wrote the file in between; it holds what they wrote
  failed,     ///< errno says why; the file is as it was
};

/// Puts `text` in the place of the file `path`, which was read as `before`; a missing one is created with
/// mode 0600. See SettingsFile for what is kept. No temporary is left unless the process dies.
Result replace(const std::string& path, const Read& before, std::string_view text);

/// Removes the file `path`, which was read as `before`.
Result remove(const std::string& path, const Read& before);

}  // namespace tavrin::FileReplacement
