// Prints the settings that connect Grok.

#include <cstdio>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/SettingsText.hpp"

int main() {
  using namespace tavrin;

  const SettingsText::Outcome settings =
      SettingsText::connect("", "/opt/Tavrin/bin/tavrin-hook", AgentDefinition::grok);
  std::printf("%s", settings.text.c_str());
  return 0;
}
