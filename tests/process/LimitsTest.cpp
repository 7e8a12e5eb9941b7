// What the real executable does if files may not grow or streams are missing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

using testing::ElementsAre;

const std::string updatedLine = "claude s PreToolUse Bash#call-1 \u2192 working";

Outcome runConfined(const ScratchHome& home, std::vector<std::string> options, std::string_view input) {
  options.insert(options.begin(), confined());
  options.push_back(hookExecutable());
  return run(options, input, {{"HOME", home.string()}});
}

TEST(Limits, ARecordOrALogCutShortAtAnyByteLeavesTheOldRecordOrTheNewOne) {
  SeededHome home;
  const std::string event = toolStart("s", "call-1");
  EXPECT_EQ(runHook(home.path(), event), silentSuccess);
  const std::size_t whole = std::filesystem::file_size(home.record());
  ASSERT_GT(whole, home.oldText().size());

  int kept = 0;
  int replaced = 0;
  for (std::size_t limit = 0; limit <= whole + 64; ++limit) {
    SCOPED_TRACE(limit);
    writeFile(home.record(), home.oldText());
    std::filesystem::remove(home.logFile());
    ASSERT_EQ(runConfined(home, {"fsize=" + std::to_string(limit)}, event), silentSuccess);
    if (limit < whole) {
      home.expectUntouched();
      ++kept;
    } else {
      home.expectUpdated("call-1");
      ++replaced;
    }
    ASSERT_LE(std::filesystem::file_size(home.logFile()), limit);
  }
  EXPECT_EQ(kept, static_cast<int>(whole));
  EXPECT_EQ(replaced, 65);
  EXPECT_GT(kept, 200);
  std::filesystem::remove(home.logFile());
  home.expectNextEventWorks();
}

TEST(Limits, ALogThatMayNotGrowLosesOnlyItsLine) {
  SeededHome home;
  writeFile(home.logFile(), std::string(10'000, '\n'));
  ASSERT_EQ(runConfined(home, {"fsize=10000"}, toolStart("s", "call-1")), silentSuccess);
  home.expectUpdated("call-1");
  EXPECT_EQ(std::filesystem::file_size(home.logFile()), 10'000U);
  home.expectNextEventWorks();
}

TEST(Limits, TheThreeStandardDescriptorsMayBeClosedInAnyCombination) {
  for (unsigned combination = 0; combination < 8; ++combination) {
    SCOPED_TRACE(combination);
    SeededHome home;
    std::vector<std::string> options;
    for (unsigned descriptor = 0; descriptor < 3; ++descriptor) {
      if ((combination >> descriptor & 1U) != 0) options.push_back("close=" + std::to_string(descriptor));
    }
    EXPECT_EQ(runConfined(home, options, toolStart("s", "call-1")), silentSuccess);
    if ((combination & 1U) != 0) {
      home.expectUntouched();
      EXPECT_THAT(home.newLogLines(), ElementsAre(errorLine(0)));
    } else {
      home.expectUpdated("call-1");
      EXPECT_THAT(home.newLogLines(), ElementsAre(updatedLine));
    }
    EXPECT_EQ(readFile(home.sessions() / ".s.lock"), "");
    home.expectNextEventWorks();
  }
}

TEST(Limits, OutputThatGoesNowhereIsNeverMissed) {
  for (const std::string redirection :
       {">&- 2>&-", ">/dev/full 2>&1", ">/dev/null 2>/dev/full", "1<&0 2<&0"}) {
    // A Mac has no such device.
    if (redirection.find("/dev/full") != std::string::npos && !std::filesystem::exists("/dev/full")) continue;
    SCOPED_TRACE(redirection);
    SeededHome home;
    const std::string script = "exec \"$0\" " + redirection;
    EXPECT_EQ(
        run({"/bin/sh", "-c", script, hookExecutable()}, toolStart("s", "call-1"), {{"HOME", home.string()}}),
        silentSuccess);
    home.expectUpdated("call-1");
    EXPECT_THAT(home.newLogLines(), ElementsAre(updatedLine));
  }
}

TEST(Limits, NothingIsEverWrittenOnStandardOutputOrError) {
  SeededHome home;
  const std::string script = "\"$0\" >out 2>err; echo status $?";
  for (const std::string& input :
       {toolStart("s", "call-1"), std::string("garbage"), std::string(), std::string(1'000'001, ' '),
        std::string(R"({"session_id":"s","hook_event_name":"SessionEnd"})")}) {
    const Outcome outcome = run({"/bin/sh", "-c", "cd \"$HOME\" && " + script, hookExecutable()}, input,
                                {{"HOME", home.string()}});
    EXPECT_EQ(outcome.output, "status 0\n");
    EXPECT_EQ(readFile(home / "out") + readFile(home / "err"), "");
  }
}

}  // namespace
}  // namespace tavrin::test
