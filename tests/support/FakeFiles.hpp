#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TavrinCore/Context/RepoLabel.hpp"

namespace tavrin::test {

/// The files of a made-up machine, for code that asks through RepoLabel::Probes, and a list of what was
/// asked. It must outlive the probes.
struct FakeFiles {
  std::set<std::string> directories;
  std::map<std::string, std::optional<std::string>> files;  ///< path to text; nullopt for an unreadable file
  std::string currentDirectory = "/";
  std::vector<std::string> asked;  ///< one line per question, such as "exists /a/.git", in order

  RepoLabel::Probes probes() {
    return {.exists =
                [this](const std::string& path) {
                  asked.push_back("exists " + path);
                  return directories.contains(path) || files.contains(path);
                },
            .isDirectory =
                [this](const std::string& path) {
                  asked.push_back("isDirectory " + path);
                  return directories.contains(path);
                },
            .contents = [this](const std::string& path) -> std::optional<std::string> {
              asked.push_back("contents " + path);
              const auto found = files.find(path);
              return found == files.end() ? std::nullopt : found->second;
            },
            .currentDirectory = [this] { return currentDirectory; }};
  }
};

}  // namespace tavrin::test
