// What ChildProcess's tests start: test-child MODE [ARGUMENT...]
#include <fcntl.h>
#include <unistd.h>
#include <uv.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/System/ChildProcess.hpp"

extern char** environ;  // environ(7); not every system's headers declare it

namespace {

// Says how it was started: a line each for what is not as in a clean process, and where it is.
int report() {
  sigset_t blocked;
  sigprocmask(SIG_SETMASK, nullptr, &blocked);
  constexpr int standardSignals = 31;
  for (int signal = 1; signal <= standardSignals; ++signal) {
    if (sigismember(&blocked, signal) == 1) std::printf("blocked %d\n", signal);
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_DFL)
      std::printf("handled %d\n", signal);
  }
  constexpr int someDescriptors = 1024;
  for (int number = 0; number < someDescriptors; ++number) {
    if (fcntl(number, F_GETFD) >= 0) std::printf("open %d\n", number);
  }
  std::printf("session %s\n", getsid(0) == getpid() ? "own" : "inherited");
  const int terminal = open("/dev/tty", O_RDWR);
  std::printf("terminal %s\n", terminal >= 0 ? "yes" : "no");
  return 0;
}

int words(const std::vector<std::string_view>& arguments) {
  for (const std::string_view word : arguments) std::printf("%s\n", word.data());
  return 0;
}

int environment() {
  for (char** setting = environ; *setting != nullptr; ++setting) {
    // The counting of branches sets one of its own.
    if (!std::string_view(*setting).starts_with("__LLVM_PROFILE")) std::puts(*setting);
  }
  std::vector<char> directory(4096);
  std::printf("in %s\n", getcwd(directory.data(), directory.size()));
  return 0;
}

int copyInput() {
  std::vector<char> buffer(65'536);
  for (ssize_t count = 0; (count = read(STDIN_FILENO, buffer.data(), buffer.size())) > 0;)
    std::fwrite(buffer.data(), 1, static_cast<std::size_t>(count), stdout);
  return 0;
}

[[noreturn]] void waitForSignals() {
  for (;;) pause();
}

// Opens the named pipe as a writer, so that its reader sees who is alive, and has a child do the same.
int hold(const char* path) {
  const int fifo = open(path, O_WRONLY);
  static_cast<void>(fork());
  if (write(fifo, "x", 1) != 1) return 1;
  waitForSignals();
}

// Leaves behind a child of its own that keeps the streams open.
int leave(const char* path) {
  const int fifo = open(path, O_WRONLY);
  if (fork() == 0) {
    if (write(fifo, "x", 1) != 1) return 1;
    waitForSignals();
  }
  std::puts("done");
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string_view> rest(arguments + 2, arguments + count);
  const std::string_view mode = arguments[1];
  if (mode == "report") return report();
  if (mode == "words") return words(rest);
  if (mode == "environment") return environment();
  if (mode == "copy") return copyInput();
  if (mode == "hold") return hold(rest[0].data());
  if (mode == "leave") return leave(rest[0].data());
  if (mode == "exit") return std::atoi(rest[0].data());
  if (mode == "abort") return std::raise(SIGKILL);
  if (mode == "wait") waitForSignals();
  if (mode == "polite" || mode == "stubborn") {
    std::signal(
        SIGTERM, mode == "stubborn" ? SIG_IGN : [](int) {
          static_cast<void>(!write(STDOUT_FILENO, "asked\n", 6));
          _exit(3);
        });
    std::puts("here");
    std::fflush(stdout);
    waitForSignals();
  }
  if (mode == "flood") {
    for (;;) std::puts("more and more");
  }
  if (mode == "parent" || mode == "starter") {
    // Runs a child of its own, a parent until it is killed itself, and a starter only until the child runs.
    const std::vector<std::string> words(rest.begin(), rest.end());
    uv_loop_t loop;
    uv_loop_init(&loop);
    const tavrin::ChildProcess child(loop, {.words = words, .input = "", .timeout = std::chrono::hours(1)},
                                     [](const tavrin::ChildOutcome&) {});
    // From now on the child ends with this process.
    std::puts("started");
    std::fflush(stdout);
    if (mode == "starter") std::_Exit(0);
    uv_run(&loop, UV_RUN_DEFAULT);
    return uv_loop_close(&loop);
  }
  return 64;
}
