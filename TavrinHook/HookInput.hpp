#pragma once

// Part of TavrinHook, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tavrin {

/// The bounded read of standard input.
struct HookInput {
  std::string text;        ///< the input after a JsonSkimmer, or "" if it is over the limit
  std::uint64_t size = 0;  ///< the length of the whole input in bytes

  /// Reads `descriptor` to its end, without a time-out. Keeps at most `limit` bytes, and of the texts in them
  /// only the values of `keys`. Uses little more memory than what it keeps takes. A read error counts as the
  /// end of the input.
  static HookInput read(int descriptor, std::size_t limit, std::span<const std::string_view> keys);
};

}  // namespace tavrin
