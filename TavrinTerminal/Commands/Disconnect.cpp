#include "TavrinTerminal/Commands/Disconnect.hpp"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "TavrinCore/Agents/AgentHome.hpp"
#include "TavrinCore/Agents/SettingsFile.hpp"
#include "TavrinTerminal/Commands/SettingsReport.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/Interruption.hpp"

namespace tavrin::Disconnect {

namespace {

using Kind = SettingsFile::Outcome::Kind;
using SettingsReport::Line;

constexpr std::string_view nothingDisconnected = "nothing was disconnected";

struct Plan {
  SettingsFile file;
  SettingsFile::Outcome preview;
};

class Command {
 public:
  Command(const Options& options, const Surroundings& surroundings, const Console& console)
      : options_(options),
        surroundings_(surroundings),
        console_(console),
        originals_(SettingsFile::defaultOriginals(surroundings.home)) {}

  Outcome run() {
    const std::vector<Plan> plans = plansOf(files());
    if (options_.dryRun) return preview(plans);
    if (std::optional<Outcome> outcome = ask(plans)) return *std::move(outcome);
    // A signal must not end the command before its lines are written.
    std::shared_ptr<const Interruption> interruption;
    if (options_.takesSignals) interruption = std::make_shared<const Interruption>();
    for (const Plan& plan : plans) disconnect(plan);
    Outcome outcome = SettingsReport::outcomeOf(lines_, interruption ? Interruption::signal() : std::nullopt);
    outcome.keptUntilWritten = interruption;
    return outcome;
  }

 private:
  bool isWanted(Agent agent) const {
    return options_.agents.empty() || std::ranges::find(options_.agents, agent) != options_.agents.end();
  }

  std::vector<SettingsFile> files() const {
    const AgentHome::Environment environment = [this](std::string_view name) {
      return surroundings_.environment(std::string(name));
    };
    const std::vector<SettingsFile::Original> originals = SettingsFile::originalsIn(originals_);
    std::vector<SettingsFile> files;
    for (const Agent agent : allAgents) {
      if (!isWanted(agent)) continue;
      const SettingsFile own(AgentHome::of(agent, environment, surroundings_.home), originals_);
      files.push_back(own);
      for (const SettingsFile::Original& original : originals) {
        if (original.agent == agent && original.path != own.path())
          files.emplace_back(agent, original.path, originals_);
      }
    }
    return files;
  }

  std::vector<Plan> plansOf(const std::vector<SettingsFile>& files) {
    std::vector<Plan> plans;
    for (const SettingsFile& file : files) {
      SettingsFile::Outcome preview = file.disconnect(SettingsFile::Mode::preview);
      const bool isKept = file.original().has_value();
      switch (preview.kind) {
        case Kind::refused:
        case Kind::failed:
          say(file, "as it was", ShownText::clean(preview.sentence));
          break;
        case Kind::unchanged:
          // Its original may still be there.
          if (isKept)
            plans.push_back({.file = file, .preview = std::move(preview)});
          else if (!options_.agents.empty() || preview.before)
            say(file, "was not connected");
          break;
        case Kind::changed:
          plans.push_back({.file = file, .preview = std::move(preview)});
          break;
      }
    }
    return plans;
  }

  void say(const SettingsFile& file, std::string state, std::string error = {}) {
    lines_.push_back({.agent = std::string(AgentDefinition::definition(file.agent()).name),
                      .state = std::move(state),
                      .error = std::move(error)});
  }

  std::string shown(const SettingsFile& file) const {
    return SettingsReport::shownPath(file.path(), surroundings_.home);
  }

  Outcome preview(const std::vector<Plan>& plans) {
    std::string diffs;
    for (const Plan& plan : plans) {
      if (plan.preview.kind != Kind::changed) continue;
      diffs += SettingsReport::diffOf(plan.preview, plan.file.path(), console_);
      say(plan.file, plan.preview.after ? "would be disconnected from " + shown(plan.file)
                                        : "would be disconnected, and " + shown(plan.file) + " removed");
    }
    Outcome outcome = SettingsReport::outcomeOf(lines_);
    outcome.output = diffs + outcome.output;
    return outcome;
  }

  std::optional<Outcome> ask(const std::vector<Plan>& plans) const {
    std::vector<std::string> changes;
    for (const Plan& plan : plans) {
      if (plan.preview.kind == Kind::changed)
        changes.push_back(std::string(AgentDefinition::definition(plan.file.agent()).name) + " (" +
                          shown(plan.file) + ")");
    }
    if (changes.empty()) return std::nullopt;
    return SettingsReport::declined(options_.yes,
                                    "Take the hooks out of " + SettingsReport::listOf(changes) + "?",
                                    nothingDisconnected, console_);
  }

  void disconnect(const Plan& plan) {
    if (options_.takesSignals && Interruption::signal()) {
      say(plan.file, "as it was", "You interrupted the command before " + shown(plan.file) + " was changed.");
      return;
    }
    const SettingsFile::Outcome done = plan.file.disconnect();
    switch (done.kind) {
      case Kind::changed:
        say(plan.file, done.after ? "disconnected from " + shown(plan.file)
                                  : "disconnected, and " + shown(plan.file) + " removed");
        return;
      case Kind::unchanged:
        say(plan.file, "was not connected");
        return;
      case Kind::refused:
      case Kind::failed:
        say(plan.file, "as it was", ShownText::clean(done.sentence));
        return;
    }
  }

  const Options& options_;
  const Surroundings& surroundings_;
  const Console& console_;
  std::string originals_;
  std::vector<Line> lines_;
};

}  // namespace

Outcome run(const Options& options, const Surroundings& surroundings, const Console& console) {
  if (!surroundings.hasHome())
    return Outcome::failed(std::string(nothingDisconnected) + ", because " + std::string(noHomeSentence));
  if (surroundings.isForeignHome)
    return Outcome::failed(foreignHomeSentence(surroundings, nothingDisconnected));
  Outcome outcome = Command(options, surroundings, console).run();
  if (outcome == Outcome()) outcome.output = "No agent was connected; there was nothing to do\n";
  return outcome;
}

}  // namespace tavrin::Disconnect
