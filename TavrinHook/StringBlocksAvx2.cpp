#include "TavrinHook/StringBlocksAvx2.hpp"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "TavrinHook/StringBlocks.hpp"

namespace tavrin {

namespace {

using Vector = std::uint8_t __attribute__((vector_size(32)));
using SignedVector = std::int8_t __attribute__((vector_size(32)));

// A value for each hexadecimal digit: twice, because each half of a vector is looked up on its own.
struct Table {
  constexpr void add(unsigned digit, std::uint8_t bit) {
    values[digit] |= bit;
    values[digit + 16] |= bit;
  }

  // The value for the low digit of each byte. For bytes from 0x80 on it is 0.
  Vector at(Vector bytes) const {
    const __m256i table = _mm256_load_si256(reinterpret_cast<const __m256i*>(values));
    return (Vector)_mm256_shuffle_epi8(table, (__m256i)bytes);
  }

  alignas(sizeof(Vector)) std::uint8_t values[sizeof(Vector)] = {};  // NOLINT(modernize-avoid-c-arrays)
};

Vector highDigits(Vector bytes) {
  return bytes >> 4;
}

// What each ASCII character is: the bits that both its digits have.
struct Kinds {
  static constexpr std::uint8_t quote = 0x80;
  static constexpr std::uint8_t surrogateDigit = 0x40;
  static constexpr std::uint8_t hexadecimal = 0x30;
  static constexpr std::uint8_t escape = 0x0f;

  // No other character may have one digit in common with one of `characters` and the other with another.
  constexpr void add(std::uint8_t bit, const char* characters) {
    for (; *characters != 0; ++characters) {
      const auto character = static_cast<unsigned char>(*characters);
      low.add(character % 16, bit);
      high.add(character / 16, bit);
    }
  }

  Table low;
  Table high;
};

constexpr Kinds kinds = [] {
  Kinds all;
  all.add(Kinds::quote, "\"");
  all.add(Kinds::surrogateDigit, "Dd");
  all.add(0x20, "0123456789");
  all.add(0x10, "ABCDEFabcdef");
  all.add(0x08, "\"/");
  all.add(0x04, "\\");
  all.add(0x02, "bfn");
  all.add(0x01, "rt");
  return all;
}();

// Which two bytes must not follow each other (The Unicode Standard, table 3-7). That depends on both digits
// of the first and the high digit of the second. Each bit is a reason. The two must not if all three have it.
struct WrongPairs {
  struct Digits {
    unsigned first;
    unsigned last;
  };

  // Bytes may be trailing ones if they follow each other. They even must where a character takes three bytes
  // or more.
  static constexpr std::uint8_t bothTrailing = 0x80;

  constexpr void add(std::uint8_t bit, Digits high, Digits low, Digits nextHigh) {
    for (unsigned digit = high.first; digit <= high.last; ++digit) firstHigh.add(digit, bit);
    for (unsigned digit = low.first; digit <= low.last; ++digit) firstLow.add(digit, bit);
    for (unsigned digit = nextHigh.first; digit <= nextHigh.last; ++digit) secondHigh.add(digit, bit);
  }

  Table firstHigh;
  Table firstLow;
  Table secondHigh;
};

constexpr WrongPairs wrongPairs = [] {
  WrongPairs all;
  all.add(WrongPairs::bothTrailing, {0x8, 0xb}, {0x0, 0xf}, {0x8, 0xb});
  all.add(0x40, {0xc, 0xf}, {0x0, 0xf}, {0x0, 0x7});  // an ASCII character inside another one
  all.add(0x40, {0xc, 0xf}, {0x0, 0xf}, {0xc, 0xf});  // the start of a character inside another one
  all.add(0x20, {0x0, 0x7}, {0x0, 0xf}, {0x8, 0xb});  // a trailing byte after an ASCII character
  all.add(0x10, {0xc, 0xc}, {0x0, 0x1}, {0x8, 0xb});  // longer than needed: two bytes,
  all.add(0x08, {0xe, 0xe}, {0x0, 0x0}, {0x8, 0x9});  // three,
  all.add(0x04, {0xf, 0xf}, {0x0, 0x0}, {0x8, 0x8});  // and four
  all.add(0x02, {0xe, 0xe}, {0xd, 0xd}, {0xa, 0xb});  // half of a surrogate pair
  all.add(0x04, {0xf, 0xf}, {0x5, 0xf}, {0x8, 0x8});  // beyond the last character
  all.add(0x01, {0xf, 0xf}, {0x4, 0xf}, {0x9, 0xb});
  return all;
}();

// 64 bytes of a JSON string. Tables say what a byte is. ComparedBlock describes the functions.
class LookedUpBlock {
 public:
  static constexpr std::size_t size = 64;

  static constexpr bool areChecksCheap = true;

