#include "bench/Starts.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace tavrin::bench {

namespace {

// The bytes that a pipe takes before anybody reads (pipe(7)).
constexpr std::size_t pipeCapacity = 65'536;

void require(bool worked, const char* what) {
  if (!worked) throw std::system_error(errno, std::generic_category(), what);
}

void writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    require(count > 0, "write");
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

double microseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

}  // namespace

Started start(const Program& program, const std::filesystem::path& home, std::string_view payload) {
  std::vector<char*> words;
  for (const std::string& word : program.words) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  std::string homeVariable = "HOME=" + home.string();
  std::string pathVariable = "PATH=/usr/local/bin:/usr/bin:/bin";
  std::vector<char*> environment = {homeVariable.data(), pathVariable.data(), nullptr};

  Started started;
  started.since = std::chrono::steady_clock::now();
  std::array<int, 2> ends{};
  require(::pipe2(ends.data(), O_CLOEXEC) == 0, "pipe");
  const bool fits = payload.size() <= pipeCapacity;
  if (fits) {
    writeAll(ends[1], payload);
    ::close(ends[1]);
  }
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  errno = ::posix_spawn(&started.pid, words[0], &actions, nullptr, words.data(), environment.data());
  require(errno == 0, words[0]);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(ends[0]);
  if (!fits) {
    writeAll(ends[1], payload);
    ::close(ends[1]);
  }
  return started;
}

Cost finish(const Started& started) {
  int status = 0;
  rusage usage{};
  require(::wait4(started.pid, &status, 0, &usage) == started.pid, "wait4");
  const std::chrono::duration<double, std::micro> wall = std::chrono::steady_clock::now() - started.since;
  if (status != 0) throw std::runtime_error("a program under measurement failed");
  return {.wall = wall.count(), .processor = microseconds(usage.ru_utime) + microseconds(usage.ru_stime)};
}

Cost run(const Program& program, const std::filesystem::path& home, std::string_view payload) {
  return finish(start(program, home, payload));
}

void Samples::add(Cost cost) {
  walls_.push_back(cost.wall);
  processors_.push_back(cost.processor);
}

Cost Samples::at(double share) const {
  const auto pick = [share](std::vector<double> values) {
    const auto place = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + place, values.end());
    return values.at(static_cast<std::size_t>(place));
  };
  return {.wall = pick(walls_), .processor = pick(processors_)};
}

}  // namespace tavrin::bench
