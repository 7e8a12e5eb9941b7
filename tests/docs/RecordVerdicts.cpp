// Reports which records a session file may hold. Standard input is records, each after a line with its length
// in bytes. Standard output gets one line for each: "accepted" or "refused".

#include <cstddef>
#include <cstdio>
#include <iostream>
#include <limits>
#include <string>

#include "TavrinCore/Sessions/Session.hpp"

int main() {
  for (std::size_t length = 0; std::cin >> length;) {
    std::cin.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    std::string text(length, '\0');
    std::cin.read(text.data(), static_cast<std::streamsize>(length));
    std::puts(tavrin::Session::decode(text) ? "accepted" : "refused");
  }
  return 0;
}
