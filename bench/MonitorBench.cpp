// What the monitor costs: judging sessions when nothing changed, a look at session files on disk, and reading
// transcripts. Judging 10,000 sessions should take at most 20 ms on one core.

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Monitor/FollowedFacts.hpp"
#include "TavrinCore/Monitor/SessionMonitor.hpp"
#include "TavrinCore/Monitor/SessionWatcher.hpp"
#include "tests/support/Scratch.hpp"

namespace {

using namespace tavrin;

const Date now = dateFromSeconds(1'795'300'800);

// Every tenth session is active, and a status file names it. Every twentieth has an open question.
MonitoredSession session(std::size_t i) {
  MonitoredSession one;
  Session record;
  record.sessionId = "0198c2a4-7d31-7c60-9a1f-" + std::to_string(100'000'000'000 + i);
  record.agent = allAgents[i % allAgents.size()];
  record.state = i % 10 == 0 ? SessionState::working : SessionState::idle;
  record.cwd = "/Users/dev/src/app-" + std::to_string(i) + "/src";
  record.repoRoot = "/Users/dev/src/app-" + std::to_string(i);
  record.transcriptPath = "/Users/dev/.claude/projects/app/" + record.sessionId + ".jsonl";
  record.tty = "/dev/ttys" + std::to_string(i % 1000);
  record.agentPid = static_cast<std::int32_t>(1000 + i);
  record.updatedAt = record.stateSince = one.savedAt = now - std::chrono::seconds(30);
  one.evidence.process = ProcessFact{
      .parent = 1, .name = "claude", .startedAt = now - std::chrono::seconds(3600), .terminal = record.tty};
  one.evidence.wasSeen = true;
  one.record = record;
  if (i % 10 == 0)
    one.evidence.open = OpenSession{.agent = record.agent,
                                    .sessionId = record.sessionId,
                                    .pid = record.agentPid,
                                    .folder = record.cwd,
                                    .terminal = record.tty,
                                    .since = one.savedAt,
                                    .state = SessionState::working,
                                    .stateSince = one.savedAt};
  if (i % 20 == 0)
    one.evidence.facts = {
        {.kind = SessionFact::Kind::turnStarted, .at = one.savedAt, .call = {}, .command = {}},
        {.kind = SessionFact::Kind::asked, .at = one.savedAt, .call = "call_1", .command = "make"}};
  return one;
}

void judgedSessions(benchmark::State& state) {
  std::vector<MonitoredSession> sessions;
  for (std::size_t i = 0; i < static_cast<std::size_t>(state.range(0)); ++i) sessions.push_back(session(i));
  for (auto _ : state) benchmark::DoNotOptimize(SessionMonitor::observe(sessions, now, dateFromSeconds(1)));
}
BENCHMARK(judgedSessions)->Arg(10'000)->Unit(benchmark::kMillisecond);

// Looks at this many idle sessions on disk, whose agent is this process.
void unchangedLook(benchmark::State& state) {
  const test::ScratchDirectory scratch;
  const Date start = std::chrono::system_clock::now();
  for (std::size_t i = 0; i < static_cast<std::size_t>(state.range(0)); ++i) {
    Session record = *session(i).record;
    record.state = SessionState::idle;
    record.cwd = scratch.string();
    record.tty.reset();
    record.updatedAt = record.stateSince = start;
    record.agentPid = static_cast<std::int32_t>(::getpid());
    test::writeFile(scratch / ("sessions/" + record.sessionId + ".json"), record.encode());
  }
  SessionWatcher::Surroundings surroundings{.sessionsDirectory = (scratch / "sessions").string(),
                                            .homes = {}};
  for (const Agent agent : allAgents)
    surroundings.homes.push_back(AgentHome::standard(agent, scratch.string()));
  SessionWatcher watcher(std::move(surroundings));
  // The first looks read the files. A directory that changed within the last second is listed again.
  Date at = std::chrono::system_clock::now() + std::chrono::seconds(5);
  if (watcher.look(at).sessions.size() != static_cast<std::size_t>(state.range(0)))
    state.SkipWithError("Sessions are missing.");
  for (auto _ : state) benchmark::DoNotOptimize(watcher.look(at += std::chrono::milliseconds(250)));
}
BENCHMARK(unchangedLook)->Arg(100)->Arg(10'000)->Unit(benchmark::kMillisecond);

// Grok writes no texts into its file. In the recorded files half of the bytes are those of lines with
// evidence, as they are in this turn.
constexpr const char* grokTurn =
    R"({"ts":"2026-11-21T22:40:00.425Z","type":"turn_started","session_id":"01a20037-bc8a-70e3-ae3d-eb96d74f9b62","turn_number":0,"model_id":"grok","yolo_mode":false,"conversation_message_count":3,"session_relationship":"primary","schema_version":"1.0"}
{"ts":"2026-11-21T22:40:00.621Z","type":"loop_started","loop_index":0}
{"ts":"2026-11-21T22:40:00.640Z","type":"phase_changed","phase":"waiting_for_model"}
{"ts":"2026-11-21T22:40:01.634Z","type":"first_token"}
{"ts":"2026-11-21T22:40:01.640Z","type":"phase_changed","phase":"streaming_text"}
{"ts":"2026-11-21T22:40:02.640Z","type":"phase_changed","phase":"tool_execution"}
{"ts":"2026-11-21T22:40:02.657Z","type":"tool_started","tool_name":"run_terminal_command"}
{"ts":"2026-11-21T22:40:02.670Z","type":"permission_requested","tool_name":"run_terminal_command"}
{"ts":"2026-11-21T22:40:06.019Z","type":"permission_resolved","tool_name":"run_terminal_command","decision":"allow","wait_ms":3349}
{"ts":"2026-11-21T22:40:06.205Z","type":"tool_completed","tool_name":"run_terminal_command","duration_ms":186,"outcome":"success","tool_call_id":"call_4_0"}
{"ts":"2026-11-21T22:40:06.621Z","type":"loop_started","loop_index":1}
{"ts":"2026-11-21T22:40:06.640Z","type":"phase_changed","phase":"waiting_for_model"}
{"ts":"2026-11-21T22:40:09.693Z","type":"turn_ended","outcome":"completed"}
)";

// Results of tools make up most of a transcript. The lines between them carry more signals.
std::string line(Agent agent, std::size_t size) {
  const std::string text(size, 'x');
  switch (agent) {
    case Agent::claude:
      return R"({"type":"user","timestamp":"2026-11-21T22:40:00Z","message":{"content":[{"type":"text","text":")" +
             text + "\"}]}}\n";
    case Agent::codex:
      return R"({"timestamp":"2026-11-21T22:40:00Z","ordinal":9,"type":"response_item","payload":{"type":"message","content":")" +
             text + "\"}}\n";
    case Agent::gemini:
      return R"({"timestamp":"2026-11-21T22:40:00Z","type":"gemini","content":")" + text + "\"}\n";
    case Agent::copilot:
      return R"({"type":"assistant.message","timestamp":"2026-11-21T22:40:00Z","data":{"content":")" + text +
             "\"}}\n";
    case Agent::grok:
      return grokTurn;
  }
  return {};
}

void grownTranscript(benchmark::State& state) {
  const Agent agent = allAgents[static_cast<std::size_t>(state.range(0))];
  state.SetLabel(std::string(rawValue(agent)));
  const test::ScratchDirectory scratch(test::directoryInMemory());
  const std::string path = (scratch / "transcript").string();
  std::string text;
  for (std::size_t i = 0; text.size() < 20'000'000; ++i)
    text += line(agent, std::array{300, 4000, 1000}[i % 3]);
  for (auto _ : state) {
    state.PauseTiming();
    test::writeFile(path, "");
    FollowedFacts followed(path, agent, false);
    followed.look(MonitorFiles::ofThisSystem());
    test::writeFile(path, text);
    state.ResumeTiming();
    benchmark::DoNotOptimize(followed.look(MonitorFiles::ofThisSystem()));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(grownTranscript)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);

}  // namespace
