#include "TavrinTerminal/Console.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <thread>

#include "TavrinCore/Support/File.hpp"
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

// A descriptor of this process that is another one for a while.
class Redirected {
 public:
  Redirected(int number, int other) : number_(number), before_(::dup(number)) { ::dup2(other, number); }
  ~Redirected() { ::dup2(before_.number(), number_); }
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;

 private:
  int number_;
  FileDescriptor before_;
};

TEST(Console, ReadsLinesUntilTheInputEnds) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  FileDescriptor input(ends[0]);
  FileDescriptor output(ends[1]);
  ASSERT_TRUE(File::writeAll(output.number(), "yes\n\nwithout an end"));
  output.close();
  const Redirected standardInput(STDIN_FILENO, input.number());
  const Console console = Console::real(ColourChoice::never);
  EXPECT_FALSE(console.canAsk()) << "a pipe is nobody to ask";
  EXPECT_EQ(console.readLine(), "yes");
  EXPECT_EQ(console.readLine(), "");
  EXPECT_EQ(console.readLine(), "without an end");
  EXPECT_EQ(console.readLine(), std::nullopt);
}

TEST(Console, WritesAllThroughAPipeThatDoesNotWait) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  const FileDescriptor input(ends[0]);
  FileDescriptor output(ends[1]);
  ASSERT_EQ(::fcntl(output.number(), F_SETFL, O_NONBLOCK), 0);
  const std::string text(1'000'000, 'x');
  std::string read;
  std::thread reader([&] {
    std::array<char, 4096> bytes{};
    for (ssize_t count = 0; (count = ::read(input.number(), bytes.data(), bytes.size())) > 0;)
      read.append(bytes.data(), static_cast<std::size_t>(count));
  });
  bool isWritten = false;
  {
    const Redirected standardOutput(STDOUT_FILENO, output.number());
    isWritten = Console::real(ColourChoice::never).out(text);
    output.close();
  }
  reader.join();
  EXPECT_TRUE(isWritten);
  EXPECT_EQ(read, text);
}

TEST(Console, AsksOnlyWhereTheQuestionIsSeen) {
  TestConsole kept;
  Console console = kept.console(true);
  EXPECT_TRUE(console.canAsk());
  console.errorIsTerminal = false;
  EXPECT_FALSE(console.canAsk());
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
