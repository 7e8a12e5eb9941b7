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

// A character of UTF-8 is no longer.
constexpr std::size_t longestCharacter = 4;

// Of all bytes, those before a byte for which `what` holds, so many bytes further on.
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

// Of `backslashes`, those that start an escape: the first of each run, the third and so on. The others are
// escaped themselves.
constexpr Mask escapeStarts(Mask backslashes) {
  constexpr Mask even = 0x5555'5555'5555'5555;
  const Mask firstOfRuns = backslashes & ~(backslashes << 1U);
  // Adding its first bit to a run carries through the whole run and clears it.
  const Mask inEvenRuns = backslashes & ~(backslashes + (firstOfRuns & even));
  return (inEvenRuns & even) | (backslashes & ~inEvenRuns & ~even);
}

// The length of the \u escape that `text` starts with, or of two that spell one character together; 0 if it
// is wrong, cut off, or half of such a pair.
std::size_t codeUnitLength(std::string_view text) {
  const int unit = JsonEscape::unit(text);
  if (unit < 0) return 0;
  if (!JsonEscape::isSurrogate(unit)) return JsonEscape::length;
  const bool isPair = JsonEscape::isLeadingSurrogate(unit) &&
                      JsonEscape::isTrailingSurrogate(JsonEscape::unit(text.substr(JsonEscape::length)));
  return isPair ? 2 * JsonEscape::length : 0;
}

// The length of the escape that `text` starts with; 0 as above.
std::size_t escapeLength(std::string_view text) {
  constexpr std::string_view plain = "\"\\/bfnrt";
  if (text.size() >= 2 && plain.find(text[1]) != std::string_view::npos) return 2;
  return codeUnitLength(text);
}

// Where \u and four digits come after a backslash. Those that start with D are left out, as surrogates do.
Mask codeUnits(const ByteBlock& block) {
  const Mask digits =
      block.where([](Vector bytes) { return (bytes - '0' < 10) | ((bytes | 0x20) - 'a' < 6); });
  const Mask two = digits & before(digits);
  const Mask d = block.where([](Vector bytes) { return (bytes | 0x20) == 'd'; });
  return before(places(block, 'u')) & before(two & ~d, 2) & before(two, 4);
}

// The first bytes of characters that are not well-formed or not whole, and bytes that belong to none (The
// Unicode Standard, table 3-7). `beyondAscii` are the bytes from 0x80 on.
Mask unsoundCharacters(const ByteBlock& block, Mask beyondAscii) {
  // With a sign, the bytes from 0x80 to 0xbf are the lowest.
  const Mask trailing = block.where([](Vector bytes) { return (SignedVector)bytes < -0x40; });
  const Mask leading = beyondAscii & ~trailing;
  const Mask ofThreeOrMore = block.where([](Vector bytes) { return bytes >= 0xe0; });
  Mask ofFour = 0;
  Mask wrong = 0;
  // Bytes that are never right, and those that not every trailing byte may follow.
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

// The sound bytes at the front of `text`, as far as one block shows them. An escape at its end may be longer
// than the block; a character that the block cuts off is left out.
std::size_t soundLengthOfBlock(std::string_view text) {
  const ByteBlock block = ByteBlock::front(text);
  const Mask backslashes = places(block, '\\');
  const Mask quotes = places(block, '"');
  // With a sign, the bytes from 0x80 on are below zero.
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
  // The most usual escapes are seen at a glance, and the others one by one.
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
    // Nearer to its end, a block may have cut off a character, which is whole in the next one.
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
    // An escape that the block cuts off is the beginning of the next one.
    const std::size_t length = std::min(rest.size(), ByteBlock::size);
    if (length == 0) return i;
    const bool isCutOff = (starts >> (length - 1) & 1U) != 0;
    i += length - (isCutOff ? 1 : 0);
    if (rest.size() < ByteBlock::size) return i;
  }
}

}  // namespace tavrin::JsonText
