#pragma once

// Part of TavrinHook, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace tavrin {

/// 64 bytes that are tested together, in vectors of 16 bytes, which every x86-64 and 64-bit ARM processor
/// has. A test returns one bit for each byte. The lowest bit belongs to the first byte.
class ByteBlock {
 public:
  static constexpr std::size_t size = 64;

  using Mask = std::uint64_t;
  using Vector = std::uint8_t __attribute__((vector_size(16)));
  using SignedVector = std::int8_t __attribute__((vector_size(16)));
  /// The result of comparing vectors: a byte has all bits set where the comparison holds, and none elsewhere.
  using Truth = decltype(Vector() == Vector());

  /// The first 64 of the `left` bytes at `bytes`, which must stay there. Missing bytes are zero: fewer than
  /// 64 are copied to `spare`, 64 bytes that are zero.
  ByteBlock(const char* bytes, std::size_t left, char* spare) : bytes_(left < size ? spare : bytes) {
    if (left < size) std::memcpy(spare, bytes, left);
  }

  /// The bytes for which `test` holds. It takes a Vector and returns a Truth.
  template <class Test>
  Mask where(Test test) const {
#if defined(__SSE2__) || defined(__aarch64__)
    return mask(test(vector(0)), test(vector(1)), test(vector(2)), test(vector(3)));
#else
    return whereWithoutInstruction(test);
#endif
  }

  /// Whether `test` holds for any byte. This is cheaper than finding out for which.
  template <class Test>
  bool has(Test test) const {
    Truth any = test(vector(0));
    for (std::size_t i = 1; i < size / vectorSize; ++i) any |= test(vector(i));
    // NOLINTNEXTLINE(modernize-avoid-c-arrays)
    std::uint64_t words[vectorSize / sizeof(std::uint64_t)];
    std::memcpy(words, &any, sizeof words);
    std::uint64_t bits = 0;
    for (const std::uint64_t word : words) bits |= word;
    return bits != 0;
  }

  /// The same as `where`, for processors that lack an instruction for it.
  template <class Test>
  Mask whereWithoutInstruction(Test test) const {
    Mask mask = 0;
    for (std::size_t i = 0; i < size; ++i) {
      if (test(vector(i / vectorSize))[i % vectorSize] != 0) mask |= Mask{1} << i;
    }
    return mask;
  }

 private:
  static constexpr std::size_t vectorSize = sizeof(Vector);

  Vector vector(std::size_t i) const {
    Vector vector;
    std::memcpy(&vector, bytes_ + i * vectorSize, vectorSize);
    return vector;
  }

  // The bits of all vectors in a row.
#if defined(__SSE2__)
  static Mask mask(Truth first, Truth second, Truth third, Truth fourth) {
    const auto bits = [](Truth truth) {
      return static_cast<Mask>(static_cast<std::uint16_t>(_mm_movemask_epi8((__m128i)truth)));
    };
    return bits(first) | bits(second) << 16U | bits(third) << 32U | bits(fourth) << 48U;
  }
#elif defined(__aarch64__)
  static Mask mask(Truth first, Truth second, Truth third, Truth fourth) {
    // Each byte keeps the bit of its position in a group of eight. Adding neighbours three times merges each
    // group into one byte.
    constexpr Vector places = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const auto bits = [&](Truth truth) { return (uint8x16_t)((Vector)truth & places); };
    const uint8x16_t pairs = vpaddq_u8(bits(first), bits(second));
    const uint8x16_t fours = vpaddq_u8(pairs, vpaddq_u8(bits(third), bits(fourth)));
    return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(fours, fours)), 0);
  }
#endif

  const char* bytes_;
};

}  // namespace tavrin
