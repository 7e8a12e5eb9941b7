#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

namespace tavrin {

/// A hash table for many keys that are looked up only once or twice each. It does not store the keys. It
/// stores each key's index in a list that the caller keeps, all in one block of memory.
class IndexTable {
 public:
  /// A table for at most `count` different keys; `count` is below 2^32 - 1.
  explicit IndexTable(std::size_t count) : slots_(std::bit_ceil(2 * count + 1)) {}

  /// Returns the index that a key was added with. A key that is new is added with `index`. `isKey(other)`
  /// says whether the key with the index `other` is the wanted one.
  template <class IsKey>
  std::size_t findOrAdd(std::size_t hash, std::size_t index, IsKey isKey) {
    Slot& slot = slots_[slotOf(hash, isKey)];
    if (slot.place == 0) slot = {.place = static_cast<std::uint32_t>(index + 1), .tag = tagOf(hash)};
    return slot.place - 1;
  }

  /// The index that a key was added with; nullopt when it was not.
  template <class IsKey>
  std::optional<std::size_t> find(std::size_t hash, IsKey isKey) const {
    const Slot& slot = slots_[slotOf(hash, isKey)];
    return slot.place == 0 ? std::nullopt : std::optional<std::size_t>(slot.place - 1);
  }

 private:
  struct Slot {
    std::uint32_t place = 0;  // the index plus 1; 0 where there is no key
    std::uint32_t tag = 0;    // part of the hash, compared before the key
  };

  static std::uint32_t tagOf(std::size_t hash) {
    constexpr int upperHalf = std::numeric_limits<std::size_t>::digits / 2;
    return static_cast<std::uint32_t>(hash >> upperHalf);
  }

  // The slot that holds the key, or the one where it belongs.
  template <class IsKey>
  std::size_t slotOf(std::size_t hash, IsKey isKey) const {
    std::size_t at = hash & (slots_.size() - 1);
    while (slots_[at].place != 0 && !(slots_[at].tag == tagOf(hash) && isKey(slots_[at].place - 1))) {
      at = (at + 1) & (slots_.size() - 1);
    }
    return at;
  }

  std::vector<Slot> slots_;
};

/// A hash of a number for IndexTable, which chooses slots by the low bits. It is the finalizer of
/// MurmurHash3.
constexpr std::size_t spreadHash(std::uint64_t number) {
  number = (number ^ (number >> 33U)) * 0xff51afd7ed558ccdU;
  number = (number ^ (number >> 33U)) * 0xc4ceb9fe1a85ec53U;
  return static_cast<std::size_t>(number ^ (number >> 33U));
}

/// The text `textOf(item)` of each item, which must outlast the list.
template <class Items, class TextOf>
std::vector<std::string_view> textsOf(const Items& items, TextOf textOf) {
  using Text = std::invoke_result_t<TextOf, decltype(*std::begin(items))>;
  static_assert(std::is_reference_v<Text> || std::is_same_v<Text, std::string_view>,
                "a string that is returned by value ends before the list does");
  std::vector<std::string_view> texts;
  texts.reserve(items.size());
  for (const auto& item : items) texts.emplace_back(std::invoke(textOf, item));
  return texts;
}

/// A set of texts, numbered from 0 in the order in which they were first added.
class TextIndex {
 public:
  explicit TextIndex(std::size_t count) : table_(count) { texts_.reserve(count); }

  /// Adds a text, which must outlast this object, unless it is there already. Returns its number.
  std::size_t add(std::string_view text) { return add(text, hashOf(text)); }

  /// Adds texts as `add` does, and returns their numbers. All hashes are computed before the table is
  /// touched, so that the processor waits for the memory of many texts at once.
  std::vector<std::uint32_t> addAll(std::span<const std::string_view> texts) {
    const std::vector<std::size_t> hashes = hashesOf(texts);
    std::vector<std::uint32_t> numbers(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
      numbers[i] = static_cast<std::uint32_t>(add(texts[i], hashes[i]));
    }
    return numbers;
  }

  /// The numbers of texts; texts().size() for those that were not added. Computes all hashes first too.
  std::vector<std::uint32_t> findAll(std::span<const std::string_view> texts) const {
    const std::vector<std::size_t> hashes = hashesOf(texts);
    std::vector<std::uint32_t> numbers(texts.size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
      numbers[i] = static_cast<std::uint32_t>(find(texts[i], hashes[i]).value_or(texts_.size()));
    }
    return numbers;
  }

  /// What `add` returned for this text; nullopt when it was not added.
  std::optional<std::size_t> find(std::string_view text) const { return find(text, hashOf(text)); }

  /// The different texts, in the order in which they were added.
  const std::vector<std::string_view>& texts() const { return texts_; }

 private:
  struct IsText {
    const std::vector<std::string_view>& texts;
    std::string_view text;
    bool operator()(std::size_t index) const { return texts[index] == text; }
  };
  IsText isText(std::string_view text) const { return {.texts = texts_, .text = text}; }

  static std::size_t hashOf(std::string_view text) { return std::hash<std::string_view>()(text); }

  static std::vector<std::size_t> hashesOf(std::span<const std::string_view> texts) {
    std::vector<std::size_t> hashes(texts.size());
    std::ranges::transform(texts, hashes.begin(), hashOf);
    return hashes;
  }

  std::size_t add(std::string_view text, std::size_t hash) {
    const std::size_t index = table_.findOrAdd(hash, texts_.size(), isText(text));
    if (index == texts_.size()) texts_.push_back(text);
    return index;
  }

  std::optional<std::size_t> find(std::string_view text, std::size_t hash) const {
    return table_.find(hash, isText(text));
  }

  IndexTable table_;
  std::vector<std::string_view> texts_;
};

}  // namespace tavrin
