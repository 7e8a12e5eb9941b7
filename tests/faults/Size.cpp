// The main function of the programs here, and what their command line says.
#include "tests/faults/Size.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace tavrin::test {

namespace {

bool fullSize = false;

}  // namespace

bool isFullSize() {
  return fullSize;
}

}  // namespace tavrin::test

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  const std::vector<std::string_view> words(argv, argv + argc);
  tavrin::test::fullSize = std::ranges::find(words, "--full") != words.end();
  return RUN_ALL_TESTS();
}
