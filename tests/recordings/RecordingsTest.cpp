// Plays every recorded session of a real client to the monitor, which sees at each moment what was there.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <numeric>
#include <sstream>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/recordings/Recording.hpp"
#include "tests/recordings/Score.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::recordings {
namespace {

std::vector<std::string> recordingsOf(std::string_view agent) {
  std::vector<std::string> paths;
  const std::filesystem::path folder = test::dataDirectory() / "recordings" / agent;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (entry.path().extension() == ".gz") paths.push_back(entry.path().string());
  std::ranges::sort(paths);
  return paths;
}

// "codex_two_prompts_2" for ".../codex/two-prompts.2.jsonl.gz".
std::string nameOf(const std::string& path) {
  const std::filesystem::path file = path;
  std::string name = file.parent_path().filename().string() + "_" + file.stem().stem().string();
  std::ranges::replace_if(
      name, [](char letter) { return letter == '-' || letter == '.'; }, '_');
  return name;
}

// Printed in the list of tests instead of the path.
struct RecordingPath {
  std::string path;
};

void PrintTo(const RecordingPath& recording, std::ostream* out) {
  *out << nameOf(recording.path);
}

std::vector<RecordingPath> allRecordings() {
  std::vector<RecordingPath> all;
  for (const Agent agent : allAgents) {
    for (const std::string& path : recordingsOf(rawValue(agent))) all.push_back({path});
  }
  return all;
}

struct Played {
  Score monitor;
  Score hook;
};

Played played(const std::string& path, const Playing& how = {}) {
  const std::vector<boost::json::object> events = eventsIn(path);
  const std::vector<Truth> truth = truthOf(path);
  const test::ScratchDirectory scratch(test::directoryInMemory());
  return {.monitor = scoreOf(play(events, scratch.string(), how), truth, events),
          .hook = scoreOf(hookAlone(events), truth, events)};
}

// Changes for which the machine shows no evidence at that time.
const std::map<std::string, std::size_t> unknowable = {
    // A session that is resumed first names itself with its first prompt.
    {"copilot_resume_1", 1},
    {"copilot_resume_after_kill_2", 1},
    // Ctrl-C before the first word, and /compact, leave no line and call no hook.
    {"grok_clear_2", 1},
    {"grok_compact_1", 1},
};

class Situation : public testing::TestWithParam<RecordingPath> {};

TEST_P(Situation, IsSeenAsThePersonAtTheTerminalSeesIt) {
  const std::string& path = GetParam().path;
  const Played both = played(path);
  const auto allowed = unknowable.find(nameOf(path));
  EXPECT_LE(both.monitor.missed.size(), allowed == unknowable.end() ? 0 : allowed->second)
      << testing::PrintToString(both.monitor.missed);
  EXPECT_GT(both.monitor.judged, 10);
  // Where the hook alone was right, the monitor is right too. Their looks differ by some tenths of a second.
  EXPECT_LE(both.monitor.wrong, both.hook.wrong + 0.3);
  EXPECT_EQ(both.monitor.ghosts, 0);
}

INSTANTIATE_TEST_SUITE_P(Recorded, Situation, testing::ValuesIn(allRecordings()),
                         [](const auto& instance) { return nameOf(instance.param.path); });

struct Goal {
  std::string_view agent;
  double mostWrong;  // percent of the judged time
  std::size_t recordings;
};

void PrintTo(const Goal& goal, std::ostream* out) {
  *out << goal.agent << ", " << goal.mostWrong << " %";
}

class Share : public testing::TestWithParam<Goal> {};

TEST_P(Share, OfTimeThatIsWrongStaysWithinTheGoal) {
  double judged = 0;
  double wrong = 0;
  double hookWrong = 0;
  const std::vector<std::string> paths = recordingsOf(GetParam().agent);
  EXPECT_EQ(paths.size(), GetParam().recordings);
  for (const std::string& path : paths) {
    const Played both = played(path);
    judged += both.monitor.judged;
    wrong += both.monitor.wrong;
    hookWrong += both.hook.wrong;
  }
  RecordProperty("wrong", std::to_string(100 * wrong / judged));
  EXPECT_LE(100 * wrong / judged, GetParam().mostWrong);
  EXPECT_GT(100 * hookWrong / judged, 20);
}

INSTANTIATE_TEST_SUITE_P(Agents, Share,
                         testing::Values(Goal{"claude", 2.0, 28}, Goal{"codex", 2.0, 26},
                                         Goal{"gemini", 2.6, 23}, Goal{"copilot", 7.3, 25},
                                         Goal{"grok", 3.1, 24}),
                         [](const auto& instance) { return std::string(instance.param.agent); });

TEST(Transcripts, OfClaudeSufficeWithoutItsStatusFiles) {
  double judged = 0;
  double wrong = 0;
  double hookWrong = 0;
  for (const std::string& path : recordingsOf("claude")) {
    const Played both =
        played(path, {.hide = [](std::string_view file) { return file.starts_with(".claude/sessions/"); }});
    judged += both.monitor.judged;
    wrong += both.monitor.wrong;
    hookWrong += both.hook.wrong;
  }
  EXPECT_LE(wrong, hookWrong * 0.4);
  RecordProperty("wrong", std::to_string(100 * wrong / judged));
}

TEST(Transcripts, OfGrokSayTheSameWhetherOrNotTheirLinesAreParsed) {
  std::size_t lines = 0;
  for (const std::string& path : recordingsOf("grok")) {
    for (const boost::json::object& event : eventsIn(path)) {
      const auto file = Json::textAt(event, "path");
      if (!file || !file->ends_with("events.jsonl")) continue;
      std::istringstream text(std::string(Json::textAt(event, "text").value_or("")));
      for (std::string line; std::getline(text, line); ++lines) {
        // No line with a space in front is judged without parsing it.
        EXPECT_EQ(evidenceInLine(line, Agent::grok), evidenceInLine(" " + line, Agent::grok)) << line;
        EXPECT_TRUE(evidenceInLine(line, Agent::grok).isKnown) << line;
      }
    }
  }
  EXPECT_GT(lines, 200U);
}

TEST(Recording, WithLinesThatSayNothingIsPlayedAllTheSame) {
  const test::ScratchDirectory folder;
  const std::string plain = (folder / "some.jsonl").string();
  const std::string of = recordingsOf("grok").front();
  const std::string text = unzipped(of);
  const std::string start = text.substr(0, text.find('\n') + 1);
  test::writeFile(plain, start +
                             "{\"t\":1,\"kind\":\"record\"}\n{\"t\":1,\"kind\":\"transcript\"}\n"
                             "{\"t\":1,\"kind\":\"telepathy\"}\n[]\n{\"kind\":\"hook\"}\n\n" +
                             text.substr(start.size()) + "{\"t\": 17");
  const test::ScratchDirectory one;
  const test::ScratchDirectory other;
  const auto seen = play(eventsIn(plain), one.string());
  const auto expected = play(eventsIn(of), other.string());
  ASSERT_EQ(seen.size(), expected.size());
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].session, expected[i].session);
    EXPECT_EQ(seen[i].state, expected[i].state);
  }
  EXPECT_FALSE(seen.empty());
  test::writeFile(plain, "{\"t\": 17");
  EXPECT_THROW(eventsIn(plain), std::runtime_error);
}

}  // namespace
}  // namespace tavrin::recordings
