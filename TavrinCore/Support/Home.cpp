#include "TavrinCore/Support/Home.hpp"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/auxv.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "TavrinCore/Support/Path.hpp"

namespace tavrin::Home {

namespace {

#ifdef TAVRIN_HAVE_FGETPWENT
// getpwuid(3) loads name services, which a statically linked program cannot do. So read the file itself.
std::string fromPasswordDatabase(uid_t user) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen("/etc/passwd", "re"), std::fclose);
  if (!file) return {};
  while (const passwd* entry = fgetpwent(file.get())) {
    if (entry->pw_uid == user) return entry->pw_dir;
  }
  return {};
}
#else
std::string fromPasswordDatabase(uid_t user) {
  const passwd* entry = getpwuid(user);
  return entry != nullptr && entry->pw_dir != nullptr ? entry->pw_dir : "";
}
#endif

constexpr uid_t root = 0;

// Whether this process was started as root, asked without a system call where that is possible.
bool startedAsRoot() {
#ifdef __linux__
  return getauxval(AT_EUID) == root;
#else
  return geteuid() == root;
#endif
}

// Whether the directory exists and belongs to another user.
bool isOfAnother(const char* directory, uid_t user) {
  struct stat status = {};
  return stat(directory, &status) == 0 && status.st_uid != user;
}

}  // namespace

std::string directory() {
  const char* const variable = std::getenv("HOME");
  const bool isAbsolute = variable != nullptr && *variable == '/';
  const bool isBorrowed = isAbsolute && startedAsRoot() && isOfAnother(variable, root) && geteuid() == root;
  if (isAbsolute && !isBorrowed) return std::string(Path::withoutTrailingSlashes(variable));
  const std::string entry = fromPasswordDatabase(isBorrowed ? root : getuid());
  return std::string(entry.starts_with('/') ? Path::withoutTrailingSlashes(entry) : "/var/empty");
}

}  // namespace tavrin::Home
