#include "TavrinTerminal/Commands/List.hpp"

#include <array>
#include <utility>

#include "TavrinTerminal/AgentSurvey.hpp"
#include "TavrinTerminal/Columns.hpp"
#include "TavrinTerminal/JsonObject.hpp"
#include "TavrinTerminal/SessionRows.hpp"

namespace tavrin::List {

namespace {

enum Column : std::size_t { state, age, project, agent, tool, terminal };

constexpr std::array<Columns::Heading, 6> headings = {{{.text = "STATE"},
                                                       {.text = "FOR"},
                                                       {.text = "PROJECT", .mayBeCut = true},
                                                       {.text = "AGENT"},
                                                       {.text = "TOOL", .mayBeCut = true},
                                                       {.text = "TERMINAL", .mayBeCut = true}}};

constexpr std::string_view noSessions = "there are no sessions.";
constexpr std::string_view notConnected =
    "there are no sessions, because no agent is connected. Run \"tavrin connect\".";

Columns::Row cellsOf(const SessionRow& row, Date now) {
  return {std::string(label(row.session.state)),
          ageOf(row.session, now),
          row.label,
          std::string(displayName(row.session.record->agent)),
          row.tool,
          row.terminal};
}

Colour colourOf(SessionState state) {
  switch (state) {
    case SessionState::needsYou:
      return Colour::yellow;
    case SessionState::working:
      return Colour::green;
    case SessionState::idle:
      break;
  }
  return Colour::dim;
}

std::string document(const std::vector<SessionRow>& rows, const SessionSummary& summary) {
  std::vector<std::string> sessions;
  sessions.reserve(rows.size());
  for (const SessionRow& row : rows) sessions.push_back(jsonOf(row));
  JsonObject object;
  object.number("version", 1);
  object.json("summary", jsonOf(summary));
  object.list("sessions", sessions);
  return object.finish() + "\n";
}

}  // namespace

Outcome run(const Options& options, const Surroundings& surroundings, const Console& console) {
  if (const std::string obstacle = surroundings.obstacle(); !obstacle.empty())
    return Outcome::failed("nothing was listed, because " + obstacle);
  std::vector<ObservedSession> sessions =
      inShownOrder(observedSessions(surroundings), surroundings.home, options.all);
  const SessionSummary summary = summaryOf(sessions);
  const std::vector<SessionRow> rows = sessionRows(std::move(sessions), surroundings);

  Outcome outcome;
  if (rows.empty()) outcome.error = isAnyConnected(surroundings) ? noSessions : notConnected;
  if (options.json) {
    outcome.output = document(rows, summary);
    return outcome;
  }
  if (rows.empty()) return outcome;
  std::vector<Columns::Row> cells;
  cells.reserve(rows.size());
  const Date now = surroundings.now();
  for (const SessionRow& row : rows) cells.push_back(cellsOf(row, now));
  outcome.output = Columns::text(headings, cells, console, [&](std::size_t row, std::size_t column) {
    return column == Column::state ? colourOf(rows[row].session.state) : Colour::plain;
  });
  return outcome;
}

}  // namespace tavrin::List
