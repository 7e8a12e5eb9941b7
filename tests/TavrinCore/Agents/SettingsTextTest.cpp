#include "TavrinCore/Agents/SettingsText.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Support/Json/Json.hpp"

namespace tavrin {
namespace {

using SettingsText::connect;
using SettingsText::disconnect;
using SettingsText::Outcome;
using testing::HasSubstr;

const std::string helper = "/opt/Tavrin/bin/tavrin-hook";

// Claude Code with one event, so that a test can show the whole text.
AgentDefinition oneEvent(Agent agent = Agent::claude) {
  AgentDefinition definition = AgentDefinition::definition(agent);
  definition.events = {{"Stop", {}}};
  return definition;
}

std::string connected(std::string_view text, Agent agent = Agent::claude) {
  const Outcome outcome = connect(text, helper, oneEvent(agent));
  EXPECT_EQ(outcome.kind, Outcome::Kind::changed) << outcome.refusal.sentence("it");
  EXPECT_EQ(disconnect(outcome.text, oneEvent(agent)).text, text);
  return outcome.text;
}

std::string refused(std::string_view text, const AgentDefinition& definition = AgentDefinition::claude) {
  const Outcome outcome = connect(text, helper, definition);
  EXPECT_EQ(outcome.kind, Outcome::Kind::refused) << text;
  EXPECT_EQ(outcome.text, text);
  return outcome.refusal.sentence("settings.json");
}

TEST(SettingsText, TakesTheIndentationOfTheFile) {
  EXPECT_EQ(connected("{\n\t\"a\": 1\n}\n"),
            "{\n\t\"a\": 1,\n\t\"hooks\": {\n\t\t\"Stop\": [\n\t\t\t{\n\t\t\t\t\"hooks\": [\n\t\t\t\t\t{\n"
            "\t\t\t\t\t\t\"type\": \"command\",\n\t\t\t\t\t\t\"command\": \"\\\"" +
                helper +
                "\\\"\",\n\t\t\t\t\t\t\"timeout\": 5\n\t\t\t\t\t}\n\t\t\t\t]\n\t\t\t}\n\t\t]\n\t}\n}\n");
}

TEST(SettingsText, KeepsAFileOnOneLineOnOneLine) {
  const std::string entry = R"({"type":"command","command":"\")" + helper + R"(\"","timeout":5})";
  EXPECT_EQ(connected(R"({"a":1})"), R"({"a":1,"hooks":{"Stop":[{"hooks":[)" + entry + "]}]}}");
  EXPECT_THAT(connected(R"({"a": 1, "b": 2})"), HasSubstr(R"("b": 2, "hooks": {"Stop": [{"hooks": [{"type)"));
}

TEST(SettingsText, PutsOurGroupAfterTheUsers) {
  const std::string text =
      connected("{\r\n  \"hooks\": {\r\n    \"Stop\": [\r\n      {\"hooks\": []}\r\n    ]\r\n  }\r\n}");
  EXPECT_THAT(text, HasSubstr("      {\"hooks\": []},\r\n      {\r\n        \"hooks\": [\r\n"));
}

TEST(SettingsText, KeepsCommentsAndTrailingCommasOfGemini) {
  const std::string text = connected(
      "{ // mine\n  \"hooks\": {\n    \"Stop\": [\n      {}, // the last\n    ],\n  }, /* end */\n}\n",
      Agent::gemini);
  EXPECT_THAT(text, HasSubstr("{}, // the last\n      {\n"));
  EXPECT_THAT(text, HasSubstr("      },\n    ],\n  }, /* end */\n}\n"));
  EXPECT_THAT(connected("{ \"a\": 1 // one\n}", Agent::gemini), HasSubstr("\"a\": 1, // one\n"));
}

TEST(SettingsText, GivesEveryEmptyObjectItsBytesBack) {
  for (const char* text : {"{}", "{ }", "{\n}", "{\n\n}\n", "  {}", "\xEF\xBB\xBF{\r\n}"}) connected(text);
  for (const char* text : {"{ // c\n}", "{ /* c */ }", "// c\n{}", "{}// c", "{ // a\r\n // b\r\n}"})
    connected(text, Agent::gemini);
}

TEST(SettingsText, WritesAFileThatIsEmpty) {
  const Outcome outcome = connect("", helper, oneEvent());
  EXPECT_TRUE(outcome.text.starts_with("{\n  \"hooks\": {\n"));
  EXPECT_TRUE(outcome.text.ends_with("}\n"));
  EXPECT_TRUE(disconnect(outcome.text, oneEvent()).isEmpty);
}

TEST(SettingsText, RefusesWhatTheClientWouldAndSaysWhere) {
  EXPECT_EQ(refused("{\n  \"a\": 1, // one\n}"),
            "settings.json was not changed: Claude Code does not accept the comment at line 2, column 11. "
            "Remove the comment, then try again.");
  EXPECT_EQ(refused("{\"ä\": [1,\n]}"),
            "settings.json was not changed: Claude Code does not accept the comma after the last element at "
            "line 1, column 9. Remove the comma, then try again.");
  EXPECT_THAT(refused("\xEF\xBB\xBF/**/{}"), HasSubstr("the comment at line 1, column 1"));
  EXPECT_THAT(refused("{\"a\": tru}"), HasSubstr("it is not valid JSON at line 1, column 7"));
  EXPECT_THAT(refused("{\"a\":"), HasSubstr("its JSON ends too early at line 1, column 6"));
  EXPECT_THAT(refused("{\"a\": 1e999}"), HasSubstr("a number that is too large at line 1"));
  EXPECT_THAT(refused("{} {}"), HasSubstr("it is not valid JSON at line 1, column 4"));
  EXPECT_THAT(refused("{\"\xff\": 1}"), HasSubstr("it is not UTF-8 at line 1, column 3"));
  EXPECT_THAT(refused(std::string(513, '[')), HasSubstr("more than 512 levels deep at line 1, column 513"));
  EXPECT_THAT(refused("\n []"),
              HasSubstr("it is not a JSON object: something else begins at line 2, column 2"));
  EXPECT_THAT(refused("{} /* c", AgentDefinition::gemini), HasSubstr("a comment without an end at line 1"));
  EXPECT_THAT(refused("{} /*/", AgentDefinition::gemini), HasSubstr("a comment without an end at line 1"));
  EXPECT_THAT(refused("{\"hooks\": {\"agentStop\": [{\"bash\": \"x\"}]}}", AgentDefinition::copilot),
              HasSubstr("it holds somebody else's hooks"));
}

TEST(SettingsText, RefusesAPathThatCouldNotBeRecognisedOrRun) {
  for (const char* path :
       {"", "tavrin-hook", "/bin/tavrin-hook", "Tavrin/bin/tavrin-hook", "/Tavrin/bin/tavrin-hook/x",
        "/a\"/Tavrin/bin/tavrin-hook", "/$HOME/Tavrin/bin/tavrin-hook", "/`a`/Tavrin/bin/tavrin-hook",
        "/a\\b/Tavrin/bin/tavrin-hook", "/a\n/Tavrin/bin/tavrin-hook", "/a\x7f/Tavrin/bin/tavrin-hook",
        "/\xff/Tavrin/bin/tavrin-hook"}) {
    const Outcome outcome = connect("{}", path, oneEvent());
    EXPECT_EQ(outcome.kind, Outcome::Kind::refused) << path;
    EXPECT_EQ(outcome.refusal.line, 0U);
    EXPECT_THAT(outcome.refusal.sentence("it"), HasSubstr("Install tavrin-hook at another path."));
  }
}

TEST(SettingsText, MovesTheHooksOfAnotherInstallation) {
  for (const char* text : {"{}", "{\"a\":1}", "{\n    \"hooks\": {\n        \"Stop\": [{}]\n    }\n}\n"}) {
    const std::string old = connect(text, "/old/Tavrin/bin/tavrin-hook", oneEvent()).text;
    EXPECT_EQ(connect(old, helper, oneEvent()).text, connected(text));
  }
}

TEST(SettingsText, LeavesOneGroupOfOursWhereItIs) {
  const std::string group = R"({"hooks":[{"command":"\")" + helper + R"(\"","timeout":9},{"command":"x"}]})";
  const std::string text = "{\"hooks\":{\"Stop\":[" + group + ",{\"hooks\":[]}]}}";
  EXPECT_EQ(connect(text, helper, oneEvent()).kind, Outcome::Kind::unchanged);
  const std::string twice = "{\"hooks\":{\"Stop\":[" + group + "," + group + "]}}";
  EXPECT_EQ(connect(twice, helper, oneEvent()).kind, Outcome::Kind::changed);
}

