#include "TavrinTerminal/Command.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include "TavrinTerminal/Commands/Help.hpp"
#include "tests/TavrinTerminal/TestTerminal.hpp"

namespace tavrin::test {
namespace {

using Command::Invocation;

std::variant<Invocation, tavrin::Outcome> parse(const std::vector<std::string>& words,
                                                bool isTerminal = false) {
  return Command::parse(words, isTerminal);
}

Invocation invocation(const std::vector<std::string>& words) {
  const auto parsed = parse(words);
  const auto* const found = std::get_if<Invocation>(&parsed);
  EXPECT_NE(found, nullptr) << std::get<tavrin::Outcome>(parsed).error;
  return found == nullptr ? Invocation{} : *found;
}

tavrin::Outcome outcome(const std::vector<std::string>& words) {
  const auto parsed = parse(words);
  const auto* const found = std::get_if<tavrin::Outcome>(&parsed);
  EXPECT_NE(found, nullptr);
  return found == nullptr ? tavrin::Outcome{} : *found;
}

TEST(Command, NoWordsListInAPipe) {
  EXPECT_EQ(invocation({}).command->name, "list");
}

TEST(Command, NoWordsOpenThePanelOnATerminalWhereThereIsOne) {
  const auto parsed = parse({}, true);
  const bool hasPanel = CommandTable::command("panel") != nullptr;
  EXPECT_EQ(std::get<Invocation>(parsed).command->name, hasPanel ? "panel" : "list");
}

TEST(Command, OptionsAndArgumentsMayStandInAnyOrder) {
  for (const auto& words :
       std::vector<std::vector<std::string>>{{"wait", "shop", "--for", "idle", "--timeout=5m"},
                                             {"wait", "--timeout", "5m", "--for=idle", "shop"}}) {
    const Invocation found = invocation(words);
    EXPECT_EQ(found.command->name, "wait");
    EXPECT_EQ(found.words.argument(), "shop");
    EXPECT_EQ(found.words.value("--for"), "idle");
    EXPECT_EQ(found.words.value("--timeout"), "5m");
    EXPECT_FALSE(found.words.has("--json"));
  }
}

TEST(Command, TheLastOfTwoEqualOptionsCounts) {
  EXPECT_EQ(invocation({"status", "--format", "json", "--format", "tmux"}).words.value("--format"), "tmux");
}

TEST(Command, WordsAfterTwoDashesAreArguments) {
  EXPECT_EQ(invocation({"wait", "--", "--for"}).words.argument(), "--for");
}

TEST(Command, ColourIsAcceptedBeforeAndAfterTheCommand) {
  EXPECT_EQ(invocation({"--color", "never", "list"}).colour, ColourChoice::never);
  EXPECT_EQ(invocation({"--color=always", "list"}).colour, ColourChoice::always);
  EXPECT_EQ(invocation({"list", "--color", "always"}).colour, ColourChoice::always);
  EXPECT_EQ(invocation({"list"}).colour, ColourChoice::automatic);
  EXPECT_EQ(invocation({"--color", "never"}).command->name, "list");
}

TEST(Command, WrongUsageHas64AndNamesTheHelp) {
  for (const auto& words : std::vector<std::vector<std::string>>{{"frob"},
                                                                 {"--frob"},
                                                                 {"list", "--frob"},
                                                                 {"list", "x"},
                                                                 {"wait", "a", "b"},
                                                                 {"open"},
                                                                 {"stop", "--yes"},
                                                                 {"status", "--format", "xml"},
                                                                 {"status", "--format"},
                                                                 {"watch", "--exec", ""},
                                                                 {"wait", "--for", "tea"},
                                                                 {"--color", "pink", "list"},
                                                                 {"completions", "tcsh"},
                                                                 {"list", "--json=x"},
                                                                 {"help", "a", "b"},
                                                                 {"--color"}}) {
    const auto parsed = parse(words);
    ASSERT_TRUE(std::holds_alternative<tavrin::Outcome>(parsed)) << words.back();
    const auto& wrong = std::get<tavrin::Outcome>(parsed);
    EXPECT_EQ(wrong.status, ExitStatus::usage) << words.front();
    EXPECT_TRUE(wrong.error.starts_with("nothing was done. ")) << wrong.error;
    EXPECT_NE(wrong.error.find("See \"tavrin help"), std::string::npos) << wrong.error;
    EXPECT_EQ(wrong.output, "");
  }
}

TEST(Command, AMissingValueIsCalledAsInTheHelp) {
  EXPECT_EQ(outcome({"status", "--format"}).error,
            "nothing was done. --format: 1 required FORMAT missing. See \"tavrin help status\".");
}

TEST(Command, HostileWordsAreCleanedInErrors) {
  EXPECT_EQ(outcome({"\x1b[31m"}).error,
            "nothing was done. There is no command \"\uFFFD[31m\". See \"tavrin help\".");
  EXPECT_EQ(outcome({"list", "--\x1b"}).error.find('\x1b'), std::string::npos);
}

TEST(Command, MistypedCommandsAndOptionsGetASuggestion) {
  EXPECT_EQ(outcome({"stats"}).error,
            R"(nothing was done. There is no command "stats". Did you mean "status"? See "tavrin help".)");
  EXPECT_EQ(
      outcome({"--verison"}).error,
      R"(nothing was done. There is no option "--verison". Did you mean "--version"? See "tavrin help".)");
  EXPECT_EQ(outcome({"status", "--fromat", "json"}).error,
            "nothing was done. There is no option \"--fromat\". Did you mean \"--format\"? "
            "See \"tavrin help status\".");
  EXPECT_EQ(outcome({"list", "--frob"}).error,
            R"(nothing was done. There is no option "--frob". See "tavrin help list".)");
  EXPECT_EQ(outcome({"wait", "--timout=5"}).error,
            "nothing was done. There is no option \"--timout\". Did you mean \"--timeout\"? "
            "See \"tavrin help wait\".");
}

TEST(Command, TheFirstArgumentThatIsTooManyIsNamed) {
  EXPECT_EQ(outcome({"list", "one", "two"}).error,
            R"(nothing was done. "one" is one argument too many. See "tavrin help list".)");
  EXPECT_EQ(outcome({"list", "--", "--json"}).error,
            R"(nothing was done. "--json" is one argument too many. See "tavrin help list".)");
  EXPECT_EQ(outcome({"wait", "--", "a", "--for"}).error,
            R"(nothing was done. "--for" is one argument too many. See "tavrin help wait".)");
}

TEST(Command, AnOptionWithoutAValueRefusesOne) {
  for (const char* word : {"--json=true", "--json=false", "--json=", "--json=x"})
    EXPECT_EQ(outcome({"list", word}).error,
              R"(nothing was done. The option "--json" takes no value. See "tavrin help list".)");
  EXPECT_EQ(outcome({"--version=1"}).error,
            R"(nothing was done. The option "--version" takes no value. See "tavrin help".)");
  EXPECT_EQ(invocation({"wait", "--", "--json=1"}).words.argument(), "--json=1");
}

TEST(Command, OnlyANamedCommandsHelpIsReferredTo) {
  EXPECT_EQ(outcome({"--color", "pink"}).error,
            R"(nothing was done. --color: "pink" is not one of auto, always, never. See "tavrin help".)");
}

TEST(Command, HelpAndVersionComeBeforeOtherRules) {
  EXPECT_EQ(outcome({"--help"}).output, Help::overview());
  EXPECT_EQ(outcome({"-h"}).output, Help::overview());
  EXPECT_EQ(outcome({"open", "--help"}).output, Help::ofCommand(*CommandTable::command("open")));
  EXPECT_EQ(outcome({"--version"}).output, Help::version());
  EXPECT_EQ(outcome({"list", "--version"}).output, Help::version());
  EXPECT_EQ(outcome({"-V"}).output, Help::version());
  EXPECT_EQ(outcome({"list", "-V"}).output, Help::version());
  EXPECT_EQ(outcome({"open", "-h"}).output, Help::ofCommand(*CommandTable::command("open")));
  EXPECT_EQ(outcome({"--help"}).status, ExitStatus::done);
}

TEST(Command, ReportWritesErrorsAfterTheProgramsName) {
  TestConsole kept;
  tavrin::Outcome failed = tavrin::Outcome::failed("nothing was done.\n  a\n  b");
  failed.output = "result\n";
  EXPECT_EQ(Command::report(failed, kept.console(false)), 1);
  EXPECT_EQ(kept.output, "result\n");
  EXPECT_EQ(kept.error, "tavrin: nothing was done.\n  a\n  b\n");
  EXPECT_EQ(Command::report(tavrin::Outcome::done(), kept.console(false)), 0);
  EXPECT_EQ(Command::report(tavrin::Outcome::endedBy(15), kept.console(false)), 128 + 15);
}

TEST(Command, ReportSaysThatOutputIsLostButNotThatItsReaderIsGone) {
  TestConsole kept;
  Console console = kept.console(false);
  int problem = EPIPE;
  console.outProblem = [&problem] { return problem; };
  EXPECT_EQ(Command::report(tavrin::Outcome::done("result"), console), 0);
  EXPECT_EQ(kept.error, "");
  problem = ENOSPC;
  EXPECT_EQ(Command::report(tavrin::Outcome::done("result"), console), 1);
  EXPECT_EQ(kept.error, "tavrin: the output is not complete: No space left on device.\n");
  EXPECT_EQ(Command::report({.status = ExitStatus::timedOut}, console), 3);
}

TEST(CommandTable, IsWhole) {
  std::set<std::string_view> names;
  for (const CommandTable::CommandDescription& command : CommandTable::commands()) {
    EXPECT_TRUE(names.insert(command.name).second) << command.name;
    EXPECT_NE(command.run, nullptr) << command.name;
    EXPECT_FALSE(command.summary.empty() || command.summary.ends_with('.')) << command.name;
    EXPECT_EQ(CommandTable::command(command.name), &command);
    std::set<std::string_view> options;
    for (const CommandTable::OptionDescription& option : command.options) {
      EXPECT_TRUE(option.name.starts_with("--")) << option.name;
      EXPECT_FALSE(option.help.empty()) << option.name;
      EXPECT_TRUE(options.insert(option.name).second) << option.name;
      EXPECT_EQ(option.kind == CommandTable::WordKind::choice, !option.choices.empty()) << option.name;
    }
    for (const CommandTable::OptionDescription& common : CommandTable::commonOptions())
      EXPECT_TRUE(options.insert(common.name).second) << common.name;
  }
  EXPECT_EQ(CommandTable::command("frob"), nullptr);
}

TEST(Help, EveryCommandAndOptionIsExplained) {
  const std::string overview = Help::overview();
  const std::string manual = Help::manualPage();
  for (const CommandTable::CommandDescription& command : CommandTable::commands()) {
    EXPECT_NE(overview.find("\n  " + std::string(command.name)), std::string::npos) << command.name;
    EXPECT_NE(manual.find(".Ss " + std::string(command.name)), std::string::npos) << command.name;
    const std::string help = Help::ofCommand(command);
    for (const CommandTable::OptionDescription& option : command.options) {
      EXPECT_NE(help.find("\n  " + std::string(option.name)), std::string::npos) << option.name;
    }
    std::string_view rest = help;
    while (!rest.empty()) {
      const std::string_view line = rest.substr(0, rest.find('\n'));
      EXPECT_LE(line.size(), 80U) << line;
      rest.remove_prefix(line.size() + 1);
    }
  }
}

TEST(Help, ExamplesInTheManualKeepTheirIndentation) {
  EXPECT_NE(Help::manualPage().find("\n\\(dqcustom/tavrin\\(dq: {\n  \\(dqexec\\(dq: "), std::string::npos);
}

TEST(Help, StatusSaysWhatToPaste) {
  const std::string help = Help::ofCommand(*CommandTable::command("status"));
  for (const char* program : {"tmux", "waybar", "polybar", "starship"})
    EXPECT_NE(help.find(program), std::string::npos) << program;
}

TEST(Help, OfAnUnknownCommandIsWrongUsage) {
  EXPECT_EQ(Help::run("frob").status, ExitStatus::usage);
  EXPECT_EQ(Help::run("stats").error,
            R"(nothing was done. There is no command "stats". Did you mean "status"? See "tavrin help".)");
  EXPECT_EQ(Help::run("\x1b").error.find('\x1b'), std::string::npos);
  EXPECT_EQ(Help::run(std::nullopt).output, Help::overview());
  EXPECT_EQ(Help::run("list").output, Help::ofCommand(*CommandTable::command("list")));
}

}  // namespace
}  // namespace tavrin::test
