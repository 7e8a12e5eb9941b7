#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "TavrinCore/Support/Date.hpp"

namespace tavrin {

/// What the system knows about processes now. Each look-up returns nullopt for what it cannot know.
struct ProcessFacts {
  std::function<bool(std::int32_t pid)> exists;
  std::function<std::optional<Date>(std::int32_t pid)> startedAt;  ///< when the process started
  std::function<std::optional<std::string>(std::int32_t pid)> workingDirectory;
  std::function<std::optional<Date>()> bootTime;  ///< when the system started, time asleep included

  /// Those of the running system. Processes are looked up anew at each call; the time of the boot once.
  static ProcessFacts ofThisSystem();

  /// The real path of this program's file; "" when the system cannot name it.
  static std::string executableOfThisProcess();
};

}  // namespace tavrin
