#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavrin {

/// The size of a screen in character cells.
struct ScreenSize {
  int columns = 80;
  int rows = 24;

  bool operator==(const ScreenSize&) const = default;
};

/// What a text of the panel is, which decides how it looks. Looks never carry meaning alone.
enum class PanelRole : std::uint8_t { plain, strong, faint, needsYou, working, idle, key, alert };

/// A text at a place of its line. It is cut, with "…" at its end, to `width` columns.
struct PanelText {
  int column = 0;
  int width = 0;
  std::string text;  ///< cleaned (ShownText::clean)
  PanelRole role = PanelRole::plain;
  bool isRightAligned = false;

  bool operator==(const PanelText&) const = default;
};

/// One line of the screen.
struct PanelLine {
  std::vector<PanelText> texts;
  bool isRule = false;      ///< a horizontal rule, all across
  bool isSelected = false;  ///< the line that the person is at; it has a mark in front
};

/// All lines of a screen, from the top.
struct PanelLines {
  std::vector<PanelLine> lines;
  /// Where the cursor goes, which is where a screen reader reads; nullopt hides it.
  struct Cursor {
    int row = 0;
    int column = 0;
    bool operator==(const Cursor&) const = default;
  };
  std::optional<Cursor> cursor;
};

}  // namespace tavrin
