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
  bool isRegularApp = false;            ///< whether that application is one with windows of its own
  /// The name of its executable, if ancestorsWithAgent or ancestorsUpTo looked it up.
  std::optional<std::string> executable = {};

  bool operator==(const ProcessNode&) const = default;
};

}  // namespace tavrin
