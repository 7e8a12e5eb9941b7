// `tavrin panel` with a clock that throws once the file "throw" is in the home directory.
#include <filesystem>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "TavrinTerminal/Command.hpp"

int main() {
  using namespace tavrin;
  const auto invocation = std::get<Command::Invocation>(Command::parse({"panel"}, true));
  Surroundings surroundings = Surroundings::real();
  surroundings.now = [clock = surroundings.now, sign = surroundings.home + "/throw"] {
    if (std::filesystem::exists(sign)) throw std::runtime_error("the clock is broken");
    return clock();
  };
  return Command::run(invocation, surroundings, Console::real(invocation.colour));
}
