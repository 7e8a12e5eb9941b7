// What proc(5) knows about processes.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <ctime>
#include <memory>
#include <string_view>

#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/System/ProcessFacts.hpp"

namespace tavrin {

namespace {

std::optional<std::string> linkTarget(const std::string& path) {
  std::array<char, 4096> target{};
  const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
  return length > 0 ? std::optional(std::string(target.data(), static_cast<std::size_t>(length)))
                    : std::nullopt;
}

// The clock that process starts are counted by goes on while the machine sleeps (CLOCK_BOOTTIME).
std::optional<Date> bootTime() {
  timespec sinceBoot{};
  if (::clock_gettime(CLOCK_BOOTTIME, &sinceBoot) != 0) return std::nullopt;
  const auto elapsed = std::chrono::seconds(sinceBoot.tv_sec) + std::chrono::nanoseconds(sinceBoot.tv_nsec);
  return Date(std::chrono::system_clock::now()) - elapsed;
}

// Field 22 of /proc/PID/stat, in clock ticks since the boot. The name in parentheses may hold anything.
std::optional<double> ticksAtStart(std::string_view stat) {
  constexpr int spacesAfterName = 20;
  const std::size_t close = stat.rfind(')');
  if (close == std::string_view::npos) return std::nullopt;
  stat.remove_prefix(close);
  for (int i = 0; i < spacesAfterName; ++i) {
    const std::size_t space = stat.find(' ');
    if (space == std::string_view::npos) return std::nullopt;
    stat.remove_prefix(space + 1);
  }
  std::uint64_t ticks = 0;
  const auto [stop, error] = std::from_chars(stat.data(), stat.data() + stat.size(), ticks);
  return error == std::errc() && stop != stat.data() ? std::optional(static_cast<double>(ticks))
                                                     : std::nullopt;
}

}  // namespace

ProcessFacts ProcessFacts::ofThisSystem() {
  const auto asked = std::make_shared<std::optional<std::optional<Date>>>();
  const auto bootOnce = [asked] {
    if (!*asked) *asked = tavrin::bootTime();
    return **asked;
  };
  return {
      .exists = [](std::int32_t pid) { return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM); },
      .startedAt = [bootOnce](std::int32_t pid) -> std::optional<Date> {
        const auto stat = File::oneRead("/proc/" + std::to_string(pid) + "/stat");
        const auto ticks = stat ? ticksAtStart(*stat) : std::nullopt;
        const auto boot = bootOnce();
        if (!ticks || !boot) return std::nullopt;
        return *boot + std::chrono::duration<double>(*ticks / static_cast<double>(::sysconf(_SC_CLK_TCK)));
      },
      .workingDirectory =
          [](std::int32_t pid) { return linkTarget("/proc/" + std::to_string(pid) + "/cwd"); },
      .bootTime = bootOnce,
  };
}

std::string ProcessFacts::executableOfThisProcess() {
  return linkTarget("/proc/self/exe").value_or("");
}

}  // namespace tavrin
