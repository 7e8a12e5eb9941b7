#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <string>
#include <string_view>

/// Texts in UTF-8, seen as a person sees them. A "character" is an extended grapheme cluster (Unicode Annex
/// 29): an emoji of several code points and a letter with a combining accent count as one. A byte that is not
/// valid UTF-8 counts as one character. Nothing here throws anything but std::bad_alloc.
namespace tavrin::Text {

/// Whether the whole text is valid UTF-8: no overlong forms, no surrogates, nothing past U+10FFFF.
bool isValidUtf8(std::string_view text);

/// The first `count` characters of `text`, or all of it if it has fewer.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// The last `count` characters of `text`, or all of it if it has fewer.
std::string_view lastCharacters(std::string_view text, std::size_t count);

/// The letters, numbers, "-" and "_" of `text`, without its other characters. The first code point of a
/// character decides. A "-" or "_" with a combining mark is left out.
std::string onlyNameCharacters(std::string_view text);

/// `text` with its first character in upper case if that is a lower-case letter. Uses the full mappings, so
/// "ß" becomes "SS".
std::string upperCasedFirst(std::string_view text);

/// `text` in lower case. Uses the full mapping of each code point ("İ" becomes "i" and a combining dot) and
/// ignores its neighbours (a sigma at the end of a word becomes "σ"). Bytes that are not valid UTF-8 stay.
std::string lowerCased(std::string_view text);

/// `text` with U+FFFD in place of each byte that is not valid UTF-8.
std::string repaired(std::string_view text);

/// `text` in UTF-16, with U+FFFD in place of each byte that is not valid UTF-8.
std::u16string utf16(std::string_view text);

/// The words of `text` with one space between them. Words end at white space (Unicode White_Space). White
/// space with a combining mark counts as white space, and the mark goes with it. A tab or a line feed cannot
/// carry a mark, so a word after it may start with one. The mark then joins the new space, and a second call
/// removes it.
std::string words(std::string_view text);

/// `text` without white space at its ends.
std::string_view trimmed(std::string_view text);

}  // namespace tavrin::Text
