#include "TavrinTerminal/Commands/Watch.hpp"

#include <unistd.h>

#include <chrono>
#include <deque>
#include <memory>
#include <utility>

#include "TavrinTerminal/SessionRows.hpp"
#include "TavrinTerminal/SessionWatch.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/ChildProcess.hpp"

extern char** environ;  // NOLINT(readability-redundant-declaration): macOS does not declare it

namespace tavrin::Watch {

namespace {

constexpr std::size_t mostWaiting = 1000;
constexpr std::chrono::seconds commandTimeout{60};

// Runs a command line for changes, one after the other.
class Commands {
 public:
  Commands(EventLoop& loop, std::string commandLine, const Console& console)
      : loop_(loop), commandLine_(std::move(commandLine)), console_(console) {}

  void add(const SessionChange& change, Date time) {
    if (waiting_.size() == mostWaiting) {
      if (!isFull_) console_.error("tavrin: the command is too slow. Changes are dropped.\n");
      isFull_ = true;
      return;
    }
    waiting_.push_back({.input = jsonOf(change, time) + "\n", .variables = variablesOf(change)});
    startNext();
  }

 private:
  struct Waiting {
    std::string input;
    std::vector<std::string> variables;
  };

  void startNext() {
    if (isRunning_ || waiting_.empty()) return;
    isRunning_ = true;
    isFull_ = false;
    Waiting next = std::move(waiting_.front());
    waiting_.pop_front();
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable) environment.emplace_back(*variable);
    environment.insert(environment.end(), next.variables.begin(), next.variables.end());
    const ChildCommand command = {.words = {"/bin/sh", "-c", commandLine_},
                                  .input = std::move(next.input),
                                  .environment = std::move(environment),
                                  .timeout = commandTimeout};
    child_ = std::make_unique<ChildProcess>(loop_.native(), command,
                                            [this](const ChildOutcome& outcome) { ended(outcome); });
  }

  void ended(const ChildOutcome& outcome) {
    console_.error(outcome.output);
    console_.error(outcome.error);
    if (!outcome.succeeded()) console_.error("tavrin: " + problemOf(outcome) + "\n");
    isRunning_ = false;
    startNext();
  }

  static std::string problemOf(const ChildOutcome& outcome) {
    using End = ChildOutcome::End;
    switch (outcome.end) {
      case End::exited:
        return "the command ended with status " + std::to_string(outcome.status) + ".";
      case End::signalled:
        return "the command was ended by signal " + std::to_string(outcome.signal) + ".";
      case End::timedOut:
        return "the command was ended, because it took longer than 60 s.";
      case End::overflowed:
        return "the command was ended, because it printed more than 1 MB.";
      case End::interrupted:
      case End::notStarted:
        break;
    }
    return "the command was not run, because /bin/sh could not be started.";
  }

  EventLoop& loop_;
  std::string commandLine_;
  const Console& console_;
  std::deque<Waiting> waiting_;
  std::unique_ptr<ChildProcess> child_;
  bool isRunning_ = false;
  bool isFull_ = false;
};

}  // namespace

std::vector<std::string> variablesOf(const SessionChange& change) {
  const Session& record = *change.row.session.record;
  // A zero byte would end a variable early.
  const auto variable = [](std::string name, std::string_view value) {
    name += '=';
    name += ShownText::clean(value);
    return name;
  };
  return {variable("TAVRIN_CHANGE", nameOf(change.kind)), variable("TAVRIN_SESSION", record.sessionId),
          variable("TAVRIN_AGENT", rawValue(record.agent)),
          variable("TAVRIN_STATE", rawValue(change.row.session.state)),
          variable("TAVRIN_LABEL", change.row.label)};
}

Outcome run(const Options& options, const Surroundings& surroundings, const Console& console) {
  if (const std::string obstacle = surroundings.obstacle(); !obstacle.empty())
    return Outcome::failed("nothing was watched, because " + obstacle);
  if (options.notify && surroundings.isForeignHome)
    return Outcome::failed(foreignHomeSentence(surroundings, "nothing was watched"));
  if (options.notify && !surroundings.makeNotifier)
    return Outcome::failed(
        "nothing was watched, because this tavrin cannot notify. Leave out --notify, or use --exec.");

  SessionChanges changes;
  bool isFirst = true;
  SessionWatch* running = nullptr;
  std::unique_ptr<Commands> commands;
  std::unique_ptr<SessionChangeObserver> notifier;
  SessionWatch watch(surroundings, console, [&](std::vector<ObservedSession> sessions) {
    const std::vector<SessionChange> found =
        changes.since(sessionRows(inShownOrder(std::move(sessions), surroundings.home, false), surroundings));
    const Date now = surroundings.now();
    std::string text;
    for (const SessionChange& change : found) {
      text += options.json ? jsonOf(change, now) : lineOf(change);
      text += '\n';
      if (commands && !isFirst) commands->add(change, now);
      if (notifier) notifier->changed(change);
    }
    isFirst = false;
    if (!text.empty() && !console.out(text)) running->stop({.why = SessionWatch::End::Why::readerGone});
  });
  running = &watch;
  if (options.exec) commands = std::make_unique<Commands>(watch.loop(), *options.exec, console);
  if (options.notify) notifier = surroundings.makeNotifier(watch.loop());
  const SessionWatch::End end = watch.run();
  // They are destroyed before the loop that they wait on.
  notifier.reset();
  commands.reset();
  return Outcome::endedBy(end.signal);
}

}  // namespace tavrin::Watch
