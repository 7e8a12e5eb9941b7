#include "TavrinCore/Panel/SessionAggregator.hpp"

#include <array>
#include <utility>

#include "TavrinCore/Panel/PanelRows.hpp"
#include "TavrinCore/Support/FatalError.hpp"
#include "TavrinCore/Support/Typography.hpp"

namespace tavrin {

namespace {

std::int64_t sum(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  if (__builtin_add_overflow(a, b, &result)) fatalError("the number of sessions exceeds 64 bits");
  return result;
}

}  // namespace

std::int64_t SessionSummary::activeCount() const {
  return sum(working, needsYou);
}

std::int64_t SessionSummary::total() const {
  return sum(activeCount(), idle);
}

std::string SessionSummary::statusLine() const {
  const std::array<std::pair<std::int64_t, SessionState>, 3> counts = {
      {{working, SessionState::working}, {needsYou, SessionState::needsYou}, {idle, SessionState::idle}}};
  std::string line;
  for (const auto& [count, state] : counts) {
    if (count < 1) continue;
    if (!line.empty()) line += dotSeparator;
    line += std::to_string(count) + " ";
    line += label(state);
  }
  return line.empty() ? "No Claude Code sessions" : line;
}

SessionSummary SessionAggregator::summary(const std::vector<Session>& sessions) {
  std::vector<SessionState> states;
  states.reserve(sessions.size());
  for (const Session& session : sessions) states.push_back(session.state);
  return summaryOfStates(states);
}

SessionSummary SessionAggregator::summaryOfStates(const std::vector<SessionState>& states) {
  SessionSummary summary;
  for (const SessionState state : states) {
    if (severity(state) > severity(summary.overall)) summary.overall = state;
    switch (state) {
      case SessionState::working:
        ++summary.working;
        break;
      case SessionState::needsYou:
        ++summary.needsYou;
        break;
      case SessionState::idle:
        ++summary.idle;
        break;
    }
  }
  return summary;
}

std::vector<Session> SessionAggregator::sorted(const std::vector<Session>& sessions, std::string_view home) {
  return PanelRows::copied(PanelRows::sorted(sessions, home));
}

SessionAggregator::Pruned SessionAggregator::prune(
    std::vector<Session> sessions, const std::function<bool(std::int32_t agentPid)>& isAlive) {
  Pruned pruned;
  for (Session& session : sessions) {
    (isAlive(session.agentPid) ? pruned.kept : pruned.dead).push_back(std::move(session));
  }
  return pruned;
}

}  // namespace tavrin
