#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/Panel/PanelLine.hpp"

namespace tavrin {

/// A screen as a value: rows of character cells, each with a text and its looks.
///
/// A cell's text fills its columns on any terminal. Where terminals may disagree with our width of a
/// character, as they do on emoji of several code points, the cell holds its first code point, filled up with
/// a space.
class PanelGrid {
 public:
  struct Cell {
    std::string text = " ";  ///< "" for the second column of a wide character
    PanelRole role = PanelRole::plain;
    bool isReversed = false;
    bool isWide = false;  ///< whether it takes the next column too

    bool operator==(const Cell&) const = default;
  };

  explicit PanelGrid(ScreenSize size);

  /// The lines on a screen of `size`; what lies outside is left out. Without Unicode the frames and the
  /// punctuation are ASCII, and "?" stands for every other character.
  PanelGrid(const PanelLines& lines, ScreenSize size, bool hasUnicode = true);

  ScreenSize size() const { return size_; }
  const std::optional<PanelLines::Cursor>& cursor() const { return cursor_; }
  const Cell& at(int row, int column) const { return cells_[index(row, column)]; }

  /// The screen as text: lines without spaces at their ends, each with a line feed.
  std::string text() const;

  bool operator==(const PanelGrid&) const = default;

 private:
  std::size_t index(int row, int column) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(size_.columns) +
           static_cast<std::size_t>(column);
  }
  void write(int row, const PanelText& text, bool hasUnicode);

  ScreenSize size_;
  std::vector<Cell> cells_;
  std::optional<PanelLines::Cursor> cursor_;
};

}  // namespace tavrin
