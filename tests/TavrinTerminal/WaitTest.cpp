#include "TavrinTerminal/Commands/Wait.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/TavrinTerminal/TestTerminal.hpp"

namespace tavrin::test {
namespace {

using Wait::For;

class WaitCommand : public testing::Test, public TestTerminal {
 protected:
  tavrin::Outcome wait(Wait::Options options) {
    options.timeout = options.timeout.value_or(std::chrono::minutes(4));
    return Wait::run(options, surroundings, kept.console(false));
  }

  // Changes something before look 1, 2 and so on reads. A change before a look causes the next one.
  void beforeLooks(std::vector<std::function<void()>> changes) {
    looks = 0;
    surroundings.now = [this, changes = std::move(changes)] {
      if (looks < changes.size()) changes[looks]();
      ++looks;
      return testTime;
    };
  }
  std::function<void()> saving(Session session) {
    return [this, session = std::move(session)] { save(session); };
  }
  std::function<void()> another() { return saving(session("b", SessionState::working, "api")); }

  TestConsole kept;
  std::size_t looks = 0;
};

TEST_F(WaitCommand, AStateThatIsTrueReturnsAtOnce) {
  save(session("a", SessionState::needsYou));
  EXPECT_EQ(wait({.session = "a"}), tavrin::Outcome::done("needsYou\n"));
  EXPECT_EQ(wait({.session = "shop", .what = For::needsYou}), tavrin::Outcome::done("needsYou\n"));
  save(session("a", SessionState::idle));
  EXPECT_EQ(wait({.session = "a"}), tavrin::Outcome::done("idle\n"));
  EXPECT_EQ(wait({.session = "a", .what = For::idle}), tavrin::Outcome::done("idle\n"));
}

TEST_F(WaitCommand, AChangeOfTheSessionEndsTheWait) {
  save(session("a", SessionState::working));
  beforeLooks({another(), saving(session("a", SessionState::needsYou))});
  EXPECT_EQ(wait({.session = "a"}), tavrin::Outcome::done("needsYou\n"));
  EXPECT_GE(looks, 2U);
}

TEST_F(WaitCommand, ASessionThatGoesHasStatus1UnlessWaitedFor) {
  const auto waitUntilGone = [this](For what) {
    save(session("a", SessionState::working));
    beforeLooks({another(), [this] { remove("a"); }});
    return wait({.session = "a", .what = what});
  };
  const tavrin::Outcome gone = waitUntilGone(For::you);
  EXPECT_EQ(gone.status, ExitStatus::failed);
  EXPECT_EQ(gone.output, "gone\n");
  EXPECT_THAT(gone.error, testing::HasSubstr("shop"));
  EXPECT_EQ(waitUntilGone(For::gone), tavrin::Outcome::done("gone\n"));
}

TEST_F(WaitCommand, WithoutASessionOnlyWhatComesCounts) {
  save(session("a", SessionState::needsYou));
  beforeLooks({another(), saving(session("b", SessionState::needsYou, "api"))});
  EXPECT_EQ(wait({}).output, "needsYou\tb\tapi\n");
}

TEST_F(WaitCommand, AQuestionAfterAQuestionIsANewOne) {
  save(session("a", SessionState::needsYou));
  Session next = session("a", SessionState::needsYou);
  next.attentionId = "another";
  beforeLooks({another(), saving(next)});
  EXPECT_EQ(wait({.what = For::needsYou}).output, "needsYou\ta\tshop\n");
}

TEST_F(WaitCommand, WithoutASessionAnyThatGoesCanBeWaitedFor) {
  save(session("a", SessionState::working));
  beforeLooks({another(), [this] { remove("a"); }});
  EXPECT_EQ(wait({.what = For::gone}).output, "gone\ta\tshop\n");
}

TEST_F(WaitCommand, ATimeOutHasStatus3) {
  save(session("a", SessionState::working));
  const tavrin::Outcome outcome = wait({.session = "a", .timeout = std::chrono::milliseconds(0)});
  EXPECT_EQ(outcome.status, ExitStatus::timedOut);
  EXPECT_EQ(outcome.output, "");
  EXPECT_NE(outcome.error, "");
}

TEST_F(WaitCommand, AnUnknownOrAmbiguousWordIsRefused) {
  save(session("a1", SessionState::idle));
  save(session("a2", SessionState::idle));
  EXPECT_EQ(wait({.session = "x"}).status, ExitStatus::failed);
  EXPECT_THAT(wait({.session = "a"}).error, testing::HasSubstr("fits several"));
  EXPECT_THAT(wait({.session = "a", .what = For::gone}).error, testing::HasSubstr("fits several"));
  EXPECT_EQ(wait({.session = "x", .what = For::gone}), tavrin::Outcome::done("gone\n"));
}

TEST(WaitTime, HasUnits) {
  using std::chrono::seconds;
  EXPECT_EQ(Wait::durationOf("30"), seconds(30));
  EXPECT_EQ(Wait::durationOf("30s"), seconds(30));
  EXPECT_EQ(Wait::durationOf("5m"), seconds(300));
  EXPECT_EQ(Wait::durationOf("2h"), seconds(7200));
  EXPECT_EQ(Wait::durationOf("0"), seconds(0));
  for (const char* wrong : {"", "s", "-1", "+1", "1.5", "5 m", "5d", "m5", "99999999999999999999",
                            "9223372036854775807h", "10000h"})
    EXPECT_EQ(Wait::durationOf(wrong), std::nullopt) << wrong;
}

}  // namespace
}  // namespace tavrin::test
