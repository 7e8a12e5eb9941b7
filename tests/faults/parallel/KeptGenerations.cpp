// unlink(2) and rename(2) for a log-worker. They keep what they would remove or replace, under a new name
// beside it, so every generation of the log that ever existed can be read.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace {

int keep(const char* path) {
  static int kept = 0;
  const std::string name =
      std::string(path) + "." + std::to_string(::getpid()) + "." + std::to_string(++kept);
  return ::renameat(AT_FDCWD, path, AT_FDCWD, name.c_str());
}

}  // namespace

extern "C" int unlink(const char* path) noexcept {
  return keep(path);
}

extern "C" int rename(const char* from, const char* to) noexcept {
  while (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) != 0) {
    // Another process may take the place that was just made, or what was in it.
    if (errno != EEXIST || (keep(to) != 0 && errno != ENOENT)) return -1;
  }
  return 0;
}
