#include "TavrinHook/HookCommand.hpp"

#include <unistd.h>

#include <exception>
#include <optional>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Context/HostResolver.hpp"
#include "TavrinCore/Hook/AgentArgument.hpp"
#include "TavrinCore/Hook/HookLog.hpp"
#include "TavrinCore/Hook/HookOrigin.hpp"
#include "TavrinCore/Hook/HookPayload.hpp"
#include "TavrinCore/Hook/HookTransitions.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Home.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "TavrinHook/Payload.hpp"

namespace tavrin::HookCommand {

namespace {

// One event on its way into its session's record; all of it happens while the session's lock is held.
class RecordUpdate {
 public:
  RecordUpdate(const HookEvent& event, Agent agent, const SessionFileStore& store, const HookLog& log,
               const Surroundings& surroundings)
      : event_(event),
        agent_(agent),
        store_(store),
        log_(log),
        surroundings_(surroundings),
        now_(surroundings.now()) {}

  void apply() const {
    const std::optional<Session> current = store_.load(event_.sessionId);
    const HookAction action =
        HookTransitions::resolve(HookTransitions::action(event_), event_, current, agent_);
    if (action.isRemove()) {
      store_.deleteSession(event_.sessionId);
      logOutcome("ended");
    } else if (const std::optional<SessionState> state = action.state()) {
      const Session session = advance(current, *state);
      store_.save(session);
      logOutcome(outcome(session));
    } else {
      logOutcome("ignored");
    }
  }

 private:
  // The next record: the state machine's part first, then what surrounds the session.
  Session advance(const std::optional<Session>& current, SessionState state) const {
    const std::optional<SessionState> previous = current ? std::optional(current->state) : std::nullopt;
    Session session = HookTransitions::advance(current ? *current : newSession(state), state, event_,
                                               previous, now_, surroundings_.makeId);
    session.agent = agent_;
    if (event_.transcriptPath && !event_.transcriptPath->empty())
      session.transcriptPath = event_.transcriptPath;
    if (state == SessionState::needsYou && previous != SessionState::needsYou) markTranscript(session);
    placeInRepository(session);
    placeInProcesses(session);
    giveTitle(session);
    return session;
  }

  Session newSession(SessionState state) const {
    Session session;
    session.sessionId = event_.sessionId;
    session.agent = agent_;
    session.state = state;
    session.updatedAt = now_;
    session.stateSince = now_;
    session.cwd = event_.cwd;
    return session;
  }

  // Where the transcript ends as the session begins to wait: what is written after it may end the wait.
  static void markTranscript(Session& session) {
    if (!session.transcriptPath) return;
    if (const std::optional<std::uint64_t> size = File::size(*session.transcriptPath)) {
      session.attentionTranscriptOffset = size;
    }
  }

  void placeInRepository(Session& session) const {
    if (event_.cwd.empty()) return;
    const bool hasMoved = session.cwd != event_.cwd;
    session.cwd = event_.cwd;
    if (!hasMoved && session.repoRoot) return;
    const std::optional<RepoLabel> label = RepoLabel::sticky(RepoLabel::find(event_.cwd, surroundings_.files),
                                                             session.repoRoot, session.worktreeName);
    session.repoRoot = label ? std::optional(label->root) : std::nullopt;
    session.worktreeName = label ? label->worktree : std::nullopt;
  }

  // The agent's process is told at every event; the host, which costs more, once and again at each new start.
  void placeInProcesses(Session& session) const {
    const auto& names = AgentDefinition::definition(agent_).processNames;
    const bool wantsHost =
        !session.hostPid || event_.eventName == "SessionStart" || event_.eventName == "UserPromptSubmit";
    const std::vector<ProcessNode> ancestors =
        wantsHost ? ProcessTree::ancestorsWithAgent(names, surroundings_.parentPid, surroundings_.processes)
                  : ProcessTree::ancestorsUpTo(names, surroundings_.parentPid, surroundings_.processes);
    const std::optional<ProcessNode> agent = HostResolver::pickAgent(ancestors, names);
    session.agentPid = agent ? agent->pid : surroundings_.parentPid;
    if (!wantsHost) return;
    const std::optional<ProcessNode> host = HostResolver::findHost(ancestors, surroundings_.processes);
    session.hostPid = host ? std::optional(host->pid) : std::nullopt;
    session.hostBundleId = host ? host->bundleId : std::nullopt;
    session.tty = ProcessTree::tty(session.agentPid, surroundings_.processes);
  }

