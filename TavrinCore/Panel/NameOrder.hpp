#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Panel/Collation.hpp"

/// Sorts the entries of a list by their names.
namespace tavrin::NameOrder {

/// Ranks names that all differ. Each rank is below the number of names. This is Collation::ranks, except in
/// tests.
using Ranks = std::function<std::vector<std::size_t>(std::span<const std::string_view> names)>;

/// The ranks of the user's language.
std::vector<std::size_t> userRanks(std::span<const std::string_view> names);

/// The sort key of one thing.
struct Key {
  std::uint16_t group = 0;  ///< the lower group comes first, whatever the names
  std::string name;
};

/// Whether the thing at index `a` comes before the one at `b`, for things of one group and exactly the same
/// name.
using Before = std::function<bool(std::size_t a, std::size_t b)>;

/// The indices of `keys` in their order: by group, within a group by name in the order of the user's
/// language, and within exactly the same name by `before` (without it, in input order). Names may be spelled
/// differently and still be equal in the language, for example if only case differs. Such spellings keep
/// their places in the input order, and things of one spelling are sorted within the places that they hold.
/// Each spelling is ranked once.
std::vector<std::size_t> order(std::span<const Key> keys, const Before& before = nullptr,
                               const Ranks& ranks = userRanks);

/// `items` in the order of `indices`. Each index counts from 0 and must occur once.
template <class Item>
std::vector<Item> arranged(std::vector<Item> items, std::span<const std::size_t> indices) {
  std::vector<Item> arranged;
  arranged.reserve(indices.size());
  for (const std::size_t index : indices) arranged.push_back(std::move(items[index]));
  return arranged;
}

}  // namespace tavrin::NameOrder
