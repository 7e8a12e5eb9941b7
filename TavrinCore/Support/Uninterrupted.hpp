#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cerrno>
#include <type_traits>

namespace tavrin {

/// Repeats a system call while a signal interrupts it (EINTR, see signal(7)). Returns the last result and
/// leaves its errno. A call has failed if it returns -1 or a null pointer.
template <class Call>
auto uninterrupted(Call call) {
  using Result = decltype(call());
  Result failure{};
  if constexpr (!std::is_pointer_v<Result>) failure = -1;
  Result result{};
  do {
    // At the end of a directory readdir(3) returns a null pointer and does not set errno.
    errno = 0;
    result = call();
  } while (result == failure && errno == EINTR);
  return result;
}

}  // namespace tavrin
