#include <sys/mount.h>
#include <sys/param.h>

#include "TavrinTerminal/System/DirectoryWatch.hpp"

namespace tavrin {

bool isOnRemoteFileSystem(const std::string& path) {
  struct statfs status {};
  return ::statfs(path.c_str(), &status) == 0 && (status.f_flags & MNT_LOCAL) == 0;
}

}  // namespace tavrin
