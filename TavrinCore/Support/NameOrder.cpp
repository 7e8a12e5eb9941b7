#include "TavrinCore/Support/NameOrder.hpp"

#include <algorithm>
#include <numeric>
#include <tuple>
#include <unordered_map>

namespace tavrin::NameOrder {

namespace {

// The different names among `keys`, and which of them each key has.
struct Spellings {
  std::vector<std::string_view> names;
  std::vector<std::size_t> ofKey;

  explicit Spellings(std::span<const Key> keys) {
    std::unordered_map<std::string_view, std::size_t> known;
    ofKey.reserve(keys.size());
    for (const Key& key : keys) {
      const auto [entry, isNew] = known.try_emplace(key.name, names.size());
      if (isNew) names.emplace_back(key.name);
      ofKey.push_back(entry->second);
    }
  }
};

// Sorts the indices of one group and one rank: those of each spelling by `before`, within the places it
// holds.
void sortSpellings(std::span<std::size_t> indices, const std::vector<std::size_t>& spellingOf,
                   const Before& before) {
  std::vector<std::size_t> places(indices.size());
  std::iota(places.begin(), places.end(), std::size_t{0});
  std::ranges::stable_sort(places, {}, [&](std::size_t place) { return spellingOf[indices[place]]; });

  std::vector<std::size_t> sorted(indices.begin(), indices.end());
  std::ranges::stable_sort(sorted, [&](std::size_t a, std::size_t b) {
    return spellingOf[a] != spellingOf[b] ? spellingOf[a] < spellingOf[b] : before(a, b);
  });
  for (std::size_t i = 0; i < places.size(); ++i) indices[places[i]] = sorted[i];
}

}  // namespace

std::vector<std::size_t> userRanks(std::span<const std::string_view> names) {
  return Collation::ranks(names);
}

std::vector<std::size_t> order(std::span<const Key> keys, const Before& before, const Ranks& ranks) {
  const Spellings spellings(keys);
  const std::vector<std::size_t> rankOf = ranks(spellings.names);
  const auto coarse = [&](std::size_t index) {
    return std::tuple(keys[index].group, rankOf[spellings.ofKey[index]]);
  };

  std::vector<std::size_t> indices(keys.size());
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  std::ranges::stable_sort(indices, {}, coarse);
  if (!before) return indices;
  for (auto first = indices.begin(); first != indices.end();) {
    const auto last = std::find_if(first, indices.end(),
                                   [&](std::size_t index) { return coarse(index) != coarse(*first); });
    sortSpellings({first, last}, spellings.ofKey, before);
    first = last;
  }
  return indices;
}

}  // namespace tavrin::NameOrder
