#include "TavrinTerminal/CommandTable.hpp"

#include <algorithm>
#include <array>

#include "TavrinTerminal/Commands/Help.hpp"
#include "TavrinTerminal/Commands/List.hpp"

namespace tavrin::CommandTable {

namespace {

constexpr std::array<std::string_view, 3> colourChoices = {"auto", "always", "never"};

constexpr std::array<OptionDescription, 3> common = {{
    {.name = "--color",
     .value = "WHEN",
     .help = "colours the output: auto, always or never",
     .kind = WordKind::choice,
     .choices = colourChoices},
    {.name = "--help", .help = "prints the help of the command"},
    {.name = "--version", .help = "prints the version"},
}};

constexpr std::array<OptionDescription, 2> listOptions = {{
    {.name = "--json", .help = "prints one JSON document"},
    {.name = "--all", .help = "lists sessions too that an application started for itself"},
}};

constexpr std::array table = {
    CommandDescription{
        .name = "list",
        .summary = "lists sessions, the most urgent first",
        .details = "",
        .options = listOptions,
        .run =
            [](const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
              return List::run({.json = words.has("--json"), .all = words.has("--all")}, surroundings,
                               console);
            }},
    CommandDescription{
        .name = "help",
        .summary = "explains tavrin or one of its commands",
        .details = "",
        .argument = {.name = "COMMAND", .help = "the command to explain", .kind = WordKind::command},
        .run = [](const ParsedWords& words, const Surroundings&,
                  const Console&) { return Help::run(words.argument()); }},
};

}  // namespace

std::optional<std::string> ParsedWords::value(std::string_view option) const {
  const auto found = options.find(option);
  return found == options.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> ParsedWords::argument(std::size_t index) const {
  return index < arguments.size() ? std::optional(arguments[index]) : std::nullopt;
}

std::span<const CommandDescription> commands() {
  return table;
}

const CommandDescription* command(std::string_view name) {
  const auto found = std::ranges::find(table, name, &CommandDescription::name);
  return found == table.end() ? nullptr : &*found;
}

std::span<const OptionDescription> commonOptions() {
  return common;
}

}  // namespace tavrin::CommandTable
