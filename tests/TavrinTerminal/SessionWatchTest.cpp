#include "TavrinTerminal/SessionWatch.hpp"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/TavrinTerminal/TestTerminal.hpp"

namespace tavrin::test {
namespace {

TEST(SessionWatch, AChangeOfAnAgentsOwnFileListsNoRecords) {
  TestTerminal terminal;
  int lists = 0;
  terminal.surroundings.files.list =
      [&lists, list = terminal.surroundings.files.list,
       records = terminal.surroundings.sessionsDirectory()](const std::string& path) {
        lists += path == records ? 1 : 0;
        return list(path);
      };
  const std::string transcript = (terminal.home / "transcript.jsonl").string();
  writeFile(transcript, "{}\n");
  Session record = terminal.session("a", SessionState::working);
  record.transcriptPath = transcript;
  terminal.save(record);

  std::optional<int> listsBefore;  // the agent's own file changed
  bool isInterrupted = false;
  TestConsole console;
  SessionWatch* running = nullptr;
  SessionWatch watch(terminal.surroundings, console.console(false),
                     [&](const std::vector<ObservedSession>& sessions) {
                       ASSERT_EQ(sessions.size(), 1U);
                       const SessionState state = sessions.front().state;
                       if (state == SessionState::working) {
                         record.state = SessionState::needsYou;
                         terminal.save(record);
                       } else if (state == SessionState::needsYou && !listsBefore) {
                         listsBefore = lists;
                         std::ofstream(transcript, std::ios::app)
                             << R"({"type":"user","timestamp":"2026-01-02T03:04:00Z","message":{"content":[)"
                                R"({"type":"text","text":"[Request interrupted by user]"}]}})"
                             << '\n';
                       } else if (state == SessionState::idle) {
                         isInterrupted = true;
                         running->stop();
                       }
                     });
  running = &watch;
  watch.run(std::chrono::seconds(60));
  ASSERT_TRUE(isInterrupted);
  EXPECT_GT(lists, 0);
  EXPECT_EQ(lists, listsBefore);
}

}  // namespace
}  // namespace tavrin::test
