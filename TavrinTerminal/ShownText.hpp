#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

/// Texts on their way to a terminal, a notification or another program that draws them. Titles, folders, ids
/// and tools come from records that anything may have written.
namespace tavrin::ShownText {

/// What a code point is to a reader.
enum class Piece : std::uint8_t {
  shown,      ///< something to see, or a joiner of such
  lineSpace,  ///< a tab, or an end of a line
  control,    ///< a control or an invisible format character
  notText,    ///< a byte that is not UTF-8
};

/// Calls `take` for each code point of `text`, in order: its bytes, what it is, and its number (0 for a byte
/// that is not UTF-8).
void forEachPiece(std::string_view text,
                  const std::function<void(std::string_view bytes, Piece kind, char32_t c)>& take);

/// `text` without anything that controls a terminal or changes the direction of its line. A run of tabs and
/// line ends becomes one space. Other controls (C0, DEL, C1), bidirectional controls, other invisible format
/// characters and bytes that are not UTF-8 become U+FFFD. Joiners within emoji and words stay.
std::string clean(std::string_view text);

/// The columns that a cleaned text takes on a terminal: 2 for a wide character or an emoji, else 1 for each
/// character (extended grapheme cluster).
std::size_t width(std::string_view text);

/// A cleaned text in at most `columns` columns. A longer text is cut and ends in "…".
std::string cut(std::string_view text, std::size_t columns);

/// The text of `cut`, padded with spaces to exactly `columns` columns.
std::string padded(std::string_view text, std::size_t columns);

}  // namespace tavrin::ShownText
