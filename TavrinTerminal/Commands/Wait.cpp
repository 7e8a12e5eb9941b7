#include "TavrinTerminal/Commands/Wait.hpp"

#include <charconv>
#include <set>
#include <utility>
#include <vector>

#include "TavrinTerminal/SessionChanges.hpp"
#include "TavrinTerminal/SessionRows.hpp"
#include "TavrinTerminal/SessionWatch.hpp"
#include "TavrinTerminal/SessionWord.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::Wait {

namespace {

bool isAwaited(For what, SessionState state) {
  switch (what) {
    case For::you:
      return state != SessionState::working;
    case For::needsYou:
      return state == SessionState::needsYou;
    case For::idle:
      return state == SessionState::idle;
    case For::gone:
      break;
  }
  return false;
}

std::string lineOfAny(std::string_view state, const SessionRow& row) {
  std::string line(state);
  line += '\t' + ShownText::clean(row.session.record->sessionId) + '\t' + row.label + '\n';
  return line;
}

// Waits for one session, which a word names at the first look.
class ForOne {
 public:
  ForOne(std::string word, For what) : word_(std::move(word)), what_(what) {}

  std::optional<Outcome> take(const std::vector<SessionRow>& rows) {
    const auto found = sessionNamed(id_.value_or(word_), rows);
    if (const auto* const none = std::get_if<NoSession>(&found)) {
      if (!id_ && (none->isAmbiguous || what_ != For::gone))
        return Outcome::failed("nothing was waited for, because " + none->error);
      return gone();
    }
    const SessionRow& row = *std::get<const SessionRow*>(found);
    id_ = row.session.record->sessionId;
    label_ = row.label;
    if (!isAwaited(what_, row.session.state)) return std::nullopt;
    return Outcome::done(std::string(rawValue(row.session.state)) + "\n");
  }

 private:
  Outcome gone() const {
    if (what_ == For::gone) return Outcome::done("gone\n");
    Outcome outcome = Outcome::failed(label_ + " is gone. It did not come into the state you waited for.");
    outcome.output = "gone\n";
    return outcome;
  }

  std::string word_;
  For what_;
  std::optional<std::string> id_;
  std::string label_;
};

// Waits for the next session that comes into the state.
class ForAny {
 public:
  explicit ForAny(For what) : what_(what) {}

  std::optional<Outcome> take(std::vector<SessionRow> rows) {
    std::map<std::string, SessionRow> now;
    std::optional<Outcome> outcome;
    for (SessionRow& row : rows) {
      const std::string id = row.session.record->sessionId;
      if (known_ && !outcome && isAwaited(what_, row.session.state) && !was(id, row))
        outcome = Outcome::done(lineOfAny(rawValue(row.session.state), row));
      now.emplace(id, std::move(row));
    }
    if (known_ && !outcome && what_ == For::gone) {
      for (const auto& [id, row] : *known_) {
        if (!now.contains(id)) return Outcome::done(lineOfAny("gone", row));
      }
    }
    known_ = std::move(now);
    return outcome;
  }

 private:
  // Whether a session was in the state before. A question after a question is a new one.
  bool was(const std::string& id, const SessionRow& row) const {
    const auto before = known_->find(id);
    return before != known_->end() && before->second.session.state == row.session.state &&
           before->second.session.attentionId == row.session.attentionId;
  }

  For what_;
  std::optional<std::map<std::string, SessionRow>> known_;
};

}  // namespace

std::optional<std::chrono::milliseconds> durationOf(std::string_view word) {
  constexpr std::int64_t year = std::int64_t{366} * 24 * 60 * 60;
  std::int64_t unit = 1;
  if (word.ends_with('h')) unit = 3600;
  if (word.ends_with('m')) unit = 60;
  if (word.ends_with('h') || word.ends_with('m') || word.ends_with('s')) word.remove_suffix(1);
  std::int64_t number = 0;
  const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || stop != word.data() + word.size() || word.starts_with('-')) return std::nullopt;
  if (number > year / unit) return std::nullopt;
  return std::chrono::seconds(number * unit);
}

Outcome run(const Options& options, const Surroundings& surroundings, const Console& console) {
  if (const std::string obstacle = surroundings.obstacle(); !obstacle.empty())
    return Outcome::failed("nothing was waited for, because " + obstacle);
  std::optional<ForOne> one;
  if (options.session) one.emplace(*options.session, options.what);
  ForAny any(options.what);
  std::optional<Outcome> outcome;
  SessionWatch* running = nullptr;
  SessionWatch watch(surroundings, console, [&](std::vector<ObservedSession> sessions) {
    std::vector<SessionRow> rows = sessionRows(
        inShownOrder(std::move(sessions), surroundings.home, options.session.has_value()), surroundings);
    outcome = one ? one->take(rows) : any.take(std::move(rows));
    if (outcome) running->stop();
  });
  running = &watch;
  const SessionWatch::End end = watch.run(options.timeout);
  if (outcome) return *outcome;
  if (end.why == SessionWatch::End::Why::timedOut)
    return {.status = ExitStatus::timedOut,
            .output = {},
            .error = "the time is up, and no session came into the state you waited for."};
  return Outcome::endedBy(end.signal);
}

}  // namespace tavrin::Wait
