#include "TavrinTerminal/ShellWord.hpp"

namespace tavrin {

std::string shellWord(std::string_view word) {
  std::string text = "'";
  for (const char character : word) {
    if (character == '\'') {
      text += "'\\''";
    } else {
      text += character;
    }
  }
  return text + "'";
}

}  // namespace tavrin
