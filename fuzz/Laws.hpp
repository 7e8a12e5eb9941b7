#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "TavrinCore/Support/FatalError.hpp"

/// What every fuzz target needs. A target is one LLVMFuzzerTestOneInput. It reads its input as the program
/// would, and ends the process if one of its laws does not hold.
namespace tavrin::fuzz {

/// Ends the process with `law` on standard error if it does not hold.
inline void require(bool holds, std::string_view law) {
  if (!holds) fatalError(law);
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Separates the parts of an input that has several (RFC 7464). No JSON text holds this byte.
inline constexpr char recordSeparator = '\x1e';

/// The parts of `text` between the separators, at least one.
inline std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

}  // namespace tavrin::fuzz

/// The function that libFuzzer, or Replay.cpp in its place, calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
