#include "TavrinTerminal/Panel/PanelSessions.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "TavrinTerminal/Panel/PanelGrid.hpp"
#include "TavrinTerminal/SessionWatch.hpp"
#include "tests/TavrinTerminal/TestTerminal.hpp"
#include "tests/support/Random.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;

constexpr ScreenSize size = {.columns = 120, .rows = 40};

std::string textOf(const PanelModel& model) {
  return PanelGrid(model.screen(testTime).lines, size, true).text();
}

class PanelSessionsTest : public testing::Test, public TestTerminal {
 protected:
  PanelSessionsTest() {
    surroundings.places = [](const std::vector<Session>& asked) {
      return std::vector<SessionPlace>(asked.size());
    };
  }

  PanelSessions::Callbacks callbacks() {
    return {.all =
                [this] {
                  ++wholes;
                  return all;
                },
            .changed = [this] { ++changes; },
            .failed = [](const std::exception_ptr& thrown) { std::rethrow_exception(thrown); }};
  }

  ObservedSession observed(const Session& record) const {
    return {
        .record = record, .state = record.state, .since = record.stateSince, .reason = {}, .attentionId = {}};
  }

  std::vector<ObservedSession> all;  // what the last look found
  int wholes = 0;
  int changes = 0;
  PanelModel model{size};
};

TEST_F(PanelSessionsTest, AChangedStateMakesOneRowAnew) {
  EventLoop loop;
  BackgroundWork background(loop);
  PanelSessions sessions(surroundings, model, background, callbacks());
  all = {observed(session("a", SessionState::working)), observed(session("b", SessionState::idle, "api"))};
  sessions.take({.sessions = all, .isWhole = true, .files = {}, .processes = {}, .next = {}});
  EXPECT_EQ(changes, 1);
  const auto takeChanged = [&](std::vector<ObservedSession> changed) {
    sessions.take(
        {.sessions = std::move(changed), .isWhole = false, .files = {}, .processes = {}, .next = {}});
  };

  takeChanged({});
  EXPECT_EQ(changes, 1);
  all[1] = observed(session("b", SessionState::needsYou, "api"));
  takeChanged({all[1]});
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(wholes, 0);
  EXPECT_THAT(textOf(model), HasSubstr("1 burning \u00b7 1 needs you"));
  EXPECT_THAT(textOf(model), testing::ContainsRegex("api +Claude +needs you +Bash"));

  // Another name may change the labels of others.
  all[1] = observed(session("b", SessionState::needsYou, "shop"));
  takeChanged({all[1]});
  EXPECT_EQ(wholes, 1);
  EXPECT_EQ(changes, 3);
}

// Whatever changes, in whatever order, the rows are those of a panel that makes all of them anew each time.
TEST_F(PanelSessionsTest, RowsAreThoseOfAPanelThatMakesAllAnew) {
  const unsigned seed = randomSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  Random random(seed);
  EventLoop loop;
  BackgroundWork background(loop);
  PanelSessions sessions(surroundings, model, background, callbacks());
  PanelModel fresh(size);
  std::map<std::string, ObservedSession> known;
  constexpr std::array<std::string_view, 4> projects = {"shop", "Shop", "api", "\u00e4rger"};
  int looks = 0;
  for (int step = 0; step < generatedCases(500); ++step) {
    SessionWatcher::Look look{.sessions = {}, .isWhole = step == 0, .files = {}, .processes = {}, .next = {}};
    std::set<std::string> changed;
    for (std::size_t count = random.below(4); count > 0; --count) {
      const std::string id = "s" + std::to_string(random.below(30));
      const auto at = known.find(id);
      const bool isNew = at == known.end();
      if (isNew || random.below(40) == 0) {
        look.isWhole = true;
        if (!isNew) {
          known.erase(at);
          changed.erase(id);
          continue;
        }
      }
      Session record = isNew ? session(id, SessionState::idle, random.of(projects)) : *at->second.record;
      record.agent = isNew ? allAgents[random.below(2)] : record.agent;
      switch (random.below(20)) {
        case 0:
          record.repoRoot = "/work-of-somebody/" + std::string(random.of(projects));
          break;
        case 1:
          record.tty = "/dev/pts/" + std::to_string(random.below(3));
          break;
        case 2:
          record.agentPid = static_cast<std::int32_t>(100 + random.below(3));
          break;
        case 3:
          record.repoRoot = home.string() + "/Library/probe";  // one that is not shown
          break;
        default:
          record.state = allSessionStates[random.below(3)];
          record.needsYouTool = record.state == SessionState::needsYou ? std::optional("Bash") : std::nullopt;
          record.title = random.flip() ? std::optional("title") : std::nullopt;
      }
      ObservedSession made = observed(record);
      made.state = random.below(5) == 0 ? SessionState::idle : made.state;
      made.isElsewhere = random.below(20) == 0;
      known.insert_or_assign(id, std::move(made));
      changed.insert(id);
    }
    all.clear();
    for (const auto& [id, each] : known) {
      all.push_back(each);
      if (look.isWhole || changed.contains(id)) look.sessions.push_back(each);
    }
    looks += look.isWhole ? 0 : 1;
    sessions.take(std::move(look));
    fresh.takeSessions(sessionRows(inShownOrder(all, home.string(), false), {}, home.string()));
    if (random.below(50) == 0) {
      model.toggleIdle();
      fresh.toggleIdle();
    }
    if (random.below(50) == 0) {
      model.sortAnew();
      fresh.sortAnew();
    }
    if (random.below(50) == 0) {
      const bool isEnd = random.flip();
      for (PanelModel* const each : {&model, &fresh}) isEnd ? each->endFilter(false) : each->typeFilter("s");
    }
    ASSERT_EQ(textOf(model), textOf(fresh)) << "step " << step;
  }
  EXPECT_LT(wholes, looks / 2);
  EXPECT_GT(wholes, 0);
}

// From a record's file to the row: the watch names the file, the watcher reports the session, and one row is
// made anew.
TEST_F(PanelSessionsTest, ARecordThatChangesOnDiskMakesOneRowAnew) {
  for (int i = 0; i < 20; ++i)
    save(session("s" + std::to_string(i), SessionState::idle, "p" + std::to_string(i)));
  std::vector<std::size_t> reported;
  std::optional<PanelSessions> sessions;
  SessionWatch watch(surroundings, TestConsole().console(false), [&](SessionWatcher::Look look) {
    if (look.isWhole || !look.sessions.empty()) reported.push_back(look.sessions.size());
    sessions->take(std::move(look));
    if (reported.size() == 1) save(session("s7", SessionState::needsYou, "p7"));
    if (reported.size() > 1) watch.stop();
  });
  BackgroundWork background(watch.loop());
  sessions.emplace(surroundings, model, background,
                   PanelSessions::Callbacks{.all =
                                                [&] {
                                                  ++wholes;
                                                  return watch.sessions();
                                                },
                                            .changed = [] {},
                                            .failed = [](const std::exception_ptr&) { FAIL(); }});
  watch.run(std::chrono::seconds(20));
  EXPECT_THAT(textOf(model), testing::ContainsRegex("p7 +Claude +needs you +Bash"));
#ifdef __linux__
  EXPECT_THAT(reported, testing::ElementsAre(20, 1));
#endif
}

}  // namespace
}  // namespace tavrin::test
