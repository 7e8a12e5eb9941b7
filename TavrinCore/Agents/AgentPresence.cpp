#include "TavrinCore/Agents/AgentPresence.hpp"

#include <algorithm>
#include <string_view>

#include "TavrinCore/Support/Home.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin::AgentPresence {

bool isPresent(const AgentDefinition& definition,
               const std::function<bool(const std::string& path)>& exists) {
  const std::string home = Home::directory();
  return std::ranges::any_of(definition.presence,
                             [&](std::string_view path) { return exists(Path::expandingTilde(path, home)); });
}

std::optional<std::string> absentLine(const std::vector<std::string>& names) {
  if (names.empty()) return std::nullopt;
  std::string line = names.front();
  for (std::size_t i = 1; i < names.size(); ++i) {
    line += i + 1 == names.size() ? " and " : ", ";
    line += names[i];
  }
  line += names.size() == 1 ? " isn\u2019t" : " aren\u2019t";
  return line + " on this Mac.";
}

}  // namespace tavrin::AgentPresence
