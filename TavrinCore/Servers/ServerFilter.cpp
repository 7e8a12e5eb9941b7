#include "TavrinCore/Servers/ServerFilter.hpp"

#include <algorithm>
#include <array>
#include <string>

#include "TavrinCore/Support/Text.hpp"

namespace tavrin::ServerFilter {

namespace {

constexpr std::array<std::string_view, 6> systemFolders = {
    "/System/", "/usr/libexec/", "/usr/sbin/", "/sbin/", "/Library/Apple/", "/Library/PrivilegedHelperTools/",
};

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// A Python that the user installed is in an application bundle too.
bool isFrameworkPython(std::string_view path) {
  return (contains(path, "/Python3.framework/") || contains(path, "/Python.framework/")) &&
         path.ends_with("/Resources/Python.app/Contents/MacOS/Python");
}

}  // namespace

bool isNoise(std::string_view executablePath) {
  if (executablePath.empty() || isDocker(executablePath) || isFrameworkPython(executablePath)) return false;
  return contains(executablePath, ".app/Contents/") ||
         std::ranges::any_of(systemFolders,
                             [&](std::string_view folder) { return executablePath.starts_with(folder); });
}

bool isDocker(std::string_view command, std::string_view executablePath) {
  const std::string lowerCommand = Text::lowerCased(command);
  const std::string lowerPath = Text::lowerCased(executablePath);
  // "com.dock" also finds com.docker.backend where lsof shortens names.
  return contains(lowerCommand, "docker") || lowerCommand.starts_with("com.dock") ||
         lowerCommand.starts_with("vpnkit") || contains(lowerPath, "docker.app/contents/") ||
         contains(lowerPath, "docker-proxy") || contains(lowerPath, "/vpnkit");
}

}  // namespace tavrin::ServerFilter
