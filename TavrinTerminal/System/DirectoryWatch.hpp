#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <uv.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "TavrinTerminal/System/EventLoop.hpp"

namespace tavrin {

/// Calls back when a directory's files may have changed, which need not exist yet. It never says what
/// changed, so no change can be lost. A burst is counted from its first event: the call comes 20 ms after
/// that, however long the burst lasts.
///
/// It is woken by inotify(7) or kqueue(2). Where that fails, or the file system is on another machine, it
/// calls back every 10 s.
class DirectoryWatch {
 public:
  static constexpr std::chrono::milliseconds settling{20};
  static constexpr std::chrono::milliseconds slowCheck{10'000};

  /// Only files whose names end in `suffix` count.
  DirectoryWatch(EventLoop& loop, std::string directory, std::string suffix, EventLoop::Callback changed);
  DirectoryWatch(const DirectoryWatch&) = delete;
  DirectoryWatch& operator=(const DirectoryWatch&) = delete;

  /// Whether changes are noticed only every 10 s.
  bool isSlow() const { return slow_.isRunning(); }

 private:
  // What is watched, and what tells it from another of that name.
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

  EventLoop& loop_;
  std::string directory_;
  std::string suffix_;
  EventLoop::Callback changed_;
  Timer burst_;
  Timer slow_;
  std::optional<Target> target_;
  OwnedHandle<uv_fs_event_t> handle_;
};

/// Calls back at each event of one file or directory that exists. No burst is waited for.
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
