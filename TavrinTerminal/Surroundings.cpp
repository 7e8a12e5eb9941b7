#include "TavrinTerminal/Surroundings.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Home.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/Browser.hpp"

namespace tavrin {

namespace {

bool isOfAnother(const std::string& directory) {
  struct stat status {};
  return ::stat(directory.c_str(), &status) == 0 && status.st_uid != ::geteuid();
}

// HOME itself if it is an absolute path, also when root runs tavrin with another user's. Home::directory
// would then be root's own, whose sessions nobody asked for.
std::string homeToLookAt() {
  const char* const variable = std::getenv("HOME");
  const bool isAbsolute = variable != nullptr && *variable == '/';
  return isAbsolute ? std::string(Path::withoutTrailingSlashes(variable)) : Home::directory();
}

}  // namespace

Surroundings Surroundings::real() {
  Surroundings surroundings;
  std::string home = homeToLookAt();
  if (File::isDirectory(home)) {
    constexpr uid_t root = 0;
    surroundings.isForeignHome = ::geteuid() == root && isOfAnother(home);
    surroundings.home = std::move(home);
  }
  surroundings.now = [] { return Date(std::chrono::system_clock::now()); };
  surroundings.environment = AgentHome::ownEnvironment;
  surroundings.processes = ProcessFacts::ofThisSystem();
  surroundings.listeners = ServerListing::now;
  surroundings.openInBrowser = [](const std::string& url) {
    const char* const path = std::getenv("PATH");
    return tavrin::openInBrowser(url, path == nullptr ? "" : path);
  };
  return surroundings;
}

std::string Surroundings::obstacle() const {
  if (!hasHome()) return std::string(noHomeSentence);
  const std::string folder = sessionsDirectory();
  if (::faccessat(AT_FDCWD, folder.c_str(), R_OK | X_OK, AT_EACCESS) == 0 || errno != EACCES) return "";
  return "you may not read " + ShownText::clean(folder) + ". Run \"tavrin doctor\".";
}

std::string Surroundings::sessionsDirectory() const {
  return SessionFileStore::defaultDirectory(home);
}

std::string foreignHomeSentence(const Surroundings& surroundings, std::string_view what) {
  std::string sentence(what);
  sentence += ", because you are root and ";
  sentence += ShownText::clean(surroundings.home);
  sentence += " belongs to another user. Run tavrin as that user.";
  return sentence;
}

}  // namespace tavrin
