// How fast transcripts are read: 100 MB of lines in the proportions of long sessions. Results of tools make
// up a third to a half of the bytes, and the rest are lines without a signal. Reports bytes per second on one
// core.
//
// Sizes of one line, bytes, as generated: texts and events 0.3 to 2 KB, thinking and reasoning 2 to 8 KB,
// tool calls 0.3 to 4 KB, results 0.2 to 24 KB (Claude Code's twice that, as the line repeats the output).

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Transcripts/TranscriptSignal.hpp"

namespace {

using tavrin::Agent;

constexpr std::size_t corpusSize = 100'000'000;

class LineGenerator {
 public:
  std::string line(Agent agent) { return agent == Agent::claude ? claudeLine() : codexLine(); }

 private:
  std::size_t upTo(std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(random_); }
  std::size_t between(std::size_t least, std::size_t most) { return least + upTo(most - least); }

  // The inside of a JSON string that holds code and the output of programs.
  std::string output(std::size_t size) {
    static constexpr std::array<std::string_view, 12> pieces = {
        "\\n    return found == nullptr ? std::nullopt : make_optional(*found);",
        "\\n  const auto total = std::accumulate(sizes.begin(), sizes.end(), 0U);",
        "\\n[ 42%] Building CXX object src/CMakeFiles/core.dir/reader.cpp.o",
        "\\n-rw-r--r--  1 dev staff   4213 Nov 21 08:03 settings.json",
        "\\n\\t\\\"name\\\": \\\"panel\\\",\\n\\t\\\"version\\\": \\\"2.4.1\\\",",
        "\\n\\u001b[32mok\\u001b[0m  test_reads_every_line (0.01s)",
        "\\n# The reader keeps one line at a time, and drops what it does not know.",
        "\\n        self.assertEqual(parse_line(b'{}'), [])",
        "\\nerror: expected ';' after expression at line 217, column 31",
        "\\n    \\u2192 na\u00efve caf\u00e9 \u2014 \u65e5\u672c\u8a9e \U0001f600",
        "\\nimport { readFile, writeFile } from \\\"node:fs/promises\\\";",
        "\\n| build | 12.4 s | 3,210 objects | cache hits 97 % |",
    };
    std::string text;
    while (text.size() < size) text += pieces[upTo(pieces.size() - 1)];
    return text;
  }

  std::string prose(std::size_t size) {
    static constexpr std::array<std::string_view, 6> pieces = {
        "The reader now skips lines it cannot use. ",
        "I will look at the failing case first, then at its callers. ",
        "There are three places where the offset is computed; ",
        "two of them round down, which loses a byte. ",
        "Run the tests again with the larger input.\\n\\n",
        "This is what the log says about `openFile`: "};
    std::string text;
    while (text.size() < size) text += pieces[upTo(pieces.size() - 1)];
    return text;
  }

  std::string base64(std::size_t size) {
    static constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text(size, '=');
    for (char& c : text) c = digits[upTo(digits.size() - 1)];
    return text;
  }

  std::string id() { return base64(24); }

