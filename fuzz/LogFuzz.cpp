// The log. The input's first part is the size that the log already has and the time in seconds. The other
// parts are messages. The files are compared with what they must have become.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>

#include "TavrinCore/Hook/HookLog.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Integer.hpp"
#include "fuzz/Laws.hpp"
#include "tests/support/Scratch.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)

namespace {

constexpr std::uint64_t largest = 1'000'000;

// One generation of the log: this many zero bytes, which take no room on a disk, and then lines.
struct Generation {
  std::uint64_t zeros = 0;
  std::string lines;

  std::uint64_t size() const { return zeros + lines.size(); }
};

void checkFile(const std::string& path, const std::optional<Generation>& expected) {
  require(File::size(path) == (expected ? std::optional(expected->size()) : std::nullopt),
          "a log has the size that it must have");
  if (!expected) return;
  const FileDescriptor file = FileDescriptor::open(path, O_RDONLY);
  std::string lines(expected->lines.size(), '\0');
  const ssize_t count =
      ::pread(file.number(), lines.data(), lines.size(), static_cast<off_t>(expected->zeros));
  require(count == static_cast<ssize_t>(lines.size()) && lines == expected->lines, "and its lines");
}

std::int64_t numberAt(const std::vector<std::string_view>& words, std::size_t index) {
  return index < words.size() ? Integer::digits<std::int64_t>(words[index]).value_or(-1) : -1;
}

// The line of a message, up to its first zero byte.
std::string lineOf(Date now, std::string_view message) {
  const std::string time = Iso8601::text(now);
  require(time.size() >= 20 && time.ends_with('Z'), "a time is a date-time in UTC");
  const std::optional<Date> again = Iso8601::parse(time);
  require(again && Iso8601::text(*again) == time, "a time comes back from its text");
  std::string line = time + " " + std::string(message) + "\n";
  return line.substr(0, line.find('\0'));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const test::ScratchDirectory directory;
  const std::string path = directory / "hook.log";
  const std::string previousPath = directory / "hook.1.log";
  const std::vector<std::string_view> parts = split(textOf(data, size), recordSeparator);
  const std::vector<std::string_view> numbers = split(parts.front(), ' ');
  const Date now = dateFromSeconds(static_cast<double>(numberAt(numbers, 1)));
  const HookLog log(path, [now] { return now; });

  File::remove(path);
  File::remove(previousPath);
  std::optional<Generation> current;
  std::optional<Generation> previous;
  if (const std::int64_t zeros = numberAt(numbers, 0); zeros >= 0) {
    current = Generation{.zeros = std::min(static_cast<std::uint64_t>(zeros), largest + 100), .lines = ""};
    const FileDescriptor file = FileDescriptor::open(path, O_WRONLY | O_CREAT, 0600);
    require(::ftruncate(file.number(), static_cast<off_t>(current->zeros)) == 0, "a file has a size");
  }
  for (std::size_t i = 1; i < parts.size(); ++i) {
    log.write(parts[i]);
    if (current && current->size() > largest) previous = std::exchange(current, std::nullopt);
    if (!current) current.emplace();
    current->lines += lineOf(now, parts[i]);
  }
  checkFile(path, current);
  checkFile(previousPath, previous);
  return 0;
}
