#include "TavrinHook/Payload.hpp"

#include <poll.h>

#include <algorithm>
#include <cerrno>

#include "TavrinCore/Support/File.hpp"

namespace tavrin {

namespace {

// Most payloads fit, so that one call reads them and one sees the end.
constexpr std::size_t firstCapacity = 16'384;

// Waits for something to read from a descriptor that its owner has set to non-blocking. False when there is
// no waiting for it.
bool waitFor(int descriptor) {
  pollfd request{.fd = descriptor, .events = POLLIN, .revents = 0};
  if (::poll(&request, 1, -1) < 0) return errno == EINTR;
  return (request.revents & POLLNVAL) == 0;
}

}  // namespace

Payload Payload::read(int descriptor, std::size_t limit) {
  Payload payload;
  std::size_t capacity = std::min(firstCapacity, limit + 1);
  payload.memory = std::make_unique_for_overwrite<char[]>(capacity);  // NOLINT(modernize-avoid-c-arrays)
  std::size_t kept = 0;
  for (;;) {
    if (kept == capacity && capacity <= limit) {
      // All that may come, at once: pages that nothing is read into cost nothing.
      capacity = limit + 1;
      auto larger = std::make_unique_for_overwrite<char[]>(capacity);  // NOLINT(modernize-avoid-c-arrays)
      std::copy_n(payload.memory.get(), kept, larger.get());
      payload.memory = std::move(larger);
    }
    // Beyond the limit, what comes is counted, and overwrites what is of no use any more.
    if (kept > limit) kept = 0;
    const ssize_t count = File::read(descriptor, payload.memory.get() + kept, capacity - kept);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && waitFor(descriptor)) continue;
    if (count <= 0) break;
    payload.size += static_cast<std::uint64_t>(count);
    kept += static_cast<std::size_t>(count);
  }
  if (payload.size <= limit) payload.bytes = {payload.memory.get(), kept};
  return payload;
}

}  // namespace tavrin
