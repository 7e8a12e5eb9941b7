#include "TavrinCore/Support/Integer.hpp"

#include <charconv>
#include <system_error>

namespace tavrin::Integer {

namespace {

template <class Number>
std::optional<Number> number(std::string_view text) {
  // std::from_chars knows "-" but not "+".
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  const char* const end = text.data() + text.size();
  Number value = 0;
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

}  // namespace

std::optional<std::int32_t> int32(std::string_view text) {
  return number<std::int32_t>(text);
}

std::optional<std::int64_t> int64(std::string_view text) {
  return number<std::int64_t>(text);
}

std::optional<int> port(std::string_view text) {
  const std::optional<std::int32_t> value = int32(text);
  return value && isPort(*value) ? value : std::nullopt;
}

}  // namespace tavrin::Integer
