#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <array>
#include <cstddef>
#include <string_view>

#include "TavrinCore/Support/Integer.hpp"

/// The \uXXXX escapes of JSON strings (RFC 8259, section 7).
namespace tavrin::JsonEscape {

inline constexpr std::size_t length = 6;

/// The value of each byte as a hexadecimal digit, or -1.
inline constexpr std::array<signed char, 256> digits = [] {
  std::array<signed char, 256> values{};
  values.fill(-1);
  for (signed char i = 0; i < 10; ++i) values['0' + static_cast<std::size_t>(i)] = i;
  for (signed char i = 10; i < 16; ++i) {
    values['a' + static_cast<std::size_t>(i - 10)] = i;
    values['A' + static_cast<std::size_t>(i - 10)] = i;
  }
  return values;
}();

/// The UTF-16 code unit of the escape at the front of `text`, or a negative number if there is no escape.
constexpr int unit(std::string_view text) {
  if (text.size() < length || text[0] != '\\' || text[1] != 'u') return -1;
  // A negative digit makes the whole negative.
  const auto digit = [text](std::size_t i) { return int{digits[static_cast<unsigned char>(text[i])]}; };
  return digit(2) * 0x1000 | digit(3) * 0x100 | digit(4) * 0x10 | digit(5);
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
