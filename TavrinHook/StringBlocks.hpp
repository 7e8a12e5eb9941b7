#pragma once

// Part of TavrinHook, which is not installed. Needs nothing but the standard library, and calls no inline
// function of it. StringBlocksAvx2.cpp is compiled for processors that have more instructions than others. An
// inline function that is compiled there could become the one that the whole program uses. So every
// function here belongs to a template by the vectors' size.

#include <cstddef>

#include "TavrinHook/ByteBlock.hpp"

namespace tavrin {

/// How far a text is certainly valid content of a JSON string, as JsonText::soundLength defines it.
struct SoundPart {
  std::size_t length;
  bool isDecided;  ///< whether the content certainly ends there
};

/// Examines the content of JSON strings, one block after the other, in vectors of `vectorSize` bytes.
template <std::size_t vectorSize>
class StringBlocks {
 public:
  /// The part at the front of the `size` bytes at `text`. If it is not decided, a character or an escape
  /// starts at its end that must be looked at alone.
  static SoundPart soundPart(const char* text, std::size_t size) {
    char spare[Block::size] = {};  // NOLINT(modernize-avoid-c-arrays): see above
    std::size_t i = 0;
    Carry carry;
    while (i < size) {
      Carry next = carry;
      const std::size_t length = soundLengthOfBlock(Block(text + i, size - i, spare), next);
      if (length == undecided) break;
      if (length < Block::size) return {i + length, true};
      i += Block::size;
      carry = next;
    }
    return {startOfPiece(text, i, carry), false};
  }

  /// The number of bytes before the quote that ends the string, as JsonText::lengthBeforeQuote defines it.
  static std::size_t lengthBeforeQuote(const char* text, std::size_t size) {
    char spare[Block::size] = {};  // NOLINT(modernize-avoid-c-arrays): see above
    std::size_t i = 0;
    while (i < size) {
      const Block block(text + i, size - i, spare);
      const Mask starts = escapeStarts(places(block, '\\'));
      const Mask ends = places(block, '"') & ~after(starts);
      if (ends != 0) return i + firstOf(ends);
      // The next block starts with the escape that this block cuts off.
      const std::size_t left = size - i;
      const std::size_t length = left < Block::size ? left : Block::size;
      const bool isCutOff = (starts >> (length - 1) & 1U) != 0;
      i += length - (isCutOff ? 1 : 0);
      if (left < Block::size) break;
    }
    return i;
  }

 private:
  using Block = ByteBlock<vectorSize>;
  using Mask = typename Block::Mask;
  using Vector = typename Block::Vector;
  using SignedVector = typename Block::SignedVector;

  static constexpr std::size_t undecided = static_cast<std::size_t>(-1);

  // What a block passes on: bytes of the next block, in which an escape or a character goes on.
  struct Carry {
    Mask escaped = 0;     // the byte after a backslash
    Mask firstDigit = 0;  // the first digit of a code unit
    Mask digits = 0;      // its other digits
    Mask trailing = 0;    // the trailing bytes of a character
  };

  // The bytes that come `distance` bytes before a byte in `what`.
  static constexpr Mask before(Mask what, unsigned distance = 1) { return what >> distance; }

  // The bytes that come `distance` bytes after a byte in `what`, and those of the next block.
  static constexpr Mask after(Mask what, unsigned distance = 1) { return what << distance; }
  static constexpr Mask inNextBlock(Mask what, unsigned distance = 1) {
    return what >> (Block::size - distance);
  }

  static std::size_t firstOf(Mask mask) {
    return mask == 0 ? Block::size : static_cast<std::size_t>(__builtin_ctzll(mask));
  }

  // All bytes up to the first of `mask`, which is included.
  static constexpr Mask upToFirstOf(Mask mask) { return mask ^ (mask - 1); }

  static Mask places(const Block& block, std::uint8_t byte) {
    return block.where([byte](Vector bytes) { return bytes == byte; });
  }

  // The bytes of `backslashes` that start an escape: the first of each run, the third and so on. The others
  // are themselves escaped.
  static constexpr Mask escapeStarts(Mask backslashes) {
    constexpr Mask even = 0x5555'5555'5555'5555;
    const Mask firstOfRuns = backslashes & ~(backslashes << 1U);
    // Adding the first bit of a run carries through the whole run and clears it.
    const Mask inEvenRuns = backslashes & ~(backslashes + (firstOfRuns & even));
    return (inEvenRuns & even) | (backslashes & ~inEvenRuns & ~even);
  }

  // The bytes at which escapes are wrong, as far as one code unit alone shows it. Halves of surrogate pairs,
  // even of valid ones, are among them. `escaped` are the bytes after a backslash, except those of the common
  // escapes.
  [[gnu::always_inline]] static Mask unsoundEscapes(const Block& block, Mask escaped, Carry& carry) {
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
  [[gnu::always_inline]] static Mask unsoundCharacters(const Block& block, Mask beyondAscii, Carry& carry) {
    // As signed numbers, the bytes from 0x80 to 0xbf are the lowest.
    const Mask trailing = block.where([](Vector bytes) { return (SignedVector)bytes < -0x40; });
    const Mask leading = beyondAscii & ~trailing;
    const Mask ofThreeOrMore =
        beyondAscii & block.where([](Vector bytes) { return (SignedVector)bytes >= -0x20; });
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

  // The number of bytes before the first quote or control character of a block, or its size. Returns
  // `undecided` if there may be anything invalid before that.
  [[gnu::always_inline]] static std::size_t soundLengthOfBlock(const Block& block, Carry& carry) {
    const Mask backslashes = places(block, '\\');
    const Mask quotes = places(block, '"');
    // As signed numbers, the bytes from 0x80 on are below zero.
    const Mask beyondAscii = block.where([](Vector bytes) { return (SignedVector)bytes < 0; });
    const Mask controls = block.where([](Vector bytes) { return (SignedVector)bytes < 0x20; }) & ~beyondAscii;
    const Mask common = backslashes | quotes | block.where([](Vector bytes) {
      return (bytes == 'n') | (bytes == 'r') | (bytes == 't');
    });
    const Mask starts = escapeStarts(backslashes & ~carry.escaped);
    const Mask escaped = after(starts) | carry.escaped;
    carry.escaped = inNextBlock(starts);
    const Mask stops = (quotes & ~escaped) | controls;
    const Mask rare = escaped & ~common;
    Mask unsound = 0;
    if ((rare | carry.digits) != 0) unsound |= unsoundEscapes(block, rare, carry);
    if ((beyondAscii | carry.trailing) != 0) unsound |= unsoundCharacters(block, beyondAscii, carry);
    // The first stop must not be a byte that an escape or a character needs.
    if ((unsound & upToFirstOf(stops)) != 0) return undecided;
    return firstOf(stops);
  }

  // The start of the escape or character that goes on at `i`, or `i` if none does.
  static std::size_t startOfPiece(const char* text, std::size_t i, const Carry& carry) {
    if ((carry.escaped | carry.digits) != 0) {
      do {
        --i;
      } while (text[i] != '\\');
    } else if (carry.trailing != 0) {
      do {
        --i;
      } while (static_cast<unsigned char>(text[i]) < 0xc0);
    }
    return i;
  }
};

}  // namespace tavrin
