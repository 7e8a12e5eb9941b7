#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string_view>

/// Which listening processes are not development servers. Paths are compared as texts.
namespace tavrin::ServerFilter {

/// Whether the process belongs to the system or to an application, by the path of its executable, so that it
/// is not shown. An unknown path ("") is not noise. Neither are Python's framework and Docker.
bool isNoise(std::string_view executablePath);

/// Whether the process belongs to Docker, so that it stands for a container.
bool isDocker(std::string_view command, std::string_view executablePath);
/// The same if the command's name is not known.
inline bool isDocker(std::string_view executablePath) {
  return isDocker("", executablePath);
}

}  // namespace tavrin::ServerFilter
