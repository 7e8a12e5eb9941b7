#include "TavrinTerminal/SessionRows.hpp"

#include <utility>

#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Servers/ServerUptime.hpp"
#include "TavrinCore/Sessions/SessionLabels.hpp"
#include "TavrinCore/Support/IndexTable.hpp"
#include "TavrinTerminal/JsonObject.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin {

namespace {

// A terminal's path without the folder of devices, such as "pts/3" or "ttys004".
std::string shortTerminal(std::string_view tty) {
  constexpr std::string_view devices = "/dev/";
  if (tty.starts_with(devices)) tty.remove_prefix(devices.size());
  return ShownText::clean(tty);
}

std::string toolOf(const Session& record) {
  return ShownText::clean(record.needsYouTool.value_or(""));
}

// Whether a session has the texts, and leaves others those, that do not come from its state.
bool sharesTexts(const ObservedSession& now, const ObservedSession& before, std::string_view home) {
  const Session& a = *now.record;
  const Session& b = *before.record;
  return a.agent == b.agent && a.agentPid == b.agentPid && a.tty == b.tty &&
         now.isElsewhere == before.isElsewhere && a.projectName(home) == b.projectName(home);
}

}  // namespace

std::vector<SessionRow> sessionRows(std::vector<ObservedSession> sessions, const Surroundings& surroundings) {
  std::vector<SessionPlace> places;
  if (surroundings.places) places = surroundings.places(asObserved(sessions));
  return sessionRows(std::move(sessions), std::move(places), surroundings.home);
}

std::vector<SessionRow> sessionRows(std::vector<ObservedSession> sessions, std::vector<SessionPlace> places,
                                    std::string_view home) {
  std::vector<const Session*> records;
  records.reserve(sessions.size());
  for (const ObservedSession& session : sessions) records.push_back(&*session.record);
  const std::vector<std::string> labels = SessionLabels::ofEach(records, home);
  places.resize(sessions.size());
  std::vector<SessionRow> rows;
  rows.reserve(sessions.size());
  for (std::size_t i = 0; i < sessions.size(); ++i) {
    const Session& record = *sessions[i].record;
    std::string terminal;
    if (places[i].terminal) {
      terminal = ShownText::clean(*places[i].terminal);
    } else if (sessions[i].isElsewhere) {
      terminal = "elsewhere";
    } else if (record.tty) {
      terminal = shortTerminal(*record.tty);
    }
    std::string project = ShownText::clean(record.projectName(home));
    std::string tool = toolOf(record);
    rows.push_back({.session = std::move(sessions[i]),
                    .label = ShownText::clean(labels[i]),
                    .project = std::move(project),
                    .tool = std::move(tool),
                    .terminal = std::move(terminal),
                    .reachable = places[i].reachable});
  }
  return rows;
}

std::optional<std::vector<SessionRow>> changedRows(const std::vector<SessionRow>& rows,
                                                   std::vector<ObservedSession> changed,
                                                   std::string_view home) {
  TextIndex ids(changed.size());
  for (const ObservedSession& session : changed) ids.add(session.record->sessionId);
  if (ids.texts().size() < changed.size()) return std::nullopt;
  std::vector<const SessionRow*> before(changed.size());
  for (const SessionRow& row : rows) {
    if (const auto place = ids.find(row.session.record->sessionId)) before[*place] = &row;
  }
  std::vector<SessionRow> made;
  made.reserve(changed.size());
  for (std::size_t i = 0; i < changed.size(); ++i) {
    ObservedSession& session = changed[i];
    const bool isProbe = PanelNavigation::isProbe(*session.record, home);
    const bool isShown = before[i] != nullptr;
    if (isShown == isProbe || (isShown && !sharesTexts(session, before[i]->session, home)))
      return std::nullopt;
    if (!isShown) continue;
    SessionRow row = *before[i];
    row.tool = toolOf(*session.record);
    row.session = std::move(session);
    made.push_back(std::move(row));
  }
  return made;
}

std::string ageOf(const ObservedSession& session, Date now) {
  return ServerUptime::label(session.since, now);
}

SessionSummary summaryOf(const std::vector<ObservedSession>& sessions) {
  std::vector<SessionState> states;
  states.reserve(sessions.size());
  for (const ObservedSession& session : sessions) states.push_back(session.state);
  return SessionAggregator::summaryOfStates(states);
}

std::string jsonOf(const SessionRow& row) {
  const Session& record = *row.session.record;
  JsonObject object;
  object.text("id", record.sessionId);
  object.text("agent", rawValue(record.agent));
  object.text("state", rawValue(row.session.state));
  if (!row.session.reason.empty()) object.text("reason", row.session.reason);
  object.text("since", Iso8601::text(row.session.since));
  object.text("label", row.label);
  object.text("project", row.project);
  object.text("cwd", record.cwd);
  object.optionalText("repoRoot", record.repoRoot);
  object.optionalText("worktree", record.worktreeName);
  object.optionalText("tool", record.needsYouTool);
  object.optionalText("attentionId", row.session.attentionId);
  object.number("pid", record.agentPid);
  object.optionalText("tty", record.tty);
  if (!row.terminal.empty()) object.text("terminal", row.terminal);
  object.boolean("reachable", row.reachable);
  object.optionalText("title", record.title);
  return object.finish();
}

std::string jsonOf(const SessionSummary& summary) {
  JsonObject object;
  object.number("needsYou", summary.needsYou);
  object.number("working", summary.working);
  object.number("idle", summary.idle);
  object.text("line", summary.statusLine());
  return object.finish();
}

}  // namespace tavrin
