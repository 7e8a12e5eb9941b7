#include "TavrinCore/Hook/HookOrigin.hpp"

namespace tavrin {

HookOrigin HookOrigin::detect(const HookPayload& payload) {
  if (payload.hasCursorVersion()) return unsupported();
  if (payload.hasWorkspaceRoot()) return agent(Agent::grok);
  return declared();
}

HookOrigin HookOrigin::detect(std::string_view bytes) {
  try {
    return detect(HookPayload(bytes));
  } catch (const JsonError&) {
    return declared();
  }
}

std::optional<Agent> HookOrigin::resolve(Agent declared, const HookOrigin& origin) {
  if (declared != Agent::claude) return declared;
  if (origin.isUnsupported()) return std::nullopt;
  return origin.shownAgent().value_or(declared);
}

}  // namespace tavrin
