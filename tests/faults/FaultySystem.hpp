#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

namespace tavrin::test {

/// What happens to a system call.
struct Answer {
  int error = 0;                     ///< it fails with this errno value
  std::size_t mostBytes = SIZE_MAX;  ///< it reads or writes no more than this
};

/// Stands between the code of this process and the system as long as it exists. Each call about files or
/// random bytes that its own thread makes goes to `decide` first. Calls that `decide` makes itself are let
/// through. A close that fails has closed the file all the same. Only one can exist at a time.
///
/// It replaces the C library's functions that this program calls by name. FaultySystem.cpp must therefore be
/// part of the program, not of a library.
class FaultySystem {
 public:
  using Decision = std::function<Answer(std::string_view call)>;

  explicit FaultySystem(Decision decide);
  ~FaultySystem();
  FaultySystem(const FaultySystem&) = delete;
  FaultySystem& operator=(const FaultySystem&) = delete;

 private:
  Decision decide_;
};

}  // namespace tavrin::test