  static std::string claudeEnvelope(std::string_view type, const std::string& message,
                                    std::string_view more) {
    return R"({"parentUuid":"5f0c6a52-1d1f-4a53-9d52-6a3d4f0a9e11","isSidechain":false,"userType":"external",)"
           R"("cwd":"/Users/dev/src/app","sessionId":"8f3a2c1e-7b6d-4e5f-9a8b-1c2d3e4f5a6b","version":"2.1.197",)"
           R"("gitBranch":"main","type":")" +
           std::string(type) + R"(","message":)" + message + std::string(more) +
           R"(,"uuid":"0b1c2d3e-4f5a-6b7c-8d9e-0f1a2b3c4d5e","timestamp":"2026-11-21T08:03:12.345Z"})";
  }

  static std::string assistant(const std::string& block) {
    return claudeEnvelope(
        "assistant",
        R"({"model":"claude-sonnet-4-5","id":"msg_01X","type":"message","role":"assistant",)"
        R"("content":[)" +
            block +
            R"(],"stop_reason":null,"usage":{"input_tokens":4,"cache_read_input_tokens":31337,)"
            R"("output_tokens":217,"service_tier":"standard"}})",
        "");
  }

  std::string claudeLine() {
    switch (upTo(9)) {
      case 0:
      case 1:
        return assistant(R"({"type":"text","text":")" + prose(between(200, 1'500)) + "\"}");
      case 2:
      case 3:
        return assistant(R"({"type":"thinking","thinking":")" + prose(between(1'000, 5'000)) +
                         R"(","signature":")" + base64(between(400, 3'000)) + "\"}");
      case 4:
      case 5:
      case 6:
        return assistant(
            R"({"type":"tool_use","id":"toolu_)" + id() +
            R"(","name":"Edit","input":{"file_path":"/Users/dev/src/app/reader.cpp","new_string":")" +
            output(between(100, 3'500)) + "\"}}");
      case 7:
      case 8: {
        const std::string text = output(between(200, 6'000) * (upTo(9) == 0 ? 4 : 1));
        return claudeEnvelope("user",
                              R"({"role":"user","content":[{"tool_use_id":"toolu_)" + id() +
                                  R"(","type":"tool_result","content":")" + text + R"(","is_error":false}]})",
                              R"(,"toolUseResult":{"stdout":")" + text +
                                  R"(","stderr":"","interrupted":false,"isImage":false})");
      }
      default:
        return R"({"type":"file-history-snapshot","messageId":")" + id() +
               R"(","snapshot":{"trackedFileBackups":{},"timestamp":"2026-11-21T08:03:12.345Z"},"text":")" +
               prose(between(100, 1'000)) + "\"}";
    }
  }

  static std::string codexEnvelope(std::string_view type, const std::string& payload) {
    return R"({"timestamp":"2026-11-21T08:03:12.345Z","type":")" + std::string(type) + R"(","payload":)" +
           payload + "}";
  }

  std::string codexLine() {
    switch (upTo(9)) {
      case 0:
        return codexEnvelope("event_msg",
                             R"({"type":"agent_message","message":")" + prose(between(200, 1'500)) + "\"}");
      case 1:
        return codexEnvelope("response_item", R"({"type":"message","role":"assistant","content":[{"type":)"
                                              R"("output_text","text":")" +
                                                  prose(between(200, 1'500)) + "\"}]}");
      case 2:
      case 3:
      case 4:
        return codexEnvelope("response_item",
                             R"({"type":"reasoning","summary":[],"content":null,"encrypted_content":")" +
                                 base64(between(2'000, 8'000)) + "\"}");
      case 5:
      case 6:
        return codexEnvelope("response_item", R"({"type":"function_call","name":"shell","arguments":")" +
                                                  output(between(100, 1'500)) + R"(","call_id":"call_)" +
                                                  id() + "\"}");
      case 7:
      case 8:
        return codexEnvelope("response_item",
                             R"({"type":"function_call_output","call_id":"call_)" + id() + R"(","output":")" +
                                 output(between(200, 6'000) * (upTo(9) == 0 ? 4 : 1)) + "\"}");
      default:
        return codexEnvelope(
            "event_msg",
            R"({"type":"token_count","info":{"total_token_usage":{"input_tokens":311234,)"
            R"("cached_input_tokens":298752,"output_tokens":4120,"total_tokens":315354},)"
            R"("model_context_window":272000},"rate_limits":{"primary":{"used_percent":12.5}}})");
    }
  }

  std::mt19937 random_{20261121};
};

struct Line {
  Agent agent;
  std::string text;
};

std::vector<Line> corpus(const std::vector<Agent>& agents) {
  LineGenerator generator;
  std::vector<Line> lines;
  for (std::size_t size = 0; size < corpusSize; size += lines.back().text.size()) {
    const Agent agent = agents[lines.size() % agents.size()];
    lines.push_back({.agent = agent, .text = generator.line(agent)});
  }
  return lines;
}

// Makes `read` go through 100 MB of the agents' lines in turn.
template <class Read>
void measure(benchmark::State& state, const std::vector<Agent>& agents, Read read) {
  const std::vector<Line> lines = corpus(agents);
  std::size_t bytes = 0;
  std::size_t withSignals = 0;
  for (const Line& line : lines) {
    bytes += line.text.size();
    if (!tavrin::TranscriptParser::signals(line.text, line.agent).empty()) withSignals += line.text.size();
  }
  for (auto _ : state) {
    for (const Line& line : lines) read(line);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
  state.counters["MB/s"] =
      benchmark::Counter(static_cast<double>(bytes) / 1e6, benchmark::Counter::kIsIterationInvariantRate);
  state.counters["share with signals"] = static_cast<double>(withSignals) / static_cast<double>(bytes);
}

void readTranscripts(benchmark::State& state, const std::vector<Agent>& agents) {
  measure(state, agents, [](const Line& line) {
    benchmark::DoNotOptimize(tavrin::TranscriptParser::signals(line.text, line.agent));
  });
}

// The cost of reading every line as JSON.
void readEveryLineAsJson(benchmark::State& state, const std::vector<Agent>& agents) {
  measure(state, agents, [](const Line& line) { benchmark::DoNotOptimize(tavrin::Json::parse(line.text)); });
}

BENCHMARK_CAPTURE(readTranscripts, mixed, {Agent::claude, Agent::codex})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readTranscripts, claude, {Agent::claude})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readTranscripts, codex, {Agent::codex})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readEveryLineAsJson, mixed, {Agent::claude, Agent::codex})->Unit(benchmark::kMillisecond);

}  // namespace
