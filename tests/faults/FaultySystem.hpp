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

/// Stands between the code of this process and the system for as long as it lives: each call about files, and
/// for random bytes, of the thread that made it is put to `decide` before it is made. Calls that `decide`
/// makes itself are let through. A close that fails has closed all the same. There is one at a time.
///
/// It works on the functions of the C library that this program calls by their names; FaultySystem.cpp is
/// part of the program for that, not of a library.
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
