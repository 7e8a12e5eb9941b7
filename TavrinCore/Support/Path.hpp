#pragma once

#include <string>
#include <string_view>

/// Paths as texts: nothing here looks at the file system, and symbolic links are not resolved.
namespace tavrin::Path {

/// `directory` and `name` with one slash between them.
std::string joined(std::string_view directory, std::string_view name);

/// `path` without slashes at its end; "/" for a path of slashes alone.
std::string_view withoutTrailingSlashes(std::string_view path);

/// What follows the last slash, trailing slashes left out; "/" for a path of slashes alone, "" for "".
std::string_view lastComponent(std::string_view path);

/// What follows the last dot of the last component; "" when there is no dot, when only dots precede it
/// (".json"), or when what follows holds a blank.
std::string_view extension(std::string_view path);

/// `path` with its extension replaced, as from "hook.log" to "hook.1.log" for "1.log"; a path without an
/// extension gets one.
std::string replacingExtension(std::string_view path, std::string_view extension);

/// An absolute path without ".", "..", doubled and trailing slashes. A relative path starts at `base`, an
/// absolute directory.
std::string standardized(std::string_view path, std::string_view base);

/// `path` with a leading "~" that stands for itself ("~" or "~/…") replaced by `home`; any other path as it
/// is.
std::string expandingTilde(std::string_view path, std::string_view home);

/// The directory that holds an absolute standardized path; "/" for "/".
std::string_view parent(std::string_view path);

}  // namespace tavrin::Path
