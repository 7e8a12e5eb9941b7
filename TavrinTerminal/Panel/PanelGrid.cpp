#include "TavrinTerminal/Panel/PanelGrid.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin {

namespace {

constexpr std::string_view rule = "\u2500";
constexpr std::string_view mark = "\u258C";
constexpr std::size_t longestCluster = 32;  // bytes: a letter with more marks than that is somebody's joke

// The characters of our own texts that ASCII has something for.
constexpr std::array<std::pair<std::string_view, std::string_view>, 8> plainForms = {{{rule, "-"},
                                                                                      {mark, ">"},
                                                                                      {"\u00B7", "-"},
                                                                                      {"\u2026", "~"},
                                                                                      {"\u2019", "'"},
                                                                                      {"\u2191", "^"},
                                                                                      {"\u2193", "v"},
                                                                                      {"\u21B5", "<"}}};

std::string inAscii(std::string_view cluster, std::size_t width) {
  const auto* const form =
      std::ranges::find(plainForms, cluster, &std::pair<std::string_view, std::string_view>::first);
  std::string text(form == plainForms.end() ? "?" : form->second);
  text.append(width - 1, ' ');
  return text;
}

// The code points of a cluster, each as its bytes.
std::vector<std::string_view> codePointsOf(std::string_view cluster) {
  std::vector<std::string_view> points;
  ShownText::forEachPiece(
      cluster, [&](std::string_view bytes, ShownText::Piece, char32_t) { points.push_back(bytes); });
  return points;
}

// The cluster itself where every terminal gives it this width: where the widths of its code points add up to
// it. Else its first code point, filled up.
std::string certain(std::string_view cluster, std::size_t width) {
  const std::vector<std::string_view> points = codePointsOf(cluster);
  std::size_t sum = 0;
  for (const std::string_view point : points) sum += ShownText::width(point);
  if (sum == width && cluster.size() <= longestCluster) return std::string(cluster);
  std::string text(points.front());
  text.append(width - std::min(width, ShownText::width(points.front())), ' ');
  return text;
}

}  // namespace

PanelGrid::PanelGrid(ScreenSize size)
    : size_({.columns = std::max(size.columns, 0), .rows = std::max(size.rows, 0)}),
      cells_(static_cast<std::size_t>(size_.columns) * static_cast<std::size_t>(size_.rows)) {}

PanelGrid::PanelGrid(const PanelLines& lines, ScreenSize size, bool hasUnicode) : PanelGrid(size) {
  const int shown = std::min(size_.rows, static_cast<int>(lines.lines.size()));
  for (int row = 0; row < shown; ++row) {
    const PanelLine& line = lines.lines[static_cast<std::size_t>(row)];
    if (line.isRule) {
      for (int column = 0; column < size_.columns; ++column)
        write(row, {.column = column, .width = 1, .text = std::string(rule), .role = PanelRole::faint},
              hasUnicode);
    }
    for (const PanelText& text : line.texts) write(row, text, hasUnicode);
    if (!line.isSelected) continue;
    write(row, {.column = 0, .width = 1, .text = std::string(mark), .role = PanelRole::strong}, hasUnicode);
    for (int column = 0; column < size_.columns; ++column) cells_[index(row, column)].isReversed = true;
  }
  if (lines.cursor && lines.cursor->row < size_.rows && lines.cursor->column < size_.columns)
    cursor_ = lines.cursor;
}

void PanelGrid::write(int row, const PanelText& text, bool hasUnicode) {
  const int width = std::min(text.width, size_.columns - text.column);
  if (width <= 0 || text.column < 0) return;
  const std::string shown = ShownText::cut(text.text, static_cast<std::size_t>(width));
  int column = text.column;
  if (text.isRightAligned) column += width - static_cast<int>(ShownText::width(shown));
  for (std::string_view rest = shown; !rest.empty();) {
    const std::string_view cluster = Text::firstCharacters(rest, 1);
    rest.remove_prefix(cluster.size());
    const std::size_t columns = ShownText::width(cluster);
    if (columns == 0) continue;  // a mark that nothing carries
    const bool isAscii = cluster.size() == 1;
    std::string drawn = certain(cluster, columns);
    if (!hasUnicode && !isAscii) drawn = inAscii(cluster, columns);
    Cell& cell = cells_[index(row, column)];
    cell.text = std::move(drawn);
    cell.role = text.role;
    cell.isWide = columns == 2;
    if (cell.isWide) {
      Cell& second = cells_[index(row, column + 1)];
      second.text.clear();
      second.role = text.role;
    }
    column += static_cast<int>(columns);
  }
}

std::string PanelGrid::text() const {
  std::string all;
  for (int row = 0; row < size_.rows; ++row) {
    const std::size_t start = all.size();
    for (int column = 0; column < size_.columns; ++column) all += at(row, column).text;
    all.erase(std::max(start, all.find_last_not_of(' ') + 1));
    all += '\n';
  }
  return all;
}

}  // namespace tavrin
