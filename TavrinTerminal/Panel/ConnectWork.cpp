#include "TavrinTerminal/Panel/ConnectWork.hpp"

#include <exception>
#include <utility>

#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/Commands/Disconnect.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin {

namespace {

using Deed = ConnectScreen::Deed;

// Nobody is asked and nothing is printed: the person is asked on the screen.
Console silentConsole() {
  Console console;
  console.out = [](std::string_view) { return true; };
  console.error = [](std::string_view) { return true; };
  console.readLine = [] { return std::nullopt; };
  return console;
}

}  // namespace

std::vector<AgentStanding> ConnectWork::Means::standings() const {
  const std::vector<Agent> all(allAgents.begin(), allAgents.end());
  return standingsOf(surveyed(all, surroundings, placesFor(surroundings, machine->prefixes), interrupt),
                     surroundings);
}

Outcome ConnectWork::Means::run(Agent agent, Deed deed, bool dryRun,
                                const std::function<void(const std::string& step)>& progress) const {
  if (deed == Deed::disconnect)
    return Disconnect::run({.agents = {agent}, .dryRun = dryRun, .yes = true, .takesSignals = false},
                           surroundings, silentConsole());
  return Connect::run(
      {.agents = {agent}, .dryRun = dryRun, .yes = true, .interrupt = interrupt, .progress = progress},
      surroundings, silentConsole(), *machine);
}

void ConnectWork::look() {
  if (isLooking_) return;
  isLooking_ = true;
  auto found = std::make_shared<std::vector<AgentStanding>>();
  background_.add([means = means_, found] { *found = means.standings(); },
                  [this, found](const std::exception_ptr& thrown) {
                    isLooking_ = false;
                    if (thrown) {
                      callbacks_.failed(thrown);
                      return;
                    }
                    callbacks_.standings(*found);
                    askForTrust(*found);
                  });
}

void ConnectWork::askForTrust(const std::vector<AgentStanding>& agents) {
  for (const AgentStanding& agent : agents) {
    if (agent.readiness.kind() != AgentReadiness::Kind::checking) continue;
    auto standings = std::make_shared<std::vector<AgentStanding>>(agents);
    background_.add(
        [means = means_, standings, index = static_cast<std::size_t>(&agent - agents.data())] {
          AgentStanding& asked = (*standings)[index];
          asked.readiness = askedForTrust(asked, means.surroundings, means.interrupt);
        },
        [this, standings](const std::exception_ptr& thrown) {
          if (thrown) {
            callbacks_.failed(thrown);
            return;
          }
          callbacks_.standings(*standings);
        });
    return;  // only one agent asks for trust
  }
}

void ConnectWork::preview(const AgentStanding& agent, Deed deed) {
  auto outcome = std::make_shared<Outcome>();
  const bool mayNeedTrust = deed == Deed::renew && AgentDefinition::definition(agent.agent).activation ==
                                                       AgentActivation::codexTrust;
  background_.add([means = means_, outcome, which = agent.agent,
                   deed] { *outcome = means.run(which, deed, true, nullptr); },
                  [this, outcome, which = agent.agent, deed, mayNeedTrust](const std::exception_ptr& thrown) {
                    if (thrown) {
                      callbacks_.failed(thrown);
                      return;
                    }
                    const bool hasChange = outcome->output.find("\n@@ ") != std::string::npos;
                    std::string change = std::move(outcome->output);
                    if (outcome->status != ExitStatus::done) {
                      callbacks_.say(ShownText::clean(outcome->error));
                      return;
                    }
                    if (!hasChange && mayNeedTrust)
                      change = "The settings stay as they are. Codex is asked to trust the hooks.\n";
                    callbacks_.question({.agent = which, .deed = deed, .change = std::move(change)});
                  });
}

void ConnectWork::perform(const ConnectScreen::Question& question) {
  auto outcome = std::make_shared<Outcome>();
  const auto progress = [post = background_.post(), say = callbacks_.say](const std::string& step) {
    post([say, step] { say(step + "..."); });
  };
  background_.add([means = means_, outcome, question,
                   progress] { *outcome = means.run(question.agent, question.deed, false, progress); },
                  [this, outcome](const std::exception_ptr& thrown) {
                    if (thrown) {
                      callbacks_.failed(thrown);
                      return;
                    }
                    std::string text = outcome->error.empty() ? outcome->output : outcome->error;
                    callbacks_.say(ShownText::clean(Text::trimmed(text)));
                    look();
                  });
}

}  // namespace tavrin
