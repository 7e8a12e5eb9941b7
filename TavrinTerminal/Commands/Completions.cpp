#include "TavrinTerminal/Commands/Completions.hpp"

#include <algorithm>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinTerminal/CommandTable.hpp"
#include "TavrinTerminal/Commands/Servers.hpp"
#include "TavrinTerminal/SessionRows.hpp"
#include "TavrinTerminal/ShellWord.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::Completions {

namespace {

using CommandTable::CommandDescription;
using CommandTable::OptionDescription;
using CommandTable::WordKind;

std::vector<OptionDescription> optionsOf(const CommandDescription& command) {
  std::vector<OptionDescription> options(command.options.begin(), command.options.end());
  const auto common = CommandTable::commonOptions();
  options.insert(options.end(), common.begin(), common.end());
  return options;
}

std::string joined(std::span<const std::string_view> words) {
  std::string text;
  for (const std::string_view word : words) {
    if (!text.empty()) text += ' ';
    text += word;
  }
  return text;
}

std::string commandNames() {
  std::vector<std::string_view> names;
  for (const CommandDescription& command : CommandTable::commands()) names.push_back(command.name);
  return joined(names);
}

// The name of the kind for `--words`; "" for a kind whose words never change.
std::string_view liveWordsOf(WordKind kind) {
  switch (kind) {
    case WordKind::session:
      return "sessions";
    case WordKind::server:
      return "servers";
    case WordKind::agent:
      return "agents";
    default:
      return "";
  }
}

// The bash code that offers the words of a kind.
std::string bashReply(WordKind kind, std::span<const std::string_view> choices) {
  const std::string_view live = liveWordsOf(kind);
  if (!live.empty()) return "_tavrin_live " + std::string(live);
  if (kind == WordKind::command) return "_tavrin_words \"" + commandNames() + "\"";
  if (kind == WordKind::program) return "_tavrin_reply < <(compgen -c -- \"$cur\")";
  return "_tavrin_words \"" + joined(choices) + "\"";
}

std::string bashScript() {
  std::string script =
      R"(# bash completion for tavrin, made by "tavrin completions bash".
_tavrin_reply() {
  local word
  while IFS=$'\t' read -r word _; do
    [[ $word == "$cur"* ]] && COMPREPLY+=("${word#"$colon_prefix"}")
  done
}
_tavrin_words() { _tavrin_reply < <(printf '%s\n' $1); }
_tavrin_live() { _tavrin_reply < <(command tavrin completions --words "$1" 2>/dev/null); }
_tavrin() {
  local cur=${COMP_LINE:0:COMP_POINT} colon_prefix= previous= command= i
  # bash splits words at colons and equal signs; the word itself is what follows the last space.
  cur=${cur##*[[:space:]]}
  [[ $COMP_WORDBREAKS == *:* && $cur == *:* ]] && colon_prefix=${cur%"${cur##*:}"}
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      -*) ;;
      *) [[ -z $command && ${COMP_WORDS[i - 1]} != --color ]] && command=${COMP_WORDS[i]} ;;
    esac
  done
  previous=${COMP_WORDS[COMP_CWORD - 1]}
  case $command,$previous in
)";
  for (const OptionDescription& option : CommandTable::commonOptions()) {
    if (!option.value.empty())
      script += "    *," + std::string(option.name) + ") " + bashReply(option.kind, option.choices) +
                "; return ;;\n";
  }
  for (const CommandDescription& command : CommandTable::commands()) {
    for (const OptionDescription& option : command.options) {
      if (option.value.empty()) continue;
      script += "    " + std::string(command.name) + "," + std::string(option.name) + ") ";
      // If the value is left out, another option may follow.
      if (option.isValueOptional) script += "[[ $cur == -* ]] || { ";
      script += bashReply(option.kind, option.choices) + "; return";
      script += option.isValueOptional ? "; } ;;\n" : " ;;\n";
    }
  }
  script += "  esac\n  case $command,$cur in\n";
  std::vector<std::string_view> common;
  for (const OptionDescription& option : CommandTable::commonOptions()) common.push_back(option.name);
  script += "    ,-*) _tavrin_words \"" + joined(common) + "\" ;;\n";
  script += "    ,*) _tavrin_words \"" + commandNames() + "\" ;;\n";
  for (const CommandDescription& command : CommandTable::commands()) {
    const std::vector<OptionDescription> options = optionsOf(command);
    std::vector<std::string_view> names;
    names.reserve(options.size());
    for (const OptionDescription& option : options) names.push_back(option.name);
    script += "    " + std::string(command.name) + ",-*) _tavrin_words \"" + joined(names) + "\" ;;\n";
    if (!command.argument.name.empty())
      script += "    " + std::string(command.name) + ",*) " +
                bashReply(command.argument.kind, command.argument.choices) + " ;;\n";
  }
  return script + "  esac\n}\ncomplete -F _tavrin tavrin\n";
}

// An action of zsh's _arguments.
std::string zshAction(WordKind kind, std::span<const std::string_view> choices) {
  const std::string_view live = liveWordsOf(kind);
  if (!live.empty()) return "{_tavrin_live " + std::string(live) + "}";
  if (kind == WordKind::command) return "(" + commandNames() + ")";
  if (kind == WordKind::program) return "_cmdstring";
  return choices.empty() ? " " : "(" + joined(choices) + ")";
}

