#include "TavrinTerminal/System/Browser.hpp"

#include "TavrinTerminal/System/ChildProcess.hpp"
#include "TavrinTerminal/System/Executables.hpp"

namespace tavrin {

std::optional<std::string> openInBrowser(const std::string& url, std::string_view pathVariable) {
#ifdef __APPLE__
  constexpr std::string_view program = "open";
#else
  constexpr std::string_view program = "xdg-open";
#endif
  const std::optional<std::string> path = Executables::find(program, pathVariable);
  if (!path) return std::string(program) + " is not installed.";
  ChildCommand command;
  command.words = {*path, url};
  command.mayLeaveChildren = true;
  const ChildOutcome outcome = ChildProcess::run(command);
  if (outcome.succeeded()) return std::nullopt;
  if (outcome.end == ChildOutcome::End::timedOut) return std::string(program) + " did not end within 5 s.";
  return std::string(program) + " failed.";
}

}  // namespace tavrin
