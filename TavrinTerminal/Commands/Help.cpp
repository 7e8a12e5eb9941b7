#include "TavrinTerminal/Commands/Help.hpp"

#include <algorithm>
#include <vector>

#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/Suggestion.hpp"

namespace tavrin::Help {

namespace {

using CommandTable::ArgumentDescription;
using CommandTable::CommandDescription;
using CommandTable::OptionDescription;

constexpr std::size_t lineWidth = 80;

// Two columns of texts: the names, and beside them what they mean, wrapped.
class Columns {
 public:
  void add(std::string name, std::string_view meaning) {
    nameWidth_ = std::max(nameWidth_, name.size());
    rows_.emplace_back(std::move(name), std::string(meaning));
  }

  std::string text() const {
    constexpr std::size_t margin = 2;
    const std::size_t indent = margin + nameWidth_ + margin;
    std::string text;
    for (const auto& [name, meaning] : rows_) {
      std::string line(margin, ' ');
      line += name;
      line.resize(indent, ' ');
      std::size_t used = indent;
      for (std::string_view rest = meaning; !rest.empty();) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        rest.remove_prefix(std::min(word.size() + 1, rest.size()));
        if (used > indent && used + 1 + word.size() > lineWidth) {
          line += '\n';
          line.append(indent, ' ');
          used = indent;
        } else if (used > indent) {
          line += ' ';
          ++used;
        }
        line += word;
        used += word.size();
      }
      text += line + '\n';
    }
    return text;
  }

 private:
  std::vector<std::pair<std::string, std::string>> rows_;
  std::size_t nameWidth_ = 0;
};

std::string nameOf(const OptionDescription& option) {
  std::string name(option.name);
  if (option.value.empty()) return name;
  const std::string value(option.value);
  return name + (option.isValueOptional ? " [" + value + "]" : " " + value);
}

std::string nameOf(const ArgumentDescription& argument) {
  std::string name(argument.name);
  if (argument.isRepeated) name += "...";
  return argument.isRequired ? name : "[" + name + "]";
}

// Paragraphs are at most 80 columns wide. A line that begins with a space is kept as it is.
std::string wrapped(std::string_view details) {
  std::string text;
  while (!details.empty()) {
    const std::string_view line = details.substr(0, details.find('\n'));
    details.remove_prefix(std::min(line.size() + 1, details.size()));
    if (line.starts_with(' ') || line.size() <= lineWidth) {
      text += std::string(line) + '\n';
      continue;
    }
    std::size_t used = 0;
    for (std::string_view rest = line; !rest.empty();) {
      const std::string_view word = rest.substr(0, rest.find(' '));
      rest.remove_prefix(std::min(word.size() + 1, rest.size()));
      if (used > 0) {
        const bool fits = used + 1 + word.size() <= lineWidth;
        text += fits ? ' ' : '\n';
        used = fits ? used + 1 : 0;
      }
      text += word;
      used += word.size();
    }
    text += '\n';
  }
  return text;
}

std::string optionsText(const CommandDescription& command) {
  Columns columns;
  for (const OptionDescription& option : command.options) columns.add(nameOf(option), option.help);
  for (const OptionDescription& option : CommandTable::commonOptions())
    columns.add(nameOf(option), option.help);
  return columns.text();
}

// A text within a line of mdoc(7), where a backslash begins an escape.
std::string escaped(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else if (c == '"') {
      out += "\\(dq";
    } else {
      out += c;
    }
  }
  return out;
}

// A line of running text. If it began with a dot or an apostrophe, it would be read as a request.
std::string textLine(std::string_view text) {
  const bool isRequest = text.starts_with('.') || text.starts_with('\'');
  return (isRequest ? "\\&" : "") + escaped(text) + "\n";
}

// Running text: each sentence begins a line, as mdoc(7) asks for, and no line is longer than 80 bytes.
std::string sentences(std::string_view text) {
  std::string lines;
  std::string line;
  const auto end = [&] {
    if (!line.empty()) lines += textLine(line);
    line.clear();
  };
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    if (escaped(line).size() + 1 + escaped(word).size() > lineWidth) end();
    if (!line.empty()) line += ' ';
    line += word;
    if (word.ends_with('.') || word.ends_with(':')) end();
  }
  end();
  return lines;
}

std::string manualOption(const OptionDescription& option) {
  std::string line = ".It Fl " + escaped(option.name.substr(1));
  if (!option.value.empty())
    line += (option.isValueOptional ? " Op Ar " : " Ar ") + std::string(option.value);
  return line + "\n" + sentences(option.help);
}

std::string manualDetails(std::string_view details) {
  std::string text;
  bool inExample = false;
  while (!details.empty()) {
    const std::string_view line = details.substr(0, details.find('\n'));
    details.remove_prefix(std::min(line.size() + 1, details.size()));
    const bool isExample = line.starts_with(' ');
    if (isExample && !inExample) text += ".Bd -literal -offset indent\n";
    if (!isExample && inExample) text += ".Ed\n";
    inExample = isExample;
    if (isExample) {
      constexpr std::size_t margin = 2;
      text += textLine(line.substr(std::min(margin, line.size())));
    } else if (line.empty()) {
      text += details.starts_with(' ') ? "" : ".Pp\n";
    } else {
      text += sentences(line);
    }
  }
  if (inExample) text += ".Ed\n";
  return text;
}

}  // namespace

std::string version() {
  return "tavrin " TAVRIN_VERSION "\n";
}

