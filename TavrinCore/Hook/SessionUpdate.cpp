#include "TavrinCore/Hook/SessionUpdate.hpp"

#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Context/HostResolver.hpp"
#include "TavrinCore/Hook/HookTransitions.hpp"

namespace tavrin {

namespace {

// If the file cannot be read, the offset keeps its value.
void markTranscript(Session& session, const SessionSurroundings& around) {
  if (!session.transcriptPath) return;
  if (const std::optional<std::uint64_t> size = around.fileSize(*session.transcriptPath)) {
    session.attentionTranscriptOffset = size;
  }
}

void placeInRepository(Session& session, const HookEvent& event, const SessionSurroundings& around) {
  if (event.cwd.empty()) return;
  const bool hasMoved = session.cwd != event.cwd;
  session.cwd = event.cwd;
  if (!hasMoved && session.repoRoot) return;
  const std::optional<RepoLabel> label =
      RepoLabel::sticky(RepoLabel::find(event.cwd, around.files), session.repoRoot, session.worktreeName);
  session.repoRoot = label ? std::optional(label->root) : std::nullopt;
  session.worktreeName = label ? label->worktree : std::nullopt;
}

// Every event renews the agent's process. Finding the host costs more, so it happens only if the record has
// none, and at the start of a session or a prompt.
void placeInProcesses(Session& session, const HookEvent& event, const SessionSurroundings& around) {
  const auto& names = AgentDefinition::processNamesOf(session.agent);
  const bool wantsHost =
      !session.hostPid || event.eventName == "SessionStart" || event.eventName == "UserPromptSubmit";
  const std::vector<ProcessNode> ancestors =
      wantsHost ? ProcessTree::ancestorsWithAgent(names, around.parentPid, around.processes)
                : ProcessTree::ancestorsUpTo(names, around.parentPid, around.processes);
  const std::optional<ProcessNode> agent = HostResolver::pickAgent(ancestors, names);
  session.agentPid = agent ? agent->pid : around.parentPid;
  if (!wantsHost) return;
  const std::optional<ProcessNode> host = HostResolver::findHost(ancestors, around.processes);
  session.hostPid = host ? std::optional(host->pid) : std::nullopt;
  session.hostBundleId = host ? host->bundleId : std::nullopt;
  session.tty = ProcessTree::tty(session.agentPid, around.processes);
}

void giveTitle(Session& session, const SessionSurroundings& around) {
  if (session.agent != Agent::claude || session.hostBundleId != claudeDesktopBundleIdentifier) return;
  if (auto title = around.desktopTitle(session.sessionId)) session.title = std::move(title);
}

Session advanced(const std::optional<Session>& stored, SessionState state, const HookEvent& event,
                 Agent agent, const SessionSurroundings& around) {
  const std::optional<SessionState> previous = stored ? std::optional(stored->state) : std::nullopt;
  const auto advance = [&](const Session& session) {
    return HookTransitions::advance(session, state, event, previous, around.now, around.makeId);
  };
  Session session = stored ? advance(*stored) : advance(HookTransitions::newRecord(event, agent, around.now));
  session.agent = agent;
  if (event.transcriptPath && !event.transcriptPath->empty()) session.transcriptPath = event.transcriptPath;
  if (state == SessionState::needsYou && previous != SessionState::needsYou) markTranscript(session, around);
  placeInRepository(session, event, around);
  placeInProcesses(session, event, around);
  giveTitle(session, around);
  return session;
}

}  // namespace

SessionUpdate SessionUpdate::of(const std::optional<Session>& stored, const HookEvent& event, Agent agent,
                                const SessionSurroundings& around) {
  const HookAction action = HookTransitions::resolve(HookTransitions::action(event), event, stored, agent);
  if (action.isRemove()) return remove();
  const std::optional<SessionState> state = action.state();
  return state ? store(advanced(stored, *state, event, agent, around)) : ignore();
}

std::string SessionUpdate::outcome() const {
  const Session* const session = record();
  if (session == nullptr) return isRemove() ? "ended" : "ignored";
  std::string text(rawValue(session->state));
  if (session->state == SessionState::needsYou)
    text += " holding " + std::to_string(session->waitingOn.size());
  return text;
}

}  // namespace tavrin
