#include "TavrinCore/Context/RepoLabel.hpp"

#include <algorithm>

#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinCore/Support/Typography.hpp"

namespace tavrin {

namespace {

constexpr int mostDirectories = 64;
// A ".git" file is one short line. A longer file is something else.
constexpr std::size_t largestGitFile = 1'000'000;

std::string_view withoutBlanksAtTheEnds(std::string_view text) {
  constexpr std::string_view spaces = " \t";
  const std::size_t first = text.find_first_not_of(spaces);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(spaces) - first + 1);
}

// The directory, from `start` upwards, that holds ".git".
std::optional<std::string> checkoutAbove(std::string start, const RepoLabel::Probes& probes) {
  std::string directory = std::move(start);
  for (int examined = 0; examined < mostDirectories; ++examined) {
    if (probes.exists(Path::joined(directory, ".git"))) return directory;
    const std::size_t parentLength = Path::parent(directory).size();
    if (parentLength == directory.size()) return std::nullopt;
    directory.resize(parentLength);
  }
  return std::nullopt;
}

}  // namespace

std::string RepoLabel::displayNameOf(std::string_view root, const std::optional<std::string>& worktree) {
  const std::string_view last = Path::lastComponent(root);
  std::string name(last.empty() ? root : last);
  if (worktree && !worktree->empty()) {
    name += dotSeparator;
    name += *worktree;
  }
  return name;
}

RepoLabel::Probes RepoLabel::Probes::realFileSystem() {
  return {.exists = File::exists,
          .isDirectory = File::isDirectory,
          .contents = [](const std::string& path) { return File::text(path, largestGitFile); },
          .currentDirectory = File::currentDirectory};
}

std::optional<RepoLabel> RepoLabel::find(std::string_view path, const Probes& probes) {
  const std::string base = path.starts_with('/') ? "/" : probes.currentDirectory();
  const std::optional<std::string> checkout = checkoutAbove(Path::standardized(path, base), probes);
  if (!checkout) return std::nullopt;
  const std::string git = Path::joined(*checkout, ".git");
  if (!probes.isDirectory(git)) {
    if (const std::optional<std::string> text = probes.contents(git)) {
      if (std::optional<RepoLabel> label = fromGitdir(*text, *checkout)) return label;
    }
  }
  return RepoLabel{.root = *checkout, .worktree = std::nullopt};
}

std::optional<RepoLabel> RepoLabel::fromGitdir(std::string_view text, std::string_view near) {
  constexpr std::string_view key = "gitdir:";
  constexpr std::string_view linked = "/.git/worktrees/";
  text = Text::trimmed(text);
  if (!text.starts_with(key)) return std::nullopt;
  const std::string_view gitDirectory = withoutBlanksAtTheEnds(text.substr(key.size()));

  RepoLabel label{.root = std::string(near), .worktree = std::nullopt};
  const std::size_t match = gitDirectory.find(linked);
  if (match == std::string_view::npos || match == 0 || !gitDirectory.starts_with('/')) return label;
  label.root = gitDirectory.substr(0, match);
  std::string_view rest = gitDirectory.substr(match + linked.size());
  rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
  const std::string_view name = rest.substr(0, rest.find('/'));
  if (!name.empty()) label.worktree = name;
  return label;
}

std::optional<RepoLabel> RepoLabel::sticky(const std::optional<RepoLabel>& found,
                                           const std::optional<std::string>& current,
                                           const std::optional<std::string>& worktree) {
  if (found) return found;
  if (!current) return std::nullopt;
  return RepoLabel{.root = *current, .worktree = worktree};
}

}  // namespace tavrin
