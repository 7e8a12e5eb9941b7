#include "TavrinCore/Support/Home.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "TavrinCore/Support/Path.hpp"

namespace tavrin::Home {

namespace {

#ifdef TAVRIN_HAVE_FGETPWENT
// getpwuid(3) loads name services, which a statically linked program cannot do. So read the file itself.
std::string fromPasswordDatabase() {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen("/etc/passwd", "re"), std::fclose);
  if (!file) return {};
  const uid_t self = getuid();
  while (const passwd* entry = fgetpwent(file.get())) {
    if (entry->pw_uid == self) return entry->pw_dir;
  }
  return {};
}
#else
std::string fromPasswordDatabase() {
  const passwd* entry = getpwuid(getuid());
  return entry != nullptr && entry->pw_dir != nullptr ? entry->pw_dir : "";
}
#endif

}  // namespace

std::string directory() {
  const char* variable = std::getenv("HOME");
  if (variable != nullptr && *variable == '/') return std::string(Path::withoutTrailingSlashes(variable));
  const std::string entry = fromPasswordDatabase();
  return std::string(entry.starts_with('/') ? Path::withoutTrailingSlashes(entry) : "/var/empty");
}

}  // namespace tavrin::Home
