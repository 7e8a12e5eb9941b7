// desktop-run HOME <EVENT: one run of the command below the Claude desktop app, which Linux does not have. It
// looks at "/start" before everything that belongs to the run.
#include <unistd.h>

#include <array>
#include <string_view>

#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "TavrinHook/HookCommand.hpp"
#include "tests/TavrinCore/Context/FakeProcesses.hpp"

int main(int argc, char** argv) {
  using namespace tavrin;
  if (argc != 2) return 1;
  test::FakeProcesses processes;
  processes.processes[200] = {.parent = 100, .name = "claude"};
  processes.processes[100] = {
      .parent = 1,
      .name = "Claude",
      .application = ProcessTable::Application{
          .bundleId = std::string(ClaudeSessionTitles::desktopBundleIdentifier), .isRegular = true}};
  HookCommand::Surroundings surroundings = HookCommand::Surroundings::real();
  surroundings.home = argv[1];
  surroundings.parentPid = 200;
  surroundings.processes = processes.table();
  constexpr std::array<std::string_view, 1> words = {"tavrin-hook"};
  ::access("/start", F_OK);
  HookCommand::run(words, surroundings);
  return 0;
}
