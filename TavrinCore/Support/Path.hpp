#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string>
#include <string_view>

/// Paths as texts. Nothing here reads the file system or follows symbolic links.
namespace tavrin::Path {

/// `directory` and `name` with one slash between them.
std::string joined(std::string_view directory, std::string_view name);

/// `path` without slashes at its end, or "/" if it has only slashes.
std::string_view withoutTrailingSlashes(std::string_view path);

/// What follows the last slash. Slashes at the end do not count, so "bin/" gives "bin". A path of only
/// slashes gives "/", and "" gives "".
std::string_view lastComponent(std::string_view path);

/// What follows the last dot of the last component. Returns "" if there is no dot, if nothing but dots is
/// before it (".json"), or if a space is behind it.
std::string_view extension(std::string_view path);

/// `path` with another extension: "hook.log" and "1.log" give "hook.1.log". If `path` has no extension, the
/// new one is added.
std::string replacingExtension(std::string_view path, std::string_view extension);

/// The absolute path without ".", "..", doubled slashes and slashes at the end. A relative path starts at
/// `base`, which must be absolute.
std::string standardized(std::string_view path, std::string_view base);

/// `path` with the "~" at its front replaced by `home` if `path` is "~" or starts with "~/". Any other path
/// is returned as it is.
std::string expandingTilde(std::string_view path, std::string_view home);

/// The parent directory of an absolute standardized path. The parent of "/" is "/".
std::string_view parent(std::string_view path);

}  // namespace tavrin::Path
