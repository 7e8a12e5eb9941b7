#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/Console.hpp"
#include "TavrinTerminal/Outcome.hpp"
#include "TavrinTerminal/Surroundings.hpp"

/// The one description of the commands. The parser, the help, the manual page and the completions are made
/// from it.
namespace tavrin::CommandTable {

/// The kind of an argument or of an option's value. It decides what a shell offers as completions.
enum class WordKind : std::uint8_t {
  text,      ///< anything
  choice,    ///< one of `choices`
  session,   ///< an id, the beginning of one, or a project name
  server,    ///< a port or PID:PORT
  agent,     ///< the raw value of an agent
  command,   ///< a command of `tavrin`
  program,   ///< a command line for the shell
  duration,  ///< seconds, or a number with s, m or h
};

struct OptionDescription {
  std::string_view name = {};   ///< with its dashes, such as "--json"
  std::string_view value = {};  ///< the name of its value, such as "COMMAND"; "" for an option without one
  std::string_view help = {};
  WordKind kind = WordKind::text;
  std::span<const std::string_view> choices = {};
  bool isValueOptional = false;  ///< without a value the first of `choices` counts
};

struct ArgumentDescription {
  std::string_view name = {};  ///< such as "SESSION"; "" for a command without arguments
  std::string_view help = {};
  WordKind kind = WordKind::text;
  bool isRequired = false;
  bool isRepeated = false;
  std::span<const std::string_view> choices = {};
};

/// The words of a command line, sorted but not yet looked at.
struct ParsedWords {
  std::map<std::string, std::string, std::less<>> options;  ///< by name; "" for an option without a value
  std::vector<std::string> arguments;

  bool has(std::string_view option) const { return options.contains(option); }
  std::optional<std::string> value(std::string_view option) const;
  /// The argument at an index, if there are as many.
  std::optional<std::string> argument(std::size_t index = 0) const;
};

/// Turns words into a command's options and runs it.
using Run = Outcome (*)(const ParsedWords& words, const Surroundings& surroundings, const Console& console);

struct CommandDescription {
  std::string_view name = {};
  std::string_view summary = {};  ///< one line for the list of commands: a verb, no full stop
  std::string_view details =
      {};  ///< paragraphs for `tavrin help NAME` and the manual page; lines of any length
  ArgumentDescription argument = {};
  std::span<const OptionDescription> options = {};
  Run run = nullptr;
};

/// All commands, in the order in which they are listed.
std::span<const CommandDescription> commands();

/// The command of a name; null when there is none.
const CommandDescription* command(std::string_view name);

/// The options that every command takes.
std::span<const OptionDescription> commonOptions();

}  // namespace tavrin::CommandTable
