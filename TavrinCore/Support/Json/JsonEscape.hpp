#pragma once

#include <charconv>
#include <cstddef>
#include <string_view>

/// The \uXXXX escapes of JSON strings (RFC 8259, section 7).
namespace tavrin::JsonEscape {

inline constexpr std::size_t length = 6;

/// The UTF-16 code unit that the escape at the front of `text` spells; negative when there is no such escape.
inline int unit(std::string_view text) {
  if (text.size() < length || !text.starts_with("\\u")) return -1;
  int unit = -1;
  const char* const end = text.data() + length;
  const auto [stop, error] = std::from_chars(text.data() + 2, end, unit, 16);
  return error == std::errc() && stop == end ? unit : -1;
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