std::string noCommand(std::string_view name) {
  std::vector<std::string_view> names;
  for (const CommandDescription& command : CommandTable::commands()) names.push_back(command.name);
  return Suggestion::noneOf("command", name, names);
}

std::string usageLine(const CommandDescription& command) {
  std::string line = "tavrin " + std::string(command.name) + " [OPTION...]";
  if (!command.argument.name.empty()) line += " " + nameOf(command.argument);
  return line;
}

std::string overview() {
  Columns columns;
  for (const CommandDescription& command : CommandTable::commands()) {
    std::string name(command.name);
    if (!command.argument.name.empty()) name += " " + nameOf(command.argument);
    columns.add(std::move(name), command.summary);
  }
  Columns options;
  for (const OptionDescription& option : CommandTable::commonOptions())
    options.add(nameOf(option), option.help);
  return "tavrin shows what your coding agents are doing.\n\nUsage: tavrin [COMMAND] [OPTION...]\n\n"
         "Commands:\n" +
         columns.text() + "\nOptions of every command:\n" + options.text() +
         "\nSESSION is an id, the beginning of one, or the name of a project that only one\n"
         "session has. SERVER is a port or PID:PORT. AGENT is claude, codex, gemini,\n"
         "copilot or grok.\n";
}

std::string ofCommand(const CommandDescription& command) {
  std::string text = "Usage: " + usageLine(command) + "\n\n" + std::string(command.name) + " " +
                     std::string(command.summary) + ".\n";
  if (!command.argument.name.empty()) {
    Columns columns;
    columns.add(std::string(command.argument.name), command.argument.help);
    text += "\nArguments:\n" + columns.text();
  }
  text += "\nOptions:\n" + optionsText(command);
  if (!command.details.empty()) text += "\n" + wrapped(command.details);
  return text;
}

std::string manualPage() {
  std::string page =
      ".\\\" Made by \"tavrin help --man\" from the description of the commands.\n"
      ".Dd November 22, 2026\n.Dt TAVRIN 1\n.Os\n.Sh NAME\n.Nm tavrin\n"
      ".Nd show what coding agents are doing\n.Sh SYNOPSIS\n.Nm\n.Op Ar COMMAND\n.Op Ar OPTION ...\n"
      ".Sh DESCRIPTION\n.Nm\nlists the sessions of coding agents on this machine and reports their changes.\n"
      "Without a command it opens the panel on a terminal.\n"
      "Elsewhere it lists the sessions.\nThis is the manual of version " TAVRIN_VERSION
      ".\n.Pp\n.Ar SESSION\n";
  page += sentences("is an id, the beginning of one, or the name of a project that only one session has.");
  page += ".Ar SERVER\nis a port or PID:PORT.\n.Ar AGENT\nis claude, codex, gemini, copilot or grok.\n";
  page += sentences("If a word fits several, it is refused, and they are listed.");
  page += ".Sh COMMANDS\n";
  for (const CommandDescription& command : CommandTable::commands()) {
    const ArgumentDescription& argument = command.argument;
    page += ".Ss " + std::string(command.name) + "\n.Nm\n.Cm " + std::string(command.name) +
            "\n.Op Ar OPTION ...\n";
    if (!argument.name.empty()) {
      const std::string words = std::string(argument.name) + (argument.isRepeated ? " ..." : "");
      page += (argument.isRequired ? ".Ar " : ".Op Ar ") + words + "\n";
    }
    page += ".Pp\n" + sentences("It " + std::string(command.summary) + ".");
    if (!argument.name.empty())
      page +=
          ".Ar " + std::string(argument.name) + "\n" + sentences("is " + std::string(argument.help) + ".");
    if (!command.options.empty()) {
      page += ".Bl -tag -width Ds\n";
      for (const OptionDescription& option : command.options) page += manualOption(option);
      page += ".El\n";
    }
    if (!command.details.empty()) page += ".Pp\n" + manualDetails(command.details);
  }
  page += ".Sh OPTIONS\nEvery command takes these:\n.Bl -tag -width Ds\n";
  for (const OptionDescription& option : CommandTable::commonOptions()) page += manualOption(option);
  page +=
      ".El\n.Sh ENVIRONMENT\n.Bl -tag -width CLICOLOR_FORCE\n"
      ".It Ev HOME\nThe home directory, if it is an absolute path.\n"
      ".It Ev NO_COLOR\nIf it is set and not empty, output has no colour.\n"
      ".It Ev CLICOLOR_FORCE\nIf it is set, not empty and not 0, output has colour wherever it goes.\n"
      ".Ev NO_COLOR\ncomes first.\n"
      ".It Ev TERM , CI\nOutput has no colour if\n.Ev TERM\nis dumb or\n.Ev CI\nis set.\n.El\n"
      ".Sh EXIT STATUS\n.Bl -tag -width Ds\n.It 0\nThe command succeeded.\n"
      ".It 1\nIt failed, or there are findings.\n.It 2\nYou declined.\n"
      ".It 3\n.Cm wait\nreached its time\\-out.\n.It 64\nThe command line is not valid.\n.El\n"
      ".Sh SEE ALSO\n.Xr tavrin-hook 1 ,\n.Xr tavrin-session 5\n";
  return page;
}

Outcome run(const std::optional<std::string>& name) {
  if (!name) return Outcome::done(overview());
  const CommandDescription* const found = CommandTable::command(*name);
  if (found != nullptr) return Outcome::done(ofCommand(*found));
  return Outcome::usage("nothing was done. " + ShownText::clean(noCommand(*name)) + R"( See "tavrin help".)");
}

}  // namespace tavrin::Help
