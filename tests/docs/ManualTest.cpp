// Compares what the manual pages promise with the code.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Hook/HookPayload.hpp"
#include "TavrinCore/Hook/HookTransitions.hpp"
#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;

std::string page(std::string_view name) {
  return test::readFile(test::dataDirectory().parent_path().parent_path() / "docs/man" / name);
}

// The text between `start` and `end`. The test fails if either is missing.
std::string between(const std::string& text, std::string_view start, std::string_view end) {
  const std::size_t from = text.find(start);
  if (from == std::string::npos) {
    ADD_FAILURE() << "no \"" << start << "\"";
    return {};
  }
  const std::size_t to = text.find(end, from + start.size());
  if (to == std::string::npos) ADD_FAILURE() << "no \"" << end << "\" after \"" << start << "\"";
  return text.substr(from + start.size(), to - from - start.size());
}

// The words of letters, digits and "_" in a text.
std::vector<std::string> wordsOf(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return std::isalnum(c) == 0 && c != '_'; }, ' ');
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

HookAction actionOf(const std::string& eventName) {
  HookEvent event;
  event.eventName = eventName;
  return HookTransitions::action(event);
}

// The events that the manual lists under each heading, without those that have conditions.
std::map<std::string, HookAction> listedEvents() {
  const std::string text = page("tavrin-hook.1");
  std::map<std::string, HookAction> events;
  const auto list = [&](std::string_view heading, HookAction action) {
    for (const std::string& word : wordsOf(between(text, heading, "\n.It")))
      EXPECT_TRUE(events.emplace(word, action).second) << word;
  };
  list(".It Becomes idle\n", HookAction::set(SessionState::idle));
  list(".It Becomes working\n", HookAction::set(SessionState::working));
  list(".It Ends, and its file is removed\n", HookAction::remove());
  return events;
}

TEST(Manual, NamesTheStateAfterEachEvent) {
  const std::map<std::string, HookAction> listed = listedEvents();
  for (const auto& [name, action] : listed) EXPECT_EQ(actionOf(name), action) << name;
  EXPECT_EQ(listed.size(), 16U);

  const std::string asking = between(page("tavrin-hook.1"), ".It Needs you\n", "\n.It");
  for (const char* name : {"PermissionRequest", "Elicitation"}) {
    EXPECT_THAT(asking, HasSubstr(name));
    EXPECT_EQ(actionOf(name), HookAction::set(SessionState::needsYou)) << name;
  }
  for (const std::string_view tool : HookTransitions::questionTools) EXPECT_THAT(asking, HasSubstr(tool));
  for (const char* type : {"permission_prompt", "ToolPermission", "elicitation_dialog"}) {
    EXPECT_THAT(asking, HasSubstr(type));
    HookEvent event;
    event.eventName = "Notification";
    event.notificationType = type;
    EXPECT_EQ(HookTransitions::action(event), HookAction::set(SessionState::needsYou)) << type;
  }
}

TEST(Manual, LeavesOutNoEventThatAnAgentIsAskedToSend) {
  const std::map<std::string, HookAction> listed = listedEvents();
  const std::string text = page("tavrin-hook.1");
  int count = 0;
  for (const AgentDefinition& definition : AgentDefinition::all) {
    EXPECT_THAT(text, HasSubstr("\n.Cm " + std::string(rawValue(definition.agent))));
    for (const HookSettings::EventSpec& event : definition.events) {
      const std::string name = HookEvent::normalizedEventName(event.name);
      EXPECT_TRUE(listed.contains(name) || text.find(name) != std::string::npos) << name;
      ++count;
    }
  }
  EXPECT_EQ(count, 42);
}

TEST(Manual, NamesEveryKeyThatIsReadOfAnEvent) {
  const std::vector<std::string> words = wordsOf(page("tavrin-hook.1"));
  for (const std::string_view key : HookPayload::keys()) {
    EXPECT_TRUE(std::ranges::find(words, key) != words.end()) << key;
  }
  EXPECT_EQ(HookPayload::keys().size(), 20U);
}

TEST(Manual, ItsSampleLogLineIsWhatTheCommandWrites) {
  const test::ScratchHome home;
  const std::string event =
      R"({"session_id":"3f2a9c1d-0","hook_event_name":"PreToolUse","tool_name":"Bash","tool_use_id":"toolu_a1b2c3"})";
  EXPECT_EQ(test::runHook(home.path(), event), test::silentSuccess);
  std::string line = "2025-01-31T09:15:02Z " + home.logMessages();
  constexpr std::string_view arrow = "\u2192";
  line.replace(line.find(arrow), arrow.size(), "\\(->");
  EXPECT_THAT(page("tavrin-hook.1"), HasSubstr("\n" + line));
}

TEST(Manual, DescribesEveryKeyOfASessionFileInTheOrderOfTheFile) {
  Session session;
  const auto keysOf = [&] {
    std::vector<std::string> keys;
    const auto record = Json::parse(session.encode());
    for (const auto& field : record->as_object()) keys.emplace_back(field.key());
    return keys;
  };
  const std::string text = page("tavrin-session.5");
  EXPECT_THAT(wordsOf(between(text, "\nThe keys\n.Cm", "\nare always written")), [&] {
    std::vector<std::string> words = keysOf();
    words.insert(words.end() - 1, {"and", "Cm"});
    return ElementsAreArray(words);
  }());

  session.needsYouTool = session.attentionId = session.transcriptPath = session.tty = "x";
  session.hostBundleId = session.repoRoot = session.worktreeName = session.title = "x";
  session.attentionTranscriptOffset = 1;
  session.hostPid = 1;
  std::vector<std::string> described;
  std::istringstream fields(between(text, ".Ss Fields\n", ".Ss "));
  constexpr std::string_view item = ".It Cm ";
  for (std::string line; std::getline(fields, line);) {
    if (line.starts_with(item)) described.push_back(line.substr(item.size()));
  }
  EXPECT_THAT(described, ElementsAreArray(keysOf()));
  EXPECT_EQ(described.size(), 19U);
  for (const SessionState state : allSessionStates) {
    EXPECT_THAT(text, HasSubstr(".It Dq " + std::string(rawValue(state)) + "\n"));
  }
}

TEST(Manual, ItsSampleSessionFileIsAsTheCommandWritesIt) {
  std::string sample = "{" + between(page("tavrin-session.5"), "indent\n{", "\n}\n") + "\n}";
  for (std::size_t at = sample.find("\\e"); at != std::string::npos; at = sample.find("\\e")) {
    sample.replace(at, 2, "\\");
  }
  const std::optional<Session> session = Session::decode(sample);
  ASSERT_TRUE(session.has_value());
  EXPECT_EQ(session->encode(), sample);
}

TEST(Manual, NamesTheVersionThatTheExecutableHolds) {
  const std::string version = TAVRIN_VERSION;
  for (const char* name : {"tavrin-hook.1", "tavrin-session.5"}) {
    EXPECT_THAT(page(name), HasSubstr("\nThis is the manual of version " + version + ".\n"));
  }
  const std::string executable = test::readFile(test::hookExecutable());
  EXPECT_NE(executable.find("tavrin-hook " + version + '\0'), std::string::npos);
}

}  // namespace
}  // namespace tavrin
