#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace tavrin {

/// Sorts stably by a small number of each item. The items are counted instead of compared: the time and the
/// memory are in proportion to the number of items and the largest number.
template <class Item, class NumberOf>
std::vector<Item> countingSorted(std::vector<Item> items, NumberOf numberOf) {
  std::vector<std::size_t> places;  // first the count of each number, then the next place of each
  for (const Item& item : items) {
    const auto number = std::size_t{numberOf(item)};
    if (number >= places.size()) places.resize(number + 1);
    ++places[number];
  }
  std::exclusive_scan(places.begin(), places.end(), places.begin(), std::size_t{0});
  std::vector<Item> sorted(items.size());
  for (Item& item : items) sorted[places[numberOf(item)]++] = std::move(item);
  return sorted;
}

}  // namespace tavrin
