#include "TavrinHook/JsonText.hpp"

#include <algorithm>
#include <bit>
#include <optional>

#include "TavrinCore/Support/Json/JsonEscape.hpp"
#include "TavrinHook/ByteBlock.hpp"

namespace tavrin::JsonText {

namespace {

using Mask = ByteBlock::Mask;
using Vector = ByteBlock::Vector;
using SignedVector = ByteBlock::SignedVector;

// The bytes that come `distance` bytes before a byte in `what`.
constexpr Mask before(Mask what, unsigned distance = 1) {
  return what >> distance;
}

// The bytes that come `distance` bytes after a byte in `what`, and those of the next block.
constexpr Mask after(Mask what, unsigned distance = 1) {
  return what << distance;
}
constexpr Mask inNextBlock(Mask what, unsigned distance = 1) {
  return what >> (ByteBlock::size - distance);
}

constexpr std::size_t firstOf(Mask mask) {
  return static_cast<std::size_t>(std::countr_zero(mask));
}

// All bytes up to the first of `mask`, which is included.
constexpr Mask upToFirstOf(Mask mask) {
  return mask ^ (mask - 1);
}

Mask places(const ByteBlock& block, std::uint8_t byte) {
  return block.where([byte](Vector bytes) { return bytes == byte; });
}

// The bytes of `backslashes` that start an escape: the first of each run, the third and so on. The others are
// themselves escaped.
constexpr Mask escapeStarts(Mask backslashes) {
  constexpr Mask even = 0x5555'5555'5555'5555;
  const Mask firstOfRuns = backslashes & ~(backslashes << 1U);
  // Adding the first bit of a run carries through the whole run and clears it.
  const Mask inEvenRuns = backslashes & ~(backslashes + (firstOfRuns & even));
  return (inEvenRuns & even) | (backslashes & ~inEvenRuns & ~even);
}

// The length of the \u escape at the front of `text`, or of two \u escapes that form one character. Returns 0
// if it is invalid, cut off, or half of such a pair.
std::size_t codeUnitLength(std::string_view text) {
  const int unit = JsonEscape::unit(text);
  if (unit < 0) return 0;
  if (!JsonEscape::isSurrogate(unit)) return JsonEscape::length;
  const bool isPair = JsonEscape::isLeadingSurrogate(unit) &&
                      JsonEscape::isTrailingSurrogate(JsonEscape::unit(text.substr(JsonEscape::length)));
  return isPair ? 2 * JsonEscape::length : 0;
}

// The length of the escape at the front of `text`. Returns 0 in the same cases.
std::size_t escapeLength(std::string_view text) {
  constexpr std::string_view plain = "\"\\/bfnrt";
  if (text.size() >= 2 && plain.find(text[1]) != std::string_view::npos) return 2;
  return codeUnitLength(text);
}

// The length of the UTF-8 character at the front of `text` (The Unicode Standard, table 3-7). Returns 0 if it
// is malformed or cut off.
std::size_t characterLength(std::string_view text) {
  const auto byte = [text](std::size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : std::uint8_t{0};
  };
  const std::uint8_t lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xc2 || lead > 0xf4) return 0;
  const std::size_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  const std::uint8_t least = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
  const std::uint8_t most = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
  if (byte(1) < least || byte(1) > most) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if (byte(i) < 0x80 || byte(i) > 0xbf) return 0;
  }
  return length;
}

// The length of the character or escape at the front of `text`. Returns 0 at a quote, and at what is invalid
// or cut off.
std::size_t pieceLength(std::string_view text) {
  const char c = text.front();
  if (c == '\\') return escapeLength(text);
  const bool isControl = static_cast<unsigned char>(c) < 0x20;
  return c == '"' || isControl ? 0 : characterLength(text);
}

// What a block passes on: bytes of the next block, in which an escape or a character goes on.
struct Carry {
  Mask escaped = 0;     // the byte after a backslash
  Mask firstDigit = 0;  // the first digit of a code unit
  Mask digits = 0;      // its other digits
  Mask trailing = 0;    // the trailing bytes of a character
};

// The bytes at which escapes are wrong, as far as one code unit alone shows it. Halves of surrogate pairs,
// even of valid ones, are among them. `escaped` are the bytes after a backslash, except those of the common
// escapes.
Mask unsoundEscapes(const ByteBlock& block, Mask escaped, Carry& carry) {
  const Mask units = escaped & places(block, 'u');
  Mask unsound = escaped & ~units;
  if (unsound != 0) {
    unsound &= ~block.where([](Vector bytes) { return (bytes == '/') | (bytes == 'b') | (bytes == 'f'); });
  }
  const Mask hexadecimal =
      block.where([](Vector bytes) { return (bytes - '0' < 10) | ((bytes | 0x20) - 'a' < 6); });
  const Mask d = block.where([](Vector bytes) { return (bytes | 0x20) == 'd'; });
  const Mask firstDigit = after(units) | carry.firstDigit;
  const Mask digits = firstDigit | after(units, 2) | after(units, 3) | after(units, 4) | carry.digits;
  carry.firstDigit = inNextBlock(units);
  carry.digits = inNextBlock(units, 2) | inNextBlock(units, 3) | inNextBlock(units, 4);
  return unsound | (digits & ~hexadecimal) | (firstDigit & d);
}

