#include "TavrinTerminal/System/DirectoryWatch.hpp"

#include <sys/stat.h>

#include <string_view>
#include <utility>

#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

DirectoryWatch::DirectoryWatch(EventLoop& loop, std::string directory, std::string suffix, Changed changed)
    : loop_(loop),
      directory_(std::move(directory)),
      suffix_(std::move(suffix)),
      changed_(std::move(changed)),
      burst_(loop, [this] { settled(); }),
      slow_(loop, [this] {
        isWhole_ = false;
        report();
      }) {
  arm();
}

// The directory, or the nearest one above it that exists.
std::optional<DirectoryWatch::Target> DirectoryWatch::nearestTo(std::string path) {
  for (;;) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
      return Target{.path = path, .device = status.st_dev, .inode = status.st_ino};
    const std::string above(Path::parent(path));
    if (above == path) return std::nullopt;
    path = above;
  }
}

void DirectoryWatch::arm() {
  bool works = false;
  // The directory may be made between looking and watching; then look again.
  for (std::optional<Target> found = nearestTo(directory_); found && (!works || found != target_);
       found = nearestTo(directory_)) {
    target_ = found;
    handle_.reset();
    auto handle = std::make_unique<uv_fs_event_t>();
    if (uv_fs_event_init(&loop_.native(), handle.get()) != 0) break;
    handle_ = OwnedHandle<uv_fs_event_t>(handle.release());
    handle_->data = this;
    const int started = uv_fs_event_start(
        handle_.get(),
        [](uv_fs_event_t* event, const char* name, int, int) {
          static_cast<DirectoryWatch*>(event->data)->noticed(name);
        },
        target_->path.c_str(), 0);
    works = started == 0;
    if (!works) {
      target_.reset();
      break;
    }
  }
  if (works && !isOnRemoteFileSystem(target_->path)) {
    slow_.stop();
  } else if (!slow_.isRunning()) {
    slow_.startRepeating(slowCheck);
  }
}

void DirectoryWatch::noticed(const char* name) {
  ++events_;
  // An event above the directory, or without a name, may mean that any file has changed.
  const bool isAnything = name == nullptr || !target_ || target_->path != directory_;
  if (!isAnything && std::string_view(name).ends_with(suffix_)) {
    names_.emplace(name);
  } else if (isAnything || nearestTo(directory_) != target_) {
    isWhole_ = false;
  } else if (events_ <= mostEvents) {
    return;
  }
  isDue_ = true;
  if (!burst_.isRunning()) burst_.start(std::chrono::milliseconds(0));
}

// Called when an event comes after a rest, and 20 ms after each report.
void DirectoryWatch::settled() {
  if (!isDue_) return;
  report();
  burst_.start(settling);
}

void DirectoryWatch::report() {
  if (nearestTo(directory_) != target_) {
    arm();
    isWhole_ = false;
  }
  const std::set<std::string> names = std::exchange(names_, {});
  const bool isKnown = namesAreReported && isWhole_ && events_ <= mostEvents;
  isWhole_ = true;
  isDue_ = false;
  events_ = 0;
  changed_(isKnown ? Names(std::in_place, names.begin(), names.end()) : std::nullopt);
}

PathWatch::PathWatch(EventLoop& loop, const std::string& path, EventLoop::Callback changed)
    : name_(Path::lastComponent(path)), changed_(std::move(changed)) {
  auto handle = std::make_unique<uv_fs_event_t>();
  error_ = -uv_fs_event_init(&loop.native(), handle.get());
  if (error_ != 0) return;
  handle_ = OwnedHandle<uv_fs_event_t>(handle.release());
  handle_->data = this;
  error_ = -uv_fs_event_start(
      handle_.get(),
      [](uv_fs_event_t* event, const char* name, int events, int) {
        auto& watch = *static_cast<PathWatch*>(event->data);
        const bool isItself = name == nullptr || name == watch.name_;
        if (isItself && (events & UV_RENAME) != 0) watch.isStale_ = true;
        watch.changed_();
      },
      path.c_str(), 0);
}

}  // namespace tavrin