// A text in a specification of _arguments, where brackets and colons mean something.
std::string zshText(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

std::string zshOption(const OptionDescription& option) {
  std::string spec =
      std::string(option.name) + (option.value.empty() ? "" : "=") + "[" + zshText(option.help) + "]";
  if (!option.value.empty())
    spec += (option.isValueOptional ? "::" : ":") + zshText(option.value) + ":" +
            zshAction(option.kind, option.choices);
  return shellWord(spec);
}

std::string zshScript() {
  std::string script =
      R"(#compdef tavrin
# zsh completion for tavrin, made by "tavrin completions zsh".
_tavrin_live() {
  local -a words shown
  local word meaning
  while IFS=$'\t' read -r word meaning; do
    words+=("$word")
    shown+=("$word${meaning:+  $meaning}")
  done < <(command tavrin completions --words "$1" 2>/dev/null)
  compadd -l -d shown -a words
}
_tavrin() {
  local context state state_descr line
  typeset -A opt_args
  _arguments -C \
)";
  for (const OptionDescription& option : CommandTable::commonOptions())
    script += "    " + zshOption(option) + " \\\n";
  script +=
      "    '1:command:->command' '*::argument:->argument'\n  case $state in\n    command)\n"
      "      local -a commands=(\n";
  for (const CommandDescription& command : CommandTable::commands())
    script += "        " + shellWord(std::string(command.name) + ":" + std::string(command.summary)) + "\n";
  script += "      )\n      _describe command commands ;;\n    argument)\n      case $line[1] in\n";
  for (const CommandDescription& command : CommandTable::commands()) {
    script += "        " + std::string(command.name) + ") _arguments";
    for (const OptionDescription& option : optionsOf(command))
      script += " \\\n          " + zshOption(option);
    if (!command.argument.name.empty()) {
      const std::string position = command.argument.isRepeated ? "*" : "1";
      script += " \\\n          " + shellWord(position + ":" + std::string(command.argument.name) + ":" +
                                              zshAction(command.argument.kind, command.argument.choices));
    }
    script += " ;;\n";
  }
  script += R"(      esac ;;
  esac
}
# Loaded by compinit the file is the function's body; otherwise it registers the function.
if [[ $funcstack[1] == _tavrin ]]; then
  _tavrin "$@"
else
  compdef _tavrin tavrin
fi
)";
  return script;
}

std::string fishWords(WordKind kind, std::span<const std::string_view> choices) {
  const std::string_view live = liveWordsOf(kind);
  if (!live.empty())
    return " -a '(command tavrin completions --words " + std::string(live) + " 2>/dev/null)'";
  if (kind == WordKind::command) return " -a '" + commandNames() + "'";
  if (kind == WordKind::program) return " -a '(__fish_complete_subcommand)'";
  return choices.empty() ? "" : " -a '" + joined(choices) + "'";
}

std::string fishOption(const OptionDescription& option, const std::string& condition) {
  std::string line = "complete -c tavrin" + condition + " -l " + std::string(option.name.substr(2));
  // "-x" requires the value.
  if (!option.value.empty())
    line += (option.isValueOptional ? " -f" : " -x") + fishWords(option.kind, option.choices);
  return line + " -d " + shellWord(option.help) + "\n";
}

std::string fishScript() {
  std::string script =
      "# fish completion for tavrin, made by \"tavrin completions fish\".\ncomplete -c tavrin -f\n";
  for (const OptionDescription& option : CommandTable::commonOptions()) script += fishOption(option, "");
  for (const CommandDescription& command : CommandTable::commands()) {
    script += "complete -c tavrin -n __fish_use_subcommand -a " + std::string(command.name) + " -d " +
              shellWord(command.summary) + "\n";
  }
  for (const CommandDescription& command : CommandTable::commands()) {
    const std::string condition = " -n '__fish_seen_subcommand_from " + std::string(command.name) + "'";
    for (const OptionDescription& option : command.options) script += fishOption(option, condition);
    const std::string words = fishWords(command.argument.kind, command.argument.choices);
    if (!command.argument.name.empty() && !words.empty())
      script.append("complete -c tavrin").append(condition).append(words).append("\n");
  }
  return script;
}

// Whether a shell can insert the word as it is. Ids come from records that anything may have written.
bool isSafeWord(std::string_view word) {
  constexpr std::string_view others = "-_.:@%+,/";
  return !word.empty() && !word.starts_with('-') && std::ranges::all_of(word, [&](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           others.find(c) != std::string_view::npos;
  });
}

void addWord(std::string& lines, std::string_view word, std::string_view meaning) {
  if (!isSafeWord(word)) return;
  lines += word;
  lines += '\t';
  lines += ShownText::clean(meaning);
  lines += '\n';
}

}  // namespace

Outcome script(std::string_view shell) {
  if (shell == "bash") return Outcome::done(bashScript());
  return Outcome::done(shell == "zsh" ? zshScript() : fishScript());
}

Outcome words(std::string_view kind, const Surroundings& surroundings) {
  std::string lines;
  if (kind == "agents") {
    for (const Agent agent : allAgents) addWord(lines, rawValue(agent), displayName(agent));
  } else if (kind == "servers") {
    for (const LocalServer& server : Servers::running(surroundings)) {
      for (const int port : server.ports) addWord(lines, std::to_string(port), server.displayName());
    }
  } else if (surroundings.hasHome()) {
    for (const SessionRow& row :
         sessionRows(inShownOrder(observedSessions(surroundings), surroundings.home, false), surroundings)) {
      std::string meaning = row.label + ", ";
      meaning += label(row.session.state);
      addWord(lines, row.session.record->sessionId, meaning);
    }
  }
  return {.status = surroundings.hasHome() ? ExitStatus::done : ExitStatus::failed,
          .output = std::move(lines),
          .error = {}};
}

}  // namespace tavrin::Completions
