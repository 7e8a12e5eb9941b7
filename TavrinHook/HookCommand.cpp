#include "TavrinHook/HookCommand.hpp"

#include <unistd.h>

#include <exception>
#include <optional>
#include <vector>

#include "TavrinCore/Hook/AgentArgument.hpp"
#include "TavrinCore/Hook/HookLog.hpp"
#include "TavrinCore/Hook/HookOrigin.hpp"
#include "TavrinCore/Hook/HookPayload.hpp"
#include "TavrinCore/Hook/SessionUpdate.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Home.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "TavrinHook/HookInput.hpp"

namespace tavrin::HookCommand {

namespace {

// Runs while this process holds the session's lock.
void updateRecord(const HookEvent& event, Agent agent, const SessionFileStore& store, const HookLog& log,
                  const SessionSurroundings& around) {
  const SessionUpdate update = SessionUpdate::of(store.load(event.sessionId), event, agent, around);
  if (const Session* const record = update.record()) store.save(*record);
  if (update.isRemove()) store.deleteSession(event.sessionId);
  log.write(trace(event, agent, update.outcome()));
}

void handle(std::string_view text, const AgentArgument::Parsed& arguments, const HookLog& log,
            const Surroundings& surroundings) {
  const HookPayload payload(text);
  const std::optional<Agent> agent = HookOrigin::resolve(arguments.agent, HookOrigin::detect(payload));
  if (!agent) return;
  const HookEvent event = HookEvent::parse(payload, arguments.event);
  const SessionFileStore store(SessionFileStore::defaultDirectory(surroundings.home), surroundings.afterUse);
  const SessionSurroundings around = {.now = surroundings.now(),
                                      .parentPid = surroundings.parentPid,
                                      .processes = surroundings.processes,
                                      .files = surroundings.files,
                                      .makeId = surroundings.makeId,
                                      .fileSize = File::size,
                                      .desktopTitle = [&](const std::string& sessionId) {
                                        return ClaudeSessionTitles::resolve(
                                            sessionId,
                                            ClaudeSessionTitles::defaultDirectory(surroundings.home),
                                            ClaudeSessionTitles::mostEntriesInHook);
                                      }};
  store.withLock(event.sessionId, [&] { updateRecord(event, *agent, store, log, around); });
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
  const HookInput input = HookInput::read(surroundings.input, largestPayload, HookPayload::keys());
  if (input.size > largestPayload) {
    log.write("error: payload of " + std::to_string(input.size) + " bytes rejected");
    return;
  }
  try {
    handle(input.text, arguments, log, surroundings);
  } catch (const std::exception& error) {
    log.write("error: " + std::string(error.what()) + " (" + std::to_string(input.size) + " bytes)");
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
