#pragma once

// Part of TavrinHook, which is not installed. Needs nothing but the standard library, and calls no inline
// function of it. StringBlocksAvx2.cpp is compiled for processors that have more instructions than others. An
// inline function that is compiled there could become the one that the whole program uses. So every
// function here belongs to a template by the kind of block.

#include <cstddef>
#include <cstdint>

namespace tavrin {

/// How far a text is certainly valid content of a JSON string, as JsonText::soundLength defines it.
struct SoundPart {
  std::size_t length;
  bool isDecided;  ///< whether the content certainly ends there
};

/// Examines the content of JSON strings, one block of 64 bytes after the other. `Block` finds out which bytes
/// are what, and returns one bit for each byte. ComparedBlock describes what it must have.
template <class Block>
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
      const Mask starts = escapeStarts(block.backslashes());
      const Mask ends = block.quotes() & ~after(starts);
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
  using Mask = std::uint64_t;

  static constexpr std::size_t undecided = static_cast<std::size_t>(-1);

  // What a block passes on: the bytes of the next block in which an escape goes on, and its last characters.
  struct Carry {
    Mask escaped = 0;     // the byte after a backslash
    Mask firstDigit = 0;  // the first digit of a code unit
    Mask digits = 0;      // its other digits
    typename Block::Characters characters;
  };

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

  // The bytes of `backslashes` that start an escape: the first of each run, the third and so on. The others
  // are themselves escaped.
  static constexpr Mask escapeStarts(Mask backslashes) {
    constexpr Mask even = 0x5555'5555'5555'5555;
    const Mask evenFirstOfRuns = backslashes & ~(backslashes << 1U) & even;
    // Adding the first bit of a run carries through the whole run and clears it. In the sum, only runs that
    // start at an odd byte are left. So the exclusive or keeps the odd bytes of these, and the even bytes of
    // the runs that were cleared.
    return backslashes & ((backslashes + evenFirstOfRuns) ^ even);
  }

  // The bytes at which escapes are wrong, as far as one code unit alone shows it. Halves of surrogate pairs,
  // even of valid ones, are among them. `escaped` are the bytes after a backslash, except those of the common
  // escapes.
  [[gnu::always_inline]] static Mask unsoundEscapes(const Block& block, Mask escaped, Carry& carry) {
    const Mask units = escaped & block.unitLetters();
    Mask unsound = escaped & ~units;
    if (unsound != 0) unsound &= ~block.rareEscapes();
    const Mask firstDigit = after(units) | carry.firstDigit;
    const Mask digits = firstDigit | after(units, 2) | after(units, 3) | after(units, 4) | carry.digits;
    carry.firstDigit = inNextBlock(units);
    carry.digits = inNextBlock(units, 2) | inNextBlock(units, 3) | inNextBlock(units, 4);
    return unsound | (digits & ~block.hexadecimal()) | (firstDigit & block.surrogateDigits());
  }

  // The number of bytes before the first quote or control character of a block, or its size. Returns
  // `undecided` if there may be anything invalid before that.
  [[gnu::always_inline]] static std::size_t soundLengthOfBlock(const Block& block, Carry& carry) {
    const Mask backslashes = block.backslashes();
    const Mask beyondAscii = block.beyondAscii();
    const Mask starts = escapeStarts(backslashes & ~carry.escaped);
    const Mask escaped = after(starts) | carry.escaped;
    carry.escaped = inNextBlock(starts);
    const Mask stops = (block.quotes() & ~escaped) | (block.belowSpace() & ~beyondAscii);
    const Mask rare = escaped & ~(block.commonEscapes() | backslashes);
    Mask escapes = rare | carry.digits;
    Mask characters = beyondAscii | carry.characters.unfinished();
    // Text that has many of both has them in no order that a processor could foresee. Guessing wrong takes
    // longer than a cheap check that was not needed.
    if constexpr (Block::areChecksCheap) escapes = characters = escapes | characters;
    Mask unsound = 0;
    if (escapes != 0) unsound |= unsoundEscapes(block, rare, carry);
    if (characters != 0) unsound |= carry.characters.unsound(block, beyondAscii);
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
    } else if (carry.characters.unfinished() != 0) {
      do {
        --i;
      } while (static_cast<unsigned char>(text[i]) < 0xc0);
    }
    return i;
  }
};

}  // namespace tavrin
