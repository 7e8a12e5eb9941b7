#include "TavrinTerminal/ShownText.hpp"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <utility>

#include "TavrinCore/Support/Text.hpp"

namespace tavrin::ShownText {

namespace {

constexpr std::string_view replacement = "\uFFFD";
constexpr std::string_view ellipsis = "\u2026";
constexpr utf8proc_int32_t emojiPresentation = 0xFE0F;  // a variation selector (UTS #51)

constexpr bool isLineSpace(utf8proc_int32_t c) {
  return (c >= '\t' && c <= '\r') || c == 0x85 || c == 0x2028 || c == 0x2029;
}

// Controls, bidirectional controls, and format characters that show nothing (general categories Cc and Cf),
// without the joiners U+200C and U+200D.
constexpr bool isControl(utf8proc_int32_t c) {
  constexpr std::array<std::pair<utf8proc_int32_t, utf8proc_int32_t>, 16> ranges = {{
      {0x00, 0x1F},
      {0x7F, 0x9F},
      {0xAD, 0xAD},      // soft hyphen
      {0x061C, 0x061C},  // Arabic letter mark
      {0x115F, 0x1160},  // Hangul fillers
      {0x180E, 0x180E},
      {0x200B, 0x200B},  // zero width space
      {0x200E, 0x200F},  // left-to-right and right-to-left marks
      {0x202A, 0x202E},  // embeddings and overrides
      {0x2060, 0x206F},  // word joiner, isolates and others
      {0x3164, 0x3164},  // Hangul filler
      {0xFEFF, 0xFEFF},  // byte order mark
      {0xFFA0, 0xFFA0},  // half-width Hangul filler
      {0xFFF9, 0xFFFB},  // interlinear annotation
      {0x1D173, 0x1D17A},
      {0xE0000, 0xE0FFF},  // tags and supplementary variation selectors
  }};
  return std::ranges::any_of(ranges,
                             [c](const auto& range) { return c >= range.first && c <= range.second; });
}

// The next code point of valid UTF-8, and how many bytes it takes.
std::pair<utf8proc_int32_t, std::size_t> next(std::string_view text) {
  utf8proc_int32_t c = 0;
  const utf8proc_ssize_t length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                                   static_cast<utf8proc_ssize_t>(text.size()), &c);
  return length > 0 ? std::pair(c, static_cast<std::size_t>(length)) : std::pair(-1, std::size_t{1});
}

bool isPlainAscii(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
}

std::size_t clusterWidth(std::string_view cluster) {
  const auto [first, length] = next(cluster);
  const bool isFlag = first >= 0x1F1E6 && first <= 0x1F1FF && cluster.size() > length;
  if (isFlag) return 2;
  const auto widthOf = [](utf8proc_int32_t c) {
    return c < 0 ? std::size_t{1} : static_cast<std::size_t>(std::max(utf8proc_charwidth(c), 0));
  };
  // Some signs stand before a character and are part of its cluster (UAX #29, Prepend); both take columns.
  const bool isPrepended =
      first >= 0 && utf8proc_get_property(first)->boundclass == UTF8PROC_BOUNDCLASS_PREPEND;
  std::size_t columns = widthOf(first);
  for (std::string_view rest = cluster.substr(length); !rest.empty();) {
    const auto [c, size] = next(rest);
    if (isPrepended) columns += widthOf(c);
    if (c == emojiPresentation) columns = 2;
    rest.remove_prefix(size);
  }
  return columns;
}

}  // namespace

void forEachPiece(std::string_view text,
                  const std::function<void(std::string_view bytes, Piece kind, char32_t c)>& take) {
  while (!text.empty()) {
    const auto [c, length] = next(text);
    Piece kind = Piece::shown;
    if (c < 0) {
      kind = Piece::notText;
    } else if (isLineSpace(c)) {
      kind = Piece::lineSpace;
    } else if (isControl(c)) {
      kind = Piece::control;
    }
    take(text.substr(0, length), kind, c < 0 ? U'\0' : static_cast<char32_t>(c));
    text.remove_prefix(length);
  }
}

std::string clean(std::string_view text) {
  if (isPlainAscii(text)) return std::string(text);
  std::string cleaned;
  cleaned.reserve(text.size());
  bool inSpace = false;
  forEachPiece(text, [&](std::string_view bytes, Piece kind, char32_t) {
    if (kind == Piece::shown) {
      cleaned += bytes;
    } else if (kind != Piece::lineSpace) {
      cleaned += replacement;
    } else if (!inSpace) {
      cleaned += ' ';
    }
    inSpace = kind == Piece::lineSpace;
  });
  return cleaned;
}

std::size_t width(std::string_view text) {
  if (isPlainAscii(text)) return text.size();
  std::size_t columns = 0;
  while (!text.empty()) {
    const std::string_view cluster = Text::firstCharacters(text, 1);
    columns += clusterWidth(cluster);
    text.remove_prefix(cluster.size());
  }
  return columns;
}

std::string cut(std::string_view text, std::size_t columns) {
  if (width(text) <= columns) return std::string(text);
  if (columns == 0) return {};
  std::string kept;
  std::size_t used = 1;  // the ellipsis
  while (!text.empty()) {
    const std::string_view cluster = Text::firstCharacters(text, 1);
    used += clusterWidth(cluster);
    if (used > columns) break;
    kept += cluster;
    text.remove_prefix(cluster.size());
  }
  kept += ellipsis;
  return kept;
}

std::string padded(std::string_view text, std::size_t columns) {
  std::string filled = cut(text, columns);
  filled.append(columns - std::min(columns, width(filled)), ' ');
  return filled;
}

}  // namespace tavrin::ShownText
