// What /proc (proc(5)) tells about processes.
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <map>
#include <memory>
#include <string>

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

// Reads each process's stat file once and remembers it: parent, name and terminal stand in that one file.
class StatFiles {
 public:
  std::optional<ProcFormats::Stat> operator[](std::int32_t pid) {
    const auto known = read_.find(pid);
    if (known != read_.end()) return known->second;
    const std::optional<std::string> text = File::oneRead(procPath(pid, "stat"));
    return read_.emplace(pid, text ? ProcFormats::parseStat(*text) : std::nullopt).first->second;
  }

 private:
  std::map<std::int32_t, std::optional<ProcFormats::Stat>> read_;
};

}  // namespace

ProcessTable ProcessTable::ofThisSystem() {
  const auto stats = std::make_shared<StatFiles>();
  return {
      .record = [stats](std::int32_t pid) -> std::optional<Record> {
        const auto stat = (*stats)[pid];
        if (!stat) return std::nullopt;
        return Record{.parent = stat->parent, .name = stat->name};
      },
      .longName = [](std::int32_t pid) -> std::optional<std::string> {
        const auto executable = linkTarget(procPath(pid, "exe"));
        return executable ? std::optional(std::string(Path::lastComponent(*executable))) : std::nullopt;
      },
      .terminal = [stats](std::int32_t pid) -> std::optional<std::string> {
        const auto stat = (*stats)[pid];
        if (!stat || stat->terminal == 0) return std::nullopt;
        const auto path = ProcFormats::terminalPath(stat->terminal);
        return path ? path : terminalInSysfs(stat->terminal);
      },
      .application = [](std::int32_t pid) -> std::optional<Application> {
        const auto cgroup = File::oneRead(procPath(pid, "cgroup"));
        auto id = cgroup ? ProcFormats::applicationId(*cgroup) : std::nullopt;
        if (!id) return std::nullopt;
        return Application{.bundleId = std::move(id), .isRegular = true};
      },
  };
}

}  // namespace tavrin
