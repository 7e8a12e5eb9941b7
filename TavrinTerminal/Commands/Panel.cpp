#include "TavrinTerminal/Commands/Panel.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/Commands/Focus.hpp"
#include "TavrinTerminal/Commands/List.hpp"
#include "TavrinTerminal/Commands/Servers.hpp"
#include "TavrinTerminal/Panel/BackgroundWork.hpp"
#include "TavrinTerminal/Panel/ConnectWork.hpp"
#include "TavrinTerminal/Panel/ListingSchedule.hpp"
#include "TavrinTerminal/Panel/PanelKeys.hpp"
#include "TavrinTerminal/Panel/PanelModel.hpp"
#include "TavrinTerminal/Panel/PanelSessions.hpp"
#include "TavrinTerminal/Panel/StopWork.hpp"
#include "TavrinTerminal/Panel/Terminal.hpp"
#include "TavrinTerminal/SessionWatch.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/HealthProbe.hpp"

namespace tavrin::Panel {

namespace {

using PanelNavigation::Direction;
using std::chrono::milliseconds;

// What an outcome says, in one line, without the line feeds.
std::string sentenceOf(const Outcome& outcome) {
  std::string text = outcome.error;
  if (!text.empty() && !outcome.output.empty()) text += ' ';
  text += outcome.output;
  return ShownText::clean(Text::trimmed(text));
}

// The screen while it is open.
class Screen {
 public:
  Screen(const Surroundings& surroundings, const Console& console, const TerminalTraits& traits)
      : surroundings_(surroundings),
        traits_(traits),
        watch_(surroundings, withoutReader(console),
               [this](SessionWatcher::Look look) { guarded([&] { sessions_.take(std::move(look)); }); }),
        background_(watch_.loop()),
        sessions_(surroundings, model_, background_,
                  {.all = [this] { return watch_.sessions(); },
                   .changed = [this] { showSessions(); },
                   .failed = [this](const std::exception_ptr& thrown) { fail(thrown); }}),
        clock_(watch_.loop(), [this] { guarded([this] { draw(); }); }),
        nextServers_(watch_.loop(), [this] { guarded([this] { lookForServers(); }); }),
        health_(watch_.loop(), [this](const std::string& id,
                                      ServerHealth health) { guarded([&] { takeHealth(id, health); }); }),
        connect_(surroundings, Connect::Machine::ofThisSystem(), background_,
                 {.standings = [this](std::vector<AgentStanding> agents) { take(std::move(agents)); },
                  .question = [this](ConnectScreen::Question question) { ask(std::move(question)); },
                  .say = [this](std::string message) { say(std::move(message)); },
                  .failed = [this](const std::exception_ptr& thrown) { fail(thrown); }}),
        stop_(surroundings, background_,
              {.say = [this](std::string message) { say(std::move(message)); },
               .askToKill = [this](std::string name) { guarded([&] { model_.askToKill(std::move(name)); }); },
               .ended =
                   [this] {
                     guarded([this] {
                       draw();
                       lookForServers();
                     });
                   },
               .failed = [this](const std::exception_ptr& thrown) { fail(thrown); }}),
        listings_(std::chrono::steady_clock::now()),
        terminal_(watch_.loop(), console.outDescriptor, traits, console.colour,
                  {.key = [this](const Key& key) { guarded([&] { press(key); }); },
                   .gone = [this] { watch_.stop({.why = SessionWatch::End::Why::readerGone}); }}) {
    const auto onSignal = [this](int signal, std::function<void()> then) {
      return std::make_unique<SignalWatch>(watch_.loop(), signal,
                                           [this, then = std::move(then)] { guarded(then); });
    };
    signals_.push_back(onSignal(SIGWINCH, [this] { resized(); }));
    signals_.push_back(onSignal(SIGCONT, [this] { resumed(); }));
    signals_.push_back(onSignal(
        SIGQUIT, [this] { watch_.stop({.why = SessionWatch::End::Why::signalled, .signal = SIGQUIT}); }));
    watchSuspend();
    model_.resize(terminal_.size());
  }

  Outcome run() {
    const bool isConnected = isAnyConnected(surroundings_);
    model_.takeAgents(isConnected ? ActivityEmptyContent::Agents::connected(1)
                                  : ActivityEmptyContent::Agents::off());
    hasNothing_ = !isConnected;
    const SessionWatch::End end = watch_.run();
    if (thrown_) std::rethrow_exception(thrown_);
    return Outcome::endedBy(end.signal);
  }

 private:
  static Console withoutReader(Console console) {
    console.outDescriptor = -1;  // the terminal itself reports that nobody is there
    return console;
  }

  // Exceptions must not pass through libuv's functions, which are written in C.
  template <class Body>
  void guarded(Body&& body) {
    try {
      body();
    } catch (...) {
      thrown_ = std::current_exception();
      watch_.stop();
    }
  }

