#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/Console.hpp"

/// Lists in columns. Cells hold cleaned text (ShownText::clean).
namespace tavrin::Columns {

struct Heading {
  std::string_view text;
  bool mayBeCut = false;  ///< whether a narrow terminal may cut its texts; earlier columns are cut first
};

using Row = std::vector<std::string>;

/// The colour of a cell.
using Paint = std::function<Colour(std::size_t row, std::size_t column)>;

/// On a terminal: a headline and aligned columns. Columns that may be cut are cut to fit the terminal. No
/// line ends with spaces. In a pipe: the cells of each row with tabs between them, uncut and without a
/// headline.
std::string text(std::span<const Heading> headings, const std::vector<Row>& rows, const Console& console,
                 const Paint& paint);

}  // namespace tavrin::Columns
