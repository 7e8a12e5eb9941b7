#include "TavrinTerminal/Console.hpp"

#include <gtest/gtest.h>

#include "tests/TavrinTerminal/TestTerminal.hpp"

namespace tavrin::test {
namespace {

using Variable = std::optional<std::string>;

// The same rule in other words, over all combinations of what decides.
bool expected(const ColourFacts& facts) {
  const auto set = [](const Variable& variable) { return variable.has_value() && variable != ""; };
  switch (facts.choice) {
    case ColourChoice::always:
      return true;
    case ColourChoice::never:
      return false;
    case ColourChoice::automatic:
      break;
  }
  const bool forbidden = set(facts.noColor);
  const bool forced = set(facts.cliColorForce) && facts.cliColorForce != "0";
  const bool good = facts.isTerminal && facts.term != "dumb" && !set(facts.ci);
  return !forbidden && (forced || good);
}

TEST(Colour, AllThatDecidesIsDecidedInOrder) {
  int coloured = 0;
  int cases = 0;
  for (const ColourChoice choice : {ColourChoice::automatic, ColourChoice::always, ColourChoice::never}) {
    for (const Variable& noColor : {Variable(), Variable(""), Variable("1"), Variable("0")}) {
      for (const Variable& force : {Variable(), Variable(""), Variable("0"), Variable("1")}) {
        for (const Variable& term : {Variable(), Variable(""), Variable("dumb"), Variable("xterm")}) {
          for (const Variable& ci : {Variable(), Variable(""), Variable("true")}) {
            for (const bool isTerminal : {false, true}) {
              const ColourFacts facts = {choice, noColor, force, term, ci, isTerminal};
              EXPECT_EQ(usesColour(facts), expected(facts))
                  << "choice " << static_cast<int>(choice) << ", NO_COLOR " << noColor.value_or("-")
                  << ", CLICOLOR_FORCE " << force.value_or("-") << ", TERM " << term.value_or("-") << ", CI "
                  << ci.value_or("-") << ", terminal " << isTerminal;
              ++cases;
              coloured += usesColour(facts) ? 1 : 0;
            }
          }
        }
      }
    }
  }
  EXPECT_EQ(cases, 3 * 4 * 4 * 4 * 3 * 2);
  // Counted by hand: always 384; automatic without NO_COLOR (2 of 4): forced 24, otherwise 3 x (3 terms x 2
  // ci) terminals.
  EXPECT_EQ(coloured, 384 + 2 * (24 + 3 * 6));
}

TEST(Colour, TheRowsThatPeopleAskAbout) {
  const auto automatic = [](Variable noColor, Variable force, Variable term, Variable ci, bool isTerminal) {
    return usesColour({ColourChoice::automatic, std::move(noColor), std::move(force), std::move(term),
                       std::move(ci), isTerminal});
  };
  EXPECT_TRUE(automatic({}, {}, "xterm", {}, true));
  EXPECT_FALSE(automatic({}, {}, "xterm", {}, false)) << "a pipe";
  EXPECT_TRUE(automatic("", {}, "xterm", {}, true)) << "an empty NO_COLOR is not set";
  EXPECT_FALSE(automatic("0", {}, "xterm", {}, true)) << "any other NO_COLOR is";
  EXPECT_TRUE(automatic({}, "1", {}, {}, false)) << "a forced pipe";
  EXPECT_FALSE(automatic("1", "1", "xterm", {}, true)) << "NO_COLOR comes first";
  EXPECT_FALSE(automatic({}, {}, "dumb", {}, true));
  EXPECT_FALSE(automatic({}, {}, "xterm", "true", true));
}

TEST(Console, PaintsOnlyWithColour) {
  TestConsole kept;
  EXPECT_EQ(kept.console(true, true).painted("x", Colour::red), "\033[31mx\033[0m");
  EXPECT_EQ(kept.console(true, true).painted("x", Colour::plain), "x");
  EXPECT_EQ(kept.console(true, true).painted("", Colour::red), "");
  EXPECT_EQ(kept.console(true, false).painted("x", Colour::red), "x");
}

TEST(Console, OnlyYesConfirms) {
  for (const char* yes : {"y", "Y", "yes", "YES", " Yes "}) {
    TestConsole kept;
    kept.answers = {yes};
    EXPECT_TRUE(kept.console(true).confirms("Stop it?")) << yes;
    EXPECT_EQ(kept.error, "Stop it? [y/N] ");
  }
  for (const char* no : {"", "n", "no", "yess", "j", "1"}) {
    TestConsole kept;
    kept.answers = {no};
    EXPECT_FALSE(kept.console(true).confirms("Stop it?")) << no;
  }
  TestConsole ended;
  EXPECT_FALSE(ended.console(true).confirms("Stop it?"));
  EXPECT_EQ(ended.error, "Stop it? [y/N] \n");
}

}  // namespace
}  // namespace tavrin::test
