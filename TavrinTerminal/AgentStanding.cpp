#include "TavrinTerminal/AgentStanding.hpp"

#include <algorithm>
#include <utility>

#include "TavrinCore/Agents/CodexActivation.hpp"
#include "TavrinCore/Agents/SettingsFile.hpp"
#include "TavrinTerminal/Commands/SettingsReport.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/CodexServer.hpp"
#include "TavrinTerminal/System/Executables.hpp"

namespace tavrin {

namespace {

constexpr std::string_view nobodyToAsk =
    "Codex runs hooks only once it trusts them. Whether it does is not known, because there is no program "
    "\"codex\" to ask.";

AgentReadiness readinessOf(const SurveyedAgent& agent, const SettingsFile& file) {
  const AgentVersions::Fit fit = agent.fit();
  const SettingsFile::State found = file.state("", fit.definition);
  if (found.trouble) return AgentReadiness::inactive(ShownText::clean(*found.trouble), false);
  if (found.entries.empty()) {
    if (fit.refusal) return AgentReadiness::inactive(*fit.refusal, false);
    return AgentReadiness::notInstalled();
  }
  const std::string name(agent.definition->name);
  const bool isWhole = std::ranges::all_of(found.entries, [](const SettingsText::Entry& entry) {
    return Executables::isExecutable(entry.helperPath);
  });
  if (!isWhole) return AgentReadiness::inactive(name + " runs a tavrin-hook that does not exist.", true);
  if (!file.state(found.entries.front().helperPath, fit.definition).isConnected)
    return AgentReadiness::inactive("The hooks are not those that the installed version accepts.", true);
  if (std::string deafness = agent.deafness(); !deafness.empty())
    return AgentReadiness::inactive(std::move(deafness), false);
  return agent.needsTrust() ? AgentReadiness::checking() : AgentReadiness::active();
}

}  // namespace

std::string_view AgentStanding::word() const {
  if (readiness.kind() == AgentReadiness::Kind::checking) return "checking";
  if (!isPresent) return "not on this machine";
  if (!wasStarted) return "never started";
  if (!isConnected) return "not connected";
  if (isTrustUnknown) return "connected, trust unknown";
  return readiness.isActive() ? "connected" : "connected, but not active";
}

std::vector<AgentStanding> unknownStandings() {
  std::vector<AgentStanding> standings;
  standings.reserve(allAgents.size());
  for (const Agent agent : allAgents)
    standings.push_back({.agent = agent, .name = std::string(AgentDefinition::definition(agent).name)});
  return standings;
}

std::vector<AgentStanding> standingsOf(const std::vector<SurveyedAgent>& survey,
                                       const Surroundings& surroundings) {
  const std::string originals = SettingsFile::defaultOriginals(surroundings.home);
  std::vector<AgentStanding> standings;
  standings.reserve(survey.size());
  for (const SurveyedAgent& agent : survey) {
    const SettingsFile file(agent.home, originals);
    AgentStanding standing = {.agent = agent.definition->agent,
                              .name = std::string(agent.definition->name),
                              .isPresent = agent.isPresent(),
                              .wasStarted = agent.wasStarted,
                              .settings = SettingsReport::shownPath(file.path(), surroundings.home),
                              .readiness = readinessOf(agent, file)};
    standing.isConnected = !file.state("", *agent.definition).entries.empty();
    if (const auto version = agent.version()) standing.version = version->text();
    if (!agent.installations.empty()) standing.executable = agent.installations.front().executable;
    if (standing.readiness.kind() == AgentReadiness::Kind::checking && agent.installations.empty()) {
      standing.isTrustUnknown = true;
      standing.readiness = AgentReadiness::inactive(std::string(nobodyToAsk), false);
    }
    standings.push_back(std::move(standing));
  }
  return standings;
}

AgentReadiness askedForTrust(const AgentStanding& standing, const Surroundings& surroundings, int interrupt) {
  const CodexAnswer answer = CodexServer{.executable = standing.executable,
                                         .version = TAVRIN_VERSION,
                                         .directory = surroundings.home,
                                         .interrupt = interrupt}
                                 .list();
  if (!answer.hooks) return AgentReadiness::inactive(answer.sentence(), true);
  if (!CodexActivation::needingTrust(*answer.hooks).empty())
    return AgentReadiness::inactive("Codex does not trust the hooks, so it does not run them.", true);
  return AgentReadiness::active();
}

}  // namespace tavrin
