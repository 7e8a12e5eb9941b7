#include "TavrinHook/Payload.hpp"

#include <poll.h>

#include <cerrno>

#include "TavrinCore/Support/File.hpp"

namespace tavrin {

namespace {

// Most payloads fit, so that one call reads them and one sees the end.
constexpr std::size_t firstBuffer = 16'384;

// Waits for a descriptor that its owner has set to non-blocking.
void waitFor(int descriptor) {
  pollfd request{.fd = descriptor, .events = POLLIN, .revents = 0};
  ::poll(&request, 1, -1);
}

}  // namespace

Payload Payload::read(int descriptor, std::size_t limit) {
  Payload payload;
  std::string& buffer = payload.bytes;
  buffer.resize(firstBuffer);
  std::size_t kept = 0;
  for (;;) {
    if (kept == buffer.size()) buffer.resize(std::min(2 * buffer.size(), limit + 1));
    // Beyond the limit, what comes is counted, and overwrites what is of no use any more.
    const bool isTooLarge = payload.size > limit;
    char* const target = isTooLarge ? buffer.data() : buffer.data() + kept;
    const std::size_t room = isTooLarge ? buffer.size() : buffer.size() - kept;
    const ssize_t count = File::read(descriptor, target, room);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      waitFor(descriptor);
      continue;
    }
    if (count <= 0) break;
    payload.size += static_cast<std::uint64_t>(count);
    if (!isTooLarge) kept += static_cast<std::size_t>(count);
  }
  buffer.resize(payload.size > limit ? 0 : kept);
  return payload;
}

}  // namespace tavrin
