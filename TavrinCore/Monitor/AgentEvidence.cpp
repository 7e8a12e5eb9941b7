#include "TavrinCore/Monitor/AgentEvidence.hpp"

namespace tavrin {

LineEvidence evidenceInLine(std::string_view line, Agent agent) {
  switch (agent) {
    case Agent::claude:
      return ClaudeEvidence::line(line);
    case Agent::codex:
      return CodexEvidence::line(line);
    case Agent::gemini:
      return GeminiEvidence::line(line);
    case Agent::copilot:
      return CopilotEvidence::line(line);
    case Agent::grok:
      return GrokEvidence::line(line);
  }
  return {};
}

}  // namespace tavrin
