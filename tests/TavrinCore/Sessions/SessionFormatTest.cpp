#include <gtest/gtest.h>

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "tests/support/Random.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using test::Random;

// Records that macOS's Foundation writes back differently, and the difference: Foundation follows the Julian
// calendar before 15 October 1582, and we follow the Gregorian calendar at all times.
const std::map<std::string, std::pair<std::string, std::string>> writtenOtherwise = {
    {"updatedAt '1582-10-10T00:00:00Z'", {"1582-10-20T00:00:00Z", "1582-10-10T00:00:00Z"}},
};

TEST(SessionFormat, EveryRecordIsReadAndWrittenAsByFoundation) {
  const auto lines = test::jsonLines("platform/records.jsonl");
  ASSERT_EQ(lines.size(), 485U);
  std::size_t exceptions = 0;
  int accepted = 0;
  for (const auto& value : lines) {
    const auto& line = value.as_object();
    const std::string name(line.at("name").as_string());
    SCOPED_TRACE(name);
    const auto session = Session::decode(test::bytesOf(line));
    ASSERT_EQ(session.has_value(), line.at("accepted").as_bool());
    if (!session) continue;
    ++accepted;
    std::string expected = test::bytesOf(line, "rewritten");
    if (const auto found = writtenOtherwise.find(name); found != writtenOtherwise.end()) {
      const auto& [there, here] = found->second;
      ++exceptions;
      ASSERT_NE(expected.find(there), std::string::npos);
      expected.replace(expected.find(there), there.size(), here);
    }
    const std::string written = session->encode();
    EXPECT_EQ(written, expected);
    // A written record reads back as the same, except for fractions of seconds.
    const auto again = Session::decode(written);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->encode(), written);
  }
  EXPECT_EQ(accepted, 309);
  EXPECT_EQ(exceptions, writtenOtherwise.size());
}

TEST(SessionFormat, EveryKeyIsReadIntoItsOwnField) {
  const auto session =
      Session::decode(R"({"agent":"codex","agentPid":1,"attentionId":"b","attentionTranscriptOffset":2,
    "claudePid":99,"cwd":"c","hostBundleId":"d","hostPid":3,"inFlight":["e","f"],"needsYouTool":"g","repoRoot":"h",
    "sessionId":"i","state":"needsYou","stateSince":"1970-01-01T00:00:04Z","title":"j","transcriptPath":"k","tty":"l",
    "updatedAt":"1970-01-01T00:00:05Z","waitingOn":["m"],"worktreeName":"n","unknown":{"sessionId":"o"}})");
  ASSERT_TRUE(session);
  Session expected;
  expected.agent = Agent::codex;
  expected.agentPid = 1;
  expected.attentionId = "b";
  expected.attentionTranscriptOffset = 2;
  expected.cwd = "c";
  expected.hostBundleId = "d";
  expected.hostPid = 3;
  expected.inFlight = {"e", "f"};
  expected.needsYouTool = "g";
  expected.repoRoot = "h";
  expected.sessionId = "i";
  expected.state = SessionState::needsYou;
  expected.stateSince = dateFromSeconds(4);
  expected.title = "j";
  expected.transcriptPath = "k";
  expected.tty = "l";
  expected.updatedAt = dateFromSeconds(5);
  expected.waitingOn = {"m"};
  expected.worktreeName = "n";
  EXPECT_EQ(*session, expected);
}

TEST(SessionFormat, ARecordOfAnEarlierVersionBelongsToClaudeAndIsWrittenAnew) {
  const auto session = Session::decode(
      R"({"sessionId":"s","state":"idle","updatedAt":"2025-01-31T09:15:02Z","stateSince":"2025-01-31T09:15:02Z",)"
      R"("cwd":"/a","claudePid":123})");
  ASSERT_TRUE(session);
  EXPECT_EQ(session->agent, Agent::claude);
  EXPECT_EQ(session->agentPid, 123);
  EXPECT_TRUE(session->inFlight.empty());
  EXPECT_EQ(session->title, std::nullopt);
  EXPECT_EQ(session->encode(), R"({
  "agent" : "claude",
  "agentPid" : 123,
  "cwd" : "\/a",
  "inFlight" : [

  ],
  "sessionId" : "s",
  "state" : "idle",
  "stateSince" : "2025-01-31T09:15:02Z",
  "updatedAt" : "2025-01-31T09:15:02Z",
  "waitingOn" : [

  ]
})");
}

// Any UTF-8 text: often plain, often odd.
std::string randomText(Random& random) {
  static const std::vector<std::string> pieces = {
      "a",
      "Z",
      "0",
      " ",
      "/",
      "\\",
      "\"",
      "\n",
      "\r\n",
      std::string(1, '\0'),
      "\t",
      "\b",
      "\x1f",
      "\x7f",
      "é",
      "e\u0301",
      "\u0080",
      "\u2028",
      "\ufeff",
      "\ufffd",
      "\uffff",
      "😀",
      "👨‍👩‍👧",
      "\U0010ffff",
      "\\u0041",
      "\\ud83e",
      R"({"state":"idle"})",
      "null",
      "],",
      "\f",
  };
  std::string text;
  for (std::size_t count = random.below(12); count > 0; --count) text += random.of(pieces);
  return text;
}

