#include "TavrinTerminal/System/ProcessEnvironment.hpp"

#include <algorithm>
#include <cstring>

#ifdef __APPLE__
#include <sys/sysctl.h>

#include <array>
#else
#include "TavrinCore/Support/File.hpp"
#endif

namespace tavrin::ProcessEnvironment {

namespace {

// Takes the piece before the next zero byte off `rest`.
std::string_view takePiece(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\0'), rest.size());
  const std::string_view piece = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return piece;
}

}  // namespace

Variables parse(std::string_view block) {
  Variables variables;
  while (!block.empty()) {
    const std::string_view piece = takePiece(block);
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos || equals == 0) continue;
    variables.emplace(piece.substr(0, equals), piece.substr(equals + 1));
  }
  return variables;
}

Variables parseProcArgs(std::string_view bytes) {
  std::int32_t count = 0;
  if (bytes.size() < sizeof count) return {};
  std::memcpy(&count, bytes.data(), sizeof count);
  bytes.remove_prefix(sizeof count);
  takePiece(bytes);  // the executable
  bytes.remove_prefix(std::min(bytes.find_first_not_of('\0'), bytes.size()));
  for (std::int32_t i = 0; i < count && !bytes.empty(); ++i) takePiece(bytes);
  // After the environment come strings of the kernel's, behind an empty piece.
  constexpr std::string_view end("\0\0", 2);
  if (bytes.starts_with('\0')) return {};
  return parse(bytes.substr(0, bytes.find(end)));
}

Variables of(std::int32_t pid) {
#ifdef __APPLE__
  std::array<int, 3> name = {CTL_KERN, KERN_PROCARGS2, pid};
  std::size_t size = 0;
  if (::sysctl(name.data(), name.size(), nullptr, &size, nullptr, 0) != 0) return {};
  std::string bytes(size, '\0');
  if (::sysctl(name.data(), name.size(), bytes.data(), &size, nullptr, 0) != 0) return {};
  bytes.resize(size);
  return parseProcArgs(bytes);
#else
  constexpr std::size_t largest = std::size_t{4} << 20U;
  const auto block = File::contents("/proc/" + std::to_string(pid) + "/environ", largest);
  return block ? parse(*block) : Variables();
#endif
}

}  // namespace tavrin::ProcessEnvironment
