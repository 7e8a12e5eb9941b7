#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/Panel/PanelLine.hpp"

/// Lines that several parts of the panel make.
namespace tavrin::PanelTexts {

/// The columns between two texts of a row.
inline constexpr int gap = 2;

/// The columns of a cleaned text.
int widthOf(std::string_view text);

/// A text broken at spaces into lines of at most `columns`. A longer word is left to be cut.
std::vector<std::string> wrapped(std::string_view text, int columns);

/// The same, with words that are longer than a line broken too, so that nothing is cut.
std::vector<std::string> broken(std::string_view text, int columns);

/// A text behind the column of marks.
PanelLine line(std::string text, PanelRole role, int columns);

/// A key and what it does.
struct KeyHint {
  std::string_view key;
  std::string_view does;
  int rank = 0;  ///< those with the highest give way first when there is no room
};

/// As many hints as there is room for, in one line.
PanelLine keys(std::vector<KeyHint> hints, int columns);

}  // namespace tavrin::PanelTexts
