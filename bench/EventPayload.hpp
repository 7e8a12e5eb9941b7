#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace tavrin::bench {

/// The sizes that are measured: from the smallest events to the largest that tavrin-hook takes.
inline constexpr std::array<std::size_t, 4> payloadSizes = {300, 3'000, 100'000, 1'000'000};

/// The session that the event is of.
inline constexpr std::string_view recordedSession = "ba7fd3a0-b04a-45ff-b496-9a2c6e614ed3";

/// The event that Claude Code sends before it writes a file, as it was recorded, but with a file of source
/// text such that the payload has exactly `size` bytes. The same text at every call. The smallest are without
/// the fields that no event needs. Throws std::runtime_error when `size` is too small even so.
std::string eventPayload(std::size_t size);

}  // namespace tavrin::bench
