#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "TavrinCore/Monitor/MonitorFiles.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin::test {

/// Files in memory that count how much of them is read.
struct FakeFiles {
  struct Content {
    std::string text;
    double modifiedAt = 0;
    std::uint64_t identity = 0;
  };
  std::map<std::string, Content> files;
  std::set<std::string> directories;
  std::set<std::string> vanished;    // listed, but gone when they are looked at
  std::set<std::string> unreadable;  // of another user
  std::map<std::string, double> directoryTimes;
  std::uint64_t nextIdentity = 1;
  std::uint64_t bytesRead = 0;
  std::size_t largestRead = 0;
  int lists = 0;
  int statuses = 0;
  int wholes = 0;

  void write(const std::string& path, const std::string& text, double at = 1) {
    files[path] = {text, at, nextIdentity++};
    for (std::string parent(Path::parent(path)); directories.insert(parent).second || parent.size() > 1;
         parent = std::string(Path::parent(parent)))
      directoryTimes[parent] = at;
  }

  void append(const std::string& path, const std::string& text, double at = 2) {
    files[path].text += text;
    files[path].modifiedAt = at;
  }

  void remove(const std::string& path, double at = 3) {
    files.erase(path);
    directoryTimes[std::string(Path::parent(path))] = at;
  }

  std::optional<FileStatus> statusOf(const std::string& path) {
    if (vanished.contains(path)) return std::nullopt;
    const auto at = files.find(path);
    if (at != files.end())
      return FileStatus{.size = at->second.text.size(),
                        .modifiedAt = dateFromSeconds(at->second.modifiedAt),
                        .identity = at->second.identity,
                        .isDirectory = false};
    if (!directories.contains(path)) return std::nullopt;
    return FileStatus{
        .size = 0, .modifiedAt = dateFromSeconds(directoryTimes[path]), .identity = 1, .isDirectory = true};
  }

  std::optional<std::string> read(const std::string& path, std::uint64_t offset, std::size_t most) {
    largestRead = std::max(largestRead, most);
    const auto at = files.find(path);
    if (at == files.end() || vanished.contains(path) || unreadable.contains(path)) return std::nullopt;
    const std::string& text = at->second.text;
    const std::string piece = offset < text.size() ? text.substr(offset, most) : std::string();
    bytesRead += piece.size();
    return piece;
  }

  std::vector<std::string> namesIn(const std::string& path) const {
    std::set<std::string> names;
    const std::string start = path + "/";
    for (const auto& [file, content] : files)
      if (file.starts_with(start))
        names.insert(file.substr(start.size(), file.find('/', start.size()) - start.size()));
    return {names.begin(), names.end()};
  }

  MonitorFiles access() {
    return {.status =
                [this](const std::string& path) {
                  ++statuses;
                  return statusOf(path);
                },
            .read = [this](const std::string& path, std::uint64_t offset,
                           std::size_t most) { return read(path, offset, most); },
            .contents = [this](const std::string& path, std::size_t most) -> std::optional<FileContents> {
              ++wholes;
              std::optional<std::string> text = read(path, 0, most);
              if (!text) return std::nullopt;
              return FileContents{.status = *statusOf(path), .text = *std::move(text)};
            },
            .list =
                [this](const std::string& path) {
                  ++lists;
                  return namesIn(path);
                }};
  }
};

}  // namespace tavrin::test
