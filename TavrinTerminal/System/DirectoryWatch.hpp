#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <uv.h>

#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "TavrinTerminal/System/EventLoop.hpp"

namespace tavrin {

/// Calls back when files in a directory may have changed. The directory need not exist yet. The first event
/// after a rest is reported at once. Events within the next 20 ms are reported together at their end.
///
/// It is woken by inotify(7) or kqueue(2). Where that fails, or the file system is on another machine, it
/// calls back every 10 s.
class DirectoryWatch {
 public:
  static constexpr std::chrono::milliseconds settling{20};
  static constexpr std::chrono::milliseconds slowCheck{10'000};

  /// After this many events at once, any file may have changed. inotify(7) drops events once 16,384 are
  /// queued (/proc/sys/fs/inotify/max_queued_events), and libuv does not report that.
  static constexpr std::size_t mostEvents = 4'096;

  /// The names of the files that changed, each once; nullopt when any file may have changed, as always where
  /// the system does not report names.
  using Names = std::optional<std::vector<std::string>>;
  using Changed = std::function<void(const Names& names)>;

  /// Only files whose names end in `suffix` count.
  DirectoryWatch(EventLoop& loop, std::string directory, std::string suffix, Changed changed);
  DirectoryWatch(const DirectoryWatch&) = delete;
  DirectoryWatch& operator=(const DirectoryWatch&) = delete;

  /// Whether changes are noticed only every 10 s.
  bool isSlow() const { return slow_.isRunning(); }

 private:
#ifdef __linux__
  static constexpr bool namesAreReported = true;
#else
  static constexpr bool namesAreReported = false;
#endif

  // What is watched, and what distinguishes it from another file of that name.
  struct Target {
    std::string path;
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const Target&) const = default;
  };

  static std::optional<Target> nearestTo(std::string path);
  void arm();
  void noticed(const char* name);
  void settled();
  void report();

  EventLoop& loop_;
  std::string directory_;
  std::string suffix_;
  Changed changed_;
  std::set<std::string> names_;
  std::size_t events_ = 0;
  bool isWhole_ = true;  // whether `names_` are all that changed
  bool isDue_ = false;   // whether there is something to report
  Timer burst_;
  Timer slow_;
  std::optional<Target> target_;
  OwnedHandle<uv_fs_event_t> handle_;
};

/// Calls back at each event of one file or directory that exists. Each event is reported at once.
class PathWatch {
 public:
  PathWatch(EventLoop& loop, const std::string& path, EventLoop::Callback changed);
  PathWatch(const PathWatch&) = delete;
  PathWatch& operator=(const PathWatch&) = delete;

  /// The errno value of what failed; 0 when the path is watched.
  int error() const { return error_; }
  /// Whether the file was moved, removed or replaced since, so that another must be watched.
  bool isStale() const { return isStale_; }

 private:
  std::string name_;
  EventLoop::Callback changed_;
  OwnedHandle<uv_fs_event_t> handle_;
  int error_ = 0;
  bool isStale_ = false;
};

/// Whether a path lies on a file system of another machine, whose changes are not notified here.
bool isOnRemoteFileSystem(const std::string& path);

}  // namespace tavrin
