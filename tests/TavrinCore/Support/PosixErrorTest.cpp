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

TEST(PosixError, IsAnInputOutputErrorWhenErrnoIsZero) {
  const auto [thrown, what] = thrownFor(0);
  EXPECT_EQ(thrown.value(), EIO);
  EXPECT_EQ(what, "open /a/b c.json: " + std::generic_category().message(EIO));
}

// A session's id may be as long as a payload, and the path contains it. The message becomes one line of the
// log.
TEST(PosixError, CutsOffAPathThatNobodyWouldRead) {
  try {
    throwPosixError(ENAMETOOLONG, "open", "/" + std::string(900'000, 'x'));
  } catch (const std::system_error& error) {
    const std::string reason = std::generic_category().message(ENAMETOOLONG);
    EXPECT_EQ(error.what(), "open /" + std::string(299, 'x') + "...: " + reason);
  }
}

TEST(PosixError, APathThatIsNotUtf8IsShownRepaired) {
  try {
    throwPosixError(ENOENT, "open", "/a\xff/\u00e9");
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.what(), "open /a\ufffd/\u00e9: " + std::generic_category().message(ENOENT));
  }
}

TEST(PosixError, CutsBetweenCodePointsOfALetterUnderAHeapOfAccents) {
  std::string path = "/ab";
  for (int i = 0; i < 1000; ++i) path += "\u0301";
  try {
    throwPosixError(ENAMETOOLONG, "open", path);
  } catch (const std::system_error& error) {
    const std::string reason = std::generic_category().message(ENAMETOOLONG);
    EXPECT_EQ(error.what(), "open " + path.substr(0, 299) + "...: " + reason);
  }
}

}  // namespace
}  // namespace tavrin
