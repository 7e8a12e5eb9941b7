#include "TavrinHook/JsonText.hpp"

#include <algorithm>
#include <bit>

#include "TavrinCore/Support/Json/JsonEscape.hpp"
#include "TavrinHook/ByteBlock.hpp"

namespace tavrin::JsonText {

namespace {

using Mask = ByteBlock::Mask;
using Vector = ByteBlock::Vector;
using SignedVector = ByteBlock::SignedVector;

// The most bytes of a UTF-8 character.
constexpr std::size_t longestCharacter = 4;

// The bytes that come `distance` bytes before a byte in `what`.
constexpr Mask before(Mask what, unsigned distance = 1) {
  return what >> distance;
}

constexpr std::size_t firstOf(Mask mask) {
  return static_cast<std::size_t>(std::countr_zero(mask));
}

// All bytes below the first of `mask`.
constexpr Mask below(Mask mask) {
  return (mask & -mask) - 1;
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

// The bytes before a "u" and four hexadecimal digits. Digits that start with D are left out, because they may
// be a surrogate's.
Mask codeUnits(const ByteBlock& block) {
  const Mask digits =
      block.where([](Vector bytes) { return (bytes - '0' < 10) | ((bytes | 0x20) - 'a' < 6); });
  const Mask two = digits & before(digits);
  const Mask d = block.where([](Vector bytes) { return (bytes | 0x20) == 'd'; });
  return before(places(block, 'u')) & before(two & ~d, 2) & before(two, 4);
}

// The first bytes of characters that are malformed or cut off, and bytes that belong to no character (The
// Unicode Standard, table 3-7). `beyondAscii` are the bytes from 0x80 on.
Mask unsoundCharacters(const ByteBlock& block, Mask beyondAscii) {
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
    wrong = block.where([](Vector bytes) { return ((bytes & 0xfe) == 0xc0) | (bytes >= 0xf5); }) |
            (places(block, 0xe0) & before(belowA0)) | (places(block, 0xed) & ~before(belowA0)) |
            (places(block, 0xf0) & before(below90)) | (places(block, 0xf4) & ~before(below90));
  }
  const Mask isCutOff = (leading & ~before(trailing)) | (ofThreeOrMore & ~before(trailing, 2)) |
                        (ofFour & ~before(trailing, 3));
  const Mask expected = leading << 1U | ofThreeOrMore << 2U | ofFour << 3U;
  return wrong | isCutOff | (trailing & ~expected);
}

// The number of valid bytes at the front of `text` that one block can show. An escape at the end may extend
// beyond the block. A character that the block cuts off is left out.
std::size_t soundLengthOfBlock(std::string_view text) {
  const ByteBlock block = ByteBlock::front(text);
  const Mask backslashes = places(block, '\\');
  const Mask quotes = places(block, '"');
  // As signed numbers, the bytes from 0x80 on are below zero.
  const Mask others = block.where([](Vector bytes) { return (SignedVector)bytes < 0x20; });
  if ((backslashes | quotes | others) == 0) return ByteBlock::size;
  const Mask starts = escapeStarts(backslashes);
  Mask stops = quotes & ~(starts << 1U);
  if (others != 0) {
    const Mask beyondAscii = block.where([](Vector bytes) { return bytes >= 0x80; });
    stops |= others & ~beyondAscii;
    if (beyondAscii != 0) stops |= unsoundCharacters(block, beyondAscii);
  }
  if (starts == 0) return firstOf(stops);
  // The most common escapes are found in all bytes at once, and the others one by one.
  const Mask usual =
      block.where([](Vector bytes) { return (bytes == 'n') | (bytes == 'r') | (bytes == 't'); });
  Mask rest = starts & ~before(usual | quotes | backslashes) & below(stops);
  if (rest != 0) rest &= ~codeUnits(block);
  while (rest != 0) {
    const std::size_t start = firstOf(rest);
    const std::size_t length = escapeLength(text.substr(start));
    if (length == 0) return start;
    const std::size_t end = start + length;
    if (end >= ByteBlock::size) return end;
    rest &= ~Mask{0} << end;
  }
  return firstOf(stops);
}

}  // namespace

std::size_t soundLength(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t length = soundLengthOfBlock(text.substr(i));
    i += length;
    // A stop nearer to the block's end may be a character that the block cuts off. The next block has it
    // whole.
    if (length <= ByteBlock::size - longestCharacter) break;
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
