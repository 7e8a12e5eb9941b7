#include "TavrinTerminal/ServerStop.hpp"

#include <cmath>
#include <csignal>
#include <optional>

#include "TavrinTerminal/ShownText.hpp"

namespace tavrin {

namespace {

bool isSameProcess(const ServerStopTarget::Process& target, const ProcessFacts& processes) {
  constexpr double clockTolerance = 2;  // seconds: the boot time moves when the clock is set
  const std::optional<ProcessFact> process = processes.process(target.pid);
  return process && std::abs(secondsOf(process->startedAt) - secondsOf(target.startedAt)) <= clockTolerance &&
         processes.folder(target.pid) == target.cwd;
}

}  // namespace

std::string nameAndPort(const LocalServer& server) {
  return ShownText::clean(server.displayName()) + " on port " + std::to_string(server.port());
}

ServerStop::ServerStop(const LocalServer& server, const ServerStopTarget::Process& target,
                       const ProcessFacts& processes)
    : name_(nameAndPort(server)),
      process_(target.pid, [target, &processes] { return isSameProcess(target, processes); }) {}

std::variant<std::shared_ptr<ServerStop>, std::string> ServerStop::of(const LocalServer& server,
                                                                      const ProcessFacts& processes) {
  const std::optional<ServerStopTarget> target = server.stopTarget();
  const ServerStopTarget::Process* const process = target ? target->process() : nullptr;
  if (process != nullptr) return std::shared_ptr<ServerStop>(new ServerStop(server, *process, processes));
  return nameAndPort(server) + " was not stopped, because " +
         (server.isDocker ? "it belongs to a container. Stop it with \"docker stop\"."
                          : "not enough is known about its process.");
}

ServerStop::Result ServerStop::ask(std::chrono::milliseconds patience, int interrupt) const {
  return signal(SIGTERM, patience, interrupt);
}

ServerStop::Result ServerStop::kill(std::chrono::milliseconds patience, int interrupt) const {
  return signal(SIGKILL, patience, interrupt);
}

ServerStop::Result ServerStop::signal(int number, std::chrono::milliseconds patience, int interrupt) const {
  switch (process_.signal(number)) {
    case HeldProcess::Signalled::gone:
      return {.step = Step::refused,
              .sentence = name_ + " was not stopped, because its process has ended or is not the same."};
    case HeldProcess::Signalled::denied:
      return {.step = Step::refused,
              .sentence = name_ + " was not stopped, because it belongs to another user."};
    case HeldProcess::Signalled::sent:
      break;
  }
  if (process_.endsWithin(patience, interrupt))
    return {.step = Step::stopped, .sentence = name_ + " has stopped."};
  return {.step = Step::stillRuns,
          .sentence = name_ + (number == SIGKILL ? " still runs. The system has not ended it."
                                                 : " still runs, because it ignores SIGTERM.")};
}

}  // namespace tavrin
