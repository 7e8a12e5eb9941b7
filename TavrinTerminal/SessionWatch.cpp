#include "TavrinTerminal/SessionWatch.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <set>
#include <utility>

#include "TavrinTerminal/System/EndDescriptors.hpp"

namespace tavrin {

namespace {

constexpr std::size_t mostProcesses = 200;

}  // namespace

SessionWatch::SessionWatch(const Surroundings& surroundings, const Console& console, Take take)
    : surroundings_(surroundings),
      take_(std::move(take)),
      files_(loop_, surroundings.sessionsDirectory(), ".json", [this] { look(); }),
      again_(loop_, [this] { look(); }),
      slow_(loop_, [this] { look(); }),
      timeout_(loop_, [this] { stop({.why = End::Why::timedOut}); }) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    signals_.push_back(std::make_unique<SignalWatch>(
        loop_, signal, [this, signal] { stop({.why = End::Why::signalled, .signal = signal}); }));
  }
  if (console.outDescriptor < 0) return;
  FileDescriptor reader = EndDescriptors::ofReader(console.outDescriptor);
  if (!reader.isOpen()) return;
  reader_ = std::make_unique<ReadableWatch>(loop_, std::move(reader), [this] {
    if (EndDescriptors::readerIsGone(reader_->descriptor())) stop({.why = End::Why::readerGone});
  });
}

SessionWatch::End SessionWatch::run(std::optional<std::chrono::milliseconds> timeout) {
  end_.reset();
  if (timeout) timeout_.start(*timeout);
  look();
  if (!end_) loop_.run();
  return end_.value_or(End{});
}

void SessionWatch::stop(End end) {
  if (!end_) end_ = end;
  loop_.stop();
}

void SessionWatch::look() {
  Observation observation = observedSessions(surroundings_);
  watchProcesses(observation.sessions);
  if (observation.nextLook) {
    again_.start(*observation.nextLook);
  } else {
    again_.stop();
  }
  take_(std::move(observation));
}

// Watches the processes of sessions, whose end no hook reports. What cannot be watched is looked at every 10
// s.
void SessionWatch::watchProcesses(const std::vector<ObservedSession>& sessions) {
  std::set<std::int32_t> wanted;
  bool isWhole = true;
  for (const ObservedSession& session : sessions) {
    if (wanted.size() == mostProcesses) {
      isWhole = false;
      break;
    }
    wanted.insert(session.record.agentPid);
  }
  std::erase_if(processes_, [&](const auto& watched) { return !wanted.contains(watched.first); });
  for (const std::int32_t pid : wanted) {
    if (processes_.contains(pid)) continue;
    FileDescriptor end = EndDescriptors::ofProcess(pid);
    if (!end.isOpen()) {
      // A process that is not there cannot end, and `nextLook` counts how long it may be missing.
      isWhole = isWhole && errno == ESRCH;
      continue;
    }
    processes_.emplace(pid, std::make_unique<ReadableWatch>(loop_, std::move(end), [this, pid] {
                         processes_.at(pid)->stop();
                         again_.start(DirectoryWatch::settling);
                       }));
  }
  if (isWhole) {
    slow_.stop();
  } else if (!slow_.isRunning()) {
    slow_.startRepeating(DirectoryWatch::slowCheck);
  }
}

}  // namespace tavrin
