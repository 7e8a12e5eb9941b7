#include "TavrinCore/Support/Home.hpp"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
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

// The home directory in the password database, without trailing slashes, or "/var/empty" if `user` is not
// listed.
std::string fromPasswordDatabase(uid_t user) {
  const passwd* entry = ::getpwuid(user);
  std::string home = entry != nullptr && entry->pw_dir != nullptr ? entry->pw_dir : "";
  if (!home.starts_with('/')) return "/var/empty";
  while (home.size() > 1 && home.ends_with('/')) home.pop_back();
  return home;
}

// What Home::directory() returns without HOME in a process of `user`. Only root may start one.
std::string homeOf(uid_t user) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return "pipe(2) failed";
  const pid_t child = ::fork();
  if (child == 0) {
    const std::string home = ::setuid(user) == 0 ? homeWith(std::nullopt) : "setuid(2) failed";
    ::_exit(::write(ends[1], home.data(), home.size()) == static_cast<ssize_t>(home.size()) ? 0 : 1);
  }
  ::close(ends[1]);
  std::string home(4096, '\0');
  const ssize_t size = ::read(ends[0], home.data(), home.size());
  ::close(ends[0]);
  ::waitpid(child, nullptr, 0);
  home.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return home;
}

TEST(Home, TheVariableIsTakenIfItIsAnAbsolutePath) {
  EXPECT_EQ(homeWith("/Users/somebody"), "/Users/somebody");
  EXPECT_EQ(homeWith("/"), "/");
  EXPECT_EQ(homeWith("/no such/dïr"), "/no such/dïr");
}

TEST(Home, TrailingSlashesAreDropped) {
  EXPECT_EQ(homeWith("/Users/somebody/"), "/Users/somebody");
  EXPECT_EQ(homeWith("/Users/somebody///"), "/Users/somebody");
  EXPECT_EQ(homeWith("//"), "/");
  EXPECT_EQ(homeWith("////"), "/");
}

TEST(Home, WithoutAnAbsolutePathThePasswordDatabaseDecides) {
  const std::string expected = fromPasswordDatabase(::getuid());
  EXPECT_EQ(homeWith(std::nullopt), expected);
  EXPECT_EQ(homeWith(""), expected);
  EXPECT_EQ(homeWith("relative/path"), expected);
  EXPECT_EQ(homeWith("~"), expected);
  EXPECT_EQ(homeWith(" /Users/somebody"), expected);
  EXPECT_EQ(homeWith("."), expected);
}

TEST(Home, RootDoesNotTakeADirectoryOfAnotherUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "Left out: only root can give a directory to another user.";
  const test::ScratchDirectory scratch;
  const std::string home = scratch.string();
  EXPECT_EQ(homeWith(home), home) << "root's own";
  ASSERT_EQ(::chown(home.c_str(), 12345, 12345), 0);
  EXPECT_EQ(homeWith(home), fromPasswordDatabase(0));
  EXPECT_EQ(homeWith(home + "/"), fromPasswordDatabase(0));
  EXPECT_EQ(homeWith(home + "/not there"), home + "/not there");
}

TEST(Home, EachUserHasTheDirectoryOfItsOwnPasswordEntry) {
  if (::geteuid() != 0) GTEST_SKIP() << "Left out: only root can start a process of another user.";
  const passwd* nobody = ::getpwnam("nobody");
  if (nobody == nullptr) GTEST_SKIP() << "Left out: this system has no user nobody.";
  const uid_t user = nobody->pw_uid;
  ASSERT_NE(fromPasswordDatabase(user), fromPasswordDatabase(0));
  EXPECT_EQ(homeOf(user), fromPasswordDatabase(user));
}

TEST(Home, AUserWithoutAPasswordEntryHasVarEmpty) {
  if (::geteuid() != 0) GTEST_SKIP() << "Left out: only root can start a process of another user.";
  const uid_t unlisted = 1'987'654'321;
  ASSERT_EQ(::getpwuid(unlisted), nullptr);
  EXPECT_EQ(homeOf(unlisted), "/var/empty");
}

}  // namespace
}  // namespace tavrin
