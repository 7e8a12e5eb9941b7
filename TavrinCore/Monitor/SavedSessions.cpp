#include "TavrinCore/Monitor/SavedSessions.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

bool SavedSessions::isRecordName(const std::string& name) {
  return Path::extension(name) == "json" || name == ".json";
}

std::optional<SavedSessions::Saved> SavedSessions::readRecord(const std::string& path,
                                                              const FileStatus& status,
                                                              const MonitorFiles& files) {
  constexpr std::size_t largestRecord = std::size_t{1024} * 1024;
  const auto text = files.read(path, 0, largestRecord);
  std::optional<Session> record = text ? Session::decode(*text) : std::nullopt;
  if (!record) return std::nullopt;
  return Saved{.record = *std::move(record), .savedAt = status.modifiedAt};
}

bool SavedSessions::look(const MonitorFiles& files, Date now) {
  constexpr std::chrono::duration<double> tick(1);
  const std::optional<FileStatus> directory = files.status(directory_);
  if (directory && isSettled_ && directory->modifiedAt == modifiedAt_) return false;
  isSettled_ = directory && now - directory->modifiedAt > tick;
  isListed_ = directory.has_value();
  modifiedAt_ = directory ? directory->modifiedAt : Date();

  std::map<std::string, FileStatus> before = std::exchange(statuses_, {});
  std::map<std::string, Saved> old = std::exchange(saved_, {});
  if (!directory) return true;
  std::vector<std::string> names = files.list(directory_);
  // Filling the maps in order needs no search for each place.
  std::ranges::sort(names);
  auto known = before.begin();
  for (std::string& name : names) {
    if (!isRecordName(name)) continue;
    const std::string path = Path::joined(directory_, name);
    const std::optional<FileStatus> status = files.status(path);
    if (!status || status->isDirectory) continue;
    while (known != before.end() && known->first < name) ++known;
    if (known != before.end() && known->first == name && known->second == *status) {
      if (auto node = old.extract(name)) saved_.insert(saved_.end(), std::move(node));
    } else if (std::optional<Saved> saved = readRecord(path, *status, files)) {
      saved_.insert_or_assign(saved_.end(), name, *std::move(saved));
    }
    statuses_.emplace_hint(statuses_.end(), std::move(name), *status);
  }
  return true;
}

bool SavedSessions::lookAt(const std::vector<std::string>& names, const MonitorFiles& files) {
  if (!isListed_) return false;
  isSettled_ = false;
  for (const std::string& name : names) {
    if (!isRecordName(name)) continue;
    const std::string path = Path::joined(directory_, name);
    const std::optional<FileStatus> status = files.status(path);
    const auto known = statuses_.find(name);
    if (status && known != statuses_.end() && known->second == *status) continue;
    saved_.erase(name);
    statuses_.erase(name);
    if (!status || status->isDirectory) continue;
    if (std::optional<Saved> saved = readRecord(path, *status, files))
      saved_.insert_or_assign(name, *std::move(saved));
    statuses_.emplace(name, *status);
  }
  return true;
}

}  // namespace tavrin
