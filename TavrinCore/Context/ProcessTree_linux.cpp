// What /proc (proc(5)) tells about processes.
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "TavrinCore/Context/ProcFormats.hpp"
#include "TavrinCore/Context/ProcessTree.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

namespace {

std::string procPath(std::int32_t pid, std::string_view file) {
  return "/proc/" + std::to_string(pid) + "/" + std::string(file);
}

std::optional<std::string> linkTarget(const std::string& path) {
  std::array<char, 4096> target{};
  const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
  return length > 0 ? std::optional(std::string(target.data(), static_cast<std::size_t>(length)))
                    : std::nullopt;
}

// A terminal of a driver that has no fixed names, as of a USB adapter (sysfs(5)).
std::optional<std::string> terminalInSysfs(std::uint32_t device) {
  const auto link =
      linkTarget("/sys/dev/char/" + std::to_string(major(device)) + ":" + std::to_string(minor(device)));
  return link ? std::optional("/dev/" + std::string(Path::lastComponent(*link))) : std::nullopt;
}

// The name of a process's executable. The file may have been replaced since the process started.
std::optional<std::string> executableOf(std::int32_t pid) {
  const std::optional<std::string> target = linkTarget(procPath(pid, "exe"));
  if (!target) return std::nullopt;
  std::string_view name = Path::lastComponent(*target);
  constexpr std::string_view replaced = " (deleted)";
  if (name.ends_with(replaced)) name.remove_suffix(replaced.size());
  return std::string(name);
}

// Reads each file of a process once and remembers it. The files stay open until the table goes, which for
// tavrin-hook is the end of the process: closing them one by one would be a third of its calls for them.
class ProcFiles {
 public:
  const std::optional<ProcFormats::Stat>& stat(std::int32_t pid) {
    const auto known = stats_.find(pid);
    if (known != stats_.end()) return known->second;
    const std::optional<std::string> text = read(procPath(pid, "stat"));
    return stats_.emplace(pid, text ? ProcFormats::parseStat(*text) : std::nullopt).first->second;
  }

  const std::string& cgroup(std::int32_t pid) {
    const auto known = cgroups_.find(pid);
    if (known != cgroups_.end()) return known->second;
    return cgroups_.emplace(pid, read(procPath(pid, "cgroup")).value_or("")).first->second;
  }

 private:
  // All of the longest chain, and far below any limit that programs live with.
  static constexpr std::size_t mostOpen = ProcessTree::defaultLimit + 2;

  std::optional<std::string> read(const std::string& path) {
    FileDescriptor file = File::openToRead(path);
    if (!file.isOpen() && errno == EMFILE && !open_.empty()) {
      open_.clear();
      file = File::openToRead(path);
    }
    std::optional<std::string> text = file.isOpen() ? File::oneRead(file) : std::nullopt;
    if (open_.size() < mostOpen) open_.push_back(std::move(file));
    return text;
  }

  std::map<std::int32_t, std::optional<ProcFormats::Stat>> stats_;
  std::map<std::int32_t, std::string> cgroups_;
  std::vector<FileDescriptor> open_;
};

}  // namespace

ProcessTable ProcessTable::ofThisSystem() {
  const auto files = std::make_shared<ProcFiles>();
  return {
      .record = [files](std::int32_t pid) -> std::optional<Record> {
        const auto& stat = files->stat(pid);
        if (!stat) return std::nullopt;
        return Record{.parent = stat->parent, .name = stat->name};
      },
      .longName = executableOf,
      .terminal = [files](std::int32_t pid) -> std::optional<std::string> {
        const auto& stat = files->stat(pid);
        if (!stat || stat->terminal == 0) return std::nullopt;
        const auto path = ProcFormats::terminalPath(stat->terminal);
        return path ? path : terminalInSysfs(stat->terminal);
      },
      .application = [files](std::int32_t pid) -> std::optional<Application> {
        auto id = ProcFormats::applicationId(files->cgroup(pid));
        if (!id) return std::nullopt;
        return Application{.bundleId = std::move(id), .isRegular = true};
      },
      .executable = executableOf,
      .mayBeOfApplication =
          [files](std::int32_t pid) { return ProcFormats::mayBeOfApplication(files->cgroup(pid)); },
  };
}

}  // namespace tavrin
