#include "TavrinCore/Support/FatalError.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace tavrin {

void fatalError(std::string_view message) {
  const std::string line = "Fatal error: " + std::string(message) + "\n";
  std::fputs(line.c_str(), stderr);
  std::abort();
}

}  // namespace tavrin
