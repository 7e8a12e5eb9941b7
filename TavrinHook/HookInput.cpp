#include "TavrinHook/HookInput.hpp"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "TavrinCore/Support/File.hpp"
#include "TavrinHook/JsonSkimmer.hpp"

namespace tavrin {

namespace {

// Most payloads fit. One call then reads the payload, and another one finds the end.
constexpr std::size_t capacity = 32'768;

// Waits until a non-blocking descriptor has something to read. Returns false if poll(2) cannot wait for it.
bool waitFor(int descriptor) {
  pollfd request{.fd = descriptor, .events = POLLIN, .revents = 0};
  if (::poll(&request, 1, -1) < 0) return errno == EINTR;
  return (request.revents & POLLNVAL) == 0;
}

}  // namespace

HookInput HookInput::read(int descriptor, std::size_t limit, std::span<const std::string_view> keys) {
  HookInput input;
  JsonSkimmer skimmer(keys);
  // Not on the stack: what the payload fills here is free for others later, so fewer pages are touched.
  const auto buffer = std::make_unique_for_overwrite<char[]>(capacity);  // NOLINT(modernize-avoid-c-arrays)
  std::size_t held = 0;  // bytes in the buffer that the skimmer must see once more
  for (;;) {
    const ssize_t count = File::read(descriptor, buffer.get() + held, capacity - held);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && waitFor(descriptor)) continue;
    if (count <= 0) break;
    input.size += static_cast<std::uint64_t>(count);
    // Bytes beyond the limit are only counted.
    if (input.size > limit) continue;
    held += static_cast<std::size_t>(count);
    const std::size_t used = skimmer.add({buffer.get(), held}, false);
    held -= used;
    std::copy_n(buffer.get() + used, held, buffer.get());
  }
  if (input.size > limit) return input;
  skimmer.add({buffer.get(), held}, true);
  input.text = skimmer.take();
  return input;
}

}  // namespace tavrin
