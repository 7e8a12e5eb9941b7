#include "TavrinCore/Support/Path.hpp"

namespace tavrin::Path {

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

std::string joined(std::string_view directory, std::string_view name) {
  std::string path;
  path.reserve(directory.size() + 1 + name.size());
  path += directory;
  if (!path.ends_with('/')) path += '/';
  path += name;
  return path;
}

std::string_view lastComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  if (path == "/") return path;
  // Without a slash, npos + 1 is 0.
  return path.substr(path.rfind('/') + 1);
}

std::string_view extension(std::string_view path) {
  const std::string_view name = lastComponent(path);
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || name.find_first_not_of('.') > dot) return {};
  const std::string_view extension = name.substr(dot + 1);
  return extension.find(' ') == std::string_view::npos ? extension : std::string_view{};
}

std::string replacingExtension(std::string_view path, std::string_view extension) {
  path = withoutTrailingSlashes(path);
  const std::string_view old = Path::extension(path);
  if (!old.empty()) path.remove_suffix(old.size() + 1);
  std::string replaced(path);
  replaced += '.';
  replaced += extension;
  return replaced;
}

std::string standardized(std::string_view path, std::string_view base) {
  std::string out;
  out.reserve(path.size() + 1);
  if (!path.starts_with('/')) out = base == "/" ? "" : base;
  while (!path.empty()) {
    const std::size_t slash = path.find('/');
    const std::string_view component = path.substr(0, slash);
    path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
    if (component.empty() || component == ".") continue;
    if (component == "..") {
      const std::size_t last = out.rfind('/');
      out.resize(last == std::string::npos ? 0 : last);
      continue;
    }
    out += '/';
    out += component;
  }
  return out.empty() ? "/" : out;
}

std::string expandingTilde(std::string_view path, std::string_view home) {
  if (path != "~" && !path.starts_with("~/")) return std::string(path);
  const std::string_view rest = path.substr(1);
  std::string expanded(home);
  if (rest != "/") expanded += rest;
  return expanded;
}

std::string_view parent(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string_view::npos ? "/" : path.substr(0, slash);
}

}  // namespace tavrin::Path
