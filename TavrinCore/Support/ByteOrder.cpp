#include "TavrinCore/Support/ByteOrder.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace tavrin::ByteOrder {

namespace {

// Two numbers that compare as the first 16 bytes of a text do.
using Start = std::pair<std::uint64_t, std::uint64_t>;

// A text's index, and its start after what all texts begin with. The starts lie side by side in memory, and
// usually decide.
struct Item {
  Start start;
  std::size_t index;
};

std::uint64_t numberAt(std::size_t offset, std::string_view text) {
  std::uint64_t number = 0;
  for (std::size_t i = offset; i < offset + sizeof(number); ++i) {
    number = number << 8U | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
  }
  return number;
}

Start startOf(std::string_view text) {
  return {numberAt(0, text), numberAt(sizeof(std::uint64_t), text)};
}

// How many bytes all texts begin with.
std::size_t commonLength(std::span<const std::string_view> texts) {
  std::size_t length = texts.empty() ? 0 : texts.front().size();
  for (const std::string_view text : texts) {
    const auto [end, other] = std::ranges::mismatch(texts.front().substr(0, length), text);
    length = static_cast<std::size_t>(end - texts.front().begin());
  }
  return length;
}

}  // namespace

std::vector<std::size_t> sorted(std::span<const std::string_view> texts) {
  const std::size_t common = commonLength(texts);
  std::vector<Item> items;
  items.reserve(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    items.push_back({.start = startOf(texts[i].substr(common)), .index = i});
  }
  std::ranges::sort(items, [&](const Item& a, const Item& b) {
    if (a.start != b.start) return a.start < b.start;
    const int order = texts[a.index].compare(texts[b.index]);
    return order != 0 ? order < 0 : a.index < b.index;
  });
  std::vector<std::size_t> indices;
  indices.reserve(items.size());
  for (const Item& item : items) indices.push_back(item.index);
  return indices;
}

}  // namespace tavrin::ByteOrder
