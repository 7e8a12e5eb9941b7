#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace tavrin {

/// The bytes of an input, as many as were asked for, and how many there were.
struct Payload {
  std::string_view bytes;  ///< the whole input, or nothing when it is longer than the limit; lies in `memory`
  std::uint64_t size = 0;  ///< the whole input's length in bytes
  std::unique_ptr<char[]> memory;  // NOLINT(modernize-avoid-c-arrays): never filled but by reading

  /// Reads `descriptor` to its end, waiting as long as it takes. At most `limit` bytes and one more are kept
  /// in memory. An input that cannot be read ends there, as if it were closed.
  static Payload read(int descriptor, std::size_t limit);
};

}  // namespace tavrin
