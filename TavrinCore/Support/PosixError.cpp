#include "TavrinCore/Support/PosixError.hpp"

#include <cerrno>
#include <string>
#include <system_error>

namespace tavrin {

void throwPosixError(int code, std::string_view operation, std::string_view path) {
  std::string what(operation);
  what += ' ';
  what += path;
  throw std::system_error(code == 0 ? EIO : code, std::generic_category(), what);
}

}  // namespace tavrin
