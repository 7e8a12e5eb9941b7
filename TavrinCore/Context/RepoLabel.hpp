#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tavrin {

/// The repository of a working directory. Sessions and servers are named and grouped by it.
struct RepoLabel {
  std::string root;  ///< absolute; the root of the main repository, also for a linked work tree
  std::optional<std::string> worktree;  ///< the linked work tree's name, or nullopt for a main checkout

  bool operator==(const RepoLabel&) const = default;

  /// The name to show: the root's last component. If there is a work tree, " · " and its name follow.
  std::string displayName() const { return displayNameOf(root, worktree); }

  /// The same for a root and a work tree that the caller keeps elsewhere.
  static std::string displayNameOf(std::string_view root, const std::optional<std::string>& worktree);

  /// What `find` asks the file system. Tests answer from a table.
  struct Probes {
    std::function<bool(const std::string& path)> exists;
    std::function<bool(const std::string& path)> isDirectory;
    std::function<std::optional<std::string>(const std::string& path)>
        contents;                                   ///< nullopt if it is not UTF-8
    std::function<std::string()> currentDirectory;  ///< relative paths start here

    static Probes realFileSystem();
  };

  /// The label of the nearest directory that contains ".git", from `path` upwards. Looks at 64 directories at
  /// most. Returns nullopt if none contains it.
  static std::optional<RepoLabel> find(std::string_view path,
                                       const Probes& probes = Probes::realFileSystem());

  /// Reads the text of a ".git" file in the directory `near` (gitrepository-layout(5)). For a linked work
  /// tree the label is the main repository and the work tree's name. For another git directory, such as a
  /// submodule's, it is `near`. Returns nullopt if the text has another form.
  static std::optional<RepoLabel> fromGitdir(std::string_view text, std::string_view near);

  /// `found`. If that is nullopt, the session's earlier label, made of `current` and `worktree`.
  static std::optional<RepoLabel> sticky(const std::optional<RepoLabel>& found,
                                         const std::optional<std::string>& current,
                                         const std::optional<std::string>& worktree);
};

}  // namespace tavrin
