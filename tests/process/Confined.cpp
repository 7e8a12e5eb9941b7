// Runs a program with less than it normally has:
//
//   confined [OPTION...] PROGRAM [ARGUMENT...]
//
//   close=N                              without the open file N
//   nonblocking=N                        with the open file N set to non-blocking
//   ignored=N                            with the signal N ignored
//   user=N                               as another user
//   fsize=N  stack=N  as=N               with a limit of setrlimit(2)
//   nofile=N                             with so many open files at most, and none but the standard ones open
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

namespace {

constexpr int failed = 125;

bool limit(auto resource, rlim_t value) {
  rlimit limits{};
  if (::getrlimit(resource, &limits) != 0) return false;
  limits.rlim_cur = value;
  return ::setrlimit(resource, &limits) == 0;
}

// Whoever started the tests may have left files open for them.
bool limitFiles(int count) {
  for (int number = STDERR_FILENO + 1; number < count; ++number) ::close(number);
  return limit(RLIMIT_NOFILE, static_cast<rlim_t>(count));
}

bool confine(std::string_view option, unsigned long value) {
  const int number = static_cast<int>(value);
  if (option == "close") return ::close(number) == 0;
  if (option == "nonblocking") return ::fcntl(number, F_SETFL, O_NONBLOCK) == 0;
  if (option == "ignored") return std::signal(number, SIG_IGN) != SIG_ERR;
  if (option == "user") return ::setuid(static_cast<uid_t>(value)) == 0;
  if (option == "fsize") return limit(RLIMIT_FSIZE, value);
  if (option == "stack") return limit(RLIMIT_STACK, value);
  if (option == "nofile") return limitFiles(number);
  if (option == "as") return limit(RLIMIT_AS, value);
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  int next = 1;
  for (; next < argc && *argv[next] != '/'; ++next) {
    const std::string_view word = argv[next];
    const std::size_t equals = word.find('=');
    if (equals == std::string_view::npos) return failed;
    if (!confine(word.substr(0, equals), std::strtoul(argv[next] + equals + 1, nullptr, 10))) return failed;
  }
  if (next < argc) ::execv(argv[next], argv + next);
  return failed;
}
