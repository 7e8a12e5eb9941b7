#include "TavrinCore/Support/Integer.hpp"

namespace tavrin::Integer {

std::optional<std::int32_t> int32(std::string_view text) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  return digits<std::int32_t>(text);
}

std::optional<int> port(std::string_view text) {
  const std::optional<std::int32_t> value = int32(text);
  return value && isPort(*value) ? value : std::nullopt;
}

}  // namespace tavrin::Integer
