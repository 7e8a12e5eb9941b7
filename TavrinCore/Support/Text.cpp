#include "TavrinCore/Support/Text.hpp"

#include <utf8proc.h>

#include <algorithm>
#include <array>

#include "TavrinCore/Support/UnicodeRanges.hpp"

namespace tavrin::Text {

namespace {

constexpr bool isAscii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

bool isAscii(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return isAscii(c); });
}

constexpr bool isAsciiNameCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
}

// One code point. A byte that is not valid UTF-8 has the value -1 and the length 1.
struct CodePoint {
  utf8proc_int32_t value;
  std::size_t length;
};

CodePoint firstCodePoint(std::string_view text) {
  if (isAscii(text.front())) return {text.front(), 1};
  utf8proc_int32_t value = -1;
  const utf8proc_ssize_t length =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(std::min<std::size_t>(text.size(), 4)), &value);
  if (length <= 0) return {-1, 1};
  return {value, static_cast<std::size_t>(length)};
}

// The bytes of the first character of a text that is not empty.
std::size_t firstCharacterLength(std::string_view text) {
  // Between two ASCII bytes a new character begins, unless the first is a carriage return.
  if (isAscii(text.front()) && text.front() != '\r' && (text.size() == 1 || isAscii(text[1]))) return 1;
  CodePoint current = firstCodePoint(text);
  std::size_t length = current.length;
  utf8proc_int32_t state = 0;
  while (length < text.size() && current.value >= 0) {
    const CodePoint next = firstCodePoint(text.substr(length));
    if (next.value < 0 || utf8proc_grapheme_break_stateful(current.value, next.value, &state)) break;
    length += next.length;
    current = next;
  }
  return length;
}

bool isLetterOrNumber(utf8proc_int32_t codePoint) {
  switch (utf8proc_category(codePoint)) {
    case UTF8PROC_CATEGORY_LU:
    case UTF8PROC_CATEGORY_LL:
    case UTF8PROC_CATEGORY_LT:
    case UTF8PROC_CATEGORY_LM:
    case UTF8PROC_CATEGORY_LO:
    case UTF8PROC_CATEGORY_ND:
    case UTF8PROC_CATEGORY_NL:
    case UTF8PROC_CATEGORY_NO:
      return true;
    default:
      break;
  }
  const auto value = static_cast<char32_t>(codePoint);
  const auto* const range =
      std::ranges::lower_bound(furtherLettersAndNumbers, value, {}, &UnicodeRange::last);
  return range != furtherLettersAndNumbers.end() && range->first <= value;
}

bool isNameCharacter(std::string_view character) {
  if (character.size() == 1) return isAsciiNameCharacter(character.front());
  const CodePoint first = firstCodePoint(character);
  return first.value >= 0 && isLetterOrNumber(first.value);
}

// Unicode White_Space (PropList.txt).
bool isWhiteSpace(utf8proc_int32_t codePoint) {
  return (codePoint >= 0x09 && codePoint <= 0x0d) || codePoint == ' ' || codePoint == 0x85 ||
         codePoint == 0xa0 || codePoint == 0x1680 || (codePoint >= 0x2000 && codePoint <= 0x200a) ||
         codePoint == 0x2028 || codePoint == 0x2029 || codePoint == 0x202f || codePoint == 0x205f ||
         codePoint == 0x3000;
}

// The number of bytes of white space at the front of `text`, combining marks included.
std::size_t leadingWhiteSpace(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size() && isWhiteSpace(firstCodePoint(text.substr(length)).value)) {
    length += firstCharacterLength(text.substr(length));
  }
  return length;
}

void appendCodePoint(std::string& out, utf8proc_int32_t codePoint) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const auto length = static_cast<std::size_t>(utf8proc_encode_char(codePoint, bytes.data()));
  out.append(reinterpret_cast<const char*>(bytes.data()), length);
}

// Replaces a byte that is not valid UTF-8.
constexpr utf8proc_int32_t replacement = 0xfffd;

// The one code point whose lower-case form is not one code point.
constexpr utf8proc_int32_t capitalIWithDot = 0x130;

// The full upper-case form. If it has several code points (as for "ß"), case folding gives the same letters
// in lower case, and each of those has a simple upper-case form.
void appendUpperCased(std::string& out, utf8proc_int32_t codePoint) {
  std::array<utf8proc_int32_t, 4> folded{};
  int boundary = 0;
  const utf8proc_ssize_t count = utf8proc_decompose_char(
      codePoint, folded.data(), static_cast<utf8proc_ssize_t>(folded.size()), UTF8PROC_CASEFOLD, &boundary);
  if (count < 2 || count > static_cast<utf8proc_ssize_t>(folded.size())) {
    appendCodePoint(out, utf8proc_toupper(codePoint));
    return;
  }
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    appendCodePoint(out, utf8proc_toupper(folded[i]));
  }
}

}  // namespace

