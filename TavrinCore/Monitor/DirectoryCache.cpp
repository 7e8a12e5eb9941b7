#include "TavrinCore/Monitor/DirectoryCache.hpp"

#include <chrono>

namespace tavrin {

const std::vector<std::string>& DirectoryCache::names(const std::string& path, const MonitorFiles& files,
                                                      Date now) {
  static const std::vector<std::string> none;
  const std::optional<FileStatus> status = files.status(path);
  if (!status || !status->isDirectory) {
    listings_.erase(path);
    return none;
  }
  Listing& listing = listings_[path];
  listing.isUsed = true;
  if (!listing.isSettled || listing.modifiedAt != status->modifiedAt) {
    // Two changes within one tick of the clock have the same time (inode(7)). A tick is at most 10 ms, or a
    // second on network file systems.
    constexpr std::chrono::duration<double> tick(1);
    listing.names = files.list(path);
    listing.modifiedAt = status->modifiedAt;
    listing.isSettled = now - status->modifiedAt > tick;
  }
  return listing.names;
}

void DirectoryCache::dropUnused() {
  std::erase_if(listings_, [](const auto& entry) { return !entry.second.isUsed; });
  for (auto& [path, listing] : listings_) listing.isUsed = false;
}

}  // namespace tavrin