// The bytes at which characters are malformed. A character that can be checked only with the next block
// counts as malformed. `beyondAscii` are the bytes from 0x80 on.
Mask unsoundCharacters(const ByteBlock& block, Mask beyondAscii, Carry& carry) {
  // As signed numbers, the bytes from 0x80 to 0xbf are the lowest.
  const Mask trailing = block.where([](Vector bytes) { return (SignedVector)bytes < -0x40; });
  const Mask leading = beyondAscii & ~trailing;
  const Mask ofThreeOrMore = block.where([](Vector bytes) { return bytes >= 0xe0; });
  Mask ofFour = 0;
  Mask wrong = 0;
  // Bytes that are always invalid, and bytes that only some trailing bytes may follow.
  const auto isSpecial = [](Vector bytes) {
    return ((bytes & 0xfe) == 0xc0) | (bytes == 0xe0) | (bytes == 0xed) | (bytes >= 0xf0);
  };
  if (block.has(isSpecial)) {
    ofFour = block.where([](Vector bytes) { return bytes >= 0xf0; });
    const Mask below90 = block.where([](Vector bytes) { return (bytes & 0xf0) == 0x80; });
    const Mask belowA0 = block.where([](Vector bytes) { return (bytes & 0xe0) == 0x80; });
    const Mask from90 = trailing & ~below90;
    const Mask fromA0 = trailing & ~belowA0;
    wrong = block.where([](Vector bytes) { return ((bytes & 0xfe) == 0xc0) | (bytes >= 0xf5); }) |
            (places(block, 0xe0) & ~before(fromA0)) | (places(block, 0xed) & ~before(belowA0)) |
            (places(block, 0xf0) & ~before(from90)) | (places(block, 0xf4) & ~before(below90));
  }
  const Mask expected = after(leading) | after(ofThreeOrMore, 2) | after(ofFour, 3) | carry.trailing;
  carry.trailing = inNextBlock(leading) | inNextBlock(ofThreeOrMore, 2) | inNextBlock(ofFour, 3);
  return wrong | (trailing ^ expected);
}

// The number of bytes before the first quote or control character of a block, or its size. Returns nullopt if
// there may be anything invalid before that.
std::optional<std::size_t> soundLengthOfBlock(const ByteBlock& block, Carry& carry) {
  const Mask backslashes = places(block, '\\');
  const Mask quotes = places(block, '"');
  // As signed numbers, the bytes from 0x80 on are below zero.
  const Mask others = block.where([](Vector bytes) { return (SignedVector)bytes < 0x20; });
  const Mask common = block.where([](Vector bytes) {
    return (bytes == 'n') | (bytes == 'r') | (bytes == 't') | (bytes == '"') | (bytes == '\\');
  });
  const Mask starts = escapeStarts(backslashes & ~carry.escaped);
  const Mask escaped = after(starts) | carry.escaped;
  carry.escaped = inNextBlock(starts);
  Mask stops = quotes & ~escaped;
  Mask unsound = 0;
  const Mask rare = escaped & ~common;
  if ((rare | carry.digits) != 0) unsound |= unsoundEscapes(block, rare, carry);
  if ((others | carry.trailing) != 0) {
    const Mask beyondAscii = block.where([](Vector bytes) { return (SignedVector)bytes < 0; });
    stops |= others & ~beyondAscii;
    if ((beyondAscii | carry.trailing) != 0) unsound |= unsoundCharacters(block, beyondAscii, carry);
  }
  // The first stop must not be a byte that an escape or a character needs.
  if ((unsound & upToFirstOf(stops)) != 0) return std::nullopt;
  return firstOf(stops);
}

// The start of the escape or character that goes on at `i`, or `i` if none does.
std::size_t startOfPiece(std::string_view text, std::size_t i, const Carry& carry) {
  if ((carry.escaped | carry.digits) != 0) return text.rfind('\\', i - 1);
  if (carry.trailing == 0) return i;
  do {
    --i;
  } while (static_cast<unsigned char>(text[i]) < 0xc0);
  return i;
}

}  // namespace

std::size_t soundLength(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    // Blocks one after the other, wherever characters begin.
    Carry carry;
    std::optional<std::size_t> length = ByteBlock::size;
    Carry next;
    while (i < text.size()) {
      length = soundLengthOfBlock(ByteBlock::front(text.substr(i)), next);
      if (!length) break;
      i += *length;
      if (*length < ByteBlock::size) return i;
      carry = next;
    }
    // One piece after the other, where a block does not decide.
    i = startOfPiece(text, i, carry);
    const std::size_t end = i + ByteBlock::size;
    while (i < std::min(end, text.size())) {
      const std::size_t piece = pieceLength(text.substr(i));
      if (piece == 0) return i;
      i += piece;
    }
  }
  return i;
}

std::size_t lengthBeforeQuote(std::string_view text) {
  for (std::size_t i = 0;;) {
    const std::string_view rest = text.substr(i);
    const ByteBlock block = ByteBlock::front(rest);
    const Mask starts = escapeStarts(places(block, '\\'));
    if (const Mask ends = places(block, '"') & ~(starts << 1U); ends != 0) return i + firstOf(ends);
    // The next block starts with the escape that this block cuts off.
    const std::size_t length = std::min(rest.size(), ByteBlock::size);
    if (length == 0) return i;
    const bool isCutOff = (starts >> (length - 1) & 1U) != 0;
    i += length - (isCutOff ? 1 : 0);
    if (rest.size() < ByteBlock::size) return i;
  }
}

}  // namespace tavrin::JsonText
