#include "TavrinCore/Panel/Collation.hpp"

#include <algorithm>

#include "TavrinCore/Panel/CollationPlatform.hpp"
#include "TavrinCore/Support/Text.hpp"

namespace tavrin::Collation {

std::vector<std::size_t> ranks(std::span<const std::string_view> names, const std::string& locale) {
  if (std::optional<std::vector<std::size_t>> ranks = systemRanks(names, locale)) return *std::move(ranks);
  return plainRanks(names);
}

std::u16string shownPart(std::string_view name) {
  std::u16string text = Text::utf16(name);
  text.resize(std::min(text.size(), longestShownPart));
  return text;
}

std::vector<std::size_t> plainRanks(std::span<const std::string_view> names) {
  std::vector<std::string> lower;
  lower.reserve(names.size());
  for (const std::string_view name : names) lower.push_back(Text::lowerCased(name));
  return ranksBy(names.size(), [&](std::size_t a, std::size_t b) { return lower[a] < lower[b]; });
}

}  // namespace tavrin::Collation
