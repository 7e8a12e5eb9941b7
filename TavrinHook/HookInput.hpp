#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tavrin {

/// What was read of an event, and how long it was.
struct HookInput {
  std::string text;        ///< what a JsonSkimmer leaves of the input; nothing when that is over the limit
  std::uint64_t size = 0;  ///< the whole input's length in bytes

  /// Reads `descriptor` to its end, waiting as long as it takes, and keeps of at most `limit` bytes what
  /// stands under `keys`. Little more memory is used than for what is kept. An input that cannot be read ends
  /// there, as if it were closed.
  static HookInput read(int descriptor, std::size_t limit, std::span<const std::string_view> keys);
};

}  // namespace tavrin
