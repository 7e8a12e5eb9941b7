#include "TavrinTerminal/AgentSurvey.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "TavrinCore/Agents/SettingsFile.hpp"
#include "TavrinCore/Support/File.hpp"

namespace tavrin {

namespace {

// Source: the clients that the npm registry offers, each started offline with our hooks, November 2026.
constexpr AgentVersion codexRunsHooksFrom = {0, 124, 0};
constexpr AgentVersion codexNeedsTrustFrom = {0, 129, 0};
constexpr AgentVersion geminiRunsHooksFrom = {0, 26, 0};

}  // namespace

AgentVersions::Fit SurveyedAgent::fit() const {
  std::vector<std::optional<AgentVersion>> versions;
  for (const AgentInstallation& installation : installations)
    versions.push_back(installation.version ? AgentVersion::parse(*installation.version) : std::nullopt);
  return AgentVersions::fitted(*definition, versions);
}

std::optional<AgentVersion> SurveyedAgent::oldestVersion() const {
  std::optional<AgentVersion> oldest;
  for (const AgentInstallation& installation : installations) {
    const auto each = installation.version ? AgentVersion::parse(*installation.version) : std::nullopt;
    if (!each) return std::nullopt;
    if (!oldest || *each < *oldest) oldest = each;
  }
  return oldest;
}

std::optional<AgentVersion> SurveyedAgent::version() const {
  if (installations.empty() || !installations.front().version) return std::nullopt;
  return AgentVersion::parse(*installations.front().version);
}

std::string SurveyedAgent::deafness() const {
  const std::optional<AgentVersion> installed = version();
  const bool isCodex = definition->agent == Agent::codex;
  if (!installed || (!isCodex && definition->agent != Agent::gemini)) return "";
  const AgentVersion from = isCodex ? codexRunsHooksFrom : geminiRunsHooksFrom;
  if (*installed >= from) return "";
  return std::string(definition->name) + " " + installed->text() + " does not run hooks. Install " +
         from.text() + " or later.";
}

bool SurveyedAgent::needsTrust() const {
  if (definition->activation != AgentActivation::codexTrust) return false;
  const std::optional<AgentVersion> installed = version();
  return !installed || *installed >= codexNeedsTrustFrom;
}

bool isAnyConnected(const Surroundings& surroundings) {
  const std::string originals = SettingsFile::defaultOriginals(surroundings.home);
  const auto hasHooks = [](const SettingsFile& file) {
    return !file.state("", AgentDefinition::definition(file.agent())).entries.empty();
  };
  return std::ranges::any_of(allAgents,
                             [&](Agent agent) {
                               const AgentHome home =
                                   AgentHome::of(agent, surroundings.environment, surroundings.home);
                               return hasHooks(SettingsFile(home, originals));
                             }) ||
         std::ranges::any_of(SettingsFile::originalsIn(originals),
                             [&](const SettingsFile::Original& original) {
                               return hasHooks(SettingsFile(original.agent, original.path, originals));
                             });
}

AgentInstallations::Places placesFor(const Surroundings& surroundings, std::vector<std::string> prefixes) {
  return {.home = surroundings.home,
          .environment = [lookUp = surroundings.environment](
                             std::string_view name) { return lookUp(std::string(name)); },
          .prefixes = std::move(prefixes)};
}

std::vector<SurveyedAgent> surveyed(const std::vector<Agent>& agents, const Surroundings& surroundings,
                                    const AgentInstallations::Places& places, int interrupt) {
  std::vector<SurveyedAgent> survey;
  std::vector<AgentInstallation> asked;
  for (const Agent agent : agents) {
    AgentHome home = AgentHome::of(agent, places.environment, surroundings.home);
    const bool wasStarted = File::isDirectory(home.directory());
    SurveyedAgent found{.definition = &AgentDefinition::definition(agent),
                        .home = std::move(home),
                        .installations = AgentInstallations::find(agent, places),
                        .wasStarted = wasStarted};
    if (wasStarted) std::ranges::copy(found.installations, std::back_inserter(asked));
    survey.push_back(std::move(found));
  }
  AgentInstallations::askVersions(asked, interrupt);
  auto answer = asked.begin();
  for (SurveyedAgent& found : survey) {
    if (!found.wasStarted) continue;
    for (AgentInstallation& installation : found.installations) installation = std::move(*answer++);
  }
  return survey;
}

}  // namespace tavrin
