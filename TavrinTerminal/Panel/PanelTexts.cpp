#include "TavrinTerminal/Panel/PanelTexts.hpp"

#include <algorithm>
#include <utility>

#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::PanelTexts {

int widthOf(std::string_view text) {
  return static_cast<int>(ShownText::width(text));
}

std::vector<std::string> wrapped(std::string_view text, int columns) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find(' ');
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!lines.empty() && widthOf(lines.back()) + 1 + widthOf(word) <= columns) {
      lines.back() += ' ';
      lines.back() += word;
    } else {
      lines.emplace_back(word);
    }
  }
  return lines;
}

std::vector<std::string> broken(std::string_view text, int columns) {
  columns = std::max(columns, 2);
  std::vector<std::string> lines;
  for (const std::string& whole : wrapped(text, columns)) {
    lines.emplace_back();
    int width = 0;
    for (std::string_view rest = whole; !rest.empty();) {
      const std::string_view character = Text::firstCharacters(rest, 1);
      rest.remove_prefix(character.size());
      const int wide = widthOf(character);
      if (width + wide > columns) {
        lines.emplace_back();
        width = 0;
      }
      lines.back() += character;
      width += wide;
    }
  }
  return lines;
}

PanelLine line(std::string text, PanelRole role, int columns) {
  PanelLine line;
  line.texts.push_back({.column = 1, .width = columns - 1, .text = std::move(text), .role = role});
  return line;
}

PanelLine keys(std::vector<KeyHint> hints, int columns) {
  constexpr int between = 3;
  const auto total = [&] {
    int width = 1 - between;
    for (const KeyHint& hint : hints) width += widthOf(hint.key) + 1 + widthOf(hint.does) + between;
    return width;
  };
  while (hints.size() > 1 && total() > columns)
    hints.erase(std::ranges::max_element(hints, {}, &KeyHint::rank));
  PanelLine line;
  int column = 1;
  for (const KeyHint& hint : hints) {
    const int keyWidth = widthOf(hint.key);
    const int width = widthOf(hint.does);
    line.texts.push_back(
        {.column = column, .width = keyWidth, .text = std::string(hint.key), .role = PanelRole::key});
    line.texts.push_back({.column = column + keyWidth + 1,
                          .width = width,
                          .text = std::string(hint.does),
                          .role = PanelRole::plain});
    column += keyWidth + 1 + width + between;
  }
  return line;
}

}  // namespace tavrin::PanelTexts
