#include "tests/recordings/Score.hpp"

#include <algorithm>
#include <boost/json/serialize.hpp>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "TavrinCore/Support/Json/Json.hpp"

namespace tavrin::recordings {

namespace json = boost::json;

namespace {

constexpr double never = std::numeric_limits<double>::infinity();

bool agrees(const std::string& truth, const std::string& state) {
  return truth == state || (truth == "failed" && state == "idle");
}

// When the id first occurs in anything that a program could have read.
double firstMention(const std::string& session, const std::vector<json::object>& events) {
  for (const json::object& event : events) {
    const std::string_view kind = Json::textAt(event, "kind").value_or("");
    if (kind != "hook" && kind != "record" && kind != "transcript") continue;
    if (json::serialize(event).find(session) != std::string::npos) return event.at("t").to_number<double>();
  }
  return never;
}

// A session's states over time.
class View {
 public:
  View(const std::vector<Change>& changes, const std::string& session) {
    for (const Change& change : changes)
      if (change.session == session) states_[change.at] = change.state;
  }

  const std::string& at(double time) const {
    static const std::string gone = "gone";
    const auto next = states_.upper_bound(time);
    return next == states_.begin() ? gone : std::prev(next)->second;
  }

  // The times from `from` to `to` during which the session has this state.
  std::vector<double> cuts(double from, double to) const {
    std::vector<double> times = {from};
    for (const auto& [time, state] : states_)
      if (time > from && time < to) times.push_back(time);
    times.push_back(to);
    return times;
  }

 private:
  std::map<double, std::string> states_;
};

std::string words(const Truth& before, const Truth& after, double start) {
  std::ostringstream out;
  out.precision(2);
  out << std::fixed << after.from - start << " s: " << before.state << " to " << after.state << " in "
      << after.session;
  return out.str();
}

void judge(const std::vector<Truth>& spans, const View& view, double known, double start, Score& score) {
  for (std::size_t i = 0; i < spans.size(); ++i) {
    const Truth& span = spans[i];
    const std::vector<double> cuts = view.cuts(span.from, span.to);
    double firstRight = never;
    for (std::size_t j = 0; j + 1 < cuts.size(); ++j) {
      const bool isRight = agrees(span.state, view.at(cuts[j]));
      if (isRight) firstRight = std::min(firstRight, cuts[j]);
      const double length = cuts[j + 1] - std::max(cuts[j], std::min(known, cuts[j + 1]));
      score.judged += length;
      if (!isRight) score.wrong += length;
    }
    const bool isChange = i > 0 && spans[i - 1].state != span.state && span.from >= known;
    if (isChange && span.to - span.from > 1 && firstRight > span.from + 2)
      score.missed.push_back(words(spans[i - 1], span, start));
  }
}

}  // namespace

std::vector<Truth> truthOf(const std::string& recording) {
  const std::filesystem::path path = recording;
  std::string name = path.filename().string();
  name = name.substr(0, name.find(".jsonl"));
  std::ifstream in(path.parent_path() / "truth.jsonl");
  std::vector<Truth> truth;
  for (std::string line; std::getline(in, line);) {
    const json::object object = Json::parse(line).value().get_object();
    if (object.at("recording").get_string() != name) continue;
    truth.push_back({.session = std::string(object.at("session").get_string()),
                     .from = object.at("from").to_number<double>(),
                     .to = object.at("to").to_number<double>(),
                     .state = std::string(object.at("truth").get_string()),
                     .isGhost = object.contains("ghost")});
  }
  if (truth.empty()) throw std::runtime_error("there is no truth about " + recording);
  std::ranges::stable_sort(truth, {}, &Truth::from);
  return truth;
}

Score scoreOf(const std::vector<Change>& view, const std::vector<Truth>& truth,
              const std::vector<json::object>& events) {
  Score score;
  const double start = events.empty() ? 0 : events.front().at("t").to_number<double>();
  std::map<std::string, std::vector<Truth>> bySession;
  for (const Truth& span : truth) bySession[span.session].push_back(span);
  for (const auto& [session, spans] : bySession) {
    const View seen(view, session);
    if (!spans.front().isGhost) {
      judge(spans, seen, firstMention(session, events), start, score);
      continue;
    }
    const std::vector<double> cuts = seen.cuts(start, spans.back().to);
    for (std::size_t i = 0; i + 1 < cuts.size(); ++i)
      if (seen.at(cuts[i]) != "gone") score.ghosts += cuts[i + 1] - cuts[i];
  }
  return score;
}

std::vector<Change> hookAlone(const std::vector<json::object>& events) {
  std::vector<Change> changes;
  std::map<std::string, std::string> idOfFile;
  for (const json::object& event : events) {
    const std::string_view kind = Json::textAt(event, "kind").value_or("");
    const double at = event.at("t").to_number<double>();
    if (kind == "record") {
      const json::object& record = event.at("r").get_object();
      const std::string id(record.at("sessionId").get_string());
      idOfFile[std::string(event.at("file").get_string())] = id;
      changes.push_back({at, id, std::string(record.at("state").get_string())});
    } else if (kind == "removed") {
      changes.push_back({at, idOfFile[std::string(event.at("file").get_string())], "gone"});
    }
  }
  return changes;
}

}  // namespace tavrin::recordings
