#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <string>

#include "TavrinTerminal/Panel/PanelGrid.hpp"

/// Writes screens in the control functions of ECMA-48.
namespace tavrin::ScreenWriter {

/// The bytes that turn a terminal that shows `before` into one that shows `after`: only the cells that
/// differ, then the cursor. Both have the same size. Nothing when they are equal.
std::string difference(const PanelGrid& before, const PanelGrid& after, bool colour);

/// The bytes that show `screen` on a terminal of whose screen nothing is known.
std::string whole(const PanelGrid& screen, bool colour);

}  // namespace tavrin::ScreenWriter
