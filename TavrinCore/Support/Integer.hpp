#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// Whole numbers in texts: an optional sign, "+" or "-", then decimal digits, leading zeros included, and
/// nothing else: no blanks, no grouping, no digits but "0" to "9".
namespace tavrin::Integer {

/// The number that the whole text is, or nothing when it is none or lies outside 32 bits.
std::optional<std::int32_t> int32(std::string_view text);

/// The same within 64 bits.
std::optional<std::int64_t> int64(std::string_view text);

/// A TCP port: a number from 1 to 65535; else nothing.
std::optional<int> port(std::string_view text);

/// Whether a number is a TCP port that something can listen on.
constexpr bool isPort(std::int64_t number) {
  return number >= 1 && number <= 65535;
}

}  // namespace tavrin::Integer
