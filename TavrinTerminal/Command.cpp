#include "TavrinTerminal/Command.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <deque>
#include <exception>
#include <limits>
#include <system_error>
#include <utility>

#include "TavrinTerminal/Commands/Help.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/Suggestion.hpp"

namespace tavrin::Command {

namespace {

using CommandTable::CommandDescription;
using CommandTable::OptionDescription;

// Where the parser puts the values of one option.
struct Slot {
  const OptionDescription* option = nullptr;
  bool given = false;
  std::string value;
};

// The parser of one command. It holds pointers to its slots, so it stays where it is.
class Parser {
 public:
  explicit Parser(const CommandDescription& command)
      : command_(command), app_("", std::string(command.name)) {
    app_.set_help_flag();
    for (const OptionDescription& option : command.options) add(option);
    for (const OptionDescription& option : CommandTable::commonOptions()) add(option);
    // CLI11 accepts any number of arguments here, because its message for too many is hard to read.
    CLI::Option* const arguments = app_.add_option(
        command.argument.name.empty() ? "ARGUMENT" : std::string(command.argument.name), arguments_);
    if (command.argument.isRequired) arguments->required();
    restrict(arguments, command.argument.choices);
  }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  // Throws CLI::ParseError. After CLI::ExtrasError, `unknownOption` has the reason.
  Invocation parse(std::vector<std::string> words) {
    std::ranges::reverse(words);  // because CLI11 takes a vector from its end
    app_.parse(std::move(words));
    Invocation invocation = {.command = &command_};
    for (const Slot& slot : slots_) {
      if (slot.given || !slot.value.empty()) invocation.words.options.emplace(slot.option->name, slot.value);
    }
    invocation.words.arguments = arguments_;
    return invocation;
  }

  // The first word that looks like an option and is none.
  std::string unknownOption() const { return app_.remaining().front(); }

 private:
  void add(const OptionDescription& option) {
    Slot& slot = slots_.emplace_back(Slot{.option = &option, .given = false, .value = {}});
    const std::string name(option.name);
    const std::string help(option.help);
    if (option.value.empty()) {
      app_.add_flag(name, slot.given, help);
    } else {
      // If an option is given twice, the last value counts.
      CLI::Option* const added =
          app_.add_option(name, slot.value, help)->take_last()->type_name(std::string(option.value));
      if (option.isValueOptional) added->expected(0, 1)->default_str(std::string(option.choices.front()));
      restrict(added, option.choices);
      if (option.choices.empty()) {
        added->check([](const std::string& value) { return value.empty() ? "the value is empty" : ""; }, "");
      }
    }
  }

  static void restrict(CLI::Option* option, std::span<const std::string_view> choices) {
    if (choices.empty()) return;
    option->check(
        [choices](const std::string& value) -> std::string {
          if (std::ranges::find(choices, value) != choices.end()) return "";
          std::string known;
          for (const std::string_view choice : choices) {
            if (!known.empty()) known += ", ";
            known += choice;
          }
          return "\"" + value + "\" is not one of " + known;
        },
        "");
  }

