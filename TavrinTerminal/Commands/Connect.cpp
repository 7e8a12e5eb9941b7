#include "TavrinTerminal/Commands/Connect.hpp"

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "TavrinCore/Agents/CodexActivation.hpp"
#include "TavrinCore/Agents/SettingsFile.hpp"
#include "TavrinTerminal/AgentSurvey.hpp"
#include "TavrinTerminal/Commands/SettingsReport.hpp"
#include "TavrinTerminal/HookPath.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/CodexServer.hpp"
#include "TavrinTerminal/System/Executables.hpp"
#include "TavrinTerminal/System/Interruption.hpp"

namespace tavrin::Connect {

namespace {

using Kind = SettingsFile::Outcome::Kind;
using SettingsReport::Line;

constexpr std::string_view nothingConnected = "nothing was connected";
constexpr std::string_view trustScreen =
    " The hooks are written, but Codex does not run them until it trusts them. Start Codex and trust them on "
    "its screen \"Hooks need review\", or run \"tavrin connect codex\" again.";

// What will be done for one agent.
struct Plan {
  SurveyedAgent agent;
  AgentVersions::Fit fit;
  std::string helperPath;
  SettingsFile file;
  SettingsFile::Outcome preview;
  bool wasConnected = false;  // some entry of ours is there
};

class Command {
 public:
  Command(const Options& options, const Surroundings& surroundings, const Console& console,
          const Machine& machine)
      : options_(options),
        surroundings_(surroundings),
        console_(console),
        machine_(machine),
        originals_(SettingsFile::defaultOriginals(surroundings.home)) {}

  Outcome run() {
    hook_ = HookPath::choose(machine_.hookCandidates);
    if (hook_.path.empty()) return Outcome::failed(std::string(nothingConnected) + ": " + hook_.error);
    const std::vector<Agent> all(allAgents.begin(), allAgents.end());
    std::vector<Plan> plans;
    for (SurveyedAgent& agent :
         surveyed(options_.agents.empty() ? all : options_.agents, surroundings_,
                  placesFor(surroundings_, machine_.prefixes), options_.interrupt.value_or(-1))) {
      if (std::optional<Plan> plan = planFor(std::move(agent))) plans.push_back(*std::move(plan));
    }
    if (plans.empty() && lines_.empty()) {
      return Outcome::failed(
          std::string(nothingConnected) +
          ", because none of the agents is on this machine. Install one, start it once, then "
          "connect.");
    }
    if (options_.dryRun) return preview(plans);
    if (std::optional<Outcome> outcome = ask(plans)) return *std::move(outcome);
    return apply(plans);
  }

 private:
  bool isNamed() const { return !options_.agents.empty(); }

  void say(const SurveyedAgent& agent, std::string state, std::string error = {}) {
    lines_.push_back(
        {.agent = std::string(agent.definition->name), .state = std::move(state), .error = std::move(error)});
  }

  // nullopt when there is nothing to plan: either a line says why, or nobody asked for this agent.
  std::optional<Plan> planFor(SurveyedAgent agent) {
    const std::string name(agent.definition->name);
    if (!agent.isPresent()) {
      if (isNamed())
        say(agent, "not on this machine", name + " was not connected, because it is not installed.");
      return std::nullopt;
    }
    if (!agent.wasStarted) {
      const std::string advice = "Start " + name + " once, then run \"tavrin connect " +
                                 std::string(rawValue(agent.definition->agent)) + "\".";
      if (isNamed()) {
        say(agent, "not connected", name + " was not connected, because it was never started. " + advice);
      } else {
        say(agent, "not connected, because it was never started. " + advice);
      }
      return std::nullopt;
    }
    AgentVersions::Fit fit = agent.fit();
    if (fit.refusal) {
      say(agent, "not connected", *fit.refusal);
      return std::nullopt;
    }
    SettingsFile file(agent.home, originals_);
    const SettingsFile::State state = file.state(hook_.path, fit.definition);
    std::string helperPath = helperPathFor(state.entries);
    SettingsFile::Outcome preview = file.connect(helperPath, fit.definition, SettingsFile::Mode::preview);
    if (preview.kind == Kind::refused || preview.kind == Kind::failed) {
      say(agent, "not connected", ShownText::clean(preview.sentence));
      return std::nullopt;
    }
    return Plan{.agent = std::move(agent),
                .fit = std::move(fit),
                .helperPath = std::move(helperPath),
                .file = std::move(file),
                .preview = std::move(preview),
                .wasConnected = !state.entries.empty()};
  }

  // Entries keep the path of another installation as long as that path works.
  std::string helperPathFor(const std::vector<SettingsText::Entry>& entries) const {
    if (options_.here || entries.empty()) return hook_.path;
    const std::string& path = entries.front().helperPath;
    const bool isOne = std::ranges::all_of(
        entries, [&](const SettingsText::Entry& entry) { return entry.helperPath == path; });
    const bool works = isOne && HookPath::objection(path).empty() && Executables::isExecutable(path);
    return works ? path : hook_.path;
  }

  std::string shown(const Plan& plan) const {
    return SettingsReport::shownPath(plan.file.path(), surroundings_.home);
  }

  static std::string leftOut(const Plan& plan) {
    if (plan.fit.leftOut.empty()) return "";
    std::vector<std::string> events;
    for (const AgentVersions::LeftOut& each : plan.fit.leftOut) events.emplace_back(each.event);
    const std::optional<AgentVersion> oldest = plan.agent.oldestVersion();
    return ", without " + SettingsReport::listOf(events) + ", because " +
           (oldest ? "version " + oldest->text() + " does not accept " + (events.size() == 1 ? "it" : "them")
                   : std::string("the installed version is not known"));
  }

