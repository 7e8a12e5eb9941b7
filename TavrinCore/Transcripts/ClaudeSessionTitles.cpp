#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"

#include <dirent.h>
#include <sys/stat.h>
#ifdef __linux__
#include <linux/magic.h>
#include <sys/vfs.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <vector>

#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Json/JsonFields.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Uninterrupted.hpp"

namespace tavrin::ClaudeSessionTitles {

namespace {

constexpr std::size_t longestId = 128;

// If at most this many files are wanted, they are looked up by name in each folder before it is listed.
constexpr std::size_t mostAskedFor = 8;

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

// Whether a folder's status shows that it holds no other folder. Returns false on file systems where the
// status does not show it.
bool isLeaf(const std::string& path) {
#ifdef __linux__
  struct statfs system = {};
  struct stat status = {};
  if (uninterrupted([&] { return ::statfs(path.c_str(), &system); }) != 0) return false;
  // On these file systems the links to a folder are its entry in the folder above, its own "." and the ".."
  // of each folder in it. On others the number is always 1 or 2.
  constexpr std::array<std::uint32_t, 3> countingSystems = {EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, TMPFS_MAGIC};
  const auto kind = static_cast<std::uint32_t>(system.f_type);
  if (std::ranges::find(countingSystems, kind) == countingSystems.end()) return false;
  return uninterrupted([&] { return ::stat(path.c_str(), &status); }) == 0 && status.st_nlink == 2;
#else
  static_cast<void>(path);
  return false;
#endif
}

// Whether a folder may have many more entries than `count`. Listing its first ones would take nearly as long
// as listing all of them, because the system returns hundreds at a time. An entry takes 20 bytes on tmpfs,
// and twice the length of its name or more on btrfs and ext4.
bool isLarge(const std::string& path, int count) {
  constexpr off_t usualEntry = 64;
  struct stat status = {};
  return uninterrupted([&] { return ::stat(path.c_str(), &status); }) == 0 &&
         status.st_size > usualEntry * count;
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

bool isSmallRegularFile(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_size <= static_cast<off_t>(largestFile);
}

// The title in the file at `path`, if the file belongs to `sessionId`.
std::optional<std::string> titleIn(const std::string& path, const struct stat& status,
                                   std::string_view sessionId) {
  if (!isSmallRegularFile(status)) return std::nullopt;
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

// One look-up. It ends when all titles are found.
class Search {
 public:
  Search(const std::set<std::string>& sessionIds, int limit) : limit_(limit) {
    for (const std::string& id : sessionIds) {
      if (isSafe(id)) wanted_.emplace("local_" + id + ".json", id);
    }
    areAskedFor_ = wanted_.size() <= mostAskedFor;
  }

  std::map<std::string, std::string> through(const std::string& directory) {
    if (!wanted_.empty()) enter(directory);
    // Upper folders come first, so the files are looked up by name in all their folders before any of those
    // is listed.
    for (std::size_t i = 0; i < folders_.size() && !isOver(); ++i) list(Folder(folders_[i]));
    return std::move(titles_);
  }

 private:
  bool isOver() const { return wanted_.empty() || examined_ >= limit_; }

  void list(const Folder& folder) {
    while (!isOver()) {
      const dirent* const entry = folder.next();
      if (entry == nullptr) return;
      const std::string_view name = entry->d_name;
      if (name.starts_with('.')) continue;
      ++examined_;
      const bool mayBeFolder = entry->d_type == DT_DIR || entry->d_type == DT_UNKNOWN;
      if (areAskedFor_ && !mayBeFolder) continue;
      std::string path = Path::joined(folder.path, name);
      if (!areAskedFor_) take(name, path);
      if (isFolder(*entry, path) && !isPackage(name)) enter(std::move(path));
    }
  }

  // Looks up the wanted files by their names, and lists the folder only if there may be folders in it. An app
  // that is used every day leaves thousands of files in one folder.
  void enter(std::string path) {
    if (areAskedFor_) {
      for (auto next = wanted_.begin(); next != wanted_.end() && !isOver();) {
        const std::string name = (next++)->first;  // which `take` may remove
        if (take(name, Path::joined(path, name))) ++examined_;
      }
      if (wanted_.empty() || isLeaf(path)) return;
      if (limit_ < mostEntries && isLarge(path, limit_)) return;
    }
    folders_.push_back(std::move(path));
  }

  // Takes the title of the file, if it is wanted and has one. Returns whether it is a wanted file that
  // exists.
  bool take(std::string_view name, const std::string& path) {
    const auto found = wanted_.find(name);
    if (found == wanted_.end()) return false;
    const auto status = statusOf(path);
    if (!status) return false;
    if (std::optional<std::string> title = titleIn(path, *status, found->second)) {
      titles_.emplace(found->second, *std::move(title));
      wanted_.erase(found);
    }
    return true;
  }

  std::map<std::string, std::string, std::less<>> wanted_;  // file name to session id
  std::map<std::string, std::string> titles_;
  std::vector<std::string> folders_;  // those that are or will be listed
  int limit_ = 0;
  int examined_ = 0;
  bool areAskedFor_ = false;
};

}  // namespace

std::string defaultDirectory(std::string_view home) {
  return Path::joined(home, "Library/Application Support/Claude/claude-code-sessions");
}

std::map<std::string, std::string> resolve(const std::set<std::string>& sessionIds,
                                           const std::string& directory) {
  return Search(sessionIds, mostEntries).through(directory);
}

std::optional<std::string> resolve(const std::string& sessionId, const std::string& directory, int limit) {
  auto titles = Search({sessionId}, limit).through(directory);
  const auto found = titles.find(sessionId);
  return found == titles.end() ? std::nullopt : std::optional(std::move(found->second));
}

Session applying(const std::map<std::string, std::string>& titles, Session session) {
  if (session.agent != Agent::claude || session.hostBundleId != desktopBundleIdentifier) return session;
  if (const auto found = titles.find(session.sessionId); found != titles.end()) session.title = found->second;
  return session;
}

}  // namespace tavrin::ClaudeSessionTitles
