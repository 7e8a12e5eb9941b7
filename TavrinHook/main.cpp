// The hook command of coding agents. Whatever happens, it prints nothing and its exit status is 0: an agent
// takes anything else as an answer, and some stop their user's work for it.
#include <unistd.h>

#include <csignal>
#include <exception>
#include <string_view>
#include <vector>

#include "TavrinHook/HookCommand.hpp"

namespace {

// Nothing prints it, but strings(1) finds it in the executable.
constexpr const volatile char* version = "tavrin-hook " TAVRIN_VERSION;

}  // namespace

int main(int argc, char** argv) {
  static_cast<void>(*version);  // so that neither compiler nor linker leaves it out
  // An error of the library's own, as an exception on its way out of another, must not end in abort(3).
  std::set_terminate([] { _exit(0); });
  // A file over the size limit of setrlimit(2), or a pipe in a file's place, is then a failed write like any
  // other.
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    const std::vector<std::string_view> words(argv, argv + argc);
    // Never destroyed: the system closes its files sooner than this process could.
    auto* const surroundings =
        new tavrin::HookCommand::Surroundings(tavrin::HookCommand::Surroundings::real());
    surroundings->afterUse = tavrin::AfterUse::leaveOpen;
    tavrin::HookCommand::run(words, *surroundings);
  } catch (...) {  // NOLINT(bugprone-empty-catch): there is nobody left to tell
  }
  // Straight out, past destructors of static objects and the flushing of streams that were never used.
  _exit(0);
}