bool isValidUtf8(std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const CodePoint codePoint = firstCodePoint(text.substr(i));
    if (codePoint.value < 0) return false;
    i += codePoint.length;
  }
  return true;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  std::size_t length = 0;
  for (; count > 0 && length < text.size(); --count) length += firstCharacterLength(text.substr(length));
  return text.substr(0, length);
}

std::string_view lastCharacters(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text;
  // Only reading from the front shows where characters begin, except in ASCII without carriage returns.
  if (isAscii(text) && text.find('\r') == std::string_view::npos) return text.substr(text.size() - count);
  std::size_t characters = 0;
  for (std::size_t i = 0; i < text.size(); i += firstCharacterLength(text.substr(i))) ++characters;
  const std::size_t skipped = characters > count ? characters - count : 0;
  return text.substr(firstCharacters(text, skipped).size());
}

std::string onlyNameCharacters(std::string_view text) {
  if (std::ranges::all_of(text, isAsciiNameCharacter)) return std::string(text);
  std::string out;
  for (std::size_t i = 0; i < text.size();) {
    const std::string_view character = text.substr(i, firstCharacterLength(text.substr(i)));
    if (isNameCharacter(character)) out += character;
    i += character.size();
  }
  return out;
}

std::string upperCasedFirst(std::string_view text) {
  if (text.empty()) return {};
  const std::string_view character = firstCharacters(text, 1);
  if (character.size() == 1 && isAscii(character.front())) {
    std::string upper(text);
    if (upper.front() >= 'a' && upper.front() <= 'z')
      upper.front() = static_cast<char>(upper.front() - 'a' + 'A');
    return upper;
  }
  std::string upper;
  for (std::size_t i = 0; i < character.size();) {
    const CodePoint codePoint = firstCodePoint(character.substr(i));
    const bool lower = codePoint.value >= 0 && utf8proc_tolower(codePoint.value) == codePoint.value;
    if (!lower) return std::string(text);
    appendUpperCased(upper, codePoint.value);
    i += codePoint.length;
  }
  upper += text.substr(character.size());
  return upper;
}

std::string lowerCased(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    if (isAscii(text[i])) {
      const char c = text[i++];
      out += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
      continue;
    }
    const CodePoint codePoint = firstCodePoint(text.substr(i));
    if (codePoint.value < 0) {
      out += text[i];
    } else if (codePoint.value == capitalIWithDot) {
      out += "i\u0307";
    } else {
      appendCodePoint(out, utf8proc_tolower(codePoint.value));
    }
    i += codePoint.length;
  }
  return out;
}

std::string repaired(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const CodePoint codePoint = firstCodePoint(text.substr(i));
    if (codePoint.value < 0) {
      appendCodePoint(out, replacement);
    } else {
      out += text.substr(i, codePoint.length);
    }
    i += codePoint.length;
  }
  return out;
}

std::u16string utf16(std::string_view text) {
  constexpr utf8proc_int32_t firstBeyond16Bits = 0x10000;
  std::u16string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const CodePoint codePoint = firstCodePoint(text.substr(i));
    const auto value = static_cast<char32_t>(codePoint.value < 0 ? replacement : codePoint.value);
    if (value < firstBeyond16Bits) {
      out += static_cast<char16_t>(value);
    } else {
      out += static_cast<char16_t>(0xd800 + ((value - firstBeyond16Bits) >> 10U));
      out += static_cast<char16_t>(0xdc00 + (value & 0x3ffU));
    }
    i += codePoint.length;
  }
  return out;
}

std::string words(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t space = leadingWhiteSpace(text.substr(i));
    i += space;
    if (i == text.size()) break;
    if (space > 0 && !out.empty()) out += ' ';
    const std::size_t length = firstCharacterLength(text.substr(i));
    out += text.substr(i, length);
    i += length;
  }
  return out;
}

std::string_view trimmed(std::string_view text) {
  text.remove_prefix(leadingWhiteSpace(text));
  std::size_t end = 0;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t space = leadingWhiteSpace(text.substr(i));
    if (space == 0) {
      i += firstCharacterLength(text.substr(i));
      end = i;
    } else {
      i += space;
    }
  }
  return text.substr(0, end);
}

}  // namespace tavrin::Text
