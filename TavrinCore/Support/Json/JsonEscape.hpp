#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <string_view>

#include "TavrinCore/Support/Integer.hpp"

/// The \uXXXX escapes of JSON strings (RFC 8259, section 7).
namespace tavrin::JsonEscape {

inline constexpr std::size_t length = 6;

/// The UTF-16 code unit of the escape at the front of `text`, or a negative number if there is no escape.
inline int unit(std::string_view text) {
  if (text.size() < length || !text.starts_with("\\u")) return -1;
  return Integer::digits<int>(text.substr(2, length - 2), 16).value_or(-1);
}

constexpr bool isLeadingSurrogate(int unit) {
  return unit >= 0xd800 && unit <= 0xdbff;
}
constexpr bool isTrailingSurrogate(int unit) {
  return unit >= 0xdc00 && unit <= 0xdfff;
}
constexpr bool isSurrogate(int unit) {
  return isLeadingSurrogate(unit) || isTrailingSurrogate(unit);
}

}  // namespace tavrin::JsonEscape
