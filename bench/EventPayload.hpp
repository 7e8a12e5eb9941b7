#pragma once

#include <array>
#include <cstddef>
#include <filesystem>
#include <string>

namespace tavrin::bench {

/// The sizes that are measured: from the smallest events to the largest that tavrin-hook takes.
inline constexpr std::array<std::size_t, 4> payloadSizes = {300, 3'000, 100'000, 1'000'000};

/// The event that Claude Code sends before it writes a file, with a file of source text such that the payload
/// has exactly `size` bytes. `recorded` is an event of that kind as it was received once. The same text at
/// every call. The smallest are without the fields that no event needs. Throws std::runtime_error when `size`
/// is too small even so.
std::string eventPayload(const std::filesystem::path& recorded, std::size_t size);

}  // namespace tavrin::bench
