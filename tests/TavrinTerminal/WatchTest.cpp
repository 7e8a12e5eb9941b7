#include "TavrinTerminal/Commands/Watch.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/TavrinTerminal/TestTerminal.hpp"

namespace tavrin::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class WatchCommand : public testing::Test, public TestTerminal {
 protected:
  // Watches until the output has `lines` lines. `act` may change something after each text, and gets the
  // number of lines so far. There may be more looks than texts.
  std::string watch(Watch::Options options, std::ptrdiff_t lines,
                    const std::function<void(std::ptrdiff_t printed)>& act) {
    Console console = kept.console(false);
    console.out = [this, lines, &act](std::string_view bytes) {
      kept.output += bytes;
      const std::ptrdiff_t printed = std::ranges::count(kept.output, '\n');
      act(printed);
      return printed < lines;
    };
    console.error = [this](std::string_view bytes) {
      kept.error += bytes;
      if (onError) onError();
      return true;
    };
    const tavrin::Outcome outcome = Watch::run(options, surroundings, console);
    EXPECT_EQ(outcome, tavrin::Outcome::done());
    return kept.output;
  }

  TestConsole kept;
  std::function<void()> onError;  // follows each text on standard error
};

TEST_F(WatchCommand, PrintsALineForEachChange) {
  save(session("a", SessionState::working));
  EXPECT_EQ(watch({}, 3,
                  [this](std::ptrdiff_t printed) {
                    if (printed == 1) save(session("a", SessionState::needsYou));
                    if (printed == 2) remove("a");
                  }),
            "shop, burning, Claude\nshop, needs you, Bash, Claude\nshop, gone, Claude\n");
}

TEST_F(WatchCommand, PrintsJsonLines) {
  save(session("a", SessionState::working));
  EXPECT_THAT(
      watch({.json = true}, 2,
            [this](std::ptrdiff_t printed) {
              if (printed == 1) remove("a");
            }),
      testing::AllOf(
          HasSubstr(R"({"version":1,"time":"2026-01-02T03:04:05Z","change":"appeared","session":{"id":"a")"),
          HasSubstr(R"("change":"gone")")));
}

TEST_F(WatchCommand, NotifyNeedsANotifier) {
  const tavrin::Outcome outcome = Watch::run({.notify = true}, surroundings, kept.console(false));
  EXPECT_EQ(outcome.status, ExitStatus::failed);
  EXPECT_THAT(outcome.error, HasSubstr("cannot notify"));
}

TEST_F(WatchCommand, RootNotifiesNobodyOfAnotherUsersSessions) {
  surroundings.isForeignHome = true;
  EXPECT_THAT(Watch::run({.notify = true}, surroundings, kept.console(false)).error,
              HasSubstr("you are root"));
}

TEST_F(WatchCommand, TheNotifierLearnsOfEachChange) {
  struct Recorder : SessionChangeObserver {
    explicit Recorder(std::vector<std::string>& to) : seen(to) {}
    ~Recorder() override { seen.emplace_back("end"); }
    void changed(const SessionChange& change) override { seen.push_back(lineOf(change)); }
    std::vector<std::string>& seen;
  };
  std::vector<std::string> seen;
  surroundings.makeNotifier = [&](EventLoop&) { return std::make_unique<Recorder>(seen); };
  save(session("a", SessionState::working));
  watch({.notify = true}, 2, [this](std::ptrdiff_t printed) {
    if (printed == 1) save(session("a", SessionState::idle));
  });
  EXPECT_THAT(seen, ElementsAre("shop, burning, Claude", "shop, idle, Claude", "end"));
}

TEST_F(WatchCommand, ACommandGetsTheChange) {
  const std::string file = (home / "ran").string();
  save(session("a", SessionState::working));
  // The line of another session, which comes after what the command printed, ends the watch.
  onError = [this] { save(session("b", SessionState::idle, "api")); };
  watch({.exec = "{ echo \"$TAVRIN_CHANGE $TAVRIN_SESSION $TAVRIN_AGENT $TAVRIN_STATE $TAVRIN_LABEL\"; cat; "
                 "} >> '" +
                 file + "'; echo hello"},
        3, [this](std::ptrdiff_t printed) {
          if (printed == 1) save(session("a", SessionState::needsYou));
        });
  const std::string ran = readFile(file);
  EXPECT_THAT(ran, testing::StartsWith("changed a claude needsYou shop\n{\"version\":1,"));
  EXPECT_THAT(kept.error, testing::StartsWith("hello\n"));
  EXPECT_THAT(kept.output, testing::EndsWith("api, idle, Claude\n"));
}

TEST_F(WatchCommand, ACommandThatFailsIsReported) {
  const auto reportOf = [this](const std::string& commandLine) {
    kept = TestConsole();
    save(session("a", SessionState::working));
    remove("b");
    Console console = kept.console(false);
    // The report causes the change that ends the watch.
    console.error = [this](std::string_view bytes) {
      kept.error += bytes;
      if (bytes.starts_with("tavrin: ")) save(session("b", SessionState::idle, "api"));
      return true;
    };
    console.out = [this](std::string_view bytes) {
      if (kept.output.empty()) save(session("a", SessionState::needsYou));
      kept.output += bytes;
      return kept.output.find("api") == std::string::npos;
    };
    EXPECT_EQ(Watch::run({.exec = commandLine}, surroundings, console), tavrin::Outcome::done());
    return kept.error.substr(kept.error.find("tavrin: "));
  };
  EXPECT_THAT(reportOf("exit 3"), testing::StartsWith("tavrin: the command ended with status 3.\n"));
  EXPECT_THAT(reportOf("kill -9 $$"), testing::StartsWith("tavrin: the command was ended by signal 9.\n"));
  EXPECT_THAT(reportOf("while :; do echo 0123456789012345678901234567890123456789; done"),
              testing::StartsWith("tavrin: the command was ended, because it printed more than 1 MB.\n"));
}

TEST_F(WatchCommand, ChangesThatASlowCommandCannotTakeAreDropped) {
  save(session("a", SessionState::working));
  // One runs, a thousand wait, and two are dropped.
  constexpr int many = 1003;
  watch({.exec = "sleep 1000"}, 1 + many, [this](std::ptrdiff_t printed) {
    for (int i = 0; printed == 1 && i < many; ++i)
      save(session("s" + std::to_string(i), SessionState::working));
  });
  EXPECT_EQ(kept.error, "tavrin: the command is too slow. Changes are dropped.\n");
}

TEST(WatchVariables, HoldNoControls) {
  Session record;
  record.sessionId = std::string("a\0b\nc", 5);
  SessionChange change;
  change.row.session.record = std::move(record);
  change.row.label = "x";
  EXPECT_THAT(Watch::variablesOf(change),
              ElementsAre("TAVRIN_CHANGE=appeared",
                          "TAVRIN_SESSION=a\uFFFD"
                          "b c",
                          "TAVRIN_AGENT=claude", "TAVRIN_STATE=idle", "TAVRIN_LABEL=x"));
}

}  // namespace
}  // namespace tavrin::test