  void fail(const std::exception_ptr& thrown) {
    guarded([&] { std::rethrow_exception(thrown); });
  }

  void showSessions() {
    // People who have connected nothing yet see the agents first.
    if (std::exchange(hasNothing_, false) && model_.sessions().empty()) showAgents();
    draw();
    // Listing servers would only slow the first screen down.
    if (std::exchange(isFirst_, false)) lookForServers();
  }

  void draw() {
    const PanelModel::Screen screen = model_.screen(surroundings_.now());
    terminal_.show(PanelGrid(screen.lines, terminal_.size(), traits_.hasUnicode));
    constexpr milliseconds second{1'000};
    constexpr milliseconds minute{60'000};
    const milliseconds interval = screen.showsSeconds ? second : minute;
    if (interval != interval_) clock_.startRepeating(interval);
    interval_ = interval;
  }

  // Servers and agents.

  void lookForServers() {
    nextServers_.stop();
    if (!listings_.begins(std::chrono::steady_clock::now())) return;
    auto found = std::make_shared<Servers::Found>();
    background_.add([this, found] { *found = Servers::found(surroundings_); },
                    [this, found](const std::exception_ptr& thrown) {
                      guarded([&] {
                        listings_.ended();
                        if (!thrown) checkHealth(found->servers);
                        model_.takeServers(thrown ? std::nullopt : std::optional(std::move(found->servers)),
                                           std::move(found->unseenPorts));
                        draw();
                        nextServers_.start(ListingSchedule::interval);
                      });
                    });
  }

  // Forgets the health of servers that are gone, and asks servers that are new.
  void checkHealth(const std::vector<LocalServer>& servers) {
    std::map<std::string, ServerHealth> known;
    for (const LocalServer& server : servers) {
      const auto before = found_.find(server.id());
      if (before != found_.end()) {
        known.insert(*before);
      } else {
        health_.ask(server);
      }
    }
    found_ = std::move(known);
    model_.takeHealth(found_);
  }

  void takeHealth(const std::string& id, ServerHealth health) {
    found_[id] = health;
    model_.takeHealth(found_);
    draw();
  }

  void showAgents() {
    model_.toggleAgents();
    if (model_.mode() == PanelModel::Mode::agents) connect_.look();
  }

  void take(std::vector<AgentStanding> agents) {
    guarded([&] {
      const auto count = std::ranges::count_if(agents, &AgentStanding::isConnected);
      model_.takeAgents(count > 0 || isAnyConnected(surroundings_)
                            ? ActivityEmptyContent::Agents::connected(count)
                            : ActivityEmptyContent::Agents::off());
      model_.takeStandings(std::move(agents));
      draw();
    });
  }

  void ask(ConnectScreen::Question question) {
    guarded([&] {
      model_.askAbout(std::move(question));
      draw();
    });
  }

  void say(std::string message) {
    guarded([&] {
      model_.say(std::move(message));
      draw();
    });
  }

  // Signals.

  void watchSuspend() {
    suspend_ =
        std::make_unique<SignalWatch>(watch_.loop(), SIGTSTP, [this] { guarded([this] { suspend(); }); });
  }

  void resized() {
    terminal_.forget();
    model_.resize(terminal_.size());
    draw();
  }

  // The default of SIGTSTP stops the process; the shell's fg brings it back to the next line.
  void suspend() {
    terminal_.giveBack();
    suspend_.reset();
    ::raise(SIGTSTP);
    watchSuspend();
    resumed();
  }

  void resumed() {
    terminal_.take();
    resized();
  }

  // Keys.

  void press(const Key& key) {
    if (listings_.pressed(std::chrono::steady_clock::now())) lookForServers();
    const PanelAction action = PanelKeys::action(model_.mode(), key);
    if (action == PanelAction::nothing) return;
    model_.say("");
    perform(action, key);
    draw();
  }

  void perform(PanelAction action, const Key& key) {
    switch (action) {
      case PanelAction::nothing:
        break;
      case PanelAction::up:
        model_.move(Direction::up);
        break;
      case PanelAction::down:
        model_.move(Direction::down);
        break;
      case PanelAction::pageUp:
        model_.movePage(Direction::up);
        break;
      case PanelAction::pageDown:
        model_.movePage(Direction::down);
        break;
      case PanelAction::first:
        model_.moveToEnd(Direction::up);
        break;
      case PanelAction::last:
        model_.moveToEnd(Direction::down);
        break;
      case PanelAction::pick:
        if (model_.selectAt(key.row).value_or(false))
          perform(
              model_.mode() == PanelModel::Mode::agents ? PanelAction::askToConnect : PanelAction::activate,
              key);
        break;
      case PanelAction::activate:
        activate();
        break;
      case PanelAction::open:
        open();
        break;
      case PanelAction::askToStop:
        model_.askToStop();
        break;
      case PanelAction::stop:
        stop();
        break;
      case PanelAction::kill:
        kill();
        break;
      case PanelAction::endQuestion:
        model_.endQuestion();
        break;
      case PanelAction::toggleIdle:
        model_.toggleIdle();
        break;
      case PanelAction::startFilter:
        model_.startFilter();
        break;
      case PanelAction::typeFilter:
        model_.typeFilter(key.text);
        break;
      case PanelAction::eraseFilter:
        model_.eraseFilter();
        break;
      case PanelAction::keepFilter:
        model_.endFilter(true);
        break;
      case PanelAction::dropFilter:
        model_.endFilter(false);
        break;
      case PanelAction::toggleHelp:
        model_.toggleHelp();
        break;
      case PanelAction::toggleDetails:
        model_.toggleDetails();
        break;
      case PanelAction::toggleAgents:
        showAgents();
        break;
      case PanelAction::askToConnect:
        if (const auto deed = model_.connectScreen().deed()) preview(*deed);
        break;
      case PanelAction::askToDisconnect:
        if (model_.connectScreen().selected().isConnected) preview(ConnectScreen::Deed::disconnect);
        break;
      case PanelAction::change:
        change();
        break;
      case PanelAction::refresh:
        model_.sortAnew();
        if (model_.mode() == PanelModel::Mode::agents) connect_.look();
        lookForServers();
        break;
      case PanelAction::redraw:
        resized();
        break;
      case PanelAction::quit:
        watch_.stop();
        break;
    }
  }

  // Runs `work` beside the loop, and shows its outcome.
  void report(std::function<Outcome()> work, std::function<void()> then = nullptr) {
    auto outcome = std::make_shared<Outcome>();
    background_.add([outcome, work = std::move(work)] { *outcome = work(); },
                    [this, outcome, then = std::move(then)](const std::exception_ptr& thrown) {
                      guarded([&] {
                        if (thrown) std::rethrow_exception(thrown);
                        model_.say(sentenceOf(*outcome));
                        if (then) then();
                        draw();
                      });
                    });
  }

  void activate() {
    if (model_.selectedServer() != nullptr) open();
    const SessionRow* const row = model_.selectedSession();
    if (row == nullptr) return;
    const std::string id = row->session.record->sessionId;
    report([this, id] { return Focus::run({.session = id}, surroundings_); });
  }

  static std::string wordFor(const LocalServer& server) {
    return std::to_string(server.pid) + ":" + std::to_string(server.port());
  }

  // A console that asks nothing, because the screen has asked the person already.
  static Console silent() {
    Console console;
    console.out = [](std::string_view) { return true; };
    console.error = [](std::string_view) { return true; };
    console.readLine = [] { return std::nullopt; };
    return console;
  }

  void open() {
    const LocalServer* const server = model_.selectedServer();
    if (server == nullptr) return;
    health_.ask(*server);
    report([this, word = wordFor(*server)] { return Servers::open(word, surroundings_, silent()); });
  }

  // Agents.

  void preview(ConnectScreen::Deed deed) {
    model_.say("Looking at what would change...");
    connect_.preview(model_.connectScreen().selected(), deed);
  }

  void change() {
    const std::optional<ConnectScreen::Question> question = model_.connectScreen().question();
    model_.endQuestion();
    if (!question) return;
    model_.say("Working on it...");
    connect_.perform(*question);
  }

  void stop() {
    const LocalServer* const server = model_.selectedServer();
    model_.endQuestion();
    if (server != nullptr) stop_.stop(*server);
  }

  void kill() {
    model_.endQuestion();
    stop_.kill();
  }

  const Surroundings& surroundings_;
  TerminalTraits traits_;
  std::exception_ptr thrown_;
  PanelModel model_;
  std::map<std::string, ServerHealth> found_;
  bool hasNothing_ = false;
  bool isFirst_ = true;  // whether no sessions were shown yet
  // The members below wait on the loop of `watch_`, and are destroyed before it.
  SessionWatch watch_;
  BackgroundWork background_;
  PanelSessions sessions_;
  Timer clock_;
  milliseconds interval_{0};
  Timer nextServers_;
  HealthProbe health_;
  ConnectWork connect_;
  StopWork stop_;
  ListingSchedule listings_;
  std::vector<std::unique_ptr<SignalWatch>> signals_;
  std::unique_ptr<SignalWatch> suspend_;
  Terminal terminal_;  // destroyed first, so the terminal is restored before other destructors wait
};

}  // namespace

Outcome run(const Surroundings& surroundings, const Console& console) {
  const TerminalTraits traits = TerminalTraits::of(surroundings.environment);
  if (const std::string obstacle = surroundings.obstacle(); !obstacle.empty())
    return Outcome::failed("no panel was opened, because " + obstacle);
  if (!console.outputIsTerminal || traits.isDumb) return List::run({}, surroundings, console);
  Screen screen(surroundings, console, traits);
  return screen.run();
}

}  // namespace tavrin::Panel
