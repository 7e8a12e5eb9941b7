#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>

namespace tavrin {

/// What an agent needs beyond hooks written into its settings file.
enum class AgentActivation : std::uint8_t {
  none,        ///< hooks work once written
  codexTrust,  ///< hooks must also be trusted through the Codex app server
};

}  // namespace tavrin
