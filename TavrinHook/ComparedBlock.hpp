#pragma once

// Part of TavrinHook, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>

#include "TavrinHook/ByteBlock.hpp"

namespace tavrin {

/// 64 bytes of a JSON string, for StringBlocks. Comparisons find out what a byte is. Every processor can do
/// that.
class ComparedBlock {
 public:
  static constexpr std::size_t size = ByteBlock::size;

  /// Whether unsound escapes and characters are looked for together. Otherwise each is looked for where
  /// needed.
  static constexpr bool areChecksCheap = false;

  using Mask = ByteBlock::Mask;

  /// The first 64 of the `left` bytes at `bytes`, as ByteBlock takes them.
  ComparedBlock(const char* bytes, std::size_t left, char* spare) : block_(bytes, left, spare) {}

  Mask backslashes() const { return places('\\'); }
  Mask quotes() const { return places('"'); }
  /// The bytes below 0x20. Some beyond ASCII may be among them.
  Mask belowSpace() const {
    return block_.where([](Vector bytes) { return (SignedVector)bytes < 0x20; });
  }
  /// The bytes from 0x80 on. As signed numbers, they are below zero.
  Mask beyondAscii() const {
    return block_.where([](Vector bytes) { return (SignedVector)bytes < 0; });
  }

  /// What may come after a backslash: the bytes that often do, and those that rarely do. The backslash itself
  /// may be missing from both. Either function may also return bytes of the other.
  Mask commonEscapes() const {
    return block_.where(
        [](Vector bytes) { return (bytes == '"') | (bytes == 'n') | (bytes == 'r') | (bytes == 't'); });
  }
  Mask rareEscapes() const {
    return block_.where([](Vector bytes) { return (bytes == '/') | (bytes == 'b') | (bytes == 'f'); });
  }

  /// The letter between a backslash and the digits of a code unit.
  Mask unitLetters() const { return places('u'); }
  Mask hexadecimal() const {
    return block_.where([](Vector bytes) { return (bytes - '0' < 10) | ((bytes | 0x20) - 'a' < 6); });
  }
  /// The first digits of halves of surrogate pairs, and of some other code units.
  Mask surrogateDigits() const {
    return block_.where([](Vector bytes) { return (bytes | 0x20) == 'd'; });
  }

  /// Follows the characters from one block to the next.
  class Characters {
   public:
    /// Other than zero if the next block starts inside a character.
    Mask unfinished() const { return trailing_; }

    /// The bytes at which characters are malformed, in the next block. A character that can be checked only
    /// with the block after that counts as malformed. `beyondAscii` are the bytes from 0x80 on. A block
    /// without any may be left out, unless the one before ended inside a character.
    [[gnu::always_inline]] Mask unsound(const ComparedBlock& block, Mask beyondAscii) {
      const ByteBlock& vectors = block.block_;
      // As signed numbers, the bytes from 0x80 to 0xbf are the lowest.
      const Mask trailing = vectors.where([](Vector bytes) { return (SignedVector)bytes < -0x40; });
      const Mask leading = beyondAscii & ~trailing;
      const Mask ofThreeOrMore =
          beyondAscii & vectors.where([](Vector bytes) { return (SignedVector)bytes >= -0x20; });
      Mask ofFour = 0;
      Mask wrong = 0;
      // Bytes that are always invalid, and bytes that only some trailing bytes may follow.
      const auto isSpecial = [](Vector bytes) {
        return ((bytes & 0xfe) == 0xc0) | (bytes == 0xe0) | (bytes == 0xed) | (bytes >= 0xf0);
      };
      if (vectors.has(isSpecial)) {
        ofFour = vectors.where([](Vector bytes) { return bytes >= 0xf0; });
        const Mask below90 = vectors.where([](Vector bytes) { return (bytes & 0xf0) == 0x80; });
        const Mask belowA0 = vectors.where([](Vector bytes) { return (bytes & 0xe0) == 0x80; });
        const Mask from90 = trailing & ~below90;
        const Mask fromA0 = trailing & ~belowA0;
        wrong = vectors.where([](Vector bytes) { return ((bytes & 0xfe) == 0xc0) | (bytes >= 0xf5); }) |
                (block.places(0xe0) & ~(fromA0 >> 1U)) | (block.places(0xed) & ~(belowA0 >> 1U)) |
                (block.places(0xf0) & ~(from90 >> 1U)) | (block.places(0xf4) & ~(below90 >> 1U));
      }
      const Mask expected = leading << 1U | ofThreeOrMore << 2U | ofFour << 3U | trailing_;
      trailing_ = leading >> (size - 1) | ofThreeOrMore >> (size - 2) | ofFour >> (size - 3);
      return wrong | (trailing ^ expected);
    }

   private:
    Mask trailing_ = 0;  // the bytes of the next block in which a character goes on
  };

 private:
  using Vector = ByteBlock::Vector;
  using SignedVector = ByteBlock::SignedVector;

  Mask places(std::uint8_t byte) const {
    return block_.where([byte](Vector bytes) { return bytes == byte; });
  }

  ByteBlock block_;
};

}  // namespace tavrin
