// Plays recordings that were changed in ways that do not matter, or not much, to a person at the terminal.
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cmath>
#include <filesystem>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Support/Date.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/recordings/Recording.hpp"
#include "tests/recordings/Score.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::recordings {
namespace {

namespace json = boost::json;
using Events = std::vector<json::object>;

constexpr std::int64_t pidsApart = 10'000;

std::string textAt(const json::object& object, std::string_view key) {
  return std::string(Json::textAt(object, key).value_or(""));
}

double timeOf(const json::object& event) {
  return event.at("t").to_number<double>();
}

void sortByTime(Events& events) {
  std::ranges::stable_sort(events, {}, timeOf);
}

// Whether the text has this form at `at`, where "h" is a hexadecimal digit and "d" a decimal one.
bool hasForm(const std::string& text, std::size_t at, std::string_view form) {
  if (text.size() - at < form.size()) return false;
  for (const char expected : form) {
    const char letter = text[at++];
    const bool isDigit = letter >= '0' && letter <= '9';
    const bool isHex = isDigit || (letter >= 'a' && letter <= 'f');
    if (expected == 'h' ? !isHex : expected == 'd' ? !isDigit : letter != expected) return false;
  }
  return true;
}

// Replaces each part of this form by what `change` makes of it.
std::string replaced(const std::string& text, std::string_view form,
                     const std::function<std::string(const std::string&)>& change) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    if (hasForm(text, at, form)) {
      result += change(text.substr(at, form.size()));
      at += form.size();
    } else {
      result += text[at++];
    }
  }
  return result;
}

// Another identifier. Its time and its first letters, which some file names consist of, stay.
std::string renamed(const std::string& id) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string other = id;
  for (std::size_t i = 24; i < other.size(); ++i) other[i] = digits[(digits.find(other[i]) + 5) % 16];
  return other;
}

// All identifiers in the text renamed, and all times moved by some whole seconds.
std::string moved(const std::string& text, std::int64_t seconds) {
  const std::string other = replaced(text, "hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh", renamed);
  if (seconds == 0) return other;
  const std::string later = replaced(other, "dddd-dd-ddTdd:dd:dd", [&](const std::string& date) {
    const auto at = Iso8601::parse(date + "Z");
    return at ? Iso8601::text(*at + std::chrono::seconds(seconds)).substr(0, date.size()) : date;
  });
  // Milliseconds since 1970.
  return replaced(later, "17ddddddddddd", [&](const std::string& number) {
    return std::to_string(std::stoll(number) + seconds * 1000);
  });
}

void renamePid(json::object& object, std::string_view key) {
  json::value* const pid = object.if_contains(key);
  if (pid != nullptr && pid->is_int64() && pid->get_int64() > 1) *pid = pid->get_int64() + pidsApart;
}

// Moves each process id that follows `start` in the text.
std::string withPidsMoved(const std::string& text, const std::string& start) {
  std::string result;
  std::size_t from = 0;
  for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start, from)) {
    const std::size_t digits = text.find_first_not_of(' ', at + start.size());
    const std::size_t end = std::min(text.find_first_not_of("0123456789", digits), text.size());
    result += text.substr(from, digits - from);
    if (end > digits) result += std::to_string(std::stoll(text.substr(digits, end - digits)) + pidsApart);
    from = end;
  }
  return result + text.substr(from);
}

// A recording of another machine: other identifiers and processes, at another time.
Events copied(const Events& events, std::int64_t seconds) {
  Events copy;
  for (const json::object& event : events) {
    const std::string kind = textAt(event, "kind");
    if (kind == "screen" || kind == "cpu") continue;
    json::object other = json::parse(moved(json::serialize(event), seconds)).get_object();
    other["t"] = timeOf(event) + static_cast<double>(seconds);
    renamePid(other, "pid");
    renamePid(other, "ppid");
    if (json::value* const record = other.if_contains("r"))
      if (record->is_object()) renamePid(record->get_object(), "agentPid");
    const std::string path = textAt(other, "path");
    if (kind == "transcript") {
      other["path"] = withPidsMoved(withPidsMoved(path, ".claude/sessions/"), "inuse.");
      if (path.starts_with(".claude/sessions/") || path.ends_with("active_sessions.json"))
        other["text"] = withPidsMoved(textAt(other, "text"), R"("pid":)");
    }
    copy.push_back(std::move(other));
  }
  return copy;
}

std::vector<Truth> copied(std::vector<Truth> truth, std::int64_t seconds) {
  for (Truth& span : truth) {
    span.session = renamed(span.session);
    span.from += static_cast<double>(seconds);
    span.to += static_cast<double>(seconds);
  }
  return truth;
}

