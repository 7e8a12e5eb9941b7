#include "TavrinTerminal/System/AgentInstallations.hpp"

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Home.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/System/Executables.hpp"

namespace tavrin::AgentInstallations {

namespace {

// The packages' names in the npm registry, November 2026.
std::string_view npmPackage(Agent agent) {
  switch (agent) {
    case Agent::claude:
      return "@anthropic-ai/claude-code";
    case Agent::codex:
      return "@openai/codex";
    case Agent::gemini:
      return "@google/gemini-cli";
    case Agent::copilot:
      return "@github/copilot";
    case Agent::grok:
      return "@xai-official/grok";
  }
  return {};
}

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

// The length of a version number at the start of `text`: at least two dots between numbers, then perhaps a
// pre-release ("1.2.3-beta.4", semver.org). 0 when there is none.
std::size_t versionLength(std::string_view text) {
  std::size_t length = 0;
  int numbers = 0;
  for (;;) {
    const std::size_t start = length;
    while (length < text.size() && isDigit(text[length])) ++length;
    if (length == start) return 0;
    ++numbers;
    if (length + 1 >= text.size() || text[length] != '.' || !isDigit(text[length + 1])) break;
    ++length;
  }
  constexpr int fewestNumbers = 3;
  if (numbers < fewestNumbers) return 0;
  if (length < text.size() && text[length] == '-') {
    const auto isPreRelease = [](char c) {
      return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == '-';
    };
    std::size_t end = length + 1;
    while (end < text.size() && isPreRelease(text[end])) ++end;
    if (end > length + 1) length = end;
  }
  return length;
}

std::optional<std::string> wholeVersion(std::string_view text) {
  if (text.empty() || versionLength(text) != text.size()) return std::nullopt;
  return std::string(text);
}

std::vector<std::string> namesIn(const std::string& directory) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> open(::opendir(directory.c_str()), ::closedir);
  if (!open) return names;
  while (const dirent* const entry = ::readdir(open.get())) {
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  }
  std::ranges::sort(names);
  return names;
}

// The prefix that a user's npmrc sets ("prefix=~/.npm-global", npmrc(5)).
std::optional<std::string> npmPrefix(const Places& places) {
  constexpr std::size_t largest = 65'536;
  const std::optional<std::string> text = File::contents(Path::joined(places.home, ".npmrc"), largest);
  std::string_view rest = text ? std::string_view(*text) : std::string_view();
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || Text::trimmed(line.substr(0, equals)) != "prefix") continue;
    std::string value(Text::trimmed(line.substr(equals + 1)));
    constexpr std::string_view homeVariable = "${HOME}";
    if (value.starts_with(homeVariable)) value = places.home + value.substr(homeVariable.size());
    return Path::expandingTilde(value, places.home);
  }
  return std::nullopt;
}

class FolderList {
 public:
  explicit FolderList(const Places& places) : places_(places) {}

  void add(std::string folder) {
    if (folder.starts_with('/') && std::ranges::find(folders_, folder) == folders_.end())
      folders_.push_back(std::move(folder));
  }
  void addInHome(std::string_view folder) { add(Path::joined(places_.home, folder)); }

  // `folder` in the directory that a variable names; `otherwise` in the home directory when it is not set.
  void addAt(std::string_view variable, std::string_view folder, std::string_view otherwise = {}) {
    const std::optional<std::string> value = places_.environment(variable);
    if (value && !value->empty()) {
      add(Path::joined(*value, folder));
    } else if (!otherwise.empty()) {
      add(Path::joined(Path::joined(places_.home, otherwise), folder));
    }
  }

  // The folders `below` each version in `versions`, as nvm keeps one for each version of Node.
  void addEach(const std::string& versions, std::string_view below) {
    for (const std::string& name : namesIn(versions)) add(Path::joined(Path::joined(versions, name), below));
  }

  std::vector<std::string> take() { return std::move(folders_); }

 private:
  const Places& places_;
  std::vector<std::string> folders_;
};

std::vector<std::string> foldersToSearch(const Places& places) {
  FolderList folders(places);
  for (std::string& folder : Executables::folders(places.environment("PATH").value_or("")))
    folders.add(std::move(folder));
  for (const std::string_view folder : {".local/bin", "bin", ".npm-global/bin", ".asdf/shims"})
    folders.addInHome(folder);
  folders.addAt("npm_config_prefix", "bin");
  folders.addAt("NPM_CONFIG_PREFIX", "bin");
  if (const std::optional<std::string> prefix = npmPrefix(places)) folders.add(Path::joined(*prefix, "bin"));
  folders.addAt("VOLTA_HOME", "bin", ".volta");
  folders.addAt("BUN_INSTALL", "bin", ".bun");
  folders.addAt("PNPM_HOME", "");
  folders.addInHome(".local/share/pnpm");
  folders.addInHome("Library/pnpm");
  const std::string nvm = places.environment("NVM_DIR").value_or(Path::joined(places.home, ".nvm"));
  folders.addEach(Path::joined(nvm, "versions/node"), "bin");
  for (const std::string_view fnm : {".local/share/fnm", "Library/Application Support/fnm", ".fnm"})
    folders.addEach(Path::joined(Path::joined(places.home, fnm), "node-versions"), "installation/bin");
  folders.addEach(Path::joined(places.home, ".local/share/mise/installs/node"), "bin");
  folders.addAt("HOMEBREW_PREFIX", "bin");
  for (const std::string& prefix : places.prefixes) folders.add(Path::joined(prefix, "bin"));
  return folders.take();
}

