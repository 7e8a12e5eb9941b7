#include "TavrinTerminal/System/Executables.hpp"

#include <sys/stat.h>
#include <unistd.h>
#include <uv.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

#include "TavrinCore/Support/Path.hpp"

namespace tavrin::Executables {

std::vector<std::string> folders(std::string_view pathVariable) {
  std::vector<std::string> folders;
  for (std::size_t start = 0; start <= pathVariable.size();) {
    const std::size_t end = std::min(pathVariable.find(':', start), pathVariable.size());
    const std::string_view entry = pathVariable.substr(start, end - start);
    if (entry.starts_with('/')) folders.emplace_back(entry);
    start = end + 1;
  }
  return folders;
}

bool isExecutable(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::optional<std::string> find(std::string_view name, std::string_view pathVariable) {
  for (const std::string& folder : folders(pathVariable)) {
    std::string path = Path::joined(folder, name);
    if (isExecutable(path)) return path;
  }
  return std::nullopt;
}

std::string own() {
  std::array<char, 4096> path{};
  std::size_t size = path.size();
  if (uv_exepath(path.data(), &size) != 0) return "";
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.data(), nullptr), std::free);
  return resolved ? resolved.get() : "";
}

}  // namespace tavrin::Executables