std::vector<std::string> randomTexts(Random& random) {
  std::vector<std::string> texts(random.below(5) == 0 ? random.below(65) : random.below(3));
  for (std::string& text : texts) text = randomText(random);
  return texts;
}

template <class Make>
auto maybe(Random& random, Make make) -> std::optional<decltype(make())> {
  return random.flip() ? std::optional(make()) : std::nullopt;
}

// A point in time in whole seconds, from the year 0 to the year 32767.
Date randomDate(Random& random) {
  constexpr std::size_t earliest = 62'167'219'200;
  constexpr std::size_t latest = 971'890'963'199;
  const std::size_t seconds = random.flip() ? random.below(4'000'000'000) : random.below(latest + 1);
  return dateFromSeconds(random.below(8) == 0 ? -static_cast<double>(random.below(earliest + 1))
                                              : static_cast<double>(seconds));
}

Session randomSession(Random& random) {
  const auto text = [&] { return randomText(random); };
  const auto number = [&] { return random.any<std::int32_t>(); };
  Session session;
  session.sessionId = text();
  session.agent = random.of(allAgents);
  session.state = random.of(allSessionStates);
  session.needsYouTool = maybe(random, text);
  session.attentionId = maybe(random, text);
  session.attentionTranscriptOffset = maybe(random, [&] { return random.any<std::uint64_t>(); });
  session.inFlight = randomTexts(random);
  session.waitingOn = randomTexts(random);
  session.transcriptPath = maybe(random, text);
  session.updatedAt = randomDate(random);
  session.stateSince = randomDate(random);
  session.cwd = text();
  session.agentPid = number();
  session.tty = maybe(random, text);
  session.hostPid = maybe(random, number);
  session.hostBundleId = maybe(random, text);
  session.repoRoot = maybe(random, text);
  session.worktreeName = maybe(random, text);
  session.title = maybe(random, text);
  return session;
}

// The value that the record's text must have, built in another way.
boost::json::value valueOf(const Session& session) {
  boost::json::object object;
  const auto text = [](std::string_view value) { return boost::json::string(value); };
  const auto texts = [&](const std::vector<std::string>& values) {
    boost::json::array array;
    for (const std::string& value : values) array.emplace_back(text(value));
    return array;
  };
  const auto optional = [&](std::string_view key, const auto& value) {
    if (!value) return;
    if constexpr (std::is_same_v<std::decay_t<decltype(*value)>, std::string>) {
      object[key] = text(*value);
    } else {
      object[key] = *value;
    }
  };
  object["sessionId"] = text(session.sessionId);
  object["agent"] = text(rawValue(session.agent));
  object["state"] = text(rawValue(session.state));
  optional("needsYouTool", session.needsYouTool);
  optional("attentionId", session.attentionId);
  optional("attentionTranscriptOffset", session.attentionTranscriptOffset);
  object["inFlight"] = texts(session.inFlight);
  object["waitingOn"] = texts(session.waitingOn);
  optional("transcriptPath", session.transcriptPath);
  object["updatedAt"] = text(Iso8601::text(session.updatedAt));
  object["stateSince"] = text(Iso8601::text(session.stateSince));
  object["cwd"] = text(session.cwd);
  object["agentPid"] = session.agentPid;
  optional("tty", session.tty);
  optional("hostPid", session.hostPid);
  optional("hostBundleId", session.hostBundleId);
  optional("repoRoot", session.repoRoot);
  optional("worktreeName", session.worktreeName);
  optional("title", session.title);
  return object;
}

TEST(SessionFormat, AWrittenRecordIsReadAsTheSameRecord) {
  const unsigned seed = test::randomSeed();
  Random random(seed);
  for (int i = 0; i < 4'000; ++i) {
    const Session session = randomSession(random);
    const std::string written = session.encode();
    SCOPED_TRACE("seed " + std::to_string(seed) + ", record " + std::to_string(i) + ":\n" + written);
    const auto read = Session::decode(written);
    ASSERT_TRUE(read);
    ASSERT_EQ(*read, session);
    ASSERT_EQ(read->encode(), written);
    const boost::json::value value = boost::json::parse(written);
    ASSERT_EQ(value, valueOf(session));
    std::string_view before;
    for (const auto& member : value.as_object()) {
      const std::string_view key = member.key();
      ASSERT_LT(before, key);
      before = key;
    }
  }
}

TEST(SessionFormat, FractionsOfSecondsAreDroppedOnce) {
  Session session;
  session.updatedAt = dateFromSeconds(1'738'314'902.999);
  session.stateSince = dateFromSeconds(-0.5);
  const auto read = Session::decode(session.encode());
  ASSERT_TRUE(read);
  EXPECT_EQ(read->updatedAt, dateFromSeconds(1'738'314'902));
  EXPECT_EQ(read->stateSince, dateFromSeconds(-1));
  EXPECT_EQ(read->encode(), session.encode());
}

// One record of each shape: minimal, full, lists of one and of many, odd texts.
std::vector<Session> shapes() {
  const Session least;
  Session full = least;
  full.sessionId = "0198c2a4-77aa-7bbb-8ccc-0123456789ab";
  full.agent = Agent::codex;
  full.state = SessionState::needsYou;
  full.needsYouTool = "request_user_input";
  full.attentionId = "6F1C0F0E-6A43-4E0B-9C59-0B1D7D7B2E11";
  full.attentionTranscriptOffset = std::numeric_limits<std::uint64_t>::max();
  full.inFlight = {"call_1", "call_2"};
  full.waitingOn = {"call_2"};
  full.transcriptPath = "/Users/dev/.codex/sessions/x.jsonl";
  full.updatedAt = dateFromSeconds(1'738'314'902);
  full.stateSince = dateFromSeconds(1'738'314'901);
  full.cwd = "/Users/dev/src/app";
  full.agentPid = std::numeric_limits<std::int32_t>::max();
  full.tty = "/dev/ttys004";
  full.hostPid = std::numeric_limits<std::int32_t>::min();
  full.hostBundleId = "com.apple.Terminal";
  full.repoRoot = "/Users/dev/src/app";
  full.worktreeName = "feature-x";
  full.title = "A title";
  Session many = full;
  for (int i = 0; i < 64; ++i) many.inFlight.push_back("toolu_" + std::to_string(i));
  many.title.reset();
  Session odd = full;
  odd.title = "\"}\\\n\x01\u2028😀{[";
  odd.cwd = "/é/e\u0301";
  odd.waitingOn = {"", "]", "\\"};
  Session empty = full;
  empty.sessionId = "";
  empty.cwd = "";
  empty.tty = "";
  empty.title = "";
  return {least, full, many, odd, empty};
}

TEST(SessionFormat, ARecordCutOffAnywhereIsRefused) {
  std::size_t cases = 0;
  for (const Session& shape : shapes()) {
    const std::string text = shape.encode();
    ASSERT_EQ(Session::decode(text), shape);
    for (std::size_t length = 0; length < text.size(); ++length) {
      ASSERT_FALSE(Session::decode(std::string_view(text).substr(0, length))) << length << " bytes of\n"
                                                                              << text;
      ++cases;
    }
    // Only white space may follow a record.
    ASSERT_EQ(Session::decode(text + "\n \t\r"), shape);
    for (const char* more : {"x", "}", "{}", ",", "\\"}) ASSERT_FALSE(Session::decode(text + more)) << more;
    ASSERT_FALSE(Session::decode(text + std::string(1, '\0')));
    ASSERT_FALSE(Session::decode(text + text));
  }
  EXPECT_GT(cases, 4'000U);
}

// A damaged record is rejected, or reads as another whole record that is stable when written again.
void expectWholeOrNothing(const std::string& text) {
  const auto read = Session::decode(text);
  if (!read) return;
  const std::string written = read->encode();
  const auto again = Session::decode(written);
  ASSERT_TRUE(again) << text;
  ASSERT_EQ(again->encode(), written) << text;
}

TEST(SessionFormat, ARecordWithAnyBitFlippedIsReadWholeOrNotAtAll) {
  std::size_t cases = 0;
  std::size_t refused = 0;
  for (const Session& shape : shapes()) {
    std::string text = shape.encode();
    for (char& byte : text) {
      for (unsigned bit = 0; bit < 8; ++bit) {
        const char before = byte;
        byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (1U << bit));
        expectWholeOrNothing(text);
        refused += Session::decode(text) ? 0 : 1;
        byte = before;
        ++cases;
      }
    }
  }
  EXPECT_GT(cases, 32'000U);
  EXPECT_GT(refused, cases / 4);
}

TEST(SessionFormat, ARecordWithRandomDamageIsReadWholeOrNotAtAll) {
  const unsigned seed = test::randomSeed();
  Random random(seed);
  const std::vector<Session> originals = shapes();
  constexpr std::string_view signs = "{}[]\",:\\/0123456789eE+-.tfnulasd \n\xff\xc3\x80";
  for (int i = 0; i < 20'000; ++i) {
    std::string text = random.of(originals).encode();
    for (std::size_t changes = 1 + random.below(4); changes > 0 && !text.empty(); --changes) {
      const std::size_t place = random.below(text.size());
      switch (random.below(4)) {
        case 0:
          text[place] = random.of(signs);
          break;
        case 1:
          text.erase(place, 1 + random.below(40));
          break;
        case 2:
          text.insert(place, 1, random.of(signs));
          break;
        default:
          text.insert(place, text.substr(random.below(text.size()), random.below(60)));
      }
    }
    expectWholeOrNothing(text);
    ASSERT_FALSE(testing::Test::HasFatalFailure()) << "seed " << seed << ", case " << i;
  }
}

}  // namespace
}  // namespace tavrin
