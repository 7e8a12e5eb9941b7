// How many instructions a run takes, as callgrind (valgrind(1)) counts them. The number is the same in every
// run, so a slower program is noticed even on a busy machine. A program that only reads its input is counted
// too and subtracted, because its instructions belong to the C library. The count of each function stays in
// the build directory, for callgrind_annotate(1).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "bench/BenchHome.hpp"
#include "bench/EventPayload.hpp"
#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

using Count = std::int64_t;

// The instructions of `program` for one event, in a process that the agent's shell has started.
Count instructions(const bench::BenchHome& home, const std::filesystem::path& program,
                   std::string_view event) {
  const std::string profile = TAVRIN_PROFILES "/" + program.filename().string() + ".callgrind";
  const Outcome outcome = run({chainLink(), home / "links", "claude", "sh", "--", "/usr/bin/env", "valgrind",
                               "--tool=callgrind", "--callgrind-out-file=" + profile, program},
                              event, {{"HOME", home.string()}, {"PATH", "/usr/local/bin:/usr/bin:/bin"}});
  EXPECT_EQ(outcome.exitStatus, 0) << outcome;
  const std::string_view label = "Collected : ";
  const std::size_t place = outcome.error.find(label);
  if (place == std::string::npos) {
    ADD_FAILURE() << "nothing was counted: " << outcome;
    return 0;
  }
  return std::stoll(outcome.error.substr(place + label.size()));
}

// The recorded numbers, by processor and compiler.
std::map<std::string, Count> records() {
  std::istringstream lines(readFile(TAVRIN_INSTRUCTIONS));
  std::map<std::string, Count> found;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('#')) continue;
    std::istringstream words(line);
    std::string processor;
    std::string compiler;
    Count count = 0;
    if (!(words >> processor >> compiler >> count)) throw std::runtime_error("not a record: " + line);
    found[processor + " " + compiler] = count;
  }
  return found;
}

TEST(Instructions, OneEventTakesAsManyInstructionsAsRecorded) {
  const bench::BenchHome home(bench::recordedSession);
  const std::string event = bench::eventPayload(3'000);
  const Count hook = instructions(home, hookExecutable(), event);
  EXPECT_THAT(home.session()->inFlight, testing::SizeIs(1)) << "the event was not handled";
  const Count counted = hook - instructions(home, TAVRIN_FLOOR, event);
  std::cout << "Over the floor: " << TAVRIN_BUILT_WITH << " " << counted << '\n';

  const std::map<std::string, Count> recorded = records();
  ASSERT_FALSE(recorded.empty());
  Count most = 0;
  for (const auto& [built, count] : recorded) most = std::max(most, count);
  const auto record = recorded.find(TAVRIN_BUILT_WITH);
  if (record != recorded.end()) {
    EXPECT_NEAR(static_cast<double>(counted), static_cast<double>(record->second),
                static_cast<double>(record->second) * 0.1)
        << "if that is meant, write the new number into bench/instructions.txt";
  } else {
    // With another compiler or processor, only the order of magnitude can be checked.
    EXPECT_LE(counted, 2 * most);
    EXPECT_GE(counted, most / 4);
  }
}

// How many instructions each further byte of a payload takes, from 100 KB to 1 MB.
double instructionsPerByte(std::string (*payload)(std::size_t size)) {
  const bench::BenchHome home(bench::recordedSession);
  const Count few = instructions(home, hookExecutable(), payload(100'000));
  const Count many = instructions(home, hookExecutable(), payload(1'000'000));
  EXPECT_GT(many, few);
  return static_cast<double>(many - few) / 900'000;
}

// Whether tavrin-hook can read long strings with AVX2 here.
bool isWideReaderUsed() {
#if __has_include(<sys/platform/x86.h>)
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi");
#else
  return false;
#endif
}

// The text that nobody asks for is looked at 64 bytes at a time, with escapes and characters beyond ASCII
// too. One byte at a time it takes 17 instructions.
TEST(Instructions, EachByteOfALargePayloadTakesFew) {
  const double recorded = instructionsPerByte(bench::eventPayload);
  const double escaped = instructionsPerByte(bench::escapedEventPayload);
  std::cout << "For each byte: " << recorded << ", with many escapes: " << escaped << '\n';
  EXPECT_LE(recorded, isWideReaderUsed() ? 2.5 : 5);
  EXPECT_LE(escaped, isWideReaderUsed() ? 4 : 8);
  EXPECT_GE(recorded, 1) << "the payload was not looked at";
}

}  // namespace
}  // namespace tavrin::test
