#include "TavrinTerminal/System/Browser.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

#ifdef __APPLE__
constexpr const char* program = "open";
#else
constexpr const char* program = "xdg-open";
#endif

class BrowserTest : public testing::Test {
 protected:
  std::optional<std::string> open(const std::string& url) const {
    return openInBrowser(url, directory_.path().string());
  }
  void opener(const std::string& script) const {
    const std::filesystem::path path = directory_ / program;
    test::writeFile(path, "#!/bin/sh\n" + script + "\n");
    ::chmod(path.c_str(), 0755);
  }
  test::ScratchDirectory directory_;
};

TEST_F(BrowserTest, GetsTheUrlAsOneWord) {
  opener("printf '%s|' \"$@\" > '" + (directory_ / "log").string() + "'");
  EXPECT_EQ(std::nullopt, open("http://127.0.0.1:5173/?a=$(id)&b=c d"));
  EXPECT_EQ("http://127.0.0.1:5173/?a=$(id)&b=c d|", test::readFile(directory_ / "log"));
}

TEST_F(BrowserTest, ThatCannotBeOpenedIsExplained) {
  EXPECT_EQ(std::string(program) + " is not installed.", open("http://127.0.0.1:1"));
  opener("exit 3");
  EXPECT_EQ(std::string(program) + " failed.", open("http://127.0.0.1:1"));
}

}  // namespace
}  // namespace tavrin
