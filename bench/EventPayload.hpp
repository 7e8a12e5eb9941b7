#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace tavrin::bench {

/// The sizes that are measured: from the smallest events to the largest that tavrin-hook accepts.
inline constexpr std::array<std::size_t, 4> payloadSizes = {300, 3'000, 100'000, 1'000'000};

/// The session of the event.
inline constexpr std::string_view recordedSession = "ba7fd3a0-b04a-45ff-b496-9a2c6e614ed3";

/// The event that Claude Code sends before it writes a file, as it was recorded, but with source text of such
/// a length that the payload has exactly `size` bytes. Every call returns the same text. The smallest
/// payloads leave out the fields that no event needs. Throws std::runtime_error if even these need more than
/// `size`.
std::string eventPayload(std::size_t size);

/// The same event with source text that has two escapes in each line, Japanese comments, and letters beyond
/// ASCII both as they are and as \\u escapes.
std::string escapedEventPayload(std::size_t size);

}  // namespace tavrin::bench
