#include "TavrinCore/Agents/AgentDefinition.hpp"

#include <algorithm>

#include "TavrinCore/Support/Home.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

constexpr AgentDefinition AgentDefinition::claude = {
    .agent = Agent::claude,
    .name = "Claude Code",
    .subtitle = "~/.claude/settings.json",
    .configPath = ".claude/settings.json",
    .events = HookSettings::claudeEvents,
    .helperFlag = std::nullopt,
    .processNames = {"claude"},
    .hostBundleIds = {},
    .format = HookConfigFormat::hooksBlock,
    .presence = {"~/.claude", "~/.local/bin/claude", "/opt/homebrew/bin/claude", "/usr/local/bin/claude"},
    .eventFlag = false,
    .activation = AgentActivation::none,
};

constexpr AgentDefinition AgentDefinition::codex = {
    .agent = Agent::codex,
    .name = "Codex",
    .subtitle = "~/.codex/hooks.json",
    .configPath = ".codex/hooks.json",
    // Codex gives the two events of a shutdown no more than 3 seconds.
    .events = {{"SessionStart", {}},
               {"UserPromptSubmit", {}},
               {"PreToolUse", {}},
               {"PostToolUse", {}},
               {"Stop", {}},
               {"Interrupt", {}, 3},
               {"SessionEnd", {}, 3}},
    .helperFlag = "--agent codex",
    .processNames = {"codex", "ChatGPT"},
    .hostBundleIds = {"com.openai.codex", "com.openai.chat"},
    .format = HookConfigFormat::hooksBlock,
    .presence = {"~/.codex", "/Applications/ChatGPT.app", "/opt/homebrew/bin/codex", "/usr/local/bin/codex"},
    .eventFlag = false,
    .activation = AgentActivation::codexTrust,
};

constexpr AgentDefinition AgentDefinition::gemini = {
    .agent = Agent::gemini,
    .name = "Gemini CLI",
    .subtitle = "~/.gemini/settings.json",
    .configPath = ".gemini/settings.json",
    // Gemini CLI counts time-outs in milliseconds.
    .events = {{"SessionStart", {}, 5000},
               {"SessionEnd", {}, 5000},
               {"BeforeAgent", {}, 5000},
               {"BeforeTool", {}, 5000},
               {"AfterTool", {}, 5000},
               {"AfterAgent", {}, 5000},
               {"Notification", {}, 5000}},
    .helperFlag = "--agent gemini",
    .processNames = {"gemini", "node"},
    .hostBundleIds = {},
    .format = HookConfigFormat::hooksBlock,
    .presence = {"~/.gemini", "/opt/homebrew/bin/gemini", "/usr/local/bin/gemini"},
    .eventFlag = false,
    .activation = AgentActivation::none,
};

constexpr AgentDefinition AgentDefinition::copilot = {
    .agent = Agent::copilot,
    .name = "Copilot CLI",
    .subtitle = "~/.copilot/hooks/tavrin.json",
    .configPath = ".copilot/hooks/tavrin.json",
    .events = {{"sessionStart", {}},
               {"sessionEnd", {}},
               {"userPromptSubmitted", {}},
               {"postToolUse", {}},
               {"postToolUseFailure", {}},
               {"agentStop", {}},
               {"notification", "permission_prompt|elicitation_dialog"}},
    .helperFlag = "--agent copilot",
    .processNames = {"copilot", "node"},
    .hostBundleIds = {},
    .format = HookConfigFormat::ownFile,
    .presence = {"~/.copilot", "/opt/homebrew/bin/copilot", "/usr/local/bin/copilot"},
    .eventFlag = true,
    .activation = AgentActivation::none,
};

constexpr AgentDefinition AgentDefinition::grok = {
    .agent = Agent::grok,
    .name = "Grok",
    .subtitle = "~/.grok/hooks/tavrin.json",
    .configPath = ".grok/hooks/tavrin.json",
    .events = {{"SessionStart", {}},
               {"SessionEnd", {}},
               {"UserPromptSubmit", {}},
               {"PreToolUse", {}},
               {"PostToolUse", {}},
               {"PostToolUseFailure", {}},
               {"Stop", {}},
               {"StopFailure", {}},
               {"StopCancelled", {}},
               {"Notification", "permission_prompt"}},
    .helperFlag = "--agent grok",
    .processNames = {"grok"},
    .hostBundleIds = {},
    .format = HookConfigFormat::hooksBlock,
    .presence = {"~/.grok/bin/grok", "/opt/homebrew/bin/grok", "/usr/local/bin/grok"},
    .eventFlag = false,
    .activation = AgentActivation::none,
};

constexpr std::array<AgentDefinition, allAgents.size()> AgentDefinition::all = {claude, codex, gemini,
                                                                                copilot, grok};

const AgentDefinition& AgentDefinition::definition(Agent agent) {
  const auto* const found = std::ranges::find(all, agent, &AgentDefinition::agent);
  return found == all.end() ? claude : *found;
}

const AgentDefinition::Names& AgentDefinition::processNamesOf(Agent agent) {
  struct OneAgent {
    Agent agent;
    Names names;
  };
  // The linker leaves out `all` where nothing else refers to it.
  static constexpr auto names = [] {
    std::array<OneAgent, all.size()> each{};
    std::ranges::transform(all, each.begin(), [](const AgentDefinition& definition) {
      return OneAgent{.agent = definition.agent, .names = definition.processNames};
    });
    return each;
  }();
  const auto* const found = std::ranges::find(names, agent, &OneAgent::agent);
  return found == names.end() ? names.front().names : found->names;
}

std::string AgentDefinition::configURL() const {
  return Path::joined(Home::directory(), configPath);
}

}  // namespace tavrin
