// The main function of the programs here. It reads the size from the command line.
#include "tests/faults/Size.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin::test {

namespace {

bool fullSize = false;
std::string onlyCase;

}  // namespace

bool isFullSize() {
  return fullSize;
}

bool isTried(std::string_view name, int number, int stride) {
  if (!onlyCase.empty()) return name == onlyCase;
  return fullSize || number % stride == 0;
}

int casesTried(int part, int all) {
  if (!onlyCase.empty()) return 1;
  return fullSize ? all : part;
}

}  // namespace tavrin::test

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  const std::vector<std::string_view> words(argv, argv + argc);
  tavrin::test::fullSize = std::ranges::find(words, "--full") != words.end();
  constexpr std::string_view caseOption = "--case=";
  for (const std::string_view word : words) {
    if (word.starts_with(caseOption)) tavrin::test::onlyCase = word.substr(caseOption.size());
  }
  return RUN_ALL_TESTS();
}
