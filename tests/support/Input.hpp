#pragma once

#include <unistd.h>

#include <array>

namespace tavrin::test {

/// Waits until the writer of standard input closes it. What it writes is ignored.
inline void waitForEndOfInput() {
  std::array<char, 64> ignored{};
  while (::read(STDIN_FILENO, ignored.data(), ignored.size()) > 0) {
  }
}

}  // namespace tavrin::test