// Both recordings on one machine. Grok's list of open sessions names those of both.
Events merged(const Events& one, const Events& other) {
  Events all;
  std::array<json::array, 2> lists;
  const auto take = [&](const json::object& event, std::size_t of) {
    all.push_back(event);
    if (!textAt(event, "path").ends_with(".grok/active_sessions.json")) return;
    const auto list = Json::parse(textAt(event, "text"));
    lists[of] = list && list->is_array() ? list->get_array() : json::array();
    json::array both = lists[0];
    both.insert(both.end(), lists[1].begin(), lists[1].end());
    json::object& last = all.back();
    last["text"] = json::serialize(both);
    last["offset"] = 0;
    last["rewritten"] = true;
    last.erase("removed");
  };
  auto next = other.begin();
  for (const json::object& event : one) {
    for (; next != other.end() && timeOf(*next) < timeOf(event); ++next) take(*next, 1);
    take(event, 0);
  }
  for (; next != other.end(); ++next) take(*next, 1);
  return all;
}

// A line of a kind that a later version may write, with the time of this one; "" if this one has none, or is
// not whole.
std::string laterLineAt(const std::string& line) {
  for (const std::string key : {"\"timestamp\":\"", "\"ts\":\""}) {
    const std::size_t at = line.find(key);
    if (!line.starts_with('{') || !line.ends_with('\n') || at == std::string::npos) continue;
    const std::size_t end = line.find('"', at + key.size());
    return R"({"type":"x_later","payload":{"type":"x","id":[1,{}]},"data":null,)" +
           line.substr(at, end + 1 - at) + "}\n";
  }
  return "";
}

// Lines of kinds that a later version may write, each before a line of the client's own and of the same time;
// and every second growth is seen in two halves.
Events withUnknownLines(const Events& events) {
  Events changed;
  std::map<std::string, std::int64_t> added;
  std::size_t growths = 0;
  for (const json::object& event : events) {
    const std::string path = textAt(event, "path");
    std::string text = textAt(event, "text");
    changed.push_back(event);
    if (textAt(event, "kind") != "transcript" || !path.ends_with(".jsonl") || text.empty()) continue;
    json::object& last = changed.back();
    const std::int64_t offset = event.contains("offset") ? event.at("offset").to_number<std::int64_t>() : 0;
    if (offset == 0) added[path] = 0;
    const std::int64_t before = added[path];
    std::string lines;
    while (!text.empty()) {
      const std::string line = text.substr(0, text.find('\n') + 1);
      const std::string unknown = laterLineAt(line);
      added[path] += static_cast<std::int64_t>(unknown.size());
      lines += unknown + (line.empty() ? text : line);
      text.erase(0, line.empty() ? text.size() : line.size());
    }
    text = lines;
    last["text"] = text;
    last["offset"] = offset + before;
    if (++growths % 2 == 0 || text.size() < 2) continue;
    const std::size_t half = text.size() / 2;
    json::object rest = last;
    last["text"] = text.substr(0, half);
    rest["text"] = text.substr(half);
    rest["offset"] = offset + before + static_cast<std::int64_t>(half);
    rest["t"] = timeOf(event) + 0.02;
    rest.erase("rewritten");
    changed.push_back(std::move(rest));
  }
  sortByTime(changed);
  return changed;
}

struct Recorded {
  std::string path;
  Events events;
  std::vector<Truth> truth;
  std::vector<Change> view;
};

std::vector<Change> playedFrom(const Events& events, const Playing& how = {}) {
  const test::ScratchDirectory scratch(test::directoryInMemory());
  return play(events, scratch.string(), how);
}

std::vector<Recorded> recordedOf(Agent agent) {
  std::vector<Recorded> all;
  const std::filesystem::path folder = test::dataDirectory() / "recordings" / rawValue(agent);
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".gz") continue;
    Events events = eventsIn(entry.path().string());
    std::vector<Change> view = playedFrom(events);
    all.push_back(
        {entry.path().string(), std::move(events), truthOf(entry.path().string()), std::move(view)});
  }
  std::ranges::sort(all, {}, &Recorded::path);
  return all;
}

std::string stateAt(const std::vector<Change>& view, const std::string& session, double at) {
  std::string state = "gone";
  for (const Change& change : view)
    if (change.session == session && change.at <= at) state = change.state;
  return state;
}

class Varied : public testing::TestWithParam<Agent> {
 protected:
  void SetUp() override { all = recordedOf(GetParam()); }

  std::vector<Recorded> all;
};

TEST_P(Varied, OtherNamesOfSessionsAndProcessesAndAnotherDayChangeNothing) {
  constexpr std::int64_t day = 86'400;
  for (const Recorded& recorded : all) {
    // A rollout of Codex lies in the folder of its day, and the thread's id holds that time.
    const std::int64_t seconds = GetParam() == Agent::codex ? 0 : 3 * day;
    const std::vector<Change> view = playedFrom(copied(recorded.events, seconds));
    ASSERT_EQ(view.size(), recorded.view.size()) << recorded.path;
    for (std::size_t i = 0; i < view.size(); ++i) {
      const Change& known = recorded.view[i];
      // Changes of one moment are in the order of the sessions' names.
      const bool isThere = std::ranges::any_of(view, [&](const Change& change) {
        return change.session == renamed(known.session) && change.state == known.state &&
               std::abs(change.at - known.at - static_cast<double>(seconds)) < 0.001;
      });
      EXPECT_TRUE(isThere) << recorded.path << " " << known.state << " at " << known.at;
    }
  }
}

