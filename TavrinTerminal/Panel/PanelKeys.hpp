#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>

#include "TavrinTerminal/Panel/KeyParser.hpp"
#include "TavrinTerminal/Panel/PanelModel.hpp"

namespace tavrin {

/// What a key asks the panel to do.
enum class PanelAction : std::uint8_t {
  nothing,
  up,
  down,
  pageUp,
  pageDown,
  first,
  last,
  pick,  ///< select the row that was clicked, or activate it when it is selected
  activate,
  open,
  askToStop,
  stop,
  kill,
  endQuestion,
  toggleIdle,
  startFilter,
  typeFilter,
  eraseFilter,
  keepFilter,
  dropFilter,
  toggleHelp,
  toggleDetails,
  toggleAgents,
  askToConnect,     ///< show what Enter would change on the connect screen
  askToDisconnect,  ///< the same for taking hooks out
  change,           ///< do what was shown
  refresh,
  redraw,
  quit,
};

/// Which key does what.
namespace PanelKeys {

/// What `key` asks for while the panel is in `mode`.
PanelAction action(PanelModel::Mode mode, const Key& key);

}  // namespace PanelKeys

}  // namespace tavrin
