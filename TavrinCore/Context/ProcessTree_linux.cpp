#include "TavrinCore/Context/ProcessTree_linux.hpp"

#include <sys/sysmacros.h>

#include <cerrno>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "TavrinCore/Context/ProcFormats.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

namespace {

using ProcFormats::procPath;

// A terminal of a driver that has no fixed names, such as a USB adapter's (sysfs(5)).
std::optional<std::string> terminalInSysfs(const std::string& root, std::uint32_t device) {
  const std::string number = std::to_string(major(device)) + ":" + std::to_string(minor(device));
  const auto link = File::readLink(root + "/sys/dev/char/" + number);
  return link ? std::optional("/dev/" + std::string(Path::lastComponent(*link))) : std::nullopt;
}

// The name of a process's executable. The file may have been replaced since the process started.
std::optional<std::string> executableOf(const std::string& root, std::int32_t pid) {
  const std::optional<std::string> target = File::readLink(procPath(pid, "exe", root));
  if (!target) return std::nullopt;
  std::string_view name = Path::lastComponent(*target);
  constexpr std::string_view replaced = " (deleted)";
  if (name.ends_with(replaced)) name.remove_suffix(replaced.size());
  return std::string(name);
}

// Reads each file of a process once and remembers it. The files stay open until the table is destroyed, which
// in tavrin-hook is the end of the process. Otherwise a third of the calls for these files would close them.
class ProcFiles {
 public:
  explicit ProcFiles(std::string root) : root_(std::move(root)) {}

  const std::optional<ProcFormats::Stat>& stat(std::int32_t pid) {
    const auto known = stats_.find(pid);
    if (known != stats_.end()) return known->second;
    const std::optional<std::string> text = read(procPath(pid, "stat", root_));
    return stats_.emplace(pid, text ? ProcFormats::parseStat(*text) : std::nullopt).first->second;
  }

  const std::string& root() const { return root_; }

  const std::string& cgroup(std::int32_t pid) {
    const auto known = cgroups_.find(pid);
    if (known != cgroups_.end()) return known->second;
    return cgroups_.emplace(pid, read(procPath(pid, "cgroup", root_)).value_or("")).first->second;
  }

 private:
  // About as many as the longest chain needs, and far below any usual limit on open files.
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

  std::string root_;
  std::map<std::int32_t, std::optional<ProcFormats::Stat>> stats_;
  std::map<std::int32_t, std::string> cgroups_;
  std::vector<FileDescriptor> open_;
};

}  // namespace

ProcessTable processTableBelow(std::string root) {
  using Record = ProcessTable::Record;
  using Application = ProcessTable::Application;
  const auto files = std::make_shared<ProcFiles>(std::move(root));
  const auto executable = [files](std::int32_t pid) { return executableOf(files->root(), pid); };
  return {
      .record = [files](std::int32_t pid) -> std::optional<Record> {
        const auto& stat = files->stat(pid);
        if (!stat) return std::nullopt;
        return Record{.parent = stat->parent, .name = stat->name};
      },
      .longName = executable,
      .terminal = [files](std::int32_t pid) -> std::optional<std::string> {
        const auto& stat = files->stat(pid);
        if (!stat || stat->terminal == 0) return std::nullopt;
        const auto path = ProcFormats::terminalPath(stat->terminal);
        return path ? path : terminalInSysfs(files->root(), stat->terminal);
      },
      .application = [files](std::int32_t pid) -> std::optional<Application> {
        auto id = ProcFormats::applicationId(files->cgroup(pid));
        if (!id) return std::nullopt;
        return Application{.bundleId = std::move(id), .isRegular = true};
      },
      .executable = executable,
      .mayBeOfApplication =
          [files](std::int32_t pid) { return ProcFormats::mayBeOfApplication(files->cgroup(pid)); },
  };
}

ProcessTable ProcessTable::ofThisSystem() {
  return processTableBelow("");
}

}  // namespace tavrin