// The file that a path leads to, with all links followed; nullopt if there is none.
std::optional<std::string> realPath(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.c_str(), nullptr), std::free);
  return resolved ? std::optional<std::string>(resolved.get()) : std::nullopt;
}

std::optional<std::string> packageVersion(Agent agent, const std::string& resolved) {
  constexpr int mostLevels = 6;
  std::string directory(Path::parent(resolved));
  for (int level = 0; level < mostLevels && directory != "/"; ++level) {
    constexpr std::size_t largest = 1'000'000;
    const std::optional<std::string> text = File::contents(Path::joined(directory, "package.json"), largest);
    const std::optional<boost::json::value> document = text ? Json::parse(*text) : std::nullopt;
    const boost::json::object* const package = document ? document->if_object() : nullptr;
    if (package != nullptr) {
      // The client may be a file of a package for one system, such as "@openai/codex-linux-x64".
      const std::string_view name = Json::textAt(*package, "name").value_or("");
      const std::string_view known = npmPackage(agent);
      if (name == known || name.starts_with(std::string(known) + "-"))
        return wholeVersion(Json::textAt(*package, "version").value_or(""));
    }
    directory = Path::parent(directory);
  }
  return std::nullopt;
}

}  // namespace

Places Places::ofThisMachine() {
  return {.home = Home::directory(),
          .environment = [](std::string_view name) -> std::optional<std::string> {
            const char* const value = std::getenv(std::string(name).c_str());
            return value == nullptr ? std::nullopt : std::optional<std::string>(value);
          },
          .prefixes = {"/opt/homebrew", "/usr/local", "/home/linuxbrew/.linuxbrew", "/usr"}};
}

std::optional<std::string> versionIn(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool startsWord = i == 0 || !(isDigit(text[i - 1]) || text[i - 1] == '.');
    if (!startsWord || !isDigit(text[i])) continue;
    if (const std::size_t length = versionLength(text.substr(i)); length > 0)
      return std::string(text.substr(i, length));
  }
  return std::nullopt;
}

std::optional<std::string> versionBeside(Agent agent, const std::string& resolved) {
  if (std::optional<std::string> version = packageVersion(agent, resolved)) return version;
  if (resolved.find("/node_modules/") != std::string::npos) return std::nullopt;
  std::string_view folder = Path::parent(resolved);
  if (auto version = wholeVersion(Path::lastComponent(resolved))) return version;
  if (Path::lastComponent(folder) == "bin") folder = Path::parent(folder);
  return wholeVersion(Path::lastComponent(folder));
}

std::vector<AgentInstallation> find(Agent agent, const Places& places) {
  const AgentDefinition& definition = AgentDefinition::definition(agent);
  const std::string_view name = rawValue(agent);  // also the name of each client's program
  std::vector<std::string> candidates;
  for (const std::string& folder : foldersToSearch(places)) candidates.push_back(Path::joined(folder, name));
  for (const std::string_view path : definition.presence) {
    // Absolute paths are in the prefixes, which are searched already.
    if (path.starts_with('~') && Path::lastComponent(path) == name)
      candidates.push_back(Path::expandingTilde(path, places.home));
  }
  if (agent == Agent::claude) candidates.push_back(Path::joined(places.home, ".claude/local/claude"));

  std::vector<AgentInstallation> found;
  for (const std::string& candidate : candidates) {
    if (!Executables::isExecutable(candidate)) continue;
    std::optional<std::string> resolved = realPath(candidate);
    if (!resolved || std::ranges::find(found, *resolved, &AgentInstallation::resolved) != found.end())
      continue;
    std::optional<std::string> version = versionBeside(agent, *resolved);
    found.push_back({.agent = agent,
                     .executable = candidate,
                     .resolved = *std::move(resolved),
                     .version = std::move(version)});
  }
  return found;
}

void askVersions(std::span<AgentInstallation> installations, int interrupt) {
  std::vector<AgentInstallation*> asked;
  std::vector<ChildCommand> commands;
  for (AgentInstallation& installation : installations) {
    if (installation.version) continue;
    asked.push_back(&installation);
    commands.push_back({.words = {installation.executable, "--version"}, .input = ""});
  }
  const std::vector<ChildOutcome> outcomes = ChildProcess::runAll(commands, interrupt);
  for (std::size_t i = 0; i < asked.size(); ++i) {
    if (outcomes[i].succeeded()) asked[i]->version = versionIn(outcomes[i].output);
  }
}

}  // namespace tavrin::AgentInstallations
