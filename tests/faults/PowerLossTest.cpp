// Loss of power, on file systems in files (power-loss.sh). As an ordinary test, ext4 as it is usually
// mounted; with
// --full other file systems and options too, and more moments.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <map>

#include "tests/faults/Size.hpp"
#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {
namespace {

using Words = std::vector<std::string>;

struct FileSystem {
  std::string name;
  std::string type;
  std::string options;
  std::string size;
};

const std::vector<FileSystem> fileSystems = {
    {"ext4", "ext4", "defaults", "16M"},
    {"ext4, noauto_da_alloc", "ext4", "noauto_da_alloc", "16M"},
    {"xfs", "xfs", "defaults", "320M"},
    {"btrfs", "btrfs", "defaults", "160M"},
};

// The system calls with which a run makes the record and the log, and seconds after its end. ext4 writes its
// journal every five seconds, and the kernel writes what nobody syncs after about thirty.
const Words fewMoments = {"write", "rename", "exit_group", "0"};
const Words manyMoments = {"write", "close", "rename", "exit_group", "0"};
const Words laterMoments = {"1", "7", "40"};

// Why the test cannot be made, or nullopt.
std::optional<std::string> obstacle(const FileSystem& system) {
  if (::geteuid() != 0) return "only root can mount a file system";
  const ScratchDirectory directory;
  const std::string script = "truncate -s " + system.size + " image && mkfs." + system.type +
                             " image >/dev/null && mkdir disk && mount -o loop image disk";
  const Outcome outcome =
      run({"/usr/bin/env", "unshare", "-m", "sh", "-c", "cd \"$0\" && " + script, directory.path().string()},
          "", {{"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"}});
  if (outcome.exitStatus == 0) return std::nullopt;
  return "no " + system.type + " can be made and mounted here: " + outcome.error;
}

std::optional<std::string> textOf(const std::filesystem::path& file) {
  return std::filesystem::exists(file) ? std::optional(readFile(file)) : std::nullopt;
}

std::vector<std::string> callsIn(const std::optional<std::string>& record) {
  const std::optional<Session> session = record ? Session::decode(*record) : std::nullopt;
  return session ? session->inFlight : Words{"no record"};
}

// The record that a loss of power has left, in a word, and the calls in it.
struct Found {
  std::string name;
  Words calls;
};

Found found(const std::optional<std::string>& record, const std::optional<std::string>& old,
            const Words& newCalls) {
  if (!record) return {"none", {}};
  if (record == old) return {"old", callsIn(old)};
  if (callsIn(record) == newCalls) return {"new", newCalls};
  if (Session::decode(*record)) return {"another record", {"never"}};
  if (record->empty()) return {"empty", {}};
  return {record->find_first_not_of('\0') == std::string::npos ? "zeros" : "damaged", {}};
}

// Loses the power at each moment, checks what the next event makes of that, and prints the records found.
void loseThePower(const FileSystem& system, bool isReplaced, bool doOthersSync, const Words& moments) {
  const std::string title = system.name + ", " + (isReplaced ? "a record replaced" : "a new record") +
                            (doOthersSync ? ", another program syncs" : "");
  SCOPED_TRACE(title);
  const ScratchDirectory work;
  writeFile(work / "event-other", toolStart("other", "call-0"));
  for (int i = 0; i < 3; ++i)
    writeFile(work / ("event-" + std::to_string(i)), toolStart("s", "call-" + std::to_string(i)));
  Words words = {"/usr/bin/env",
                 "unshare",
                 "-m",
                 TAVRIN_POWER_LOSS,
                 hookExecutable().string(),
                 work.path().string(),
                 system.type,
                 system.options,
                 system.size,
                 isReplaced ? "replaced" : "new",
                 doOthersSync ? "sync" : "quiet"};
  words.insert(words.end(), moments.begin(), moments.end());
  ASSERT_EQ(run(words, "", {{"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"}}), silentSuccess);

  const std::optional<std::string> old = textOf(work / "old");
  ASSERT_EQ(old.has_value(), isReplaced);
  const Words newCalls = isReplaced ? Words{"call-0", "call-1"} : Words{"call-1"};
  std::string line;
  for (const std::string& moment : moments) {
    SCOPED_TRACE(moment);
    const std::filesystem::path result = work / "results" / moment;
    const Found record = found(textOf(result / "found"), old, newCalls);
    EXPECT_NE(record.name, "another record");
    Words expected = record.calls;
    expected.emplace_back("call-2");
    EXPECT_EQ(callsIn(textOf(result / "next")), expected) << "the record was: " << record.name;
    EXPECT_EQ(readFile(result / "output"), "");
    line += (line.empty() ? "" : ", ") + moment + ": " + record.name;
  }
  std::cout << "[   RUNS   ] " << title << ": " << line << '\n';
}

TEST(PowerLoss, LeavesARecordOrNoneAndTheNextEventIsHandled) {
  std::string leftOut;
  int number = 0;
  for (const FileSystem& system : fileSystems) {
    if (!isTried(system.name, number++, static_cast<int>(fileSystems.size()))) continue;
    if (const std::optional<std::string> reason = obstacle(system)) {
      leftOut += system.name + " is left out: " + *reason + "\n";
      continue;
    }
    for (const bool isReplaced : {false, true}) {
      const Words& moments = isFullSize() ? manyMoments : fewMoments;
      loseThePower(system, isReplaced, false, moments);
      loseThePower(system, isReplaced, true, moments);
      if (isFullSize()) loseThePower(system, isReplaced, false, laterMoments);
    }
  }
  if (!leftOut.empty()) GTEST_SKIP() << leftOut;
}

}  // namespace
}  // namespace tavrin::test
