// Plays the processes that share the log. Tests start many of them at once.
//
//   log-worker FILE NAME TIMES WIDTH        writes TIMES numbered messages of WIDTH bytes
//
// It begins when its input ends, so that all of them begin together.

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "TavrinCore/Hook/HookLog.hpp"
#include "tests/support/Input.hpp"

namespace {

void write(const std::vector<std::string>& words) {
  const tavrin::HookLog log(words.at(1));
  const std::string& name = words.at(2);
  const int times = std::stoi(words.at(3));
  const std::size_t width = std::stoul(words.at(4));
  tavrin::test::waitForEndOfInput();
  for (int i = 0; i < times; ++i) {
    std::string message = name + " " + std::to_string(i) + " ";
    message.resize(width, name.front());
    log.write(message);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    write(std::vector<std::string>(argv, argv + argc));
  } catch (const std::exception& error) {
    std::puts(error.what());
    return 1;
  }
}
