#include "TavrinTerminal/HookPath.hpp"

#include <algorithm>

#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/Executables.hpp"

namespace tavrin::HookPath {

namespace {

constexpr std::string_view program = "tavrin-hook";

// A character that ends a quoted word of the shell, or means something within it (sh(1), "Quoting").
bool isSpecial(char character) {
  constexpr char firstPrintable = ' ';
  constexpr char del = 0x7f;
  const bool isControl = (character >= 0 && character < firstPrintable) || character == del;
  return isControl || std::string_view("\"$`\\").find(character) != std::string_view::npos;
}

}  // namespace

std::vector<std::string> candidates(std::string_view installed, std::string_view executable) {
  std::vector<std::string> paths;
  const auto add = [&](std::string path) {
    if (std::ranges::find(paths, path) == paths.end()) paths.push_back(std::move(path));
  };
  if (!installed.empty()) add(std::string(installed));
  if (executable.starts_with('/')) {
    const std::string_view folder = Path::parent(executable);
    add(Path::standardized(Path::joined(folder, "../Tavrin/bin/" + std::string(program)), "/"));
    add(Path::joined(folder, program));
  }
  return paths;
}

std::string_view installedPath() {
  return TAVRIN_INSTALLED_HOOK;
}

std::string objection(std::string_view path) {
  if (!path.starts_with('/') || !path.ends_with(HookSettings::marker))
    return "its path does not end in " + std::string(HookSettings::marker);
  if (std::ranges::any_of(path, isSpecial) || !Text::isValidUtf8(path))
    return "its path holds a character that a shell would not pass on";
  return "";
}

Choice choose(const std::vector<std::string>& candidates) {
  std::string refused;
  for (const std::string& path : candidates) {
    if (!Executables::isExecutable(path)) continue;
    const std::string reason = objection(path);
    if (reason.empty()) return {.path = path, .error = ""};
    if (refused.empty()) {
      refused = ShownText::clean(path) + " cannot be used, because " + reason +
                ". Install Tavrin again, in a folder without such characters.";
    }
  }
  if (!refused.empty()) return {.path = "", .error = refused};
  std::string error = "tavrin-hook was not found. Install Tavrin again. It was looked for at:";
  for (const std::string& path : candidates) error += "\n  " + ShownText::clean(path);
  return {.path = "", .error = error};
}

}  // namespace tavrin::HookPath