  void giveTitle(Session& session) const {
    if (agent_ != Agent::claude || session.hostBundleId != ClaudeSessionTitles::desktopBundleIdentifier)
      return;
    const std::string directory = ClaudeSessionTitles::defaultDirectory(surroundings_.home);
    if (auto title = ClaudeSessionTitles::resolve(session.sessionId, directory))
      session.title = std::move(title);
  }

  static std::string outcome(const Session& session) {
    std::string text(rawValue(session.state));
    if (session.state == SessionState::needsYou)
      text += " holding " + std::to_string(session.waitingOn.size());
    return text;
  }

  void logOutcome(std::string_view outcome) const { log_.write(trace(event_, agent_, outcome)); }

  const HookEvent& event_;
  Agent agent_;
  const SessionFileStore& store_;
  const HookLog& log_;
  const Surroundings& surroundings_;
  Date now_;
};

void handle(std::string_view text, const AgentArgument::Parsed& arguments, const HookLog& log,
            const Surroundings& surroundings) {
  const HookPayload payload(text);
  const std::optional<Agent> agent = HookOrigin::resolve(arguments.agent, HookOrigin::detect(payload));
  if (!agent) return;
  const HookEvent event = HookEvent::parse(payload, arguments.event);
  const SessionFileStore store(SessionFileStore::defaultDirectory(surroundings.home), surroundings.afterUse);
  const RecordUpdate update(event, *agent, store, log, surroundings);
  store.withLock(event.sessionId, [&] { update.apply(); });
}

}  // namespace

Surroundings Surroundings::real() {
  return {.input = STDIN_FILENO,
          .home = Home::directory(),
          .parentPid = ::getppid(),
          .processes = ProcessTable::ofThisSystem(),
          .files = RepoLabel::Probes::realFileSystem(),
          .now = std::chrono::system_clock::now,
          .makeId = Uuid::random};
}

void run(std::span<const std::string_view> words, const Surroundings& surroundings) {
  const HookLog log(HookLog::defaultURL(surroundings.home), surroundings.now, surroundings.afterUse);
  const AgentArgument::Parsed arguments = AgentArgument::parseAll(words);
  const Payload payload = Payload::read(surroundings.input, largestPayload, HookPayload::keys());
  if (payload.size > largestPayload) {
    log.write("error: payload of " + std::to_string(payload.size) + " bytes rejected");
    return;
  }
  try {
    handle(payload.text, arguments, log, surroundings);
  } catch (const std::exception& error) {
    log.write("error: " + std::string(error.what()) + " (" + std::to_string(payload.size) + " bytes)");
  }
}

std::string trace(const HookEvent& event, Agent agent, std::string_view outcome) {
  constexpr std::size_t sessionCharacters = 8;
  constexpr std::size_t idCharacters = 6;
  std::string line(rawValue(agent));
  line += ' ';
  line += Text::firstCharacters(event.sessionId, sessionCharacters);
  line += ' ';
  line += event.eventName;
  if (event.notificationType) line += "(" + *event.notificationType + ")";
  line += ' ';
  line += event.toolName.value_or("");
  if (event.toolUseId && !event.toolUseId->empty()) {
    line += '#';
    line += Text::lastCharacters(*event.toolUseId, idCharacters);
  }
  if (event.agentId) {
    line += " agent:";
    line += Text::firstCharacters(*event.agentId, idCharacters);
  }
  line += " \u2192 ";
  line += outcome;
  return line;
}

}  // namespace tavrin::HookCommand