TEST_P(Varied, UnknownLinesAndHalfLinesDelayWhatIsSeenByLittle) {
  for (const Recorded& recorded : all) {
    const std::vector<Change> view = playedFrom(withUnknownLines(recorded.events));
    const Score score = scoreOf(view, recorded.truth, recorded.events);
    const Score known = scoreOf(recorded.view, recorded.truth, recorded.events);
    EXPECT_LE(score.wrong, known.wrong + 0.3) << recorded.path;
    EXPECT_EQ(score.missed, known.missed) << recorded.path;
    EXPECT_EQ(score.ghosts, 0) << recorded.path;
  }
}

TEST_P(Varied, LateLooksMissNoChange) {
  constexpr double delay = 0.2;
  for (const Recorded& recorded : all) {
    const Score score = scoreOf(playedFrom(recorded.events, {.hide = {}, .from = 0, .delay = delay}),
                                recorded.truth, recorded.events);
    const Score known = scoreOf(recorded.view, recorded.truth, recorded.events);
    EXPECT_EQ(score.missed, known.missed) << recorded.path;
    EXPECT_LE(score.wrong, known.wrong + delay * static_cast<double>(recorded.truth.size())) << recorded.path;
  }
}

TEST_P(Varied, HooksThatSaveTheirRecordsLaterHideNoChange) {
  constexpr double hookTime = 0.2;
  for (const Recorded& recorded : all) {
    const Score score =
        scoreOf(playedFrom(recorded.events, {.hide = {}, .from = 0, .delay = 0, .hookTime = hookTime}),
                recorded.truth, recorded.events);
    const Score known = scoreOf(recorded.view, recorded.truth, recorded.events);
    EXPECT_EQ(score.missed, known.missed) << recorded.path;
    // A record is believed for half a second against what is in a file.
    EXPECT_LE(score.wrong, known.wrong + 1.5) << recorded.path;
  }
}

TEST_P(Varied, AMonitorThatStartsLaterSeesTheSame) {
  for (const Recorded& recorded : all) {
    // Before this one starts, the file was rewritten without the prompt, so nothing shows that there was one.
    const bool isRewritten = recorded.path.ends_with("copilot/interrupt-text.2.jsonl.gz");
    const double start = timeOf(recorded.events.front());
    const double end = timeOf(recorded.events.back());
    for (const double share : {0.2, 0.4, 0.6, 0.8}) {
      const double from = start + share * (end - start);
      const double at = from + 0.6;
      const std::vector<Change> view = playedFrom(recorded.events, {.hide = {}, .from = from, .delay = 0});
      for (const Truth& span : recorded.truth) {
        const bool isKnown = span.from < from && at < span.to && span.state != "gone" && !span.isGhost;
        if (!isKnown || isRewritten) continue;
        EXPECT_EQ(stateAt(view, span.session, at), stateAt(recorded.view, span.session, at))
            << recorded.path << " at " << at - start << " s";
      }
    }
  }
}

TEST_P(Varied, TwoRecordingsAtOnceAreSeenAsEachIsAlone) {
  // Where a recording does not say who holds Codex's locks, one machine's clients would be taken for the
  // other's. The daemon's clients are recognised by their names alone.
  std::erase_if(all, [](const Recorded& recorded) {
    const bool hasLocks = std::ranges::any_of(
        recorded.events, [](const json::object& event) { return textAt(event, "kind") == "lock"; });
    return GetParam() == Agent::codex && (!hasLocks || recorded.path.find("/daemon") != std::string::npos);
  });
  ASSERT_GT(all.size(), 10U);
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Recorded& one = all[i];
    const Recorded& other = all[(i + 7) % all.size()];
    const auto apart =
        std::llround(timeOf(one.events.front()) - timeOf(other.events.front())) + static_cast<int>(i % 5);
    const Events copy = copied(other.events, apart);
    const std::vector<Change> view = playedFrom(merged(one.events, copy));
    const double wrong =
        scoreOf(view, one.truth, one.events).wrong + scoreOf(view, copied(other.truth, apart), copy).wrong;
    const double alone =
        scoreOf(one.view, one.truth, one.events).wrong + scoreOf(other.view, other.truth, other.events).wrong;
    EXPECT_NEAR(wrong, alone, 1) << one.path << " and " << other.path;
  }
}

INSTANTIATE_TEST_SUITE_P(Recordings, Varied, testing::ValuesIn(allAgents),
                         [](const auto& instance) { return std::string(rawValue(instance.param)); });

}  // namespace
}  // namespace tavrin::recordings
