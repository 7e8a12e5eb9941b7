#include "TavrinCore/Sessions/Session.hpp"

#include <utility>

#include "TavrinCore/Context/RepoLabel.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/Text.hpp"

namespace tavrin {

SessionState Session::displayState() const {
  return state == SessionState::needsYou && !hasActionablePrompt() ? SessionState::working : state;
}

bool Session::hasActionablePrompt() const {
  if (state != SessionState::needsYou) return false;
  return agent != Agent::codex || needsYouTool == "request_user_input";
}

std::string Session::projectName(std::string_view home) const {
  if (agent == Agent::claude && hostBundleId == claudeDesktopBundleIdentifier && title) {
    if (std::optional<std::string> shown = shownTitle(*title)) return *std::move(shown);
  }
  if (repoRoot && !repoRoot->empty()) return RepoLabel::displayNameOf(*repoRoot, worktreeName);
  return folderName(cwd, home);
}

std::string Session::folderName(std::string_view cwd, std::string_view home) {
  if (cwd == home) return "home";
  const std::string_view last = Path::lastComponent(cwd);
  return std::string(last.empty() ? cwd : last);
}

Session Session::applying(SessionState newState, const std::optional<std::string>& tool, Date date,
                          const UuidSource& makeId) const {
  Session next = *this;
  next.updatedAt = date;
  if (newState != state) {
    next.state = newState;
    next.stateSince = date;
  }
  const bool needs = newState == SessionState::needsYou;
  const bool needed = state == SessionState::needsYou;
  if (!needs) {
    next.needsYouTool.reset();
    next.attentionId.reset();
  } else {
    if (tool || !needed) next.needsYouTool = tool;
    if (!needed || !attentionId) next.attentionId = makeId();
  }
  if (!needs || !needed) next.attentionTranscriptOffset.reset();
  return next;
}

std::optional<std::string> shownTitle(std::string_view title) {
  constexpr std::size_t longest = 1024;
  std::string words = Text::words(title);
  return words.empty() || words.size() > longest ? std::nullopt : std::optional(std::move(words));
}

}  // namespace tavrin
