// Connects an agent to tavrin-hook, or disconnects it again:
//
//   connect-agent AGENT HELPER [VERSION]    HELPER is where tavrin-hook is installed, a path that ends in
//   connect-agent AGENT --disconnect        "/Tavrin/bin/tavrin-hook"; VERSION is the agent's own, if known

#include <cstdio>
#include <optional>
#include <string_view>

#include "TavrinCore/Agents/AgentVersion.hpp"
#include "TavrinCore/Agents/SettingsFile.hpp"

int main(int count, char** words) {
  using namespace tavrin;
  const std::optional<Agent> agent = count > 2 ? agentFromRawValue(words[1]) : std::nullopt;
  if (!agent || count > 4) {
    std::puts("usage: connect-agent AGENT HELPER [VERSION] | connect-agent AGENT --disconnect");
    return 2;
  }
  const std::string_view helper = words[2];
  const SettingsFile file(AgentHome::of(*agent));
  SettingsFile::Outcome outcome;
  if (helper == "--disconnect") {
    outcome = file.disconnect();
  } else {
    // Some versions of Claude Code lose all settings because of one event that they do not know.
    const auto version = AgentVersion::parse(count > 3 ? words[3] : "");
    const auto fit = AgentVersions::fitted(AgentDefinition::definition(*agent), {version});
    if (fit.refusal) return std::puts(fit.refusal->c_str()), 1;
    outcome = file.connect(helper, fit.definition);
  }
  std::puts(outcome.sentence.c_str());
  using Kind = SettingsFile::Outcome::Kind;
  return outcome.kind == Kind::changed || outcome.kind == Kind::unchanged ? 0 : 1;
}
