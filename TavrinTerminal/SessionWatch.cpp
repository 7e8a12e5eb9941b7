#include "TavrinTerminal/SessionWatch.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>
#include <set>
#include <utility>

#include "TavrinTerminal/System/EndDescriptors.hpp"

namespace tavrin {

namespace {

constexpr std::size_t mostProcesses = 200;

}  // namespace

SessionWatch::SessionWatch(const Surroundings& surroundings, const Console& console, TakeChanges take)
    : SessionWatch(surroundings, console, Take()) {
  takeChanges_ = std::move(take);
}

SessionWatch::SessionWatch(const Surroundings& surroundings, const Console& console, Take take)
    : surroundings_(surroundings),
      take_(std::move(take)),
      watcher_(sessionWatcher(surroundings)),
      records_(loop_, surroundings.sessionsDirectory(), ".json",
               [this](const DirectoryWatch::Names& names) { look(names); }),
      burst_(loop_, [this] { lookForOtherReason(); }),
      next_(loop_, [this] { lookForOtherReason(); }),
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

void SessionWatch::look(const DirectoryWatch::Names& changedRecords) {
  // Other timers may be due in the same turn of the loop that stopped it.
  if (end_) return;
  const Date now = surroundings_.now();
  SessionWatcher::Look look = found(now, changedRecords);
  const bool filesAreWatched = watchFiles(std::move(look.files));
  const bool processesAreWatched = watchProcesses(look.processes);
  if (filesAreWatched && processesAreWatched) {
    slow_.stop();
  } else if (!slow_.isRunning()) {
    slow_.startRepeating(DirectoryWatch::slowCheck);
  }
  next_.stop();
  if (look.next) {
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24);
    const auto wait = std::min<std::chrono::duration<double>>(*look.next - now, longest);
    next_.start(std::chrono::ceil<std::chrono::milliseconds>(wait));
  }
  if (takeChanges_) {
    takeChanges_(std::move(look));
  } else {
    take_(std::move(look.sessions));
  }
}

// Looks because something other than a record changed or is due. It need not look at the records, because
// `records_` reports their changes, unless it is slow.
void SessionWatch::lookForOtherReason() {
  look(records_.isSlow() ? std::nullopt : DirectoryWatch::Names(std::in_place));
}

SessionWatcher::Look SessionWatch::found(Date now, const DirectoryWatch::Names& changedRecords) {
  if (takeChanges_) return watcher_.lookForChanges(now, changedRecords);
  return changedRecords ? watcher_.look(now, *changedRecords) : watcher_.look(now);
}

void SessionWatch::lookSoon() {
  if (!burst_.isRunning()) burst_.start(DirectoryWatch::settling);
}

// Watches the agents' own files. False when some cannot be watched.
bool SessionWatch::watchFiles(std::vector<std::string> paths) {
  const std::set<std::string> wanted(std::make_move_iterator(paths.begin()),
                                     std::make_move_iterator(paths.end()));
  std::erase_if(evidence_, [&](const auto& watched) {
    return !wanted.contains(watched.first) || watched.second->isStale();
  });
  bool isWhole = true;
  for (const std::string& path : wanted) {
    if (path == surroundings_.sessionsDirectory() || evidence_.contains(path)) continue;
    auto watch = std::make_unique<PathWatch>(loop_, path, [this] { lookSoon(); });
    // A file that does not exist yet cannot be watched. A later look, which has another cause, finds it.
    const bool works = watch->error() == 0 ? !isOnRemoteFileSystem(path) : watch->error() == ENOENT;
    isWhole = isWhole && works;
    if (watch->error() != 0) continue;
    evidence_.emplace(path, std::move(watch));
    // It may have changed between the look and the watch.
    lookSoon();
  }
  return isWhole;
}

// Watches the processes whose end no hook reports. False when some cannot be watched.
bool SessionWatch::watchProcesses(const std::vector<std::int32_t>& pids) {
  std::set<std::int32_t> wanted;
  for (const std::int32_t pid : pids) {
    if (wanted.size() < mostProcesses) wanted.insert(pid);
  }
  bool isWhole = true;
  for (const std::int32_t pid : pids) isWhole = isWhole && wanted.contains(pid);
  std::erase_if(processes_, [&](const auto& watched) { return !wanted.contains(watched.first); });
  std::erase_if(missing_, [&](std::int32_t pid) { return !wanted.contains(pid); });
  for (const std::int32_t pid : wanted) {
    if (processes_.contains(pid)) continue;
    FileDescriptor end = EndDescriptors::ofProcess(pid);
    if (!end.isOpen()) {
      // A process that is gone by now is looked up again, but only once.
      if (errno == ESRCH && missing_.insert(pid).second) {
        watcher_.processEnded(pid);
        lookSoon();
      } else {
        isWhole = false;
      }
      continue;
    }
    processes_.emplace(pid, std::make_unique<ReadableWatch>(loop_, std::move(end), [this, pid] {
                         processes_.at(pid)->stop();
                         watcher_.processEnded(pid);
                         lookSoon();
                       }));
  }
  return isWhole;
}

}  // namespace tavrin
