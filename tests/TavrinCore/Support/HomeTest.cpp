#include "TavrinCore/Support/Home.hpp"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "tests/support/HomeVariable.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

std::string homeWith(const std::optional<std::string>& value) {
  const test::HomeVariable variable(value);
  return Home::directory();
}

// What the password database says, without trailing slashes; "/var/empty" when it does not know this user.
std::string fromPasswordDatabase() {
  const passwd* entry = ::getpwuid(::getuid());
  std::string home = entry != nullptr && entry->pw_dir != nullptr ? entry->pw_dir : "";
  if (!home.starts_with('/')) return "/var/empty";
  while (home.size() > 1 && home.ends_with('/')) home.pop_back();
  return home;
}

TEST(Home, IsTheVariableWhenThatIsAnAbsolutePath) {
  EXPECT_EQ(homeWith("/Users/somebody"), "/Users/somebody");
  EXPECT_EQ(homeWith("/"), "/");
  EXPECT_EQ(homeWith("/no such/dïr"), "/no such/dïr");
}

TEST(Home, HasNoTrailingSlash) {
  EXPECT_EQ(homeWith("/Users/somebody/"), "/Users/somebody");
  EXPECT_EQ(homeWith("/Users/somebody///"), "/Users/somebody");
  EXPECT_EQ(homeWith("//"), "/");
  EXPECT_EQ(homeWith("////"), "/");
}

TEST(Home, ComesFromThePasswordDatabaseWhenTheVariableIsNoAbsolutePath) {
  const std::string expected = fromPasswordDatabase();
  EXPECT_EQ(homeWith(std::nullopt), expected);
  EXPECT_EQ(homeWith(""), expected);
  EXPECT_EQ(homeWith("relative/path"), expected);
  EXPECT_EQ(homeWith("~"), expected);
  EXPECT_EQ(homeWith(" /Users/somebody"), expected);
  EXPECT_EQ(homeWith("."), expected);
}

TEST(Home, OfAnotherUserIsNotTakenByRoot) {
  if (::geteuid() != 0) GTEST_SKIP() << "left out: only root can give a directory to another user";
  const test::ScratchDirectory scratch;
  const std::string home = scratch.string();
  EXPECT_EQ(homeWith(home), home) << "root's own";
  ASSERT_EQ(::chown(home.c_str(), 12345, 12345), 0);
  EXPECT_EQ(homeWith(home), fromPasswordDatabase());
  EXPECT_EQ(homeWith(home + "/"), fromPasswordDatabase());
  EXPECT_EQ(homeWith(home + "/not there"), home + "/not there");
}

}  // namespace
}  // namespace tavrin
