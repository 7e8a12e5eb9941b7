// The types of file systems are those of statfs(2).
#include <sys/vfs.h>

#include <algorithm>
#include <array>

#include "TavrinTerminal/System/DirectoryWatch.hpp"

namespace tavrin {

bool isOnRemoteFileSystem(const std::string& path) {
  constexpr std::array<unsigned long, 8> remote = {
      0x6969,      // NFS
      0x517B,      // SMB
      0xFF534D42,  // CIFS
      0xFE534D42,  // SMB2
      0x65735546,  // FUSE, as sshfs
      0x01021997,  // 9P
      0x5346414F,  // AFS
      0x00C36400,  // Ceph
  };
  struct statfs status {};
  if (::statfs(path.c_str(), &status) != 0) return false;
  const auto type = static_cast<unsigned long>(status.f_type) & 0xFFFFFFFFUL;
  return std::ranges::find(remote, type) != remote.end();
}

}  // namespace tavrin