TEST(SettingsText, OfAnotherInstallationInAnOwnFileAreReplaced) {
  const std::string old = connect("", "/old/Tavrin/bin/tavrin-hook", AgentDefinition::copilot).text;
  const Outcome moved = connect(old, helper, AgentDefinition::copilot);
  EXPECT_EQ(moved.kind, Outcome::Kind::changed);
  EXPECT_EQ(moved.text, connect("", helper, AgentDefinition::copilot).text);
}

TEST(SettingsText, OfSomebodyElseInAnOwnFileStay) {
  const std::string others = R"({"hooks":{"agentStop":[{"bash":"say done"}]}})";
  EXPECT_THAT(refused(others, AgentDefinition::copilot), HasSubstr("it holds somebody else's hooks"));
  const Outcome outcome = disconnect(others, AgentDefinition::copilot);
  EXPECT_EQ(outcome.kind, Outcome::Kind::unchanged);
  EXPECT_EQ(outcome.text, others);
  EXPECT_FALSE(outcome.isEmpty);
  EXPECT_TRUE(SettingsText::contents(others, AgentDefinition::copilot).entries.empty());
}

TEST(SettingsText, ThatDoNotParseAreNotDisconnected) {
  const Outcome outcome = disconnect("{\n  \"a\": }", oneEvent());
  EXPECT_EQ(outcome.kind, Outcome::Kind::refused);
  EXPECT_EQ(outcome.text, "{\n  \"a\": }");
  EXPECT_EQ(outcome.refusal.line, 2U);
}

