#include "TavrinCore/Support/PosixError.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace tavrin {
namespace {

std::pair<std::error_code, std::string> thrownFor(int code) {
  try {
    throwPosixError(code, "open", "/a/b c.json");
  } catch (const std::system_error& error) {
    return {error.code(), error.what()};
  }
}

TEST(PosixError, CarriesErrnoAndSaysWhatFailedWhereAndWhy) {
  for (const int code : {ENOENT, EACCES, ENOSPC, EROFS, EMFILE, EDQUOT, ENOTDIR}) {
    const auto [thrown, what] = thrownFor(code);
    EXPECT_EQ(thrown, std::error_code(code, std::generic_category()));
    EXPECT_EQ(what, "open /a/b c.json: " + std::generic_category().message(code));
  }
}

TEST(PosixError, IsAnInputOutputErrorWhenErrnoSaysNothing) {
  const auto [thrown, what] = thrownFor(0);
  EXPECT_EQ(thrown.value(), EIO);
  EXPECT_EQ(what, "open /a/b c.json: " + std::generic_category().message(EIO));
}

}  // namespace
}  // namespace tavrin
