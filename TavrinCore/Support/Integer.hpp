#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

/// Whole numbers in texts.
namespace tavrin::Integer {

/// The number that the whole of `text` spells in `base`: digits, and before them "-" if `Number` is signed.
/// Returns nullopt for any other text, and for a number that `Number` cannot hold.
template <class Number>
std::optional<Number> digits(std::string_view text, int base = 10) {
  const char* const end = text.data() + text.size();
  Number value{};
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

// The following also accept "+" before the digits. They accept no spaces and no grouping.

/// The number that the whole of `text` spells, or nullopt if it is not a number or does not fit.
std::optional<std::int32_t> int32(std::string_view text);

/// The TCP port, 1 to 65535, that `text` spells, or nullopt.
std::optional<int> port(std::string_view text);

/// Whether a number is a TCP port that something can listen on.
constexpr bool isPort(std::int64_t number) {
  return number >= 1 && number <= 65535;
}

}  // namespace tavrin::Integer
