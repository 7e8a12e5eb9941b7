#include "TavrinTerminal/Commands/Status.hpp"

#include <array>
#include <optional>
#include <utility>

#include "TavrinCore/Support/Typography.hpp"
#include "TavrinTerminal/JsonObject.hpp"
#include "TavrinTerminal/SessionRows.hpp"
#include "TavrinTerminal/SessionWatch.hpp"

namespace tavrin::StatusLine {

namespace {

std::string tmuxLine(const SessionSummary& summary) {
  const std::array<std::tuple<std::int64_t, SessionState, std::string_view>, 3> counts = {
      {{summary.needsYou, SessionState::needsYou, "#[fg=yellow,bold]"},
       {summary.working, SessionState::working, "#[fg=green]"},
       {summary.idle, SessionState::idle, ""}}};
  std::string line;
  for (const auto& [count, state, style] : counts) {
    if (count == 0) continue;
    if (!line.empty()) line += dotSeparator;
    line += style;
    line += std::to_string(count) + " ";
    line += label(state);
    if (!style.empty()) line += "#[default]";
  }
  return line;
}

// Pango's markup is XML.
std::string escapedForPango(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string waybarLine(const std::vector<ObservedSession>& sessions, const SessionSummary& summary,
                       const Surroundings& surroundings) {
  constexpr std::size_t mostInTooltip = 20;
  std::string tooltip;
  std::size_t listed = 0;
  for (const SessionRow& row : sessionRows(inShownOrder(sessions, surroundings.home, false), surroundings)) {
    if (listed == mostInTooltip) {
      tooltip += "\n\u2026";
      break;
    }
    ++listed;
    if (!tooltip.empty()) tooltip += '\n';
    tooltip += escapedForPango(row.label) + ", ";
    tooltip += label(row.session.state);
  }
  const std::string_view state = sessions.empty() ? "none" : rawValue(summary.overall);
  JsonObject object;
  object.text("text", sessions.empty() ? "" : escapedForPango(summary.statusLine()));
  object.text("tooltip", tooltip);
  object.text("class", state);
  object.text("alt", state);
  return object.finish();
}

std::string jsonLine(const SessionSummary& summary) {
  std::string members = jsonOf(summary);
  return "{\"version\":1," + members.substr(1);
}

}  // namespace

std::string line(Format format, const std::vector<ObservedSession>& sessions,
                 const Surroundings& surroundings) {
  const SessionSummary summary = summaryOf(sessions);
  switch (format) {
    case Format::plain:
      return summary.statusLine();
    case Format::json:
      return jsonLine(summary);
    case Format::tmux:
      return tmuxLine(summary);
    case Format::waybar:
      break;
  }
  return waybarLine(sessions, summary, surroundings);
}

Outcome run(const Options& options, const Surroundings& surroundings, const Console& console) {
  if (const std::string obstacle = surroundings.obstacle(); !obstacle.empty())
    return Outcome::failed("the status is not known, because " + obstacle);
  const auto lineNow = [&](std::vector<ObservedSession> sessions) {
    return line(options.format, withoutProbes(std::move(sessions), surroundings.home), surroundings) + "\n";
  };
  if (!options.follow) return Outcome::done(lineNow(observedSessions(surroundings)));

  std::optional<std::string> printed;
  SessionWatch* running = nullptr;
  SessionWatch watch(surroundings, console, [&](std::vector<ObservedSession> sessions) {
    std::string next = lineNow(std::move(sessions));
    if (next == printed) return;
    if (!console.out(next)) running->stop({.why = SessionWatch::End::Why::readerGone});
    printed = std::move(next);
  });
  running = &watch;
  return Outcome::endedBy(watch.run().signal);
}

}  // namespace tavrin::StatusLine
