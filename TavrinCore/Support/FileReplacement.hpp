#pragma once

// Part of Tavrin::Core. Needs POSIX and the standard library.

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Support/File.hpp"

/// Replaces, creates and removes a file that other programs write too. It does so only while the file still
/// holds the bytes that were read, and it changes nothing but those bytes.
namespace tavrin::FileReplacement {

/// The state of a file when it was read.
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

/// Follows up to 40 links from `path` to a name that is not a link (path_resolution(7)). That name need not
/// exist. Returns nullopt and sets errno if there are more links, or if one cannot be read.
std::optional<std::string> linkTarget(const std::string& path);

Read read(const std::string& path, std::size_t limit);

enum class Result : std::uint8_t {
  done,
  overtaken,  ///< somebody else wrote the file in between; it holds what they wrote
  failed,     ///< errno says why; the file is as it was
};

/// Replaces the content of the file `path`, which was read as `before`, by `text`. A missing file is created
/// with mode 0600. SettingsFile describes what is kept. No temporary is left unless the process dies.
Result replace(const std::string& path, const Read& before, std::string_view text);

/// Removes the file `path`, which was read as `before`.
Result remove(const std::string& path, const Read& before);

}  // namespace tavrin::FileReplacement