TEST(SettingsText, ListsEntriesBesideWhatIsNotAList) {
  const std::string text = R"({"hooks":{"Start":7,"Other":[{"matcher":"x"}],)"
                           R"("Stop":[{"hooks":[{"command":"\"/a/Tavrin/bin/tavrin-hook"}]}]}})";
  const SettingsText::Contents contents = SettingsText::contents(text, oneEvent());
  ASSERT_EQ(contents.entries.size(), 1U);
  EXPECT_EQ(contents.entries[0].event, "Stop");
  EXPECT_EQ(contents.entries[0].helperPath, "");  // the quote is never closed
}

TEST(SettingsText, ListsOurEntries) {
  const std::string text =
      R"({"hooks":{"Gone":[{"hooks":[{"command":"/a/Tavrin/bin/tavrin-hook"}]}],)"
      R"("Stop":[{"hooks":[{"command":"x"},{"command":"\"/b/Tavrin/bin/tavrin-hook\" -a"}]}]}})";
  const SettingsText::Contents contents = SettingsText::contents(text, oneEvent());
  ASSERT_EQ(contents.entries.size(), 2U);
  EXPECT_EQ(contents.entries[0].event, "Gone");
  EXPECT_EQ(contents.entries[0].helperPath, "");
  EXPECT_EQ(contents.entries[1].helperPath, "/b/Tavrin/bin/tavrin-hook");
  EXPECT_EQ(SettingsText::contents("[", oneEvent()).refusal->line, 1U);
  const std::string own = connect("", helper, AgentDefinition::copilot).text;
  EXPECT_EQ(SettingsText::contents(own, AgentDefinition::copilot).entries.size(), 7U);
  EXPECT_TRUE(SettingsText::isConnected(own, helper, AgentDefinition::copilot));
  EXPECT_FALSE(SettingsText::isConnected("", helper, AgentDefinition::copilot));
}

TEST(SettingsText, EditsADeepFile) {
  const std::string deep = std::string(510, '[') + std::string(510, ']');
  connected("{\"a\": " + deep + "}");
}

TEST(SettingsText, EditsTenMegabytes) {
  std::string text = "{\n  \"a\": [\n";
  while (text.size() < 10'000'000) text += "    {\"key\": \"a value, or } so\", \"n\": [1, 2.5, null]},\n";
  text += "    0\n  ],\n  \"hooks\": {\"Stop\": [";
  for (int i = 0; i < 1000; ++i) text += "{\"hooks\": [{\"command\": \"/a/Tavrin/bin/tavrin-hook\"}, {}]}, ";
  text += "{}]}\n}\n";
  const Outcome outcome = connect(text, helper, AgentDefinition::claude);
  EXPECT_EQ(outcome.kind, Outcome::Kind::changed);
  EXPECT_EQ(SettingsText::contents(outcome.text, AgentDefinition::claude).entries.size(), 11U);
}

}  // namespace
}  // namespace tavrin
