// The command `tavrin`. It wires the real console, home, clock and processes; all else is in the library.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <variant>
#include <vector>

#include "TavrinTerminal/Command.hpp"

namespace {

// Whoever started this may have closed these. A file that is opened later would take the number, and output
// would go into it. Nothing can be written to what is opened here, so that lost output stays an error.
void openStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) == -1 && errno == EBADF) ::open("/dev/null", O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) {
  openStandardDescriptors();
  // If the reader of the output goes away, a write then fails, which ends a command quietly. Child processes
  // get the default action back.
  std::signal(SIGPIPE, SIG_IGN);
  const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
  const auto parsed = tavrin::Command::parse(words, ::isatty(STDOUT_FILENO) == 1);
  if (const auto* const outcome = std::get_if<tavrin::Outcome>(&parsed))
    return tavrin::Command::report(*outcome, tavrin::Console::real(tavrin::ColourChoice::automatic));
  const auto& invocation = std::get<tavrin::Command::Invocation>(parsed);
  const int status = tavrin::Command::run(invocation, tavrin::Surroundings::real(),
                                          tavrin::Console::real(invocation.colour));
  // The shell must see that a signal ended the command.
  constexpr int firstSignal = 128;
  if (status > firstSignal) {
    std::signal(status - firstSignal, SIG_DFL);
    std::raise(status - firstSignal);
  }
  return status;
}
