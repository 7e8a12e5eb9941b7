// What the real executable does under limits that leave little more than it needs to start.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

Outcome runLimited(const ScratchHome& home, const std::string& limit, std::string_view input) {
  return run({confined(), limit, hookExecutable()}, input, {{"HOME", home.string()}});
}

std::string deepEvent(char open, char close) {
  constexpr std::size_t depth = 100'000;
  std::string event = toolStart("s", "call-1");
  event.insert(event.size() - 1, ",\"a\":" + std::string(depth, open) + std::string(depth, close));
  return event;
}

TEST(TightLimits, AStackOf64KibibytesIsEnoughForAnyInput) {
  const std::string stack = "stack=" + std::to_string(64 << 10);
  SeededHome home;
  std::size_t refused = 0;
  for (const std::string& input :
       {deepEvent('[', ']'), std::string(100'000, '['), std::string(1'000'000, '{'),
        std::string(1'000'000, '"'), std::string(2'000'000, '['), std::string("garbage"), std::string()}) {
    EXPECT_EQ(runLimited(home, stack, input), silentSuccess);
    home.expectUntouched();
    ++refused;
  }
  EXPECT_EQ(home.newLogLines().size(), refused);

  std::string event = toolStart("s", "call-1", "/no/such/directory/" + std::string(500'000, 'd'));
  event.insert(event.size() - 1, R"(,"transcript_path":"/no/such/file")");
  EXPECT_EQ(runLimited(home, stack, event), silentSuccess);
  home.expectUpdated("call-1");
  home.expectNextEventWorks();
}

TEST(TightLimits, AStackOf64KibibytesIsEnoughToMakeManyDirectories) {
  const ScratchDirectory scratch;
  std::string home = scratch.string();
  while (home.size() < 3500) home += "/" + std::string(20, 'd');
  const std::string stack = "stack=" + std::to_string(64 << 10);
  EXPECT_EQ(run({confined(), stack, hookExecutable()}, toolStart("s", "call-1"), {{"HOME", home}}),
            silentSuccess);
  EXPECT_TRUE(std::filesystem::exists(home + "/Library/Application Support/Tavrin/sessions/s.json"));
}

// The address space in KiB that a run uses while it waits for its input.
std::size_t kibibytesAtFirst(const ScratchHome& home) {
  const Running process = startHook(home);
  process->write("x");
  process->waitUntilInputIsRead();
  std::istringstream status(readFile("/proc/" + std::to_string(process->pid()) + "/status"));
  for (std::string word; status >> word;) {
    std::size_t size = 0;
    if (word == "VmSize:" && status >> size) return size;
  }
  throw std::runtime_error("no VmSize");
}

TEST(TightLimits, MemoryThatRunsOutAnywhereLeavesTheOldRecordOrTheNewOne) {
  // Everything that a run keeps is large here, so each of its steps asks for memory that may be missing.
  const std::string call(50'000, 'c');
  const std::string event = toolStart("s", call, "/" + std::string(50'000, 'd'));
  const ScratchHome probe;
  const std::size_t first = kibibytesAtFirst(probe);
  SeededHome home;
  constexpr std::size_t page = 4;
  constexpr std::size_t range = 2048;
  int kept = 0;
  int replaced = 0;
  for (std::size_t size = first; size < first + range; size += page) {
    SCOPED_TRACE(size);
    writeFile(home.record(), home.oldText());
    ASSERT_EQ(runLimited(home, "as=" + std::to_string(size << 10), event), silentSuccess);
    if (readFile(home.record()) == home.oldText()) {
      home.expectUntouched();
      ++kept;
    } else {
      home.expectUpdated(call);
      ++replaced;
    }
  }
  EXPECT_EQ(kept + replaced, static_cast<int>(range / page));
  EXPECT_GT(kept, 10);
  EXPECT_GT(replaced, 10);
  home.expectNextEventWorks();
}

TEST(TightLimits, TooFewDescriptorsLeaveTheOldRecordOrTheNewOne) {
  int kept = 0;
  int replaced = 0;
  for (int descriptors = 0; descriptors <= 8; ++descriptors) {
    SCOPED_TRACE(descriptors);
    SeededHome home;
    const std::string option = "nofile=" + std::to_string(descriptors);
    EXPECT_EQ(runLimited(home, option, toolStart("s", "call-1")), silentSuccess);
    if (readFile(home.record()) == home.oldText()) {
      home.expectUntouched();
      ++kept;
    } else {
      home.expectUpdated("call-1");
      EXPECT_EQ(stored(home, "s").value().inFlight, (std::vector<std::string>{"call-0", "call-1"}));
      ++replaced;
    }
    home.expectNextEventWorks();
  }
  // The three standard ones, the lock, and one file at a time.
  EXPECT_GE(kept, 4);
  EXPECT_GE(replaced, 1);
}

TEST(TightLimits, AnOversizedPayloadTakesNoMoreMemoryThanTheLargestOneThatIsRead) {
  const ScratchHome home;
  EXPECT_EQ(runLimited(home, "as=" + std::to_string(8 << 20), std::string(64 << 20, 'x')), silentSuccess);
  EXPECT_THAT(logLines(home), testing::ElementsAre("error: payload of 67108864 bytes rejected"));
}

}  // namespace
}  // namespace tavrin::test
