// The hook command of coding agents. It always exits with status 0 and prints nothing. Agents read anything
// else as an answer, and some then stop their work.
#include <unistd.h>

#include <csignal>
#include <exception>
#include <string_view>
#include <vector>

#include "TavrinHook/HookCommand.hpp"

namespace {

// Nothing prints it, but strings(1) finds it in the executable. The attributes keep it through compiler and
// linker.
#if __has_attribute(retain)
[[gnu::used, gnu::retain]]
#else
[[gnu::used]]
#endif
constexpr char version[] = "tavrin-hook " TAVRIN_VERSION;  // NOLINT(modernize-avoid-c-arrays)

}  // namespace

int main(int argc, char** argv) {
  // An exception that is thrown while another one is handled must not end in abort(3).
  std::set_terminate([] { _exit(0); });
  // Without these signals, a write beyond the size limit of setrlimit(2), or to a closed pipe, only fails.
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    const std::vector<std::string_view> words(argv, argv + argc);
    // Never destroyed: closing its files one by one would take a system call for each.
    auto* const surroundings =
        new tavrin::HookCommand::Surroundings(tavrin::HookCommand::Surroundings::real());
    surroundings->afterUse = tavrin::AfterUse::leaveOpen;
    tavrin::HookCommand::run(words, *surroundings);
  } catch (...) {  // NOLINT(bugprone-empty-catch): there is nowhere to report it
  }
  // Skips destructors of static objects and the flushing of streams, which are not used.
  _exit(0);
}
