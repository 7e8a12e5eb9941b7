#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <functional>

namespace tavrin {

/// A hash of several values. It depends on their order.
template <class... Values>
std::size_t hashOf(const Values&... values) {
  std::size_t seed = 0;
  ((seed ^= std::hash<Values>{}(values) + 0x9e3779b97f4a7c15U + (seed << 6U) + (seed >> 2U)), ...);
  return seed;
}

}  // namespace tavrin
