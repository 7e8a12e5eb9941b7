#include "TavrinTerminal/Panel/ScreenWriter.hpp"

#include <optional>
#include <string_view>

namespace tavrin::ScreenWriter {

namespace {

// The parameters of Select Graphic Rendition (ECMA-48, 8.3.117) behind a reset. Colours are the terminal's
// own eight, which its theme keeps readable on its background.
std::string_view looksOf(PanelRole role, bool colour) {
  switch (role) {
    case PanelRole::plain:
      return "";
    case PanelRole::strong:
    case PanelRole::key:
      return ";1";
    case PanelRole::faint:
    case PanelRole::idle:
      return colour ? ";2" : "";
    case PanelRole::needsYou:
      return colour ? ";1;33" : ";1";
    case PanelRole::working:
      return colour ? ";32" : "";
    case PanelRole::alert:
      return colour ? ";1;31" : ";1";
  }
  return "";
}

std::string rendition(const PanelGrid::Cell& cell, bool colour) {
  std::string sequence = "\033[0";
  sequence += looksOf(cell.role, colour);
  if (cell.isReversed) sequence += ";7";
  sequence += 'm';
  return sequence;
}

// Cursor Position (ECMA-48, 8.3.21) counts from 1.
std::string position(int row, int column) {
  return "\033[" + std::to_string(row + 1) + ";" + std::to_string(column + 1) + "H";
}

// A terminal may take more or fewer columns for anything but ASCII, so the next cell is placed anew.
bool isCertain(const PanelGrid::Cell& cell) {
  return cell.text.size() == 1;
}

}  // namespace

std::string difference(const PanelGrid& before, const PanelGrid& after, bool colour) {
  if (before == after) return "";
  constexpr std::string_view hideCursor = "\033[?25l";
  constexpr std::string_view showCursor = "\033[?25h";
  std::string bytes(hideCursor);
  std::string looks;
  const ScreenSize size = after.size();
  for (int row = 0; row < size.rows; ++row) {
    int at = -1;  // the column where the terminal's cursor is in this row, if that is known
    for (int column = 0; column < size.columns; ++column) {
      const PanelGrid::Cell& cell = after.at(row, column);
      if (cell.text.empty()) continue;  // drawn with the one before
      const bool isSame = before.at(row, column) == cell &&
                          (!cell.isWide || before.at(row, column + 1) == after.at(row, column + 1));
      if (isSame) continue;
      if (at != column) bytes += position(row, column);
      std::string wanted = rendition(cell, colour);
      if (wanted != looks) bytes += wanted;
      looks = std::move(wanted);
      bytes += cell.text;
      at = isCertain(cell) ? column + 1 : -1;
    }
  }
  bytes += "\033[0m";
  if (after.cursor()) {
    bytes += position(after.cursor()->row, after.cursor()->column);
    bytes += showCursor;
  }
  return bytes;
}

std::string whole(const PanelGrid& screen, bool colour) {
  const PanelGrid nothing(screen.size());
  return "\033[0m\033[H\033[2J" + difference(nothing, screen, colour);
}

}  // namespace tavrin::ScreenWriter
