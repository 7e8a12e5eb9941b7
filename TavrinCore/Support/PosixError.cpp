#include "TavrinCore/Support/PosixError.hpp"

#include <cerrno>
#include <string>
#include <system_error>

#include "TavrinCore/Support/Text.hpp"

namespace tavrin {

void throwPosixError(int code, std::string_view operation, std::string_view path) {
  // A path can be as long as a payload, and what() goes into one line of the log.
  constexpr std::size_t longestPath = 300;
  std::string what(operation);
  what += ' ';
  std::string_view shown = path.substr(0, longestPath);
  while (!shown.empty() && shown.size() < path.size() && !Text::isValidUtf8(shown)) shown.remove_suffix(1);
  what += Text::repaired(shown);
  if (shown.size() < path.size()) what += "...";
  throw std::system_error(code == 0 ? EIO : code, std::generic_category(), what);
}

}  // namespace tavrin
