#include "TavrinCore/Sessions/SessionLabels.hpp"

#include <cstdint>
#include <functional>
#include <utility>

#include "TavrinCore/Support/ByteOrder.hpp"
#include "TavrinCore/Support/IndexTable.hpp"
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

std::string labelOf(const Session& session, Agent agent, std::string name, const Group& group) {
  if (group.count == 1) return name;
  const std::optional<std::string> distinction =
      group.ofSeveralAgents ? Text::lowerCased(displayName(agent)) : terminalSuffix(session.tty);
  if (!distinction) return name;
  name += dotSeparator;
  name += *distinction;
  return name;
}

}  // namespace

std::map<std::string, std::string> display(const std::vector<Session>& sessions, std::string_view home) {
  std::vector<const Session*> pointers;
  std::vector<std::string_view> ids;
  pointers.reserve(sessions.size());
  ids.reserve(sessions.size());
  for (const Session& session : sessions) {
    pointers.push_back(&session);
    ids.push_back(session.sessionId);
  }
  std::vector<std::string> labelOfEach = ofEach(pointers, home);
  // Filling the map in order needs no search for each place.
  std::map<std::string, std::string> labels;
  for (const std::size_t i : ByteOrder::sorted(ids)) {
    labels.insert_or_assign(labels.end(), sessions[i].sessionId, std::move(labelOfEach[i]));
  }
  return labels;
}

std::vector<std::string> ofEach(const std::vector<const Session*>& sessions, std::string_view home) {
  std::vector<std::string> names;
  std::vector<Agent> agents;  // side by side, because the sessions are far apart in memory
  names.reserve(sessions.size());
  agents.reserve(sessions.size());
  for (const Session* const session : sessions) {
    names.push_back(session->projectName(home));
    agents.push_back(session->agent);
  }
  TextIndex groupNames(names.size());
  const std::vector<std::uint32_t> groupOf = groupNames.addAll(textsOf(names, std::identity()));
  std::vector<Group> groups(groupNames.texts().size());
  for (std::size_t i = 0; i < sessions.size(); ++i) {
    Group& group = groups[groupOf[i]];
    if (group.count == 0) group.agent = agents[i];
    group.ofSeveralAgents = group.ofSeveralAgents || agents[i] != group.agent;
    ++group.count;
  }
  for (std::size_t i = 0; i < sessions.size(); ++i) {
    names[i] = labelOf(*sessions[i], agents[i], std::move(names[i]), groups[groupOf[i]]);
  }
  return names;
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
