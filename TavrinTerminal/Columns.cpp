#include "TavrinTerminal/Columns.hpp"

#include <algorithm>

#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::Columns {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t least = 8;  // columns that a cut text keeps

std::string separatedByTabs(const std::vector<Row>& rows) {
  std::string text;
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (i > 0) text += '\t';
      text += row[i];
    }
    text += '\n';
  }
  return text;
}

std::vector<std::size_t> widthsOf(std::span<const Heading> headings, const std::vector<Row>& rows,
                                  std::size_t available) {
  std::vector<std::size_t> widths;
  std::size_t total = gap * (headings.size() - 1);
  for (std::size_t i = 0; i < headings.size(); ++i) {
    std::size_t width = headings[i].text.size();
    for (const Row& row : rows) width = std::max(width, ShownText::width(row[i]));
    widths.push_back(width);
    total += width;
  }
  for (std::size_t i = 0; i < headings.size() && total > available; ++i) {
    if (!headings[i].mayBeCut) continue;
    const std::size_t spare = widths[i] - std::min(widths[i], std::max(least, headings[i].text.size()));
    const std::size_t taken = std::min(spare, total - available);
    widths[i] -= taken;
    total -= taken;
  }
  return widths;
}

}  // namespace

std::string text(std::span<const Heading> headings, const std::vector<Row>& rows, const Console& console,
                 const Paint& paint) {
  if (!console.outputIsTerminal) return separatedByTabs(rows);
  const std::vector<std::size_t> widths =
      widthsOf(headings, rows, static_cast<std::size_t>(std::max(console.width, 0)));
  std::string text;
  std::string pending;  // the spaces before the next cell
  const auto add = [&](std::string_view cell, std::size_t column, Colour colour) {
    const std::string shown = ShownText::cut(cell, widths[column]);
    if (!shown.empty()) {
      text += pending + console.painted(shown, colour);
      pending.clear();
    }
    pending.append(widths[column] - ShownText::width(shown) + gap, ' ');
  };
  const auto endLine = [&] {
    text += '\n';
    pending.clear();
  };
  for (std::size_t i = 0; i < headings.size(); ++i) add(headings[i].text, i, Colour::dim);
  endLine();
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (std::size_t i = 0; i < headings.size(); ++i) add(rows[row][i], i, paint(row, i));
    endLine();
  }
  return text;
}

}  // namespace tavrin::Columns