  const CommandDescription& command_;
  CLI::App app_;
  std::deque<Slot> slots_;
  std::vector<std::string> arguments_;
};

ColourChoice colourChoice(const CommandTable::ParsedWords& words) {
  const std::string when = words.value("--color").value_or("auto");
  if (when == "always") return ColourChoice::always;
  return when == "never" ? ColourChoice::never : ColourChoice::automatic;
}

// `command` is empty where none was named.
Outcome wrongUsage(std::string problem, std::string_view command) {
  std::string help = "tavrin help";
  if (!command.empty()) help += " " + std::string(command);
  problem = ShownText::clean(problem);
  if (!problem.ends_with('.') && !problem.ends_with('?')) problem += '.';
  return Outcome::usage("nothing was done. " + problem + " See \"" + help + "\".");
}

std::vector<OptionDescription> optionsOf(const CommandDescription& command) {
  std::vector<OptionDescription> options(command.options.begin(), command.options.end());
  const auto common = CommandTable::commonOptions();
  options.insert(options.end(), common.begin(), common.end());
  return options;
}

// `word` may have a value after "=".
std::string noOption(std::string_view word, std::span<const OptionDescription> options) {
  std::vector<std::string_view> names;
  for (const OptionDescription& option : options) names.push_back(option.name);
  return Suggestion::noneOf("option", word.substr(0, word.find('=')), names);
}

// How many arguments a command takes at most.
std::size_t mostArguments(const CommandTable::ArgumentDescription& argument) {
  if (argument.isRepeated) return std::numeric_limits<std::size_t>::max();
  return argument.name.empty() ? 0 : 1;
}

// An option that may stand in front of the command.
bool isCommonOption(const std::string& word) {
  return std::ranges::any_of(CommandTable::commonOptions(), [&](const OptionDescription& option) {
    return word == option.name || word.starts_with(std::string(option.name) + "=");
  });
}

}  // namespace

std::variant<Invocation, Outcome> parse(const std::vector<std::string>& words, bool outputIsTerminal) {
  std::vector<std::string> rest = words;
  // Moves common options from before the command to behind it, where the command's parser reads them.
  std::vector<std::string> front;
  while (!rest.empty() && rest.front().starts_with('-') && isCommonOption(rest.front())) {
    const bool takesNext = rest.front() == "--color" && rest.size() > 1;
    const auto end = rest.begin() + (takesNext ? 2 : 1);
    front.insert(front.end(), rest.begin(), end);
    rest.erase(rest.begin(), end);
  }
  const auto has = [&](std::string_view option) { return std::ranges::find(front, option) != front.end(); };
  if (has("--version") || (!rest.empty() && rest.front() == "-V")) return Outcome::done(Help::version());
  if (rest.empty() && has("--help")) return Outcome::done(Help::overview());
  if (!rest.empty() && rest.front() == "-h") return Outcome::done(Help::overview());

  const CommandDescription* command = nullptr;
  const std::string named = rest.empty() ? "" : rest.front();
  if (rest.empty()) {
    if (outputIsTerminal) command = CommandTable::command("panel");
    if (command == nullptr) command = CommandTable::command("list");
  } else {
    command = CommandTable::command(rest.front());
    if (command == nullptr) {
      if (named.starts_with('-')) return wrongUsage(noOption(named, CommandTable::commonOptions()), "");
      return wrongUsage(Help::noCommand(named), "");
    }
    rest.erase(rest.begin());
  }
  rest.insert(rest.begin(), front.begin(), front.end());
  // A request for help is answered even if the other words break the command's rules.
  for (const std::string& word : rest) {
    if (word == "--") break;
    if (word == "--help" || word == "-h") return Outcome::done(Help::ofCommand(*command));
    if (word == "--version" || word == "-V") return Outcome::done(Help::version());
  }
  for (const OptionDescription& option : optionsOf(*command)) {
    const auto hasValue = [prefix = std::string(option.name) + "="](const std::string& word) {
      return word.starts_with(prefix);
    };
    // The parser would take some values, and would switch the option off with one of them.
    if (option.value.empty() && std::any_of(rest.begin(), std::ranges::find(rest, "--"), hasValue))
      return wrongUsage("The option \"" + std::string(option.name) + "\" takes no value", named);
  }
  Parser parser(*command);
  try {
    Invocation invocation = parser.parse(std::move(rest));
    if (const auto extra = invocation.words.argument(mostArguments(command->argument)))
      return wrongUsage("\"" + *extra + "\" is one argument too many", named);
    invocation.colour = colourChoice(invocation.words);
    return invocation;
  } catch (const CLI::ExtrasError&) {
    return wrongUsage(noOption(parser.unknownOption(), optionsOf(*command)), named);
  } catch (const CLI::ParseError& error) {
    return wrongUsage(error.what(), named);
  }
}

int report(const Outcome& outcome, const Console& console) {
  if (!outcome.output.empty()) console.out(outcome.output);
  if (!outcome.error.empty()) console.error("tavrin: " + outcome.error + "\n");
  constexpr int firstSignal = 128;
  if (outcome.signal != 0) return firstSignal + outcome.signal;
  // If the reader is gone, nobody misses the output. With any other problem, such as a full disk, output is
  // lost.
  const int problem = console.outProblem ? console.outProblem() : 0;
  if (problem == 0 || problem == EPIPE) return static_cast<int>(outcome.status);
  console.error("tavrin: the output is not complete: " + std::generic_category().message(problem) + ".\n");
  return static_cast<int>(outcome.status == ExitStatus::done ? ExitStatus::failed : outcome.status);
}

int run(const Invocation& invocation, const Surroundings& surroundings, const Console& console) {
  try {
    return report(invocation.command->run(invocation.words, surroundings, console), console);
  } catch (const std::exception& error) {
    // Commands report problems as outcomes. An exception means that memory ran out, or a bug.
    std::string sentence(invocation.command->name);
    sentence += " stopped early: ";
    sentence += ShownText::clean(error.what());
    return report(Outcome::failed(sentence + "."), console);
  }
}

}  // namespace tavrin::Command
