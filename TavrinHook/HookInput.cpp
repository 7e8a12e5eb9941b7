#include "TavrinHook/HookInput.hpp"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>

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
  std::array<char, capacity> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
  std::size_t held = 0;               // bytes in the buffer that the skimmer must see once more
  for (;;) {
    const ssize_t count = File::read(descriptor, buffer.data() + held, capacity - held);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && waitFor(descriptor)) continue;
    if (count <= 0) break;
    input.size += static_cast<std::uint64_t>(count);
    // Bytes beyond the limit are only counted.
    if (input.size > limit) continue;
    held += static_cast<std::size_t>(count);
    const std::size_t used = skimmer.add({buffer.data(), held}, false);
    held -= used;
    std::copy_n(buffer.data() + used, held, buffer.data());
  }
  if (input.size > limit) return input;
  skimmer.add({buffer.data(), held}, true);
  input.text = skimmer.take();
  return input;
}

}  // namespace tavrin
