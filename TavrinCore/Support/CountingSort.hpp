#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace tavrin {

/// Sorts stably by a small number of each item. The items are counted instead of compared: the time and the
/// memory are in proportion to the number of items and the largest number.
template <class Item, class NumberOf>
std::vector<Item> countingSorted(std::vector<Item> items, NumberOf numberOf) {
  std::size_t largest = 0;
  for (const Item& item : items) largest = std::max(largest, std::size_t{numberOf(item)});
  // places[n + 1] first counts the items with the number n. Summed up, places[n] is where the next of them
  // goes.
  std::vector<std::size_t> places(largest + 2);
  for (const Item& item : items) ++places[numberOf(item) + std::size_t{1}];
  std::partial_sum(places.begin(), places.end(), places.begin());
  std::vector<Item> sorted(items.size());
  for (Item& item : items) sorted[places[numberOf(item)]++] = std::move(item);
  return sorted;
}

}  // namespace tavrin
