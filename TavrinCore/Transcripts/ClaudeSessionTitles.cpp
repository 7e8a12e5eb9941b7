#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <vector>

#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Uninterrupted.hpp"

namespace tavrin::ClaudeSessionTitles {

namespace {

constexpr std::size_t longestId = 128;

// Folders that macOS shows as one file.
constexpr std::array<std::string_view, 8> packageExtensions = {"app",    "appex", "bundle",   "framework",
                                                               "plugin", "rtfd",  "workflow", "xpc"};

// A folder that is being listed.
struct Folder {
  std::string path;
  std::unique_ptr<DIR, int (*)(DIR*)> listing;

  explicit Folder(std::string folderPath)
      : path(std::move(folderPath)),
        listing(uninterrupted([this] { return ::opendir(path.c_str()); }), ::closedir) {}

  // Null at the end.
  const dirent* next() const {
    return listing ? uninterrupted([this] { return ::readdir(listing.get()); }) : nullptr;
  }
};

// The result of lstat(2), or nullopt if it fails.
std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status = {};
  const bool isThere = uninterrupted([&] { return ::lstat(path.c_str(), &status); }) == 0;
  return isThere ? std::optional(status) : std::nullopt;
}

bool isSafe(std::string_view id) {
  return !id.empty() && id.size() <= longestId && std::ranges::all_of(id, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '-';
  });
}

bool isFolder(const dirent& entry, const std::string& path) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  const auto status = statusOf(path);
  return status && S_ISDIR(status->st_mode);
}

bool isPackage(std::string_view name) {
  return std::ranges::find(packageExtensions, Path::extension(name)) != packageExtensions.end();
}

bool isSmallRegularFile(const std::string& path) {
  const auto status = statusOf(path);
  return status && S_ISREG(status->st_mode) && status->st_size <= static_cast<off_t>(largestFile);
}

// The title in the file at `path`, if the file belongs to `sessionId`.
std::optional<std::string> titleIn(const std::string& path, std::string_view sessionId) {
  if (!isSmallRegularFile(path)) return std::nullopt;
  const std::optional<std::string> text = File::contents(path, largestFile);
  if (!text) return std::nullopt;
  constexpr std::array<std::string_view, 2> keys = {"sessionId", "title"};
  const std::optional<JsonFields> metadata = JsonFields::ofRecord(*text, keys);
  if (!metadata) return std::nullopt;
  const JsonField& id = (*metadata)[0];
  if (id.kind != JsonField::Kind::text || id.text != "local_" + std::string(sessionId)) return std::nullopt;
  const std::string* const title = (*metadata)[1].asText();
  return title == nullptr ? std::nullopt : shownTitle(*title);
}

}  // namespace

std::string defaultDirectory(std::string_view home) {
  return Path::joined(home, "Library/Application Support/Claude/claude-code-sessions");
}

std::map<std::string, std::string> resolve(const std::set<std::string>& sessionIds,
                                           const std::string& directory) {
  std::map<std::string, std::string, std::less<>> wanted;  // file name to session id
  for (const std::string& id : sessionIds) {
    if (isSafe(id)) wanted.emplace("local_" + id + ".json", id);
  }

  std::map<std::string, std::string> titles;
  std::vector<Folder> folders;  // from the directory down to the folder being listed
  if (!wanted.empty()) folders.emplace_back(directory);
  int examined = 0;
  while (!folders.empty() && !wanted.empty() && examined < mostEntries) {
    const Folder& folder = folders.back();
    const dirent* const entry = folder.next();
    if (entry == nullptr) {
      folders.pop_back();
      continue;
    }
    const std::string_view name = entry->d_name;
    if (name.starts_with('.')) continue;
    ++examined;
    std::string path = Path::joined(folder.path, name);
    if (const auto found = wanted.find(name); found != wanted.end()) {
      if (std::optional<std::string> title = titleIn(path, found->second)) {
        titles.emplace(found->second, *std::move(title));
        wanted.erase(found);
      }
    }
    if (isFolder(*entry, path) && !isPackage(name)) folders.emplace_back(std::move(path));
  }
  return titles;
}

std::optional<std::string> resolve(const std::string& sessionId, const std::string& directory) {
  auto titles = resolve(std::set{sessionId}, directory);
  const auto found = titles.find(sessionId);
  return found == titles.end() ? std::nullopt : std::optional(std::move(found->second));
}

Session applying(const std::map<std::string, std::string>& titles, Session session) {
  if (session.agent != Agent::claude || session.hostBundleId != desktopBundleIdentifier) return session;
  if (const auto found = titles.find(session.sessionId); found != titles.end()) session.title = found->second;
  return session;
}

}  // namespace tavrin::ClaudeSessionTitles
