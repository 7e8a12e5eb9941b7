#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <optional>
#include <string>

namespace tavrin {

/// One process in a chain of ancestors.
struct ProcessNode {
  std::int32_t pid = 0;
  std::optional<std::string> name;      ///< the short process name
  std::optional<std::string> bundleId;  ///< the bundle identifier of the running application with this pid
  bool isRegularApp = false;            ///< whether that is an ordinary application with windows of its own
  std::optional<std::string> executable =
      {};  ///< its executable's name, where a walk to an agent asked for it

  bool operator==(const ProcessNode&) const = default;
};

}  // namespace tavrin
