// flock(2) for a tavrin-hook that locks the record, which is replaced, instead of the lock file beside it.
// The tests of lost updates must notice this. The log is locked as it should be.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

// The record "DIRECTORY/NAME.json" that belongs to an open "DIRECTORY/.NAME.lock".
std::filesystem::path recordOf(const std::filesystem::path& lock) {
  return lock.parent_path() / (lock.stem().string().substr(1) + ".json");
}

}  // namespace

extern "C" int flock(int descriptor, int operation) noexcept {
  const auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
  if (path.extension() == ".lock") {
    if (operation == LOCK_UN) return 0;  // the record's lock ends with the process
    descriptor = ::open(recordOf(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  }
  return static_cast<int>(::syscall(SYS_flock, descriptor, operation));
}
