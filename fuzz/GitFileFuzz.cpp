// The search for a repository. The input's parts are a path, the directory that holds a ".git" file, and that
// file's text.
#include <optional>
#include <string>

#include "TavrinCore/Context/RepoLabel.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "fuzz/Laws.hpp"
#include "tests/support/FakeFiles.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)

namespace {

std::optional<RepoLabel> fromGitdirPlainly(std::string_view file, const std::string& near) {
  std::string text(Text::trimmed(file));
  if (!text.starts_with("gitdir:")) return std::nullopt;
  text.erase(0, 7);
  while (text.starts_with(' ') || text.starts_with('\t')) text.erase(0, 1);
  while (text.ends_with(' ') || text.ends_with('\t')) text.pop_back();
  const std::string linked = "/.git/worktrees/";
  const std::size_t match = text.find(linked);
  const std::string main = text.substr(0, match);
  if (match == std::string::npos || !main.starts_with('/'))
    return RepoLabel{.root = near, .worktree = std::nullopt};
  RepoLabel label{.root = main, .worktree = std::nullopt};
  for (const std::string_view component : split(std::string_view(text).substr(match + linked.size()), '/')) {
    if (!component.empty() && !label.worktree) label.worktree = component;
  }
  return label;
}

std::string standardizedPlainly(std::string_view path) {
  std::vector<std::string_view> kept;
  for (const std::string_view component : split(path, '/')) {
    if (component.empty() || component == ".") continue;
    if (component != "..") {
      kept.push_back(component);
    } else if (!kept.empty()) {
      kept.pop_back();
    }
  }
  std::string out;
  for (const std::string_view component : kept) out += "/" + std::string(component);
  return out.empty() ? "/" : out;
}

// Whether `directory` is `path` or lies above it, by at most 63 levels.
bool isNear(const std::string& directory, std::string path) {
  for (int level = 0; level < 64; ++level) {
    if (path == directory) return true;
    path.resize(path.rfind('/') == 0 ? 1 : path.rfind('/'));
  }
  return false;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string_view> parts = split(textOf(data, size), recordSeparator);
  parts.resize(3);
  const std::string path = "/" + std::string(parts[0]);
  const std::string place = standardizedPlainly(parts[1]);
  const std::string_view text = parts[2];
  require(Path::standardized(path, "/") == standardizedPlainly(path), "paths are standardised alike");

  const std::optional<RepoLabel> read = RepoLabel::fromGitdir(text, place);
  require(read == fromGitdirPlainly(text, place), "both readers see the same label");

  test::FakeFiles files;
  files.files[Path::joined(place, ".git")] = std::string(text);
  const std::optional<RepoLabel> found = RepoLabel::find(path, files.probes());
  require(files.asked.size() <= 64 + 2, "at most 64 directories are looked at, and one file");
  require(found.has_value() == isNear(place, standardizedPlainly(path)), "the nearest checkout is found");
  if (!found) return 0;
  require(*found == read.value_or(RepoLabel{.root = place, .worktree = std::nullopt}), "and labelled");
  require(found->root.starts_with('/'), "a root is absolute");
  require(!found->worktree || (!found->worktree->empty() && found->worktree->find('/') == std::string::npos),
          "a work tree's name is one component");
  require(!found->displayName().empty(), "a repository has a name");
  require(RepoLabel::sticky(found, "/old", "name") == found, "what is found replaces what was known");
  return 0;
}
