#include "TavrinTerminal/SessionChanges.hpp"

#include <iterator>
#include <utility>

#include "TavrinTerminal/JsonObject.hpp"

namespace tavrin {

std::string_view nameOf(SessionChange::Kind kind) {
  switch (kind) {
    case SessionChange::Kind::appeared:
      return "appeared";
    case SessionChange::Kind::changed:
      return "changed";
    case SessionChange::Kind::gone:
      break;
  }
  return "gone";
}

std::string lineOf(const SessionChange& change) {
  const SessionRow& row = change.row;
  const bool isGone = change.kind == SessionChange::Kind::gone;
  std::string line = row.label;
  line += ", ";
  line += isGone ? "gone" : label(row.session.state);
  if (!isGone && !row.tool.empty()) line += ", " + row.tool;
  line += ", ";
  line += displayName(row.session.record->agent);
  return line;
}

std::string jsonOf(const SessionChange& change, Date time) {
  JsonObject object;
  object.number("version", 1);
  object.text("time", Iso8601::text(time));
  object.text("change", nameOf(change.kind));
  object.json("session", jsonOf(change.row));
  return object.finish();
}

std::vector<SessionChange> SessionChanges::since(std::vector<SessionRow> rows) {
  std::map<std::string, Known> now;
  std::vector<SessionChange> changes;
  for (SessionRow& row : rows) {
    std::string json = jsonOf(row);
    const std::string id = row.session.record->sessionId;
    const auto before = known_.find(id);
    if (before == known_.end()) {
      changes.push_back({.kind = SessionChange::Kind::appeared, .row = row});
    } else if (before->second.json != json) {
      changes.push_back({.kind = SessionChange::Kind::changed, .row = row});
    }
    now.insert_or_assign(id, Known{.row = std::move(row), .json = std::move(json)});
  }
  std::vector<SessionChange> gone;
  for (auto& [id, known] : known_) {
    if (!now.contains(id)) gone.push_back({.kind = SessionChange::Kind::gone, .row = std::move(known.row)});
  }
  gone.insert(gone.end(), std::make_move_iterator(changes.begin()), std::make_move_iterator(changes.end()));
  known_ = std::move(now);
  return gone;
}

}  // namespace tavrin
