#include "TavrinCore/Sessions/SessionLabels.hpp"

#include <unordered_map>

#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinCore/Support/Typography.hpp"

namespace tavrin::SessionLabels {

namespace {

// The sessions that share a name.
struct Group {
  std::size_t count = 0;
  Agent agent = Agent::claude;  // that of the first
  bool ofSeveralAgents = false;
};

std::string labelOf(const Session& session, const std::string& name, const Group& group) {
  if (group.count == 1) return name;
  const std::optional<std::string> distinction =
      group.ofSeveralAgents ? Text::lowerCased(displayName(session.agent)) : terminalSuffix(session.tty);
  if (!distinction) return name;
  std::string label = name;
  label += dotSeparator;
  label += *distinction;
  return label;
}

}  // namespace

std::map<std::string, std::string> display(const std::vector<Session>& sessions, std::string_view home) {
  std::vector<std::string> names;
  names.reserve(sessions.size());
  std::unordered_map<std::string_view, Group> groups;
  groups.reserve(sessions.size());
  for (const Session& session : sessions) {
    names.push_back(session.projectName(home));
    Group& group = groups[names.back()];
    if (group.count == 0) group.agent = session.agent;
    group.ofSeveralAgents = group.ofSeveralAgents || session.agent != group.agent;
    ++group.count;
  }
  std::map<std::string, std::string> labels;
  for (std::size_t i = 0; i < sessions.size(); ++i) {
    labels[sessions[i].sessionId] = labelOf(sessions[i], names[i], groups[names[i]]);
  }
  return labels;
}

std::optional<std::string> terminalSuffix(const std::optional<std::string>& tty) {
  constexpr std::string_view prefix = "tty";
  if (!tty) return std::nullopt;
  std::string_view name = Path::lastComponent(*tty);
  if (name == "/") return std::nullopt;
  if (name.starts_with(prefix)) name.remove_prefix(prefix.size());
  return name.empty() ? std::nullopt : std::optional<std::string>(name);
}

}  // namespace tavrin::SessionLabels
