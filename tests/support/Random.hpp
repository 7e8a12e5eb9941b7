#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <limits>
#include <random>

namespace tavrin::test {

/// The seed of a random test. Each run prints a new one. To repeat a run, set --gtest_random_seed or
/// GTEST_RANDOM_SEED (1 to 99999).
inline unsigned randomSeed() {
  const auto given = static_cast<unsigned>(GTEST_FLAG_GET(random_seed));
  const unsigned seed = given != 0 ? given : std::random_device{}() % 99'999 + 1;
  std::cout << "[   SEED   ] --gtest_random_seed=" << seed << '\n';
  return seed;
}

/// How many generated cases a test goes through: `count`, or a tenth of it under an emulator, which is thirty
/// times as slow.
constexpr int generatedCases(int count) {
#ifdef TAVRIN_EMULATED
  return count / 10;
#else
  return count;
#endif
}

/// Random choices for generated cases.
class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}

  /// 0 to `count` - 1, all equally likely.
  std::size_t below(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(engine_);
  }
  bool flip() { return below(2) == 1; }

  template <class List>
  void shuffle(List& list) {
    std::ranges::shuffle(list, engine_);
  }

  /// Any value of an integer type.
  template <class Integer>
  Integer any() {
    return std::uniform_int_distribution<Integer>(std::numeric_limits<Integer>::min(),
                                                  std::numeric_limits<Integer>::max())(engine_);
  }

  template <class List>
  const auto& of(const List& list) {
    return list[below(list.size())];
  }

 private:
  std::mt19937 engine_;
};

}  // namespace tavrin::test
