#include "TavrinTerminal/Commands/Focus.hpp"

#include <utility>
#include <variant>
#include <vector>

#include "TavrinTerminal/ObservedSessions.hpp"
#include "TavrinTerminal/SessionRows.hpp"
#include "TavrinTerminal/SessionWord.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::Focus {

namespace {

using Kind = TerminalFocus::Result::Kind;

constexpr std::string_view nothing = "nothing was brought to the front, because ";

const SessionRow* waitingLongest(const std::vector<SessionRow>& rows) {
  const SessionRow* longest = nullptr;
  for (const SessionRow& row : rows) {
    if (row.session.state != SessionState::needsYou) continue;
    if (longest == nullptr || row.session.since < longest->session.since) longest = &row;
  }
  return longest;
}

std::variant<const SessionRow*, NoSession> chosen(const Options& options,
                                                  const std::vector<SessionRow>& rows) {
  if (options.session) return sessionNamed(*options.session, rows);
  if (const SessionRow* const row = waitingLongest(rows)) return row;
  if (options.next) return NoSession{.isAmbiguous = false, .error = "no session needs you."};
  if (rows.size() == 1) return &rows.front();
  if (rows.empty()) return NoSession{.isAmbiguous = false, .error = "there is no session."};
  std::string error = "no session needs you and there are several. Name one:";
  for (const SessionRow& row : rows) {
    error += "\n" + ShownText::clean(row.session.record->sessionId) + "  " + row.label;
  }
  return NoSession{.isAmbiguous = true, .error = std::move(error)};
}

// Where a person finds the session.
std::string whereabouts(const Session& session) {
  return "terminal " + (session.tty ? ShownText::clean(*session.tty) : "none") + ", process " +
         std::to_string(session.agentPid) + ", folder " + ShownText::clean(session.cwd) + "\n";
}

}  // namespace

Outcome run(const Options& options, const Surroundings& surroundings, const TerminalFocus& focus) {
  if (const std::string obstacle = surroundings.obstacle(); !obstacle.empty())
    return Outcome::failed(std::string(nothing) + obstacle);
  const std::vector<SessionRow> rows = sessionRows(
      inShownOrder(observedSessions(surroundings), surroundings.home, options.session.has_value()),
      surroundings);
  const auto choice = chosen(options, rows);
  if (const auto* const none = std::get_if<NoSession>(&choice))
    return Outcome::failed(std::string(nothing) + none->error);

  const SessionRow& row = *std::get<const SessionRow*>(choice);
  const TerminalFocus::Result result = focus.focus(*row.session.record);
  const std::string place = ShownText::clean(result.place);
  switch (result.kind) {
    case Kind::front:
      return Outcome::done();
    case Kind::shown:
      return Outcome::done(row.label + " is shown in " + place + ", whose window could not be raised\n");
    case Kind::application:
      return Outcome::done("its application is in front; " + row.label + " is in " +
                           whereabouts(*row.session.record));
    case Kind::unreachable:
      break;
  }
  Outcome outcome =
      Outcome::failed(row.label + " was not brought to the front. " +
                      (result.advice.empty() ? "Its terminal cannot be asked to come to the front."
                                             : ShownText::clean(result.advice)));
  outcome.output = whereabouts(*row.session.record);
  return outcome;
}

Outcome run(const Options& options, const Surroundings& surroundings) {
  return run(options, surroundings, TerminalFocus::ofThisSystem(surroundings));
}

}  // namespace tavrin::Focus
