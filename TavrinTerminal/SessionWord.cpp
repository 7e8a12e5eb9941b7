#include "TavrinTerminal/SessionWord.hpp"

#include <algorithm>

#include "TavrinTerminal/ShownText.hpp"

namespace tavrin {

std::variant<const SessionRow*, NoSession> sessionNamed(std::string_view word,
                                                        const std::vector<SessionRow>& rows) {
  std::vector<const SessionRow*> candidates;
  for (const SessionRow& row : rows) {
    const std::string& id = row.session.record->sessionId;
    if (id == word) return &row;
    if (!word.empty() && (id.starts_with(word) || row.project == word || row.label == word))
      candidates.push_back(&row);
  }
  if (candidates.size() == 1) return candidates.front();
  const std::string shown = "\"" + ShownText::clean(word) + "\"";
  if (candidates.empty())
    return NoSession{.isAmbiguous = false,
                     .error = "there is no session " + shown + ". \"tavrin list\" lists them."};
  NoSession several = {.isAmbiguous = true, .error = shown + " fits several sessions. Use one of these ids:"};
  constexpr std::size_t mostShown = 20;
  for (std::size_t i = 0; i < std::min(candidates.size(), mostShown); ++i)
    several.error +=
        "\n  " + ShownText::clean(candidates[i]->session.record->sessionId) + "  " + candidates[i]->label;
  if (candidates.size() > mostShown)
    several.error += "\n  and " + std::to_string(candidates.size() - mostShown) + " more";
  return several;
}

}  // namespace tavrin
