#pragma once

#include <cerrno>
#include <type_traits>

namespace tavrin {

/// Makes a system call again for as long as a signal interrupts it (EINTR, see signal(7)), and gives back its
/// last result, with errno as that left it. A call has failed when it gives -1 or, if it gives a pointer, a
/// null pointer.
template <class Call>
auto uninterrupted(Call call) {
  using Result = decltype(call());
  Result failure{};
  if constexpr (!std::is_pointer_v<Result>) failure = -1;
  Result result{};
  do {
    // At the end of a directory readdir(3) gives a null pointer and leaves errno alone.
    errno = 0;
    result = call();
  } while (result == failure && errno == EINTR);
  return result;
}

}  // namespace tavrin
