#pragma once

#include <unistd.h>

#include <array>

namespace tavrin::test {

/// Waits until whoever writes to standard input closes it; what they write is ignored.
inline void waitForEndOfInput() {
  std::array<char, 64> ignored{};
  while (::read(STDIN_FILENO, ignored.data(), ignored.size()) > 0) {
  }
}

}  // namespace tavrin::test
