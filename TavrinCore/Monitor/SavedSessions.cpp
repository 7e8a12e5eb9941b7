#include "TavrinCore/Monitor/SavedSessions.hpp"

#include <chrono>
#include <utility>

#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

bool SavedSessions::look(const MonitorFiles& files, Date now) {
  constexpr std::size_t largestRecord = std::size_t{1024} * 1024;
  constexpr std::chrono::duration<double> tick(1);
  const std::optional<FileStatus> directory = files.status(directory_);
  if (directory && isSettled_ && directory->modifiedAt == modifiedAt_) return false;
  isSettled_ = directory && now - directory->modifiedAt > tick;
  modifiedAt_ = directory ? directory->modifiedAt : Date();

  std::map<std::string, FileStatus> before = std::exchange(statuses_, {});
  std::map<std::string, Saved> old = std::exchange(saved_, {});
  if (!directory) return true;
  for (std::string& name : files.list(directory_)) {
    if (Path::extension(name) != "json" && name != ".json") continue;
    const std::string path = Path::joined(directory_, name);
    const std::optional<FileStatus> status = files.status(path);
    if (!status || status->isDirectory) continue;
    const auto known = before.find(name);
    if (known != before.end() && known->second == *status) {
      if (auto node = old.extract(name)) saved_.insert(std::move(node));
    } else if (const auto text = files.read(path, 0, largestRecord)) {
      if (std::optional<Session> record = Session::decode(*text))
        saved_.insert_or_assign(name, Saved{.record = *std::move(record), .savedAt = status->modifiedAt});
    }
    statuses_.emplace(std::move(name), *status);
  }
  return true;
}

}  // namespace tavrin
