// Makes a chain of processes with given names that ends in a program, like an agent and its shells:
//
//   chain-link REPORT [LINK...] -- PROGRAM [ARGUMENT...]
//
// A LINK is the name of a process, the outermost first, and what it begins before it starts the next one:
//
//   NAME            nothing: it has the session and the terminal of the link before
//   NAME+session    a session of its own, without a terminal
//   NAME+terminal   a session of its own, with a new pseudo-terminal
//
// "@PROGRAM" at the end of a link has that copy of this program for its executable.
//
// "--+session" starts the program in a session of its own. Each link adds a line "PID TERMINAL" to the file
// REPORT. chain-link ends when the program and everything else that holds its streams has ended.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int failed = 125;

// Gives this process a session of its own with a new terminal. Returns the terminal's path.
std::string takeTerminal() {
  const int leader = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (leader < 0 || ::grantpt(leader) != 0 || ::unlockpt(leader) != 0) ::_exit(failed);
  std::string path = ::ptsname(leader);
  const int terminal = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal < 0 || ::setsid() < 0 || ::ioctl(terminal, TIOCSCTTY, 0) != 0) ::_exit(failed);
  return path;
}

// Goes on as the program of the link at `argv[next]`, if it names one.
void changeProgram(char** argv, int next) {
  const std::string_view link = argv[next];
  const std::size_t at = link.find('@');
  if (at == std::string_view::npos) return;
  const std::string rest(link.substr(0, at));
  const std::string program(link.substr(at + 1));
  std::vector<char*> words = {argv[0], argv[1], const_cast<char*>(rest.c_str())};
  for (char** word = argv + next + 1; *word != nullptr; ++word) words.push_back(*word);
  words.push_back(nullptr);
  ::execv(program.c_str(), words.data());
  ::_exit(failed);
}

// Becomes the process of a link. Returns the path of the terminal it has taken.
std::string become(std::string_view link) {
  const std::size_t plus = link.find('+');
  const std::string name(link.substr(0, plus));
  const std::string_view place = plus == std::string_view::npos ? "" : link.substr(plus + 1);
  std::string terminal;
  if (place == "terminal") terminal = takeTerminal();
  if (place == "session" && ::setsid() < 0) ::_exit(failed);
  if (::prctl(PR_SET_NAME, name.c_str()) != 0) ::_exit(failed);
  return terminal;
}

void report(const char* file, const std::string& terminal) {
  const int descriptor = ::open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const std::string line = std::to_string(::getpid()) + " " + terminal + "\n";
  if (::write(descriptor, line.data(), line.size()) != static_cast<ssize_t>(line.size())) ::_exit(failed);
  ::close(descriptor);
}

// Waits for the next process of the chain and ends with its status.
[[noreturn]] void follow(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : failed);
}

}  // namespace

int main(int argc, char** argv) {
  int next = 2;
  for (; next < argc && !std::string_view(argv[next]).starts_with("--"); ++next) {
    changeProgram(argv, next);
    report(argv[1], become(argv[next]));
    const pid_t child = ::fork();
    if (child < 0) return failed;
    if (child > 0) follow(child);
  }
  if (next + 1 >= argc) return failed;
  if (std::string_view(argv[next]) == "--+session" && ::setsid() < 0) return failed;
  ::execv(argv[next + 1], argv + next + 1);
  return failed;
}
