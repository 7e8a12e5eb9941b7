#include "tests/faults/SystemCallPoint.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string_view>

#include "tests/support/Strace.hpp"

namespace tavrin::test {

namespace {

using Subject = SystemCallPoint::Subject;

// What a static program asks the system before its main function is called.
constexpr std::array<std::string_view, 16> callsBeforeMain = {
    "execve",          "brk",       "arch_prctl", "set_tid_address",
    "set_robust_list", "rseq",      "prlimit64",  "readlink",
    "readlinkat",      "getrandom", "mprotect",   "mmap",
    "munmap",          "uname",     "getrlimit",  "readv"};

// Calls that cannot fail, or only for lack of memory.
constexpr std::array<std::string_view, 7> withoutErrors = {"getppid", "exit_group", "futex",   "brk",
                                                           "mmap",    "munmap",     "mprotect"};

// The file that a call is about, according to `strace -y`: that of the descriptor, or the first path.
std::string fileOf(const std::string& call) {
  const std::size_t argument = call.find('(') + 1;
  const bool hasDescriptor = argument < call.size() && call[argument] >= '0' && call[argument] <= '9';
  if (!hasDescriptor) return pathIn(call);
  const std::size_t open = call.find('<', argument);
  return call.substr(open + 1, call.find('>', open) - open - 1);
}

Subject subjectOf(const std::string& name, const std::string& call) {
  const std::string file = fileOf(call);
  const auto isIn = [&](std::string_view part) { return file.find(part) != std::string::npos; };
  if (name == "rt_sigaction") return Subject::signals;
  if (name == "getrandom") return Subject::random;
  if (call.starts_with("read(0<")) return Subject::input;
  if (file.starts_with("/proc/")) return Subject::process;
  if (file.ends_with("/.s.lock")) return Subject::lock;
  if (file.ends_with("/s.json")) return Subject::record;
  if (file.ends_with(".tmp")) return Subject::temporary;
  if (file.ends_with("/transcript.jsonl")) return Subject::transcript;
  if (file.ends_with("/.git")) return Subject::repository;
  if (isIn("/claude-code-sessions")) return Subject::title;
  if (isIn("/Library/Logs")) return Subject::log;
  if (name.starts_with("mkdir")) return Subject::sessionDirectory;
  return Subject::rest;
}

std::string processOf(const SystemCallPoint& point) {
  constexpr std::string_view directory = "/proc/";
  const std::string file = fileOf(point.call);
  return file.substr(directory.size(), file.find('/', directory.size()) - directory.size());
}

}  // namespace

bool SystemCallPoint::canFail() const {
  return subject != Subject::startOfProcess && std::ranges::find(withoutErrors, name) == withoutErrors.end();
}

bool SystemCallPoint::isLookUp() const {
  switch (subject) {
    case Subject::record:
      return !isRemoval();
    case Subject::transcript:
    case Subject::repository:
    case Subject::process:
    case Subject::title:
      return true;
    default:
      return false;
  }
}

bool SystemCallPoint::isNeededForEvent() const {
  switch (subject) {
    case Subject::sessionDirectory:
    case Subject::random:
    case Subject::temporary:
      return true;
    case Subject::lock:
      return name == "openat" || call.find("LOCK_EX") != std::string::npos;
    case Subject::input:
      return nth == 1;
    default:
      return false;
  }
}

bool SystemCallPoint::isNeededForLog() const {
  return subject == Subject::log && (name == "openat" || name.starts_with("mkdir") || name == "write" ||
                                     call.find("LOCK_EX") != std::string::npos);
}

bool SystemCallPoint::isReplacement() const {
  return subject == Subject::temporary && name.starts_with("rename");
}

bool SystemCallPoint::isRemoval() const {
  return subject == Subject::record && name.starts_with("unlink");
}

std::vector<SystemCallPoint> systemCallPoints(const Stage& stage, const Situation& situation) {
  constexpr std::size_t fewProcesses = 2;
  removeTraces(stage.path());
  EXPECT_EQ(run(underStrace(stage.path(), {"-y"}, {hookExecutable()}), stage.event(situation),
                {{"HOME", stage.string()}}),
            silentSuccess);
  std::vector<SystemCallPoint> points;
  std::map<std::string, std::size_t> counts;
  std::set<std::string> processes;
  std::size_t number = 0;
  bool isBeforeMain = true;
  for (const std::string& call : callsOfHook(stage.path())) {
    const std::string name = nameOf(call);
    isBeforeMain = isBeforeMain && std::ranges::find(callsBeforeMain, name) != callsBeforeMain.end();
    const SystemCallPoint point = {.call = call,
                                   .name = name,
                                   .nth = ++counts[name],
                                   .number = ++number,
                                   .subject = isBeforeMain ? Subject::startOfProcess : subjectOf(name, call)};
    if (number == 1) continue;
    if (point.subject == Subject::process && processes.size() == fewProcesses &&
        !processes.contains(processOf(point)))
      continue;
    if (point.subject == Subject::process) processes.insert(processOf(point));
    points.push_back(point);
  }
  return points;
}

}  // namespace tavrin::test
