#include "TavrinCore/Monitor/ChildEvidence.hpp"

#include <algorithm>

#include "TavrinCore/Support/Path.hpp"

namespace tavrin::ChildEvidence {

using Kind = SessionFact::Kind;

std::vector<const SessionFact*> openQuestions(const std::vector<SessionFact>& facts) {
  std::vector<const SessionFact*> open;
  for (const SessionFact& fact : facts) {
    switch (fact.kind) {
      case Kind::asked:
        open.push_back(&fact);
        break;
      case Kind::answered:
      case Kind::callEnded:
      case Kind::withdrawn:
        std::erase_if(open, [&](const SessionFact* question) { return question->call == fact.call; });
        break;
      case Kind::turnStarted:
      case Kind::turnEnded:
        std::erase_if(open, [](const SessionFact* question) { return !question->isSubagents; });
        break;
      case Kind::output:
      case Kind::stepStarted:
        break;
      default:
        open.clear();
    }
  }
  return open;
}

namespace {

// Whether the command has the word, in quotes or not.
bool hasWord(std::string_view command, std::string_view word) {
  constexpr std::string_view separators = " \t\n;|&()<>'\"`";
  for (std::size_t at = command.find(word); at != std::string_view::npos; at = command.find(word, at + 1)) {
    const std::size_t end = at + word.size();
    if ((at == 0 || separators.find(command[at - 1]) != std::string_view::npos) &&
        (end == command.size() || separators.find(command[end]) != std::string_view::npos))
      return true;
  }
  return false;
}

// Whether the argument is in the command. A script that was found in PATH is named there without its folder
// and, as a rule, without its extension: "yarn" for "/usr/lib/yarn.js".
bool holds(std::string_view command, std::string_view argument) {
  if (argument.empty()) return false;
  if (command.find(argument) != std::string_view::npos) return true;
  if (argument.find('/') == std::string_view::npos) return false;
  const std::string_view name = Path::lastComponent(argument);
  return hasWord(command, name) || hasWord(command, name.substr(0, name.find('.')));
}

}  // namespace

bool runs(const std::vector<std::string>& arguments, std::string_view command) {
  if (arguments.empty() || command.empty()) return false;
  // The sandbox's own commands are those that needed no question.
  if (std::ranges::any_of(arguments, [](const std::string& word) {
        return word.find("codex-linux-sandbox") != std::string::npos || word == "--sandbox-policy-cwd" ||
               word.ends_with("/sandbox-exec");
      }))
    return false;
  if (std::ranges::any_of(arguments,
                          [&](const std::string& word) { return word.find(command) != std::string::npos; }))
    return true;
  const auto isHeld = [&](std::string_view word) { return holds(command, word); };
  if (arguments.size() == 1) return isHeld(Path::lastComponent(arguments.front()));
  // The name of a script's interpreter is not in the command.
  return std::all_of(arguments.begin() + 1, arguments.end(), isHeld);
}

}  // namespace tavrin::ChildEvidence
