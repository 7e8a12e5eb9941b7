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
      case Kind::output:
        break;
      default:
        open.clear();
    }
  }
  return open;
}

bool runs(const std::vector<std::string>& arguments, std::string_view command) {
  if (arguments.empty() || command.empty()) return false;
  const auto holds = [&](std::string_view word) {
    return !word.empty() && command.find(word) != std::string_view::npos;
  };
  // The sandbox's own commands are those that needed no question.
  if (std::ranges::any_of(arguments, [](const std::string& word) {
        return word.find("codex-linux-sandbox") != std::string::npos || word == "--sandbox-policy-cwd" ||
               word.ends_with("/sandbox-exec");
      }))
    return false;
  if (std::ranges::any_of(arguments,
                          [&](const std::string& word) { return word.find(command) != std::string::npos; }))
    return true;
  // A script's interpreter stands before the words that were asked about.
  const bool isNamed = holds(Path::lastComponent(arguments.front()));
  const bool hasRest = arguments.size() > 1 && std::all_of(arguments.begin() + 1, arguments.end(), holds);
  return hasRest || (isNamed && arguments.size() == 1);
}

}  // namespace tavrin::ChildEvidence