  Outcome preview(const std::vector<Plan>& plans) {
    std::string diffs;
    for (const Plan& plan : plans) {
      if (plan.preview.kind == Kind::changed) {
        diffs += SettingsReport::diffOf(plan.preview, plan.file.path(), console_);
        say(plan.agent, "would be connected through " + shown(plan) + leftOut(plan));
      } else {
        say(plan.agent, "is connected already; there is nothing to do");
      }
    }
    Outcome outcome = SettingsReport::outcomeOf(lines_);
    outcome.output = diffs + outcome.output;
    return outcome;
  }

  std::optional<Outcome> ask(const std::vector<Plan>& plans) const {
    std::vector<std::string> changes;
    for (const Plan& plan : plans) {
      if (plan.preview.kind == Kind::changed)
        changes.push_back(std::string(plan.agent.definition->name) + " (" + shown(plan) + ")");
    }
    if (changes.empty()) return std::nullopt;
    return SettingsReport::declined(options_.yes, "Write hooks for " + SettingsReport::listOf(changes) + "?",
                                    nothingConnected, console_);
  }

  Outcome apply(const std::vector<Plan>& plans) {
    // A signal must not end the command before its lines are written.
    std::shared_ptr<const Interruption> interruption;
    if (!options_.interrupt) interruption = std::make_shared<const Interruption>();
    interrupt_ = options_.interrupt ? *options_.interrupt : interruption->descriptor();
    for (const Plan& plan : plans) {
      if (interruption ? Interruption::signal().has_value() : Interruption::isReadable(interrupt_)) {
        const std::string name(plan.agent.definition->name);
        say(plan.agent, plan.wasConnected ? "as it was" : "not connected",
            "You interrupted the command before " + name + " was connected.");
        continue;
      }
      connect(plan);
    }
    Outcome outcome = SettingsReport::outcomeOf(lines_, interruption ? Interruption::signal() : std::nullopt);
    outcome.keptUntilWritten = interruption;
    return outcome;
  }

  void connect(const Plan& plan) {
    const SettingsFile::Outcome done = plan.file.connect(plan.helperPath, plan.fit.definition);
    if (done.kind == Kind::refused || done.kind == Kind::failed) {
      say(plan.agent, plan.wasConnected ? "as it was" : "not connected", ShownText::clean(done.sentence));
      return;
    }
    const bool isNew = done.kind == Kind::changed;
    std::string state = "connected already; there was nothing to do";
    if (isNew)
      state = (plan.wasConnected ? "updated in " : "connected through ") + shown(plan) + leftOut(plan);

    std::string trouble = plan.agent.deafness();
    if (trouble.empty() && plan.agent.needsTrust()) {
      CodexAnswer answer;
      trouble = activate(plan, answer);
      if (trouble.empty() && answer.trusted > 0)
        state = isNew ? state + ", and trusted by Codex" : "trusted by Codex now";
    }
    // Without a client to ask, the hooks may be trusted already.
    const bool isKnown = !plan.agent.installations.empty();
    if (!trouble.empty())
      state = "connected through " + shown(plan) + (isKnown ? ", but not active" : ", trust unknown");
    say(plan.agent, std::move(state), std::move(trouble));
  }

  // What keeps Codex from running the hooks; "" for nothing.
  std::string activate(const Plan& plan, CodexAnswer& answer) const {
    if (plan.agent.installations.empty())
      return R"(There is no program "codex" to ask for trust. Start Codex and trust the hooks on its screen )"
             R"("Hooks need review", or install "codex" and run "tavrin connect codex" again.)";
    const CodexServer server{.executable = plan.agent.installations.front().executable,
                             .version = TAVRIN_VERSION,
                             .directory = surroundings_.home,
                             .interrupt = interrupt_,
                             .progress = options_.progress};
    answer = server.activate();
    if (!answer.hooks) return answer.sentence() + std::string(trustScreen);
    if (CodexActivation::tavrinHooks(*answer.hooks).empty())
      return "Codex does not list the hooks in " + shown(plan) + ". Start Codex once, then connect again.";
    if (!CodexActivation::needingTrust(*answer.hooks).empty())
      return "Codex did not accept the request to trust the hooks." + std::string(trustScreen);
    return "";
  }

  const Options& options_;
  const Surroundings& surroundings_;
  const Console& console_;
  const Machine& machine_;
  std::string originals_;
  HookPath::Choice hook_;
  std::vector<Line> lines_;
  int interrupt_ = -1;
};

}  // namespace

Machine Machine::ofThisSystem() {
  return {.hookCandidates = HookPath::candidates(HookPath::installedPath(), Executables::own()),
          .prefixes = AgentInstallations::Places::ofThisMachine().prefixes};
}

Outcome run(const Options& options, const Surroundings& surroundings, const Console& console,
            const Machine& machine) {
  if (!surroundings.hasHome())
    return Outcome::failed(std::string(nothingConnected) + ", because " + std::string(noHomeSentence));
  if (surroundings.isForeignHome) return Outcome::failed(foreignHomeSentence(surroundings, nothingConnected));
  return Command(options, surroundings, console, machine).run();
}

Outcome run(const Options& options, const Surroundings& surroundings, const Console& console) {
  return run(options, surroundings, console, Machine::ofThisSystem());
}

}  // namespace tavrin::Connect
