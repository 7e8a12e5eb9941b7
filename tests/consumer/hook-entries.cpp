// Prints the settings that connect Grok.

#include <cstdio>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Support/Json/Json.hpp"

int main() {
  using namespace tavrin;

  const boost::json::object settings =
      HookSettings::merged({}, "/opt/Tavrin/bin/tavrin-hook", AgentDefinition::grok);
  std::printf("%s", Json::print(settings).c_str());
  return 0;
}
