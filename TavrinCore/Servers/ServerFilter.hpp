#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string_view>

/// What becomes of a listening process before it is looked at as a server. Paths are compared as texts.
namespace tavrin::ServerFilter {

/// Whether the process is part of the system or of an application, and is not shown: judged by the path of
/// its executable. Nothing is known of an empty path, so that is shown; so are Python's framework and
/// containers.
bool isNoise(std::string_view executablePath);

/// Whether the process belongs to Docker, so that it stands for a container.
bool isDocker(std::string_view command, std::string_view executablePath);
/// The same where the command's name is not known.
inline bool isDocker(std::string_view executablePath) {
  return isDocker("", executablePath);
}

}  // namespace tavrin::ServerFilter