  using Mask = std::uint64_t;

  LookedUpBlock(const char* bytes, std::size_t left, char* spare) {
    if (left < size) std::memcpy(spare, bytes, left);
    const char* const start = left < size ? spare : bytes;
    std::memcpy(&first_, start, sizeof first_);
    std::memcpy(&second_, start + sizeof first_, sizeof second_);
    firstKinds_ = kindsOf(first_);
    secondKinds_ = kindsOf(second_);
  }

  Mask backslashes() const { return places('\\'); }
  Mask quotes() const { return topBits(firstKinds_, secondKinds_); }
  Mask belowSpace() const {
    return topBits((Vector)((SignedVector)first_ < 0x20), (Vector)((SignedVector)second_ < 0x20));
  }
  Mask beyondAscii() const { return topBits(first_, second_); }

  Mask commonEscapes() const { return ofKind(Kinds::escape); }
  Mask rareEscapes() const { return 0; }

  Mask unitLetters() const { return places('u'); }
  Mask hexadecimal() const { return ofKind(Kinds::hexadecimal); }
  Mask surrogateDigits() const {
    static_assert(Kinds::surrogateDigit << 1U == 0x80);
    return topBits(firstKinds_ << 1, secondKinds_ << 1);
  }

  class Characters {
   public:
    // Also other than zero if a character beyond ASCII ends just before the next block.
    Mask unfinished() const { return beyondAscii_ >> (size - 1); }

    // All bytes if any character is malformed, and otherwise none. A character that goes on in the block
    // after is checked with that one.
    [[gnu::always_inline]] Mask unsound(const LookedUpBlock& block, Mask beyondAscii) {
      const Vector wrong = wrongBytes(block.first_, last_) | wrongBytes(block.second_, block.first_);
      last_ = block.second_;
      beyondAscii_ = beyondAscii;
      return _mm256_testz_si256((__m256i)wrong, (__m256i)wrong) != 0 ? 0 : ~Mask{0};
    }

   private:
    // `bytes`, moved up by `distance` bytes. The last ones of `before` move in.
    template <int distance>
    static Vector movedUp(Vector bytes, Vector before) {
      const __m256i middle = _mm256_permute2x128_si256((__m256i)before, (__m256i)bytes, 0x21);
      return (Vector)_mm256_alignr_epi8((__m256i)bytes, middle, 16 - distance);
    }

    // `bytes` less `least`, or 0.
    static Vector above(Vector bytes, std::uint8_t least) {
      return (Vector)_mm256_subs_epu8((__m256i)bytes, _mm256_set1_epi8(static_cast<char>(least)));
    }

    // Other than zero for each of `bytes` that must not follow the bytes in front of it.
    static Vector wrongBytes(Vector bytes, Vector before) {
      const Vector previous = movedUp<1>(bytes, before);
      const Vector reasons = wrongPairs.firstHigh.at(highDigits(previous)) &
                             wrongPairs.firstLow.at(previous & 0x0f) &
                             wrongPairs.secondHigh.at(highDigits(bytes));
      // The highest bit remains of bytes from 0xe0 on two bytes before, and from 0xf0 on three bytes before.
      const Vector isLaterTrailing =
          above(movedUp<2>(bytes, before), 0xe0 - 0x80) | above(movedUp<3>(bytes, before), 0xf0 - 0x80);
      return reasons ^ (isLaterTrailing & WrongPairs::bothTrailing);
    }

    // The end of the last block that was checked, and which of its bytes are beyond ASCII. Blocks after it
    // are left out only if it ended with ASCII. They hold nothing but ASCII, so it does not matter that they
    // are not known here.
    Vector last_ = {};
    Mask beyondAscii_ = 0;
  };

 private:
  static Vector kindsOf(Vector bytes) { return kinds.low.at(bytes) & kinds.high.at(highDigits(bytes)); }

  static Mask topBits(Vector first, Vector second) {
    const auto bits = [](Vector bytes) {
      return static_cast<Mask>(static_cast<std::uint32_t>(_mm256_movemask_epi8((__m256i)bytes)));
    };
    return bits(first) | bits(second) << 32U;
  }

  Mask places(std::uint8_t byte) const {
    return topBits((Vector)(first_ == byte), (Vector)(second_ == byte));
  }

  // The bytes that have any of `bits`.
  Mask ofKind(std::uint8_t bits) const {
    return ~topBits((Vector)((firstKinds_ & bits) == 0), (Vector)((secondKinds_ & bits) == 0));
  }

  Vector first_;
  Vector second_;
  Vector firstKinds_;
  Vector secondKinds_;
};

}  // namespace

SoundPart StringBlocksAvx2::soundPart(const char* text, std::size_t size) {
  return StringBlocks<LookedUpBlock>::soundPart(text, size);
}

}  // namespace tavrin
