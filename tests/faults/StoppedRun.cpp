#include "tests/faults/StoppedRun.hpp"

#include <gtest/gtest.h>
#include <poll.h>

#include <csignal>
#include <stdexcept>

#include "tests/support/Strace.hpp"

namespace tavrin::test {

namespace {

// The process that strace reports as stopped; nullopt until there is one.
std::optional<pid_t> stoppedIn(const std::filesystem::path& directory) {
  constexpr std::string_view prefix = "trace.";
  for (const std::filesystem::path& trace : tracesIn(directory)) {
    if (readFile(trace).find("--- stopped by SIGSTOP ---") != std::string::npos)
      return std::stoi(trace.filename().string().substr(prefix.size()));
  }
  return std::nullopt;
}

}  // namespace

StoppedRun::StoppedRun(const Stage& stage, const Situation& situation, const SystemCallPoint& point) {
  constexpr int milliseconds = 1;
  removeTraces(stage.path());
  const std::string option = "inject=" + point.name + ":signal=STOP:when=" + std::to_string(point.nth);
  strace_ = start(underStrace(stage.path(), {"-e", option}, {hookExecutable()}), {{"HOME", stage.string()}});
  strace_->write(stage.event(situation));
  strace_->closeInput();
  for (;;) {
    if (const std::optional<pid_t> stopped = stoppedIn(stage.path())) {
      pid_ = *stopped;
      return;
    }
    if (hasEnded(strace_->pid())) throw std::runtime_error("the run did not stop");
    ::poll(nullptr, 0, milliseconds);
  }
}

StoppedRun::~StoppedRun() {
  if (strace_) kill();
}

void StoppedRun::kill() {
  EXPECT_EQ(::kill(pid_, SIGKILL), 0);
  EXPECT_EQ(strace_->wait().signal, SIGKILL);
  strace_.reset();
}

void StoppedRun::goOn() {
  EXPECT_EQ(::kill(pid_, SIGCONT), 0);
  EXPECT_EQ(strace_->wait(), silentSuccess);
  strace_.reset();
}

}  // namespace tavrin::test
