#include "TavrinCore/Support/File.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/TavrinCore/Support/OtherProcesses.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin {
namespace {

using test::endedWell;
using test::inAnotherProcess;
using test::Pipe;
using test::ScratchDirectory;
using test::writeFile;

mode_t permissionsOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

TEST(File, ContentsAreTheWholeFileWhateverItsBytesAndSize) {
  const ScratchDirectory scratch;
  for (const std::size_t size : {0U, 1U, 16'383U, 16'384U, 16'385U, 100'000U}) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(i * 7);
    writeFile(scratch / "f", bytes);
    EXPECT_EQ(File::contents(scratch / "f"), bytes) << size;
  }
}

TEST(File, ContentsBeyondTheLimitAreNullopt) {
  const ScratchDirectory scratch;
  for (const std::size_t size : {0U, 1U, 16'383U, 16'384U, 16'385U, 40'000U}) {
    const std::string bytes(size, 'x');
    writeFile(scratch / "f", bytes);
    EXPECT_EQ(File::contents(scratch / "f", size), bytes) << size;
    EXPECT_EQ(File::contents(scratch / "f", size + 1), bytes) << size;
    if (size > 0) {
      EXPECT_EQ(File::contents(scratch / "f", size - 1), std::nullopt) << size;
      EXPECT_EQ(File::contents(scratch / "f", 0), std::nullopt) << size;
    }
  }
  // A file that never ends.
  EXPECT_EQ(File::contents("/dev/zero", 100'000), std::nullopt);
}

TEST(File, AFileThatCannotBeReadIsNullopt) {
  const ScratchDirectory scratch;
  std::filesystem::create_symlink("loop", scratch / "loop");
  EXPECT_EQ(File::contents(scratch / "missing"), std::nullopt);
  EXPECT_EQ(File::contents(scratch.string()), std::nullopt);
  EXPECT_EQ(File::contents(scratch / "loop"), std::nullopt);
  EXPECT_EQ(File::contents(""), std::nullopt);
  EXPECT_EQ(File::text(scratch / "missing"), std::nullopt);
}

TEST(File, APipeWithoutAWriterReadsAsEmptyAndStopsNobody) {
  const ScratchDirectory scratch;
  const std::string path = scratch / "pipe";
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(File::contents(path), "");
  EXPECT_EQ(File::text(path), "");
  // A pipe whose writer writes nothing has nothing to read.
  const FileDescriptor both = FileDescriptor::open(path, O_RDWR);
  ASSERT_TRUE(both.isOpen());
  EXPECT_EQ(File::contents(path), std::nullopt);
}

TEST(File, TextMustBeUtf8) {
  const ScratchDirectory scratch;
  writeFile(scratch / "good", "né 😀");
  writeFile(scratch / "bad", "n\xe9");
  EXPECT_EQ(File::text(scratch / "good"), "né 😀");
  EXPECT_EQ(File::text(scratch / "good", 7), std::nullopt);
  EXPECT_EQ(File::text(scratch / "bad"), std::nullopt);
  EXPECT_EQ(File::contents(scratch / "bad"), "n\xe9");
}

TEST(File, ExistenceKindAndSizeFollowLinks) {
  const ScratchDirectory scratch;
  writeFile(scratch / "f", "12345");
  std::filesystem::create_directory(scratch / "d");
  std::filesystem::create_symlink("f", scratch / "toFile");
  std::filesystem::create_symlink("d", scratch / "toDirectory");
  std::filesystem::create_symlink("missing", scratch / "toNothing");
  struct Case {
    const char* name;
    bool exists;
    bool isDirectory;
  };
  for (const auto& [name, exists, isDirectory] :
       {Case{"f", true, false}, Case{"d", true, true}, Case{"toFile", true, false},
        Case{"toDirectory", true, true}, Case{"toNothing", false, false}, Case{"missing", false, false},
        Case{"f/below", false, false}}) {
    EXPECT_EQ(File::exists(scratch / name), exists) << name;
    EXPECT_EQ(File::isDirectory(scratch / name), isDirectory) << name;
    EXPECT_EQ(File::size(scratch / name).has_value(), exists) << name;
  }
  EXPECT_EQ(File::size(scratch / "f"), 5U);
  EXPECT_EQ(File::size(scratch / "toFile"), 5U);
}

TEST(File, TheSizeOfALargeFileIsWhole) {
  const ScratchDirectory scratch;
  writeFile(scratch / "f", "");
  std::filesystem::resize_file(scratch / "f", 5'000'000'000);
  EXPECT_EQ(File::size(scratch / "f"), 5'000'000'000U);
}

TEST(File, WritingAllGoesOnAfterShortWrites) {
  // A pipe takes about 65,536 bytes at once, and the rest as they are read.
  Pipe pipe;
  std::string bytes;
  for (std::size_t i = 0; i < 1'000'000; ++i) bytes += static_cast<char>(i * 31);
  bool written = false;
  std::thread writer([&] {
    written = File::writeAll(pipe.writeEnd.number(), bytes);
    pipe.writeEnd.close();
  });
  std::string got;
  std::array<char, 10'000> buffer{};
  for (ssize_t count = 1; count > 0;) {
    count = File::read(pipe.readEnd.number(), buffer.data(), buffer.size());
    if (count > 0) got.append(buffer.data(), static_cast<std::size_t>(count));
  }
  writer.join();
  EXPECT_TRUE(written);
  EXPECT_TRUE(got == bytes);
}

TEST(File, WritingAllSaysWhyItFailed) {
  const ScratchDirectory scratch;
  const std::string path = scratch / "f";
  const FileDescriptor full = FileDescriptor::open("/dev/full", O_WRONLY);
  if (full.isOpen()) {
    errno = 0;
    EXPECT_FALSE(File::writeAll(full.number(), "x"));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_TRUE(File::writeAll(full.number(), ""));
  }
  // Past the largest allowed size, after a short write up to it.
  EXPECT_EQ(inAnotherProcess([&] {
              ::signal(SIGXFSZ, SIG_IGN);
              const rlimit limit = {.rlim_cur = 10, .rlim_max = 10};
              ::setrlimit(RLIMIT_FSIZE, &limit);
              const FileDescriptor file = FileDescriptor::open(path, O_CREAT | O_WRONLY, 0600);
              errno = 0;
              return File::writeAll(file.number(), std::string(20, 'x')) ? 0 : errno;
            }),
            EFBIG);
  EXPECT_EQ(File::size(path), 10U);
  errno = 0;
  EXPECT_EQ(File::write(-1, "x"), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST(File, DirectoriesAreMadeWithAllTheirParents) {
  const ScratchDirectory scratch;
  EXPECT_TRUE(File::makeDirectories(scratch / "a/b c/ö/d"));
  EXPECT_TRUE(File::isDirectory(scratch / "a/b c/ö/d"));
  EXPECT_TRUE(File::makeDirectories(scratch / "a/b c/ö/d")) << "it is there already";
  EXPECT_TRUE(File::makeDirectories(scratch / "a/b c/ö"));
  EXPECT_TRUE(File::makeDirectories(scratch / "x/y/"));
  EXPECT_TRUE(File::isDirectory(scratch / "x/y"));
  EXPECT_TRUE(File::makeDirectories("/"));
  std::filesystem::create_directory_symlink("a", scratch / "link");
  EXPECT_TRUE(File::makeDirectories(scratch / "link"));
  EXPECT_TRUE(File::makeDirectories(scratch / "link/e/f"));
  EXPECT_TRUE(File::isDirectory(scratch / "a/e/f"));
}

TEST(File, DirectoriesHaveThePermissionsThatTheUmaskLeaves) {
  const ScratchDirectory scratch;
  const mode_t before = ::umask(0027);
  EXPECT_TRUE(File::makeDirectories(scratch / "a/b"));
  ::umask(0077);
  EXPECT_TRUE(File::makeDirectories(scratch / "c"));
  ::umask(before);
  EXPECT_EQ(permissionsOf(scratch / "a"), 0750U);
  EXPECT_EQ(permissionsOf(scratch / "a/b"), 0750U);
  EXPECT_EQ(permissionsOf(scratch / "c"), 0700U);
}

TEST(File, WhatStandsInTheWayOfADirectoryIsNamedByErrno) {
  const ScratchDirectory scratch;
  writeFile(scratch / "file", "x");
  std::filesystem::create_symlink("missing", scratch / "toNothing");
  std::filesystem::create_symlink("loop", scratch / "loop");
  const auto codeOf = [](const std::string& path) {
    errno = 0;
    return File::makeDirectories(path) ? 0 : errno;
  };
  EXPECT_EQ(codeOf(scratch / "file"), EEXIST);
  EXPECT_EQ(codeOf(scratch / "file/below"), ENOTDIR);
  EXPECT_EQ(codeOf(scratch / "file/below/further"), ENOTDIR);
  EXPECT_EQ(codeOf(scratch / "toNothing"), EEXIST);
  EXPECT_EQ(codeOf(scratch / "toNothing/below"), EEXIST);
  EXPECT_EQ(codeOf(scratch / "loop/below"), ELOOP);
  EXPECT_EQ(codeOf(scratch / std::string(300, 'x')), ENAMETOOLONG);
  EXPECT_EQ(codeOf(""), ENOENT);
  EXPECT_EQ(test::readFile(scratch / "file"), "x");
}

TEST(File, ParentsMadeOnTheWayStayWhenTheRestFails) {
  const ScratchDirectory scratch;
  errno = 0;
  EXPECT_FALSE(File::makeDirectories(scratch / ("a/b/" + std::string(300, 'x'))));
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_TRUE(File::isDirectory(scratch / "a/b"));
}

TEST(File, ADirectoryThatMayNotBeWrittenInKeepsNewOnesOut) {
  const ScratchDirectory scratch;
  ASSERT_EQ(::chmod(scratch.path().c_str(), 0755), 0);
  const std::string locked = scratch / "locked";
  std::filesystem::create_directories(locked + "/there");
  ASSERT_EQ(::chmod(locked.c_str(), 0555), 0);
  const auto asSomebody = [](const std::function<int()>& work) {
    return inAnotherProcess([&] {
      // Permissions do not stop the superuser.
      constexpr uid_t nobody = 65'534;
      if (::geteuid() == 0 && ::setuid(nobody) != 0) return 200;
      return work();
    });
  };
  EXPECT_EQ(asSomebody([&] { return File::makeDirectories(locked + "/new/below") ? 0 : errno; }), EACCES);
  EXPECT_EQ(asSomebody([&] { return File::makeDirectories(locked + "/new") ? 0 : errno; }), EACCES);
  EXPECT_EQ(asSomebody([&] { return File::makeDirectories(locked + "/there") ? 0 : errno; }), 0);
  EXPECT_EQ(asSomebody([&] { return File::makeDirectories(locked) ? 0 : errno; }), 0);
  ASSERT_EQ(::chmod(locked.c_str(), 0000), 0);
  EXPECT_EQ(asSomebody([&] { return File::exists(locked + "/there") ? 1 : 0; }), 0);
  EXPECT_EQ(asSomebody([&] { return File::size(locked + "/there") ? 1 : 0; }), 0);
  EXPECT_EQ(asSomebody([&] { return File::contents(locked + "/there") ? 1 : 0; }), 0);
}

TEST(File, ManyProcessesMayMakeTheSameDirectoriesAtOnce) {
  const ScratchDirectory scratch;
  constexpr int processes = 8;
  for (int round = 0; round < 20; ++round) {
    const std::string top = scratch / std::to_string(round);
    Pipe start;
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
      const pid_t child = ::fork();
      if (child == 0) {
        // All start together when the other end is closed.
        start.writeEnd.close();
        start.hears();
        ::_exit(File::makeDirectories(top + "/a/b/c/d/e/f") ? 0 : 1);
      }
      children.push_back(child);
    }
    start.writeEnd.close();
    for (const pid_t child : children) EXPECT_TRUE(endedWell(child)) << "round " << round;
    EXPECT_TRUE(File::isDirectory(top + "/a/b/c/d/e/f"));
  }
}

TEST(File, TheCurrentDirectoryIsRootWhenItHasNoName) {
  const ScratchDirectory scratch;
  std::filesystem::create_directory(scratch / "gone");
  EXPECT_EQ(File::currentDirectory(), std::filesystem::current_path().string());
  EXPECT_EQ(inAnotherProcess([&] {
              if (::chdir((scratch / "gone").c_str()) != 0) return 1;
              if (File::currentDirectory() != (scratch / "gone").string()) return 2;
              if (::rmdir((scratch / "gone").c_str()) != 0) return 3;
              return File::currentDirectory() == "/" ? 0 : 4;
            }),
            0);
}

TEST(File, ALinkIsReadAsItIsWritten) {
  const test::ScratchDirectory scratch;
  for (const std::string& target : {std::string("../a b"), std::string("/no/such"), std::string(3000, 'a')}) {
    std::filesystem::remove(scratch / "link");
    ASSERT_EQ(::symlink(target.c_str(), (scratch / "link").c_str()), 0);
    EXPECT_EQ(File::readLink((scratch / "link").string()), target);
  }
}

TEST(File, WhatIsNotALinkIsNulloptAndErrnoSaysWhy) {
  const test::ScratchDirectory scratch;
  EXPECT_EQ(File::readLink(scratch.string()), std::nullopt);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(File::readLink((scratch / "missing").string()), std::nullopt);
  EXPECT_EQ(errno, ENOENT);
}

TEST(File, OneReadReturnsAShortFileWhole) {
  const test::ScratchDirectory scratch;
  test::writeFile(scratch / "short", "612 (claude) S 1");
  EXPECT_EQ(File::oneRead((scratch / "short").string()), "612 (claude) S 1");
}

TEST(File, OneReadEndsAtItsLimit) {
  const test::ScratchDirectory scratch;
  test::writeFile(scratch / "long", std::string(File::largestOneRead + 1, 'x'));
  EXPECT_EQ(File::oneRead((scratch / "long").string()), std::string(File::largestOneRead, 'x'));
}

TEST(File, OneReadOfAFileThatCannotBeReadIsNullopt) {
  const test::ScratchDirectory scratch;
  EXPECT_EQ(File::oneRead((scratch / "missing").string()), std::nullopt);
  EXPECT_EQ(File::oneRead(scratch.string()), std::nullopt);
}

// The kernel would cut the path at the zero byte and open another file.
TEST(File, APathWithAZeroByteCountsAsMissing) {
  const test::ScratchDirectory scratch;
  test::writeFile(scratch / "file", "text");
  const std::string path = (scratch / "file").string() + std::string("\0x", 2);
  EXPECT_FALSE(File::exists(path));
  EXPECT_FALSE(File::isDirectory(scratch.string() + std::string("\0x", 2)));
  EXPECT_EQ(File::size(path), std::nullopt);
  EXPECT_EQ(File::contents(path), std::nullopt);
  std::filesystem::create_symlink("file", scratch / "link");
  EXPECT_EQ(File::readLink((scratch / "link").string() + std::string("\0x", 2)), std::nullopt);
  File::remove(path);
  EXPECT_TRUE(File::exists((scratch / "file").string()));
}

TEST(File, AWorkingDirectoryWhoseNameIsNotUtf8IsTheRoot) {
  const test::ScratchDirectory scratch;
  const std::filesystem::path before = std::filesystem::current_path();
  std::error_code refusal;
  std::filesystem::create_directory(scratch / "d\xff", refusal);
  // A Mac's file system has no such names.
  if (refusal == std::errc::illegal_byte_sequence) return;
  ASSERT_FALSE(refusal);
  std::filesystem::current_path(scratch / "d\xff");
  EXPECT_EQ(File::currentDirectory(), "/");
  std::filesystem::current_path(scratch.path());
  EXPECT_EQ(File::currentDirectory(), scratch.string());
  std::filesystem::current_path(before);
}

}  // namespace
}  // namespace tavrin
