#pragma once

// Part of TavrinHook, which is not installed. Needs nothing but the standard library.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace tavrin {

/// 64 bytes that are tested together, in the 16-byte registers that every x86-64 and 64-bit ARM processor
/// has. A test returns one bit for each byte. The lowest bit belongs to the first byte.
class ByteBlock {
 public:
  static constexpr std::size_t size = 64;

  using Mask = std::uint64_t;
  using Vector = std::uint8_t __attribute__((vector_size(16)));
  using SignedVector = std::int8_t __attribute__((vector_size(16)));
  /// The result of comparing vectors: a byte has all bits set where the comparison holds, and none elsewhere.
  using Truth = decltype(Vector() == Vector());

  /// The first 64 bytes of `text`. Missing bytes are zero.
  static ByteBlock front(std::string_view text) {
    if (text.size() >= size) return ByteBlock(text.data());
    std::array<char, size> padded{};
    std::memcpy(padded.data(), text.data(), text.size());
    return ByteBlock(padded.data());
  }

  /// The bytes for which `test` holds. It takes a Vector and returns a Truth.
  template <class Test>
  Mask where(Test test) const {
    return mask(test(first_), test(second_), test(third_), test(fourth_));
  }

  /// Whether `test` holds for any byte. This is cheaper than finding out for which.
  template <class Test>
  bool has(Test test) const {
    using Words = std::uint64_t __attribute__((vector_size(16)));
    const auto any = (Words)(test(first_) | test(second_) | test(third_) | test(fourth_));
    return (any[0] | any[1]) != 0;
  }

  /// The same as `where`, for processors that lack an instruction for it.
  template <class Test>
  Mask whereWithoutInstruction(Test test) const {
    return plainMask(test(first_), test(second_), test(third_), test(fourth_));
  }

 private:
  // The bits of four vectors in a row.
  static Mask mask(Truth first, Truth second, Truth third, Truth fourth) {
#if defined(__SSE2__)
    const auto bits = [](Truth truth) {
      return static_cast<Mask>(static_cast<std::uint16_t>(_mm_movemask_epi8((__m128i)truth)));
    };
    return bits(first) | bits(second) << 16U | bits(third) << 32U | bits(fourth) << 48U;
#elif defined(__aarch64__)
    // Each byte keeps the bit of its position in a group of eight. Adding neighbours three times merges each
    // group into one byte.
    constexpr Vector places = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const auto bits = [&](Truth truth) { return (uint8x16_t)((Vector)truth & places); };
    const uint8x16_t pairs = vpaddq_u8(bits(first), bits(second));
    const uint8x16_t fours = vpaddq_u8(pairs, vpaddq_u8(bits(third), bits(fourth)));
    return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(fours, fours)), 0);
#else
    return plainMask(first, second, third, fourth);
#endif
  }

  static Mask plainMask(Truth first, Truth second, Truth third, Truth fourth) {
    Mask mask = 0;
    for (unsigned i = 0; i < sizeof(Truth); ++i) {
      const auto bit = [i](Truth truth) { return truth[i] != 0 ? Mask{1} << i : 0; };
      mask |= bit(first) | bit(second) << 16U | bit(third) << 32U | bit(fourth) << 48U;
    }
    return mask;
  }

  explicit ByteBlock(const char* bytes) {
    std::memcpy(&first_, bytes, sizeof(Vector));
    std::memcpy(&second_, bytes + sizeof(Vector), sizeof(Vector));
    std::memcpy(&third_, bytes + 2 * sizeof(Vector), sizeof(Vector));
    std::memcpy(&fourth_, bytes + 3 * sizeof(Vector), sizeof(Vector));
  }

  Vector first_{};
  Vector second_{};
  Vector third_{};
  Vector fourth_{};
};

}  // namespace tavrin
