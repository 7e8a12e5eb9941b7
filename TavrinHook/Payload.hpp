#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tavrin {

/// The bytes of an input, as many as were asked for, and how many there were.
struct Payload {
  std::string bytes;       ///< the whole input, or nothing when it is longer than the limit
  std::uint64_t size = 0;  ///< the whole input's length in bytes

  /// Reads `descriptor` to its end, waiting as long as it takes. At most `limit` bytes and one buffer are
  /// kept in memory. An input that cannot be read ends there, as if it were closed.
  static Payload read(int descriptor, std::size_t limit);
};

}  // namespace tavrin
