#include "TavrinTerminal/Commands/List.hpp"

#include <algorithm>
#include <array>

#include "TavrinTerminal/JsonObject.hpp"
#include "TavrinTerminal/SessionRows.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::List {

namespace {

constexpr std::size_t columnCount = 6;
using Cells = std::array<std::string, columnCount>;

constexpr std::array<std::string_view, columnCount> headings = {"STATE", "FOR",  "PROJECT",
                                                                "AGENT", "TOOL", "TERMINAL"};
enum Column : std::size_t { state, age, project, agent, tool, terminal };

constexpr std::string_view hint =
    "there are no sessions. Start an agent; if it is not connected yet, run \"tavrin connect\".";

Cells cellsOf(const SessionRow& row, Date now) {
  return {std::string(label(row.session.state)),
          ageOf(row.session, now),
          row.label,
          std::string(displayName(row.session.record.agent)),
          row.tool,
          row.terminal};
}

std::string separatedByTabs(const std::vector<Cells>& rows) {
  std::string text;
  for (const Cells& cells : rows) {
    for (std::size_t i = 0; i < columnCount; ++i) {
      if (i > 0) text += '\t';
      text += cells[i];
    }
    text += '\n';
  }
  return text;
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

using Widths = std::array<std::size_t, columnCount>;

// What each column needs, and less for long texts where the terminal is too narrow for all.
Widths widthsOf(const std::vector<Cells>& rows, std::size_t available) {
  constexpr std::size_t gap = 2;
  constexpr std::size_t least = 8;
  Widths widths{};
  for (std::size_t i = 0; i < columnCount; ++i) {
    widths[i] = headings[i].size();
    for (const Cells& cells : rows) widths[i] = std::max(widths[i], ShownText::width(cells[i]));
  }
  std::size_t total = gap * (columnCount - 1);
  for (const std::size_t width : widths) total += width;
  for (const std::size_t column : {Column::tool, Column::project, Column::terminal}) {
    if (total <= available) break;
    const std::size_t spare = widths[column] - std::min(widths[column], least);
    const std::size_t taken = std::min(spare, total - available);
    widths[column] -= taken;
    total -= taken;
  }
  return widths;
}

std::string inColumns(const std::vector<SessionRow>& rows, const std::vector<Cells>& cells,
                      const Console& console) {
  const Widths widths = widthsOf(cells, static_cast<std::size_t>(console.width));
  const auto line = [&](const auto& texts, auto colourOfColumn) {
    std::string out;
    std::string pending;  // spaces, which no line ends with
    for (std::size_t i = 0; i < columnCount; ++i) {
      const std::string cell = ShownText::cut(texts[i], widths[i]);
      if (!cell.empty()) {
        out += pending + console.painted(cell, colourOfColumn(i));
        pending.clear();
      }
      pending.append(widths[i] - ShownText::width(cell) + 2, ' ');
    }
    return out + '\n';
  };
  std::string text = line(headings, [](std::size_t) { return Colour::dim; });
  for (std::size_t i = 0; i < rows.size(); ++i) {
    text += line(cells[i], [&](std::size_t column) {
      return column == Column::state ? colourOf(rows[i].session.state) : Colour::plain;
    });
  }
  return text;
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
  if (!surroundings.hasHome())
    return Outcome::failed("nothing was listed, because " + std::string(noHomeSentence));
  std::vector<ObservedSession> sessions =
      inShownOrder(observedSessions(surroundings).sessions, surroundings.home, options.all);
  const SessionSummary summary = summaryOf(sessions);
  const std::vector<SessionRow> rows = sessionRows(std::move(sessions), surroundings);

  Outcome outcome;
  if (rows.empty()) outcome.error = hint;
  if (options.json) {
    outcome.output = document(rows, summary);
    return outcome;
  }
  if (rows.empty()) return outcome;
  std::vector<Cells> cells;
  cells.reserve(rows.size());
  const Date now = surroundings.now();
  for (const SessionRow& row : rows) cells.push_back(cellsOf(row, now));
  outcome.output = console.outputIsTerminal ? inColumns(rows, cells, console) : separatedByTabs(cells);
  return outcome;
}

}  // namespace tavrin::List
