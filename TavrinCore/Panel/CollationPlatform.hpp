#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The parts of Collation.
namespace tavrin::Collation {

/// The ranks by the system's collator (Collation_icu.cpp, Collation_corefoundation.cpp), or nullopt if it
/// cannot be opened.
std::optional<std::vector<std::size_t>> systemRanks(std::span<const std::string_view> names,
                                                    const std::string& locale);

/// How many UTF-16 units of a name count.
inline constexpr std::size_t longestShownPart = 4096;

/// The part of a name that counts, in UTF-16, with U+FFFD for each byte that is not valid UTF-8. The rest of
/// a longer name does not count, and no screen could show it: the time for sorting accents grows with the
/// square of their number.
std::u16string shownPart(std::string_view name);

/// The ranks by code points in lower case.
std::vector<std::size_t> plainRanks(std::span<const std::string_view> names);

/// The ranks of the numbers 0 to `count` - 1 under `before`, which must be a strict weak order of them.
template <class Before>
std::vector<std::size_t> ranksBy(std::size_t count, Before before) {
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::ranges::stable_sort(order, before);
  std::vector<std::size_t> ranks(count);
  std::size_t rank = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0 && before(order[i - 1], order[i])) rank = i;
    ranks[order[i]] = rank;
  }
  return ranks;
}

}  // namespace tavrin::Collation
