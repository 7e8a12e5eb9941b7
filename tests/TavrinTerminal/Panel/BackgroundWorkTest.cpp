#include "TavrinTerminal/Panel/BackgroundWork.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace tavrin::test {
namespace {

// The last step of a connect used to appear after its outcome, and to stay.
TEST(BackgroundWork, NewsOfAPieceComeBeforeItsEnd) {
  EventLoop loop;
  BackgroundWork background(loop);
  std::string order;
  std::string expected;
  int left = 500;
  for (int i = left; i > 0; --i) {
    background.add([post = background.post(), &order] { post([&order] { order += "n"; }); },
                   [&](const std::exception_ptr&) {
                     order += "e";
                     if (--left == 0) loop.stop();
                   });
    expected += "ne";
  }
  loop.run();
  EXPECT_EQ(order, expected);
}

}  // namespace
}  // namespace tavrin::test
