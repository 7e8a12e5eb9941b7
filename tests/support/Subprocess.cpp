#include "tests/support/Subprocess.hpp"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <ostream>
#include <stdexcept>

namespace tavrin::test {

namespace {

struct Pipe {
  int readEnd = -1;
  int writeEnd = -1;

  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
    readEnd = ends[0];
    writeEnd = ends[1];
    ::fcntl(readEnd, F_SETFD, FD_CLOEXEC);
    ::fcntl(writeEnd, F_SETFD, FD_CLOEXEC);
  }
};

// Reads two descriptors to their ends, whichever has data.
void drain(int firstDescriptor, std::string& first, int secondDescriptor, std::string& second) {
  std::array<pollfd, 2> polled = {{{firstDescriptor, POLLIN, 0}, {secondDescriptor, POLLIN, 0}}};
  const std::array<std::string*, 2> texts = {&first, &second};
  int open = 2;
  while (open > 0) {
    if (::poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR) break;
    for (std::size_t i = 0; i < polled.size(); ++i) {
      if (polled[i].fd < 0 || polled[i].revents == 0) continue;
      std::array<char, 65'536> buffer{};
      const ssize_t count = ::read(polled[i].fd, buffer.data(), buffer.size());
      if (count > 0) {
        texts[i]->append(buffer.data(), static_cast<std::size_t>(count));
      } else if (count == 0 || errno != EINTR) {
        polled[i].fd = -1;
        --open;
      }
    }
  }
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
  return stream << "status " << outcome.exitStatus << ", signal " << outcome.signal << ", output \""
                << outcome.output << "\", error \"" << outcome.error << '"';
}

Subprocess::Subprocess(const std::vector<std::string>& words, const Environment& environment) {
  // Writing to a process that has closed its input must not end the test.
  std::signal(SIGPIPE, SIG_IGN);
  // A process that another thread starts in between must not inherit these pipes.
  static std::mutex starting;
  const std::lock_guard<std::mutex> alone(starting);
  const Pipe input;
  const Pipe output;
  const Pipe error;

  std::vector<char*> argv;
  for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  std::vector<std::string> settings;
  for (const auto& [name, value] : environment) settings.push_back(name + "=" + value);
  std::vector<char*> envp;
  for (std::string& setting : settings) envp.push_back(setting.data());
  envp.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input.readEnd, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output.writeEnd, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, error.writeEnd, STDERR_FILENO);
  // The process starts with default signals, whatever the test has done to its own.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

  const int code = ::posix_spawn(&pid_, argv[0], &actions, &attributes, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  ::close(input.readEnd);
  ::close(output.writeEnd);
  ::close(error.writeEnd);
  input_ = input.writeEnd;
  output_ = output.readEnd;
  error_ = error.readEnd;
  if (code != 0) throw std::runtime_error("cannot start " + words.at(0));
}

Subprocess::~Subprocess() {
  closeInput();
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  if (output_ >= 0) ::close(output_);
  if (error_ >= 0) ::close(error_);
}

void Subprocess::write(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = ::write(input_, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void Subprocess::closeInput() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
}

void Subprocess::waitUntilInputIsRead() const {
  constexpr int milliseconds = 1;
  int unread = 1;
  while (::ioctl(input_, FIONREAD, &unread) == 0 && unread > 0) ::poll(nullptr, 0, milliseconds);
}

std::string Subprocess::readLine() const {
  std::string line;
  char next = 0;
  for (;;) {
    const ssize_t count = ::read(output_, &next, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 || next == '\n') return line;
    line += next;
  }
}

Outcome Subprocess::wait() {
  closeInput();
  Outcome outcome;
  drain(output_, outcome.output, error_, outcome.error);
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  if (WIFEXITED(status)) outcome.exitStatus = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
  return outcome;
}

Outcome run(const std::vector<std::string>& words, std::string_view input,
            const Subprocess::Environment& environment) {
  Subprocess process(words, environment);
  process.write(input);
  return process.wait();
}

std::filesystem::path hookExecutable() {
  const char* const other = std::getenv("TAVRIN_HOOK_EXECUTABLE");
  return other != nullptr ? other : TAVRIN_HOOK_EXECUTABLE;
}

Outcome runHook(const std::filesystem::path& home, std::string_view input,
                std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), hookExecutable().string());
  return run(arguments, input, {{"HOME", home.string()}});
}

}  // namespace tavrin::test
