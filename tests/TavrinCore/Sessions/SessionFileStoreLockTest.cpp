// The lock of a session within one process. LockWaitTest tests several processes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/File.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using test::readFile;
using test::ScratchDirectory;
using test::writeFile;

// Whether somebody holds the exclusive lock of a lock file. Opens the file anew to find out.
bool isLocked(const std::string& path) {
  const FileDescriptor file = FileDescriptor::open(path, O_RDWR);
  EXPECT_TRUE(file.isOpen()) << path;
  if (::flock(file.number(), LOCK_EX | LOCK_NB) == 0) return false;
  EXPECT_EQ(errno, EWOULDBLOCK);
  return true;
}

TEST(SessionFileStore, WithLockGivesBackWhatTheBodyReturns) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  EXPECT_EQ(store.withLock("s", [] { return 42; }), 42);
  EXPECT_EQ(*store.withLock("s", [] { return std::make_unique<int>(7); }), 7);
  int runs = 0;
  store.withLock("s", [&] { ++runs; });
  EXPECT_EQ(runs, 1);
}

TEST(SessionFileStore, TheLockIsHeldJustWhileTheBodyRuns) {
  const ScratchDirectory scratch;
  const SessionFileStore store(scratch / "missing/sessions");
  const std::string lock = scratch / "missing/sessions/.s.lock";
  store.withLock("s", [&] { EXPECT_TRUE(isLocked(lock)); });
  EXPECT_FALSE(isLocked(lock));
}

TEST(SessionFileStore, TheLockEndsWithABodyThatThrowsAndTheErrorComesOutUnchanged) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  const std::string lock = directory / ".s.lock";
  EXPECT_THAT([&] { store.withLock("s", [] { throw std::out_of_range("of the body"); }); },
              testing::ThrowsMessage<std::out_of_range>("of the body"));
  EXPECT_FALSE(isLocked(lock));
  EXPECT_THROW(store.withLock("s", []() -> int { throw 5; }), int);
  EXPECT_FALSE(isLocked(lock));
  EXPECT_EQ(store.withLock("s", [] { return 1; }), 1);
}

TEST(SessionFileStore, TheLocksOfTwoSessionsAreHeldAtOnce) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  store.withLock("a", [&] {
    store.withLock("b", [&] {
      EXPECT_TRUE(isLocked(directory / ".a.lock"));
      EXPECT_TRUE(isLocked(directory / ".b.lock"));
    });
    EXPECT_FALSE(isLocked(directory / ".b.lock"));
  });
}

TEST(SessionFileStore, IdsThatDifferInOtherCharactersShareFileAndLock) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  Session session;
  session.sessionId = "a/b:c";
  store.withLock("a/b:c", [&] {
    EXPECT_TRUE(isLocked(directory / ".abc.lock"));
    store.save(session);
  });
  EXPECT_EQ(store.load("abc").value().sessionId, "a/b:c");
  EXPECT_THAT(test::names(directory.path()), testing::ElementsAre(".abc.lock", "abc.json"));
  store.deleteSession("a.b.c");
  EXPECT_THAT(test::names(directory.path()), testing::ElementsAre(".abc.lock"));
}

TEST(SessionFileStore, TheLockFileNeverChanges) {
  const ScratchDirectory directory;
  const SessionFileStore store(directory.string());
  store.withLock("s", [] {});
  EXPECT_EQ(readFile(directory / ".s.lock"), "");
  writeFile(directory / ".s.lock", "not ours");
  struct stat before {};
  ::stat((directory / ".s.lock").c_str(), &before);
  Session session;
  session.sessionId = "s";
  store.withLock("s", [&] { store.save(session); });
  store.withLock("s", [&] { store.deleteSession("s"); });
  struct stat after {};
  ::stat((directory / ".s.lock").c_str(), &after);
  EXPECT_EQ(before.st_ino, after.st_ino);
  EXPECT_EQ(readFile(directory / ".s.lock"), "not ours");
}

}  // namespace
}  // namespace tavrin
