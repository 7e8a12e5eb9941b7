// Plays one of many agents that run the hook command for the same session, one event after another.
//
//   hook-caller HOOK HOME SESSION NAME events COUNT        COUNT events
//   hook-caller HOOK HOME SESSION NAME kills COUNT SEED    events, each run but the first killed after some
//                                                          time, until COUNT of them had not ended by then
//
// SESSION has at most 8 characters, NAME is a letter. It opens calls named "NAME-0000" and so on, and closes
// the oldest as soon as four are open. Nobody else touches them, so it knows after each event which of them
// the record must hold. It begins when its input ends. For each event it prints a line with a verdict and the
// event's line in the log:
//
//   done LINE       the run ended by itself, and the record shows the event
//   late LINE       the run was killed, and the record shows the event
//   early LINE      the run was killed, and the record does not show the event
//   lost LINE       something is missing, although the run ended by itself or the record showed it before
//
// At the end it prints "open CALL" for each call that it left open. Anything unexpected ends it with a
// complaint.

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <deque>
#include <exception>
#include <filesystem>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "tests/support/Input.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin::test {
namespace {

using Calls = std::deque<std::string>;
using Microseconds = std::chrono::microseconds;

class Caller {
 public:
  Caller(std::string hook, const std::string& home, std::string session, std::string name)
      : hook_(std::move(hook)),
        home_(home),
        session_(std::move(session)),
        name_(std::move(name)),
        store_(SessionFileStore::defaultDirectory(home)) {}

  // Sends the next event, and kills its run after `delay`, if any. Returns whether the run was killed.
  bool send(const std::optional<Microseconds>& delay = std::nullopt) {
    constexpr std::size_t mostOpen = 4;
    Calls next = open_;
    std::string event;
    std::string call;
    if (open_.size() < mostOpen) {
      event = "PreToolUse";
      call = newCall();
      next.push_back(call);
    } else {
      event = "PostToolUse";
      call = open_.front();
      next.pop_front();
    }
    const bool killed = run(event, call, delay);
    const Calls found = ownCalls();
    std::string verdict = "lost";
    if (found == next) verdict = killed ? "late" : "done";
    if (found == open_ && killed) verdict = "early";
    report_ += verdict + " claude " + session_ + " " + event + " #" + call + " \u2192 working\n";
    open_ = found;
    return killed;
  }

  std::string report() const {
    std::string text = report_;
    for (const std::string& call : open_) text += "open " + call + "\n";
    return text;
  }

 private:
  std::string newCall() {
    std::array<char, 8> digits{};
    std::snprintf(digits.data(), digits.size(), "-%04d", opened_++);
    return name_ + digits.data();
  }

  bool run(const std::string& event, const std::string& call,
           const std::optional<Microseconds>& delay) const {
    Subprocess process({hook_}, {{"HOME", home_}});
    process.write(R"({"session_id":")" + session_ + R"(","hook_event_name":")" + event +
                  R"(","tool_use_id":")" + call + "\"}");
    process.closeInput();
    if (delay) {
      std::this_thread::sleep_for(*delay);
      ::kill(process.pid(), SIGKILL);
    }
    Outcome outcome = process.wait();
    const bool killed = delay && outcome.signal == SIGKILL;
    if (killed) outcome = {.exitStatus = 0, .signal = 0, .output = outcome.output, .error = outcome.error};
    if (outcome != silentSuccess) throw std::runtime_error("a run did not end as it must");
    return killed;
  }

  // This caller's calls in the record. No run may leave a record that cannot be read.
  Calls ownCalls() const {
    const std::optional<Session> record = store_.load(session_);
    if (!record && std::filesystem::exists(store_.fileURL(session_)))
      throw std::runtime_error("half a record");
    Calls own;
    if (!record) return own;
    std::ranges::copy_if(record->inFlight, std::back_inserter(own),
                         [&](const std::string& call) { return call.starts_with(name_ + "-"); });
    return own;
  }

  std::string hook_;
  std::string home_;
  std::string session_;
  std::string name_;
  SessionFileStore store_;
  int opened_ = 0;
  Calls open_;
  std::string report_;
};

// The delays before a kill are adjusted so that about every second run ends first, however fast the machine
// is at the moment. This way all moments of a run have their turn. The first run is not killed, and shows how
// long a run takes.
void sendKilled(Caller& caller, int kills, unsigned seed) {
  using Clock = std::chrono::steady_clock;
  const auto begin = Clock::now();
  caller.send();
  constexpr double step = 1.05;
  double longest = std::chrono::duration<double, std::micro>(Clock::now() - begin).count();
  std::mt19937 random(seed);
  for (int killed = 0; killed < kills;) {
    const double delay = std::uniform_real_distribution<double>(0, longest)(random);
    if (caller.send(Microseconds(static_cast<Microseconds::rep>(delay)))) {
      ++killed;
      longest *= step;
    } else {
      longest /= step;
    }
  }
}

void call(const std::vector<std::string>& words) {
  waitForEndOfInput();
  Caller caller(words.at(1), words.at(2), words.at(3), words.at(4));
  const int count = std::stoi(words.at(6));
  if (words.at(5) == "kills") {
    sendKilled(caller, count, static_cast<unsigned>(std::stoul(words.at(7))));
  } else {
    for (int i = 0; i < count; ++i) caller.send();
  }
  std::fputs(caller.report().c_str(), stdout);
}

}  // namespace
}  // namespace tavrin::test

int main(int argc, char** argv) {
  try {
    tavrin::test::call(std::vector<std::string>(argv, argv + argc));
  } catch (const std::exception& error) {
    std::puts(error.what());
    return 1;
  }
}
