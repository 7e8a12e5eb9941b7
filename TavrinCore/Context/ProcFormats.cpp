#include "TavrinCore/Context/ProcFormats.hpp"

#include <sys/sysmacros.h>

#include <cstring>
#include <vector>

#include "TavrinCore/Support/Integer.hpp"
#include "TavrinCore/Support/Text.hpp"

namespace tavrin::ProcFormats {

namespace {

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

// The text between space number `index`, counted from 1, and the next space; "" if there are fewer spaces.
std::string_view fieldAt(std::string_view text, std::size_t index) {
  for (; index > 0; --index) {
    const std::size_t space = text.find(' ');
    if (space == std::string_view::npos) return {};
    text.remove_prefix(space + 1);
  }
  return text.substr(0, text.find(' '));
}

bool removeSuffix(std::string_view& text, std::string_view suffix) {
  if (!text.ends_with(suffix)) return false;
  text.remove_suffix(suffix.size());
  return true;
}

// A unit name with its \xXX escapes undone (systemd.unit(5)); nullopt if the result is empty or not valid
// UTF-8.
std::optional<std::string> unescaped(std::string_view name) {
  constexpr std::size_t escapeLength = 4;
  std::string out;
  while (!name.empty()) {
    const bool mayBeEscape = name.size() >= escapeLength && name.starts_with("\\x");
    const std::optional<std::uint8_t> byte =
        mayBeEscape ? Integer::digits<std::uint8_t>(name.substr(2, 2), 16) : std::nullopt;
    out += byte ? static_cast<char>(*byte) : name.front();
    name.remove_prefix(byte ? escapeLength : 1);
  }
  return out.empty() || !Text::isValidUtf8(out) ? std::nullopt : std::optional(std::move(out));
}

bool isRandom(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// The application ID that a unit's name holds.
std::optional<std::string> idInUnit(std::string_view unit) {
  constexpr std::string_view prefix = "app-";
  if (!unit.starts_with(prefix)) return std::nullopt;
  unit.remove_prefix(prefix.size());

  std::size_t afterId = 0;
  std::vector<std::string_view> parts;  // LAUNCHER, ID, RANDOM; the first and the last may be missing
  if (removeSuffix(unit, ".scope")) {
    parts = split(unit, '-');
    afterId = 1;
  } else if (removeSuffix(unit, ".service")) {
    parts = split(unit.substr(0, unit.find('@')), '-');
  } else if (removeSuffix(unit, ".slice")) {
    parts = split(unit, '-');
    // With two parts either may be the ID. An ID usually has dots, and a random text consists of digits.
    const bool endsRandomly = isRandom(parts.back());
    if (parts.size() == 3 || (parts.size() == 2 && endsRandomly)) afterId = 1;
  }
  if (parts.size() <= afterId || parts.size() > afterId + 2) return std::nullopt;
  return unescaped(parts[parts.size() - 1 - afterId]);
}

// Where the name of a process ends in a text of /proc/PID/stat; npos if none ends. The name may hold
// parentheses of its own. memrchr(3) because rfind() took a seventh of a run that looks at ten processes.
std::size_t endOfName(std::string_view stat) {
  // An empty view may point to nothing, and memrchr(3) must not get a null pointer.
  if (stat.empty()) return std::string_view::npos;
  const void* const found = ::memrchr(stat.data(), ')', stat.size());
  if (found == nullptr) return std::string_view::npos;
  return static_cast<std::size_t>(static_cast<const char*>(found) - stat.data());
}

}  // namespace

std::string procPath(std::int32_t pid, std::string_view file, std::string_view root) {
  constexpr std::size_t usualLength = 32;
  std::string path;
  path.reserve(root.size() + usualLength);
  path.append(root).append("/proc/").append(std::to_string(pid)).append(1, '/').append(file);
  return path;
}

std::optional<Stat> parseStat(std::string_view text) {
  // PID (NAME) STATE PPID PGRP SESSION TTY_NR …, where NAME may hold spaces and parentheses of its own.
  const std::size_t open = text.find('(');
  const std::size_t close = endOfName(text);
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
  const std::string_view fields = text.substr(close + 1);
  constexpr std::size_t parentField = 2;
  constexpr std::size_t terminalField = 5;
  const auto parent = Integer::digits<std::int32_t>(fieldAt(fields, parentField));
  const auto terminal = Integer::digits<std::int32_t>(fieldAt(fields, terminalField));
  if (!parent || !terminal) return std::nullopt;
  return Stat{.name = std::string(text.substr(open + 1, close - open - 1)),
              .parent = *parent,
              .terminal = static_cast<std::uint32_t>(*terminal)};
}

std::optional<Lifetime> parseLifetime(std::string_view text) {
  const std::size_t close = endOfName(text);
  if (close == std::string_view::npos) return std::nullopt;
  const std::string_view fields = text.substr(close + 1);
  constexpr std::size_t stateField = 1;
  constexpr std::size_t startField = 20;
  const std::string_view state = fieldAt(fields, stateField);
  const auto start = Integer::digits<std::uint64_t>(fieldAt(fields, startField));
  if (state.size() != 1 || !start) return std::nullopt;
  return Lifetime{.state = state.front(), .startTicks = *start};
}

std::vector<std::string> arguments(std::string_view cmdline) {
  std::vector<std::string> found;
  while (!cmdline.empty()) {
    const std::size_t end = cmdline.find('\0');
    found.emplace_back(cmdline.substr(0, end));
    if (end == std::string_view::npos) break;
    cmdline.remove_prefix(end + 1);
  }
  return found;
}

std::vector<std::int32_t> processIds(std::string_view children) {
  std::vector<std::int32_t> found;
  for (const std::string_view word : split(children, ' ')) {
    if (const auto pid = Integer::digits<std::int32_t>(word)) found.push_back(*pid);
  }
  return found;
}

std::vector<FileLock> fileLocks(std::string_view locks) {
  std::vector<FileLock> found;
  for (const std::string_view line : split(locks, '\n')) {
    // "1: FLOCK  ADVISORY  WRITE 4242 fd:01:1311 0 EOF". A process that waits has "->" after the number.
    std::vector<std::string_view> words = split(line, ' ');
    std::erase(words, std::string_view());
    constexpr std::size_t pidWord = 4;
    constexpr std::size_t fileWord = 5;
    if (words.size() <= fileWord || words[1] != "FLOCK") continue;
    const std::vector<std::string_view> file = split(words[fileWord], ':');
    if (file.size() != 3) continue;
    const auto pid = Integer::digits<std::int32_t>(words[pidWord]);
    const auto majorNumber = Integer::digits<std::uint32_t>(file[0], 16);
    const auto minorNumber = Integer::digits<std::uint32_t>(file[1], 16);
    const auto inode = Integer::digits<std::uint64_t>(file[2]);
    if (!pid || *pid <= 0 || !majorNumber || !minorNumber || !inode) continue;
    found.push_back({.pid = *pid, .majorNumber = *majorNumber, .minorNumber = *minorNumber, .inode = *inode});
  }
  return found;
}

std::optional<std::string> applicationId(std::string_view cgroup) {
  std::optional<std::string> id;
  for (const std::string_view line : split(cgroup, '\n')) {
    // HIERARCHY:CONTROLLERS:PATH
    const std::size_t path = line.find(':', line.find(':') + 1);
    if (path == std::string_view::npos) continue;
    for (const std::string_view unit : split(line.substr(path + 1), '/')) {
      if (std::optional<std::string> inner = idInUnit(unit)) id = std::move(inner);
    }
  }
  return id;
}

bool mayBeOfApplication(std::string_view cgroup) {
  return cgroup.find("/user@") != std::string_view::npos || applicationId(cgroup);
}

std::optional<std::string> terminalPath(std::uint32_t device) {
  // Major numbers are those of Linux's list of devices (devices.txt).
  const std::uint32_t majorNumber = major(device);
  const std::uint32_t minorNumber = minor(device);
  constexpr std::uint32_t consoles = 4;
  constexpr std::uint32_t firstSerial = 64;
  constexpr std::uint32_t firstPty = 136;
  constexpr std::uint32_t lastPty = 143;
  if (majorNumber == consoles && minorNumber < firstSerial) return "/dev/tty" + std::to_string(minorNumber);
  if (majorNumber == consoles) return "/dev/ttyS" + std::to_string(minorNumber - firstSerial);
  if (majorNumber >= firstPty && majorNumber <= lastPty)
    return "/dev/pts/" + std::to_string(minorNumber + ((majorNumber - firstPty) << 8U));
  return std::nullopt;
}

}  // namespace tavrin::ProcFormats
