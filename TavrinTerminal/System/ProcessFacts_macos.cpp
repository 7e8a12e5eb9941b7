// What sysctl(3) and <libproc.h> know about processes.
#include <libproc.h>
#include <mach-o/dyld.h>
#include <sys/sysctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>

#include "TavrinTerminal/System/ProcessFacts.hpp"

namespace tavrin {

namespace {

Date dateOf(std::uint64_t seconds, std::uint64_t microseconds) {
  return dateFromSeconds(static_cast<double>(seconds) + static_cast<double>(microseconds) / 1e6);
}

std::optional<Date> bootTime() {
  std::array<int, 2> name = {CTL_KERN, KERN_BOOTTIME};
  timeval boot{};
  std::size_t size = sizeof boot;
  if (::sysctl(name.data(), name.size(), &boot, &size, nullptr, 0) != 0) return std::nullopt;
  return dateOf(static_cast<std::uint64_t>(boot.tv_sec), static_cast<std::uint64_t>(boot.tv_usec));
}

}  // namespace

ProcessFacts ProcessFacts::ofThisSystem() {
  return {
      .exists = [](std::int32_t pid) { return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM); },
      .startedAt = [](std::int32_t pid) -> std::optional<Date> {
        proc_bsdinfo info{};
        if (::proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, sizeof info) != sizeof info) return std::nullopt;
        return dateOf(info.pbi_start_tvsec, info.pbi_start_tvusec);
      },
      .workingDirectory = [](std::int32_t pid) -> std::optional<std::string> {
        proc_vnodepathinfo info{};
        const int size = ::proc_pidinfo(pid, PROC_PIDVNODEPATHINFO, 0, &info, sizeof info);
        if (size != sizeof info || info.pvi_cdir.vip_path[0] == '\0') return std::nullopt;
        return std::string(info.pvi_cdir.vip_path);
      },
      .bootTime = tavrin::bootTime,
  };
}

std::string ProcessFacts::executableOfThisProcess() {
  std::array<char, PATH_MAX> path{};
  std::uint32_t size = path.size();
  if (::_NSGetExecutablePath(path.data(), &size) != 0) return {};
  std::array<char, PATH_MAX> real{};
  return ::realpath(path.data(), real.data()) == nullptr ? std::string() : std::string(real.data());
}

}  // namespace tavrin
