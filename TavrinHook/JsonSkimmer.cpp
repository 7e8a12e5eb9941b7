#include "TavrinHook/JsonSkimmer.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "TavrinCore/Support/Json/JsonEscape.hpp"
#include "TavrinCore/Support/Text.hpp"

namespace tavrin {

namespace {

using Word = std::uint64_t;

constexpr Word repeated(unsigned char byte) {
  return ~Word{0} / 0xff * byte;
}

// Whether a byte of a string stands for itself, whatever is around it.
constexpr bool isOrdinary(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 && byte < 0x80 && c != '"' && c != '\\';
}

// The high bit of each byte of `word` that is not ordinary. Bytes above the lowest marked byte may be marked
// wrongly, because the subtraction borrows.
constexpr Word markSpecial(Word word) {
  const auto markZero = [](Word bytes) { return (bytes - repeated(0x01)) & ~bytes; };
  const Word control = (word - repeated(0x20)) & ~word;
  const Word quote = markZero(word ^ repeated('"'));
  const Word backslash = markZero(word ^ repeated('\\'));
  return (control | quote | backslash | word) & repeated(0x80);
}

// The first byte from `i` on that is not ordinary; bytes.size() if there is none. Checks eight bytes at a
// time.
std::size_t skipOrdinary(std::string_view bytes, std::size_t i) {
  if constexpr (std::endian::native == std::endian::little) {
    for (; i + sizeof(Word) <= bytes.size(); i += sizeof(Word)) {
      Word word = 0;
      std::memcpy(&word, bytes.data() + i, sizeof(Word));
      if (const Word special = markSpecial(word); special != 0) {
        return i + static_cast<std::size_t>(std::countr_zero(special)) / 8;
      }
    }
  }
  while (i < bytes.size() && isOrdinary(bytes[i])) ++i;
  return i;
}

// A piece at the front of a text that is not ordinary: its length, and whether it is certainly valid.
struct Piece {
  std::size_t length = 0;
  bool isSound = false;
};

Piece unicodeEscape(std::string_view text) {
  const int unit = JsonEscape::unit(text);
  if (unit < 0) return {.length = 2, .isSound = false};
  if (!JsonEscape::isSurrogate(unit)) return {.length = JsonEscape::length, .isSound = true};
  const bool isPair = JsonEscape::isLeadingSurrogate(unit) &&
                      JsonEscape::isTrailingSurrogate(JsonEscape::unit(text.substr(JsonEscape::length)));
  return {.length = isPair ? 2 * JsonEscape::length : JsonEscape::length, .isSound = isPair};
}

Piece escape(std::string_view text) {
  switch (text.size() < 2 ? '\0' : text[1]) {
    case '"':
    case '\\':
    case '/':
    case 'b':
    case 'f':
    case 'n':
    case 'r':
    case 't':
      return {.length = 2, .isSound = true};
    case 'u':
      return unicodeEscape(text);
    default:
      return {.length = 2, .isSound = false};
  }
}

// The UTF-8 sequence that starts with a byte of 0x80 or more. A byte that cannot start one is a piece of its
// own.
Piece sequence(std::string_view text) {
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  const bool isSound = Text::isValidUtf8(text.substr(0, length));
  return {.length = isSound ? length : 1, .isSound = isSound};
}

// `text` starts with a byte that is neither ordinary nor a quote.
Piece firstPiece(std::string_view text) {
  const char c = text.front();
  if (c == '\\') return escape(text);
  if (static_cast<unsigned char>(c) >= 0x80) return sequence(text);
  return {.length = 1, .isSound = false};
}

}  // namespace

std::size_t JsonSkimmer::add(std::string_view bytes, bool isLast) {
  std::size_t i = 0;
  while (i < bytes.size()) {
    const std::size_t start = i;
    if (!isInText_) {
      i = skimStructure(bytes, i);
    } else {
      i = isKey_ || isWanted_ ? keepText(bytes, i, isLast) : dropText(bytes, i, isLast);
    }
    if (i == start) break;
  }
  return i;
}

std::size_t JsonSkimmer::skimStructure(std::string_view bytes, std::size_t i) {
  const std::size_t start = i;
  while (i < bytes.size()) {
    const char c = bytes[i++];
    if (c == '"') {
      isInText_ = true;
      break;
    }
    if (c == '{' || c == '[') ++depth_;
    if (c == '}' || c == ']') --depth_;
    if (depth_ == 1 && (c == ':' || c == ',')) isValue_ = c == ':';
  }
  out_.append(bytes, start, i - start);
  if (isInText_) beginText();
  return i;
}

void JsonSkimmer::beginText() {
  textStart_ = out_.size();
  isKey_ = depth_ == 1 && !isValue_;
}

void JsonSkimmer::endText() {
  isInText_ = false;
  if (isKey_) {
    const std::string_view key = std::string_view(out_).substr(textStart_);
    // An escape may spell one of the keys.
    isWanted_ = key.find('\\') != std::string_view::npos || std::ranges::find(keys_, key) != keys_.end();
  }
  out_ += '"';
}

std::size_t JsonSkimmer::keepText(std::string_view bytes, std::size_t i, bool isLast) {
  const std::size_t start = i;
  while ((i = skipOrdinary(bytes, i)) < bytes.size() && bytes[i] != '"') {
    // Whatever follows a backslash does not end the string.
    const std::size_t length = bytes[i] == '\\' ? 2 : 1;
    if (i + length > bytes.size()) {
      if (isLast) i = bytes.size();
      break;
    }
    i += length;
  }
  out_.append(bytes, start, i - start);
  if (i == bytes.size() || bytes[i] != '"') return i;
  endText();
  return i + 1;
}

std::size_t JsonSkimmer::dropText(std::string_view bytes, std::size_t i, bool isLast) {
  for (;;) {
    i = skipOrdinary(bytes, i);
    if (i == bytes.size()) return i;
    if (bytes[i] == '"') {
      endText();
      return i + 1;
    }
    const std::string_view rest = bytes.substr(i);
    if (rest.size() <= mostLeftOver && !isLast) return i;
    const Piece piece = firstPiece(rest);
    if (!piece.isSound) {
      // Kept, with a space between it and the piece before.
      out_ += ' ';
      out_.append(rest, 0, piece.length);
    }
    i += std::min(piece.length, rest.size());
  }
}

}  // namespace tavrin
