#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// The repository that a working directory belongs to, by which sessions and servers are named and grouped.
struct RepoLabel {
  std::string root;                     ///< absolute; for a linked work tree, the root of its main repository
  std::optional<std::string> worktree;  ///< the linked work tree's name; absent for a main checkout

  bool operator==(const RepoLabel&) const = default;

  /// What a person reads: the root's last component, followed by " · " and the work tree's name when there is
  /// one.
  std::string displayName() const { return displayNameOf(root, worktree); }

  /// The same of a root and a work tree that are kept elsewhere.
  static std::string displayNameOf(std::string_view root, const std::optional<std::string>& worktree);

  /// The three questions that `find` asks the file system; tests answer them from a table.
  struct Probes {
    std::function<bool(const std::string& path)> exists;
    std::function<bool(const std::string& path)> isDirectory;
    std::function<std::optional<std::string>(const std::string& path)> contents;  ///< UTF-8, or nothing
    std::function<std::string()> currentDirectory;  ///< where a relative path starts

    static Probes realFileSystem();
  };

  /// The label of `path`: that of the nearest directory that holds ".git", of at most 64 from `path` itself
  /// upwards. Nothing when there is none.
  static std::optional<RepoLabel> find(std::string_view path,
                                       const Probes& probes = Probes::realFileSystem());

  /// What the text of a ".git" file in the directory `near` says (gitrepository-layout(5)): the main
  /// repository and the name of a linked work tree, or `near` itself for any other git directory, as of a
  /// submodule. Nothing when the text is not of that form.
  static std::optional<RepoLabel> fromGitdir(std::string_view text, std::string_view near);

  /// `found`, or else the label made of what a session had before.
  static std::optional<RepoLabel> sticky(const std::optional<RepoLabel>& found,
                                         const std::optional<std::string>& current,
                                         const std::optional<std::string>& worktree);
};

}  // namespace tavrin
