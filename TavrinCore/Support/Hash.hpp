#pragma once

#include <cstddef>
#include <functional>

namespace tavrin {

/// One hash of several values, in which their order counts.
template <class... Values>
std::size_t hashOf(const Values&... values) {
  std::size_t seed = 0;
  ((seed ^= std::hash<Values>{}(values) + 0x9e3779b97f4a7c15U + (seed << 6U) + (seed >> 2U)), ...);
  return seed;
}

}  // namespace tavrin
