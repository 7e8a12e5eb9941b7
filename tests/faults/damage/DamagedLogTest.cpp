// A log with damaged bytes. The log is never read, so it takes the next line all the same, and nothing else
// changes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <iostream>

#include "TavrinCore/Hook/HookLog.hpp"
#include "TavrinCore/Support/File.hpp"
#include "tests/faults/Size.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin::test {
namespace {

constexpr std::size_t fullSize = 1'000'000;
constexpr std::size_t step = 31;

// A log that takes one more line before it is rotated.
std::string fullLog() {
  std::string text;
  for (int i = 0; text.size() < fullSize; ++i)
    text += "2025-01-31T09:15:02Z claude 3f2a9c1d PreToolUse Bash#" + std::to_string(100'000 + i) +
            " → working\n";
  text.resize(fullSize);
  text.back() = '\n';
  return text;
}

char damaged(char byte) {
  return static_cast<char>(~static_cast<unsigned char>(byte));
}

std::string caseAt(std::size_t offset) {
  return "byte:" + std::to_string(offset);
}

TEST(DamagedLog, TakesTheNextLineWhicheverByteIsDamaged) {
  const ScratchDirectory directory;
  const auto path = directory / "hook.log";
  const HookLog log(path.string(), [] { return dateFromSeconds(1'738'314'902); });
  const std::string line = "2025-01-31T09:15:02Z next\n";
  std::string text = fullLog();
  writeFile(path, text);
  const FileDescriptor file = FileDescriptor::open(path.string(), O_RDWR);

  int number = 0;
  int cases = 0;
  for (std::size_t offset = 0; offset < text.size(); offset += step) {
    if (!isTried(caseAt(offset), number++)) continue;
    ++cases;
    text[offset] = damaged(text[offset]);
    ASSERT_EQ(::pwrite(file.number(), &text[offset], 1, static_cast<off_t>(offset)), 1);
    log.write("next");
    std::string end(line.size() + 1, '\0');
    ASSERT_EQ(::pread(file.number(), end.data(), end.size(), fullSize), static_cast<ssize_t>(line.size()))
        << caseAt(offset);
    ASSERT_EQ(end, line + '\0') << caseAt(offset);
    ASSERT_EQ(::ftruncate(file.number(), fullSize), 0);
  }
  EXPECT_EQ(cases, casesTried(32'259, 32'259));
  std::cout << "[   RUNS   ] " << cases << " damaged bytes\n";
  EXPECT_TRUE(readFile(path) == text) << "a byte changed that was not damaged";
  EXPECT_FALSE(std::filesystem::exists(directory / "hook.1.log"));
}

TEST(DamagedLog, IsMovedAsItIs) {
  const ScratchDirectory directory;
  const auto path = directory / "hook.log";
  std::string text = fullLog() + "\n";
  for (std::size_t offset = 0; offset < text.size(); offset += step) text[offset] = damaged(text[offset]);
  writeFile(path, text);
  HookLog(path.string(), [] { return dateFromSeconds(1'738'314'902); }).write("next");
  EXPECT_EQ(readFile(path), "2025-01-31T09:15:02Z next\n");
  EXPECT_TRUE(readFile(directory / "hook.1.log") == text);
}

TEST(DamagedLog, TakesTheNextLineOfARun) {
  const std::string whole = fullLog();
  constexpr int stride = 33;
  int number = 0;
  int cases = 0;
  const ScratchHome home;
  for (std::size_t offset = 0; offset < whole.size(); offset += step * step) {
    if (!isTried(caseAt(offset), number++, stride)) continue;
    SCOPED_TRACE(caseAt(offset));
    ++cases;
    std::string text = whole;
    text[offset] = damaged(text[offset]);
    writeFile(home.logFile(), text);
    EXPECT_EQ(runHook(home.path(), R"({"session_id":"s","hook_event_name":"Stop"})"), silentSuccess);
    const std::string log = readFile(home.logFile());
    EXPECT_TRUE(log.starts_with(text));
    EXPECT_THAT(log.substr(std::min(text.size(), log.size())),
                testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}Z claude s Stop  → idle\n"));
  }
  EXPECT_EQ(cases, casesTried(32, 1'041));
  std::cout << "[   RUNS   ] " << cases << " on damaged logs\n";
}

}  // namespace
}  // namespace tavrin::test
