#include "TavrinCore/Monitor/SavedSessions.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

bool SavedSessions::isRecordName(const std::string& name) {
  return Path::extension(name) == "json" || name == ".json";
}

std::optional<SavedSessions::Saved> SavedSessions::read(const std::string& path, const MonitorFiles& files) {
  constexpr std::size_t largestRecord = std::size_t{1024} * 1024;
  const std::optional<FileContents> found = files.contents(path, largestRecord);
  if (!found) return std::nullopt;
  return Saved{.status = found->status, .record = Session::decode(found->text)};
}

bool SavedSessions::look(const MonitorFiles& files, Date now) {
  constexpr std::chrono::duration<double> tick(1);
  const std::optional<FileStatus> directory = files.status(directory_);
  if (directory && isSettled_ && directory->modifiedAt == modifiedAt_) return false;
  isSettled_ = directory && now - directory->modifiedAt > tick;
  isListed_ = directory.has_value();
  modifiedAt_ = directory ? directory->modifiedAt : Date();

  std::map<std::string, Saved> before = std::exchange(files_, {});
  if (!directory) return true;
  std::vector<std::string> names = files.list(directory_);
  // Filling the map in order needs no search for each place.
  std::ranges::sort(names);
  auto known = before.begin();
  for (std::string& name : names) {
    if (!isRecordName(name)) continue;
    const std::string path = Path::joined(directory_, name);
    while (known != before.end() && known->first < name) ++known;
    const bool isKnown = known != before.end() && known->first == name;
    if (isKnown && files.status(path) == known->second.status) {
      files_.insert(files_.end(), before.extract(known++));
    } else if (std::optional<Saved> saved = read(path, files)) {
      files_.emplace_hint(files_.end(), std::move(name), *std::move(saved));
    } else {
      // That it can be read again does not change the directory.
      isSettled_ = false;
    }
  }
  return true;
}

bool SavedSessions::lookAt(const std::vector<std::string>& names, const MonitorFiles& files) {
  if (!isListed_) return false;
  isSettled_ = isSettled_ && names.empty();
  for (const std::string& name : names) {
    if (!isRecordName(name)) continue;
    const std::string path = Path::joined(directory_, name);
    const auto known = files_.find(name);
    if (known != files_.end() && files.status(path) == known->second.status) continue;
    if (known != files_.end()) files_.erase(known);
    if (std::optional<Saved> saved = read(path, files)) files_.emplace(name, *std::move(saved));
  }
  return true;
}

}  // namespace tavrin
