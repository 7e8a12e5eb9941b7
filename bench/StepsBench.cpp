// The steps of one event, each by itself, and all of them in one call without the start of a process.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <boost/json/object.hpp>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Context/RepoLabel.hpp"
#include "TavrinCore/Hook/HookTransitions.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Transcripts/ClaudeSessionTitles.hpp"
#include "TavrinHook/HookCommand.hpp"
#include "bench/BenchHome.hpp"
#include "bench/EventPayload.hpp"

namespace {

using namespace tavrin;
using bench::BenchHome;

const std::string sessionId(bench::recordedSession);

// A record like that of a busy session.
Session busySession(std::size_t calls) {
  Session session = bench::sessionUnderWay(sessionId);
  for (std::size_t i = 0; i < calls; ++i)
    session.inFlight.push_back("toolu_01f5f9a0a0c6f64e56bb" + std::to_string(1000 + i));
  return session;
}

void parsedEvent(benchmark::State& state) {
  const std::string payload = bench::eventPayload(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(HookEvent::parse(payload, std::nullopt));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(parsedEvent)->Arg(300)->Arg(3'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

void writtenRecord(benchmark::State& state) {
  const Session session = busySession(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(session.encode());
}
BENCHMARK(writtenRecord)->ArgName("calls")->Arg(1)->Arg(64)->Unit(benchmark::kMicrosecond);

void readRecord(benchmark::State& state) {
  const std::string text = busySession(static_cast<std::size_t>(state.range(0))).encode();
  for (auto _ : state) benchmark::DoNotOptimize(Session::decode(text));
}
BENCHMARK(readRecord)->ArgName("calls")->Arg(1)->Arg(64)->Unit(benchmark::kMicrosecond);

// From the event and the stored record to the next record.
void transition(benchmark::State& state) {
  const HookEvent event = HookEvent::parse(bench::eventPayload(300), std::nullopt);
  const std::optional<Session> current = busySession(static_cast<std::size_t>(state.range(0)));
  const Date now = std::chrono::system_clock::now();
  for (auto _ : state) {
    const HookAction action =
        HookTransitions::resolve(HookTransitions::action(event), event, current, Agent::claude);
    benchmark::DoNotOptimize(HookTransitions::advance(*current, *action.state(), event, current->state, now));
  }
}
BENCHMARK(transition)->ArgName("calls")->Arg(1)->Arg(64)->Unit(benchmark::kMicrosecond);

// All steps of a run on real files, with the process table of this process.
void wholeEvent(benchmark::State& state) {
  const BenchHome home(sessionId);
  const std::filesystem::path payload = home / "payload";
  test::writeFile(payload, bench::eventPayload(static_cast<std::size_t>(state.range(0))));
  const int input = ::open(payload.c_str(), O_RDONLY | O_CLOEXEC);
  for (auto _ : state) {
    HookCommand::Surroundings surroundings = HookCommand::Surroundings::real();
    surroundings.home = home.string();
    surroundings.input = input;
    if (::lseek(input, 0, SEEK_SET) != 0) throw std::runtime_error("the payload cannot be read again");
    HookCommand::run({}, surroundings);
  }
  ::close(input);
  if (home.session()->inFlight.size() != 1) throw std::runtime_error("the event did not arrive");
}
BENCHMARK(wholeEvent)->Arg(3'000)->Arg(1'000'000)->Unit(benchmark::kMicrosecond);

// The root of the repository lies this many folders above.
void foundRepository(benchmark::State& state) {
  const test::ScratchDirectory scratch;
  std::filesystem::create_directories(scratch / ".git");
  std::filesystem::path folder = scratch.path();
  for (int i = 0; i < state.range(0); ++i) folder /= "folder";
  std::filesystem::create_directories(folder);
  for (auto _ : state) {
    const std::optional<RepoLabel> label = RepoLabel::find(folder.string());
    if (!label || label->root != scratch.string()) throw std::runtime_error("another repository was found");
  }
}
BENCHMARK(foundRepository)->ArgName("depth")->Arg(0)->Arg(60)->Unit(benchmark::kMicrosecond);

// In a folder with the titles of this many other sessions. The run goes through all of them.
void soughtTitle(benchmark::State& state) {
  const test::ScratchDirectory scratch;
  for (int i = 0; i < state.range(0); ++i) {
    const std::string id = "0198c2a4-7d31-7c60-9a1f-" + std::to_string(100'000'000'000 + i);
    test::writeFile(scratch / ("local_" + id + ".json"), R"({"sessionId":"local_)" + id +
                                                             R"(","title":"Why the reader drops a line",)"
                                                             R"("cwd":"/Users/dev/src/app"})");
  }
  for (auto _ : state) {
    if (ClaudeSessionTitles::resolve(sessionId, scratch.string()))
      throw std::runtime_error("another title was found");
  }
}
BENCHMARK(soughtTitle)->ArgName("files")->Arg(20)->Arg(20'000)->Unit(benchmark::kMicrosecond);

// A user's settings that have other hooks on every event, from text to text.
void mergedSettings(benchmark::State& state) {
  const AgentDefinition& claude = AgentDefinition::definition(Agent::claude);
  const std::string helper = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";
  boost::json::object others = HookSettings::merged({}, "/opt/others/Tavrin/bin/tavrin-hook", claude);
  std::string text = Json::print(others);
  for (std::size_t at; (at = text.find("/Tavrin/bin/tavrin-hook")) != std::string::npos;)
    text.replace(at, 23, "/bin/notify");
  text = Json::print(HookSettings::merged(Json::parse(text)->as_object(), helper, claude));
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        Json::print(HookSettings::merged(std::move(Json::parse(text)->as_object()), helper, claude)));
  }
}
BENCHMARK(mergedSettings)->Unit(benchmark::kMicrosecond);

}  // namespace
