#include "TavrinCore/Panel/NameOrder.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

#include "TavrinCore/Support/IndexTable.hpp"

namespace tavrin::NameOrder {

namespace {

// The different names among `keys`, and which of them each key has.
struct Spellings {
  TextIndex names;
  std::vector<std::size_t> ofKey;

  explicit Spellings(std::span<const Key> keys) : names(keys.size()) {
    ofKey.reserve(keys.size());
    for (const Key& key : keys) ofKey.push_back(names.add(key.name));
  }
};

// One of the things to sort. The compared fields lie side by side in memory.
struct Item {
  std::size_t group;
  std::size_t rank;
  std::size_t index;
  std::size_t spelling;

  bool sharesPlaceWith(const Item& other) const { return group == other.group && rank == other.rank; }
};

// Sorts things of one group and one rank. The things of each spelling are sorted by `before`, within the
// places that they hold.
void sortSpellings(std::span<Item> items, const Before& before) {
  // Mostly they share one spelling. Comparing the index too makes this sort stable without extra memory.
  const auto isBefore = [&](const Item& a, const Item& b) {
    return before(a.index, b.index) || (a.index < b.index && !before(b.index, a.index));
  };
  if (std::ranges::all_of(items, [&](const Item& item) { return item.spelling == items[0].spelling; })) {
    std::ranges::sort(items, isBefore);
    return;
  }
  std::vector<std::size_t> places(items.size());
  std::iota(places.begin(), places.end(), std::size_t{0});
  std::ranges::stable_sort(places, {}, [&](std::size_t place) { return items[place].spelling; });

  std::vector<Item> sorted(items.begin(), items.end());
  std::ranges::stable_sort(sorted, [&](const Item& a, const Item& b) {
    return a.spelling != b.spelling ? a.spelling < b.spelling : before(a.index, b.index);
  });
  for (std::size_t i = 0; i < places.size(); ++i) items[places[i]] = sorted[i];
}

}  // namespace

std::vector<std::size_t> userRanks(std::span<const std::string_view> names) {
  return Collation::ranks(names);
}

std::vector<std::size_t> order(std::span<const Key> keys, const Before& before, const Ranks& ranks) {
  const Spellings spellings(keys);
  const std::vector<std::size_t> rankOf = ranks(spellings.names.texts());
  std::vector<Item> items;
  items.reserve(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::size_t spelling = spellings.ofKey[i];
    items.push_back({.group = keys[i].group, .rank = rankOf[spelling], .index = i, .spelling = spelling});
  }

  std::ranges::stable_sort(items, {}, [](const Item& item) { return std::pair(item.group, item.rank); });
  for (auto first = items.begin(); before && first != items.end();) {
    const auto last =
        std::find_if(first, items.end(), [&](const Item& item) { return !item.sharesPlaceWith(*first); });
    if (last - first > 1) sortSpellings({first, last}, before);
    first = last;
  }

  std::vector<std::size_t> indices;
  indices.reserve(items.size());
  for (const Item& item : items) indices.push_back(item.index);
  return indices;
}

}  // namespace tavrin::NameOrder
