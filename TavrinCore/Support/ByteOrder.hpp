#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

/// The order of texts by their bytes, for lists so long that the time for sorting counts.
namespace tavrin::ByteOrder {

/// The indices of `texts`, sorted stably by their bytes.
std::vector<std::size_t> sorted(std::span<const std::string_view> texts);

}  // namespace tavrin::ByteOrder
