#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>
#include <string_view>
#include <vector>

/// The path of tavrin-hook that agents' settings get. It must last: entries keep it for years.
namespace tavrin::HookPath {

/// Where tavrin-hook may be, in the order in which it is looked for: at `installed`, which is set when this
/// program is built (through Homebrew's "opt", never "Cellar", which changes with each upgrade); then at
/// "../Tavrin/bin" and in the same folder, seen from the real path of `tavrin`. An empty path is left out.
std::vector<std::string> candidates(std::string_view installed, std::string_view executable);

/// The path that was set when this program was built.
std::string_view installedPath();

/// Why an entry must not have this path: its entries could not be found again, or a shell would not run it.
/// "" for a path that it may have.
std::string objection(std::string_view path);

/// The first candidate that can be executed and that `objection` accepts.
struct Choice {
  std::string path;   ///< "" when there is none
  std::string error;  ///< why there is none: a sentence, and what to do
};
Choice choose(const std::vector<std::string>& candidates);

}  // namespace tavrin::HookPath
