#include "TavrinCore/Support/FatalError.hpp"

#include <gtest/gtest.h>

#include <csignal>

namespace tavrin {
namespace {

TEST(FatalErrorDeathTest, EndsTheProcessWithItsMessage) {
  EXPECT_EXIT(fatalError("the sum is wrong"), testing::KilledBySignal(SIGABRT),
              "^Fatal error: the sum is wrong\n$");
}

}  // namespace
}  // namespace tavrin
