#include "TavrinCore/Panel/PanelNavigation.hpp"

#include "TavrinCore/Panel/PanelRows.hpp"

namespace tavrin::PanelNavigation {

std::vector<Session> visible(const std::vector<Session>& sessions, bool hideIdle, std::string_view home) {
  return PanelRows::copied(PanelRows::visible(sessions, hideIdle, home));
}

bool isProbe(const Session& session, std::string_view home) {
  constexpr std::string_view library = "/Library/";
  const std::string_view path = session.repoRoot ? *session.repoRoot : session.cwd;
  return path.starts_with(home) && path.substr(home.size()).starts_with(library);
}

std::vector<Session> holding(const std::vector<Session>& sessions,
                             const std::vector<std::string>& sessionIds) {
  return PanelRows::copied(PanelRows::holding(PanelRows::rowsOf(sessions), sessionIds));
}

std::vector<std::string> interactiveIds(const std::vector<Session>& sessions) {
  std::vector<std::string> ids;
  for (const Session& session : sessions) {
    if (session.hostPid) ids.push_back(session.sessionId);
  }
  return ids;
}

std::vector<PanelFocus> focusOrder(const std::vector<Session>& sessions,
                                   const std::vector<LocalServer>& servers, bool includeStopAll,
                                   bool includeSetup) {
  return PanelRows::focusOrder(PanelRows::rowsOf(sessions), servers, includeStopAll, includeSetup);
}

std::optional<PanelFocus> next(const std::optional<PanelFocus>& current,
                               const std::vector<PanelFocus>& elements, Direction direction) {
  return next<PanelFocus>(current, elements, direction);
}

}  // namespace tavrin::PanelNavigation
