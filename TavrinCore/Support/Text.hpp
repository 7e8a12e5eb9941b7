#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What a person sees in a text. A "character" here is an extended grapheme cluster (Unicode Annex 29), so an
/// emoji of several code points or a letter with a combining accent counts as one. Texts are UTF-8; a byte
/// that is no UTF-8 counts as a character of its own. Nothing here throws but for want of memory.
namespace tavrin::Text {

/// Whether the whole text is well-formed UTF-8 (no overlong forms, no surrogates, nothing past U+10FFFF).
bool isValidUtf8(std::string_view text);

/// The first `count` characters of `text`, or all of it when it has fewer.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// The last `count` characters of `text`, or all of it when it has fewer.
std::string_view lastCharacters(std::string_view text, std::size_t count);

/// `text` without every character that is not a letter, a number, "-" or "_". A character is judged by its
/// first code point; a "-" or "_" that carries a combining mark is neither.
std::string onlyNameCharacters(std::string_view text);

/// `text` with its first character upper-cased when that is a lower-case letter (by the full mappings, so "ß"
/// becomes "SS"); else `text` as it is.
std::string upperCasedFirst(std::string_view text);

/// `text` in lower case by the full mapping of each code point ("İ" becomes "i" and a combining dot), without
/// regard to what stands beside it: a sigma that ends a word stays "σ". Bytes that are no UTF-8 stay as they
/// are.
std::string lowerCased(std::string_view text);

/// `text` with U+FFFD for each byte that is no UTF-8.
std::string repaired(std::string_view text);

/// `text` in UTF-16, with U+FFFD for each byte that is no UTF-8.
std::u16string utf16(std::string_view text);

/// The words of `text`, split at white space (Unicode White_Space), joined by one blank each. White space
/// that carries a combining mark is white space, mark and all; so a word that starts with a mark (behind a
/// tab or a line feed, which carry none) is joined by a blank that a second splitting drops with the mark.
std::string words(std::string_view text);

/// `text` without white space at either end.
std::string_view trimmed(std::string_view text);

}  // namespace tavrin::Text
