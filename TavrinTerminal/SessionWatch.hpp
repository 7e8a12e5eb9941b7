#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/ObservedSessions.hpp"
#include "TavrinTerminal/Surroundings.hpp"
#include "TavrinTerminal/System/DirectoryWatch.hpp"
#include "TavrinTerminal/System/EventLoop.hpp"

namespace tavrin {

/// Looks at the sessions again and again, woken by changes of their files and by the end of their processes.
class SessionWatch {
 public:
  /// Why `run` came back.
  struct End {
    enum class Why : std::uint8_t { stopped, readerGone, signalled, timedOut };
    Why why = Why::stopped;
    int signal = 0;  ///< the signal, if one was the reason

    bool operator==(const End&) const = default;
  };

  /// Takes what one look finds. The first look comes at once.
  using Take = std::function<void(std::vector<ObservedSession> sessions)>;
  /// Takes what SessionWatcher::lookForChanges finds: all sessions at first, and then mostly those that
  /// changed.
  using TakeChanges = std::function<void(SessionWatcher::Look look)>;

  /// `console` is watched for the end of its reader.
  SessionWatch(const Surroundings& surroundings, const Console& console, Take take);
  SessionWatch(const Surroundings& surroundings, const Console& console, TakeChanges take);
  SessionWatch(const SessionWatch&) = delete;
  SessionWatch& operator=(const SessionWatch&) = delete;

  EventLoop& loop() { return loop_; }

  /// All sessions as the last look found them.
  std::vector<ObservedSession> sessions() const { return watcher_.sessions(); }

  /// Looks until `stop`, a signal that ends programs (INT, TERM, HUP), the end of the reader, or the end of
  /// `timeout`.
  End run(std::optional<std::chrono::milliseconds> timeout = std::nullopt);

  /// Ends `run` from within. The first reason counts.
  void stop(End end);
  void stop() { stop(End()); }

 private:
  void look(const DirectoryWatch::Names& changedRecords = std::nullopt);
  void lookForOtherReason();
  SessionWatcher::Look found(Date now, const DirectoryWatch::Names& changedRecords);
  void lookSoon();
  bool watchFiles(std::vector<std::string> paths);
  bool watchProcesses(const std::vector<std::int32_t>& pids);

  const Surroundings& surroundings_;
  Take take_;
  TakeChanges takeChanges_;  // in place of `take_`
  SessionWatcher watcher_;
  EventLoop loop_;
  std::optional<End> end_;
  DirectoryWatch records_;
  Timer burst_;
  Timer next_;
  Timer slow_;
  Timer timeout_;
  std::map<std::string, std::unique_ptr<PathWatch>> evidence_;
  std::map<std::int32_t, std::unique_ptr<ReadableWatch>> processes_;
  std::set<std::int32_t> missing_;
  std::unique_ptr<ReadableWatch> reader_;
  std::vector<std::unique_ptr<SignalWatch>> signals_;
};

}  // namespace tavrin
