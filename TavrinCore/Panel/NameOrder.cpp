#include "TavrinCore/Panel/NameOrder.hpp"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <utility>

#include "TavrinCore/Support/CountingSort.hpp"
#include "TavrinCore/Support/IndexTable.hpp"

namespace tavrin::NameOrder {

namespace {

// One of the things to sort. The fields that are looked at lie side by side in memory.
struct Item {
  std::uint16_t group;
  std::uint32_t rank;
  std::uint32_t index;
  std::uint32_t spelling;

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
  const std::vector<std::string_view> names = textsOf(keys, &Key::name);
  TextIndex spellings(names.size());
  const std::vector<std::uint32_t> spellingOf = spellings.addAll(names);
  const std::vector<std::size_t> rankOf = ranks(spellings.texts());
  std::vector<Item> items;
  items.reserve(keys.size());
  for (std::uint32_t i = 0; i < keys.size(); ++i) {
    const std::uint32_t spelling = spellingOf[i];
    items.push_back({.group = keys[i].group,
                     .rank = static_cast<std::uint32_t>(rankOf[spelling]),
                     .index = i,
                     .spelling = spelling});
  }

  items = countingSorted(std::move(items), [](const Item& item) { return item.rank; });
  items = countingSorted(std::move(items), [](const Item& item) { return item.group; });
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
