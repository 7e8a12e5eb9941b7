#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <map>
#include <string>
#include <vector>

#include "TavrinCore/Monitor/MonitorFiles.hpp"

namespace tavrin {

/// Names in directories. A directory is listed again only when its modification time shows that it changed.
class DirectoryCache {
 public:
  /// The names in the directory at `path`; none when it is not there.
  const std::vector<std::string>& names(const std::string& path, const MonitorFiles& files, Date now);

  /// Forgets directories that nobody asked for since the last call.
  void dropUnused();

 private:
  struct Listing {
    Date modifiedAt;
    bool isSettled = false;  // whether it was listed long enough after its last change to be complete
    bool isUsed = true;
    std::vector<std::string> names;
  };

  std::map<std::string, Listing> listings_;
};

}  // namespace tavrin
