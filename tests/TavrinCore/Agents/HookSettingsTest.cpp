#include "TavrinCore/Agents/HookSettings.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TavrinCore/Support/Json/Json.hpp"

namespace tavrin {
namespace {

namespace json = boost::json;

const std::string path = "/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook";
const std::string oldPath = "/opt/Tavrin/bin/tavrin-hook";

json::object parsed(std::string_view text) {
  return Json::parse(text).value().as_object();
}

// The document with each object's keys in order, so that documents can be compared as texts.
std::string text(const json::value& value) {
  return Json::print(value);
}

// An agent with the events `events`. Its other fields do not matter.
AgentDefinition definitionOf(HookSettings::EventList events) {
  AgentDefinition definition = AgentDefinition::grok;
  definition.helperFlag = std::nullopt;
  definition.events = events;
  return definition;
}

const AgentDefinition stopOnly = definitionOf({{"Stop", {}}});

// An entry and a group as Tavrin writes them for `stopOnly`.
const std::string ourEntry = R"({"type":"command","command":"\")" + path + R"(\"","timeout":5})";
const std::string ourGroup = R"({"hooks":[)" + ourEntry + "]}";

json::object withStop(const std::string& groups) {
  return parsed(R"({"hooks":{"Stop":)" + groups + "}}");
}

TEST(HookCommand, QuotesThePathAndAppendsAFlagThatIsNotEmpty) {
  EXPECT_EQ(HookSettings::command(path, std::nullopt), "\"" + path + "\"");
  EXPECT_EQ(HookSettings::command(path, ""), "\"" + path + "\"");
  EXPECT_EQ(HookSettings::command(path, "--agent codex"), "\"" + path + "\" --agent codex");
  EXPECT_EQ(HookSettings::command("", " "), "\"\"  ");
}

TEST(HookEntry, HasItsThreeKeys) {
  EXPECT_EQ(HookSettings::hookEntry("/x", "--agent gemini", 5000),
            parsed(R"({"type":"command","command":"\"/x\" --agent gemini","timeout":5000})"));
  EXPECT_TRUE(HookSettings::hookEntry("/x", {}, 5).at("timeout").is_int64());
}

TEST(IsTavrinHook, GoesByTheMarkerInTheCommand) {
  EXPECT_EQ(HookSettings::marker, "/Tavrin/bin/tavrin-hook");
  for (const char* entry : {R"({"command":"/Tavrin/bin/tavrin-hook"})",
                            R"({"command":"\"/a b/Tavrin/bin/tavrin-hook\" --agent codex"})",
                            R"({"type":"prompt","command":"env X=1 /a/Tavrin/bin/tavrin-hook-old; true"})"}) {
    EXPECT_TRUE(HookSettings::isTavrinHook(parsed(entry))) << entry;
  }
}

TEST(IsTavrinHook, AnythingElseIsTheUsers) {
  for (const char* entry :
       {"{}", R"({"command":5})", R"({"command":null})", R"({"command":["/Tavrin/bin/tavrin-hook"]})",
        R"({"command":{"command":"/Tavrin/bin/tavrin-hook"}})", R"({"command":""})",
        R"({"command":"/tavrin/bin/tavrin-hook"})", R"({"command":"Tavrin/bin/tavrin-hook"})",
        R"({"bash":"/Tavrin/bin/tavrin-hook"})", R"({"Command":"/Tavrin/bin/tavrin-hook"})"}) {
    EXPECT_FALSE(HookSettings::isTavrinHook(parsed(entry))) << entry;
  }
}

TEST(StripTavrin, TreatsEachGroupByItsForm) {
  const std::string user = R"({"type":"command","command":"make lint"})";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"[]", "[]"},
      // Elements that are not groups stay.
      {"[{}]", "[{}]"},
      {R"([{"matcher":"Bash"}])", R"([{"matcher":"Bash"}])"},
      {R"([{"hooks":null},{"hooks":{}},{"hooks":"x"},{"hooks":7}])",
       R"([{"hooks":null},{"hooks":{}},{"hooks":"x"},{"hooks":7}])"},
      {R"([{"hooks":[)" + ourEntry + ",7]}]", R"([{"hooks":[)" + ourEntry + ",7]}]"},
      // A list that was empty before stays. One that becomes empty is removed with its group.
      {R"([{"matcher":"m","hooks":[]}])", R"([{"matcher":"m","hooks":[]}])"},
      {"[" + ourGroup + "]", "[]"},
      {R"([{"matcher":"m","x":1,"hooks":[)" + ourEntry + "," + ourEntry + "]}]", "[]"},
      // Other entries keep their order, and a group keeps its other keys.
      {R"([{"hooks":[{"command":1},)" + ourEntry + "," + user + "," + ourEntry +
           R"(,{}],"matcher":"m","x":[]}])",
       R"([{"hooks":[{"command":1},)" + user + R"(,{}],"matcher":"m","x":[]}])"},
      {R"([{"a":1},)" + ourGroup + R"(,{"b":2},)" + ourGroup + R"(,{"hooks":[)" + user + "]}]",
       R"([{"a":1},{"b":2},{"hooks":[)" + user + "]}]"},
  };
  for (const auto& [groups, expected] : cases) {
    EXPECT_EQ(text(HookSettings::stripTavrin(Json::parse(groups)->as_array())), text(*Json::parse(expected)))
        << groups;
  }
}

TEST(StripTavrin, LeavesElementsThatAreNotGroups) {
  const json::array odd =
      Json::parse(R"([7,null,"/Tavrin/bin/tavrin-hook",[{"command":"/Tavrin/bin/tavrin-hook"}]])")
          ->as_array();
  EXPECT_EQ(HookSettings::stripTavrin(odd), odd);
}

TEST(Merged, AnEmptyDocumentGetsExactlyOneGroupForEachEvent) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const json::object document = HookSettings::merged({}, path, definition);
    EXPECT_EQ(document.size(), 1U) << definition.name;
    const json::object& hooks = document.at("hooks").as_object();
    ASSERT_EQ(hooks.size(), definition.events.size()) << definition.name;
    for (const HookSettings::EventSpec& spec : definition.events) {
      json::object group{
          {"hooks", json::array{HookSettings::hookEntry(path, definition.helperFlag, spec.timeout)}}};
      if (spec.matcher) group["matcher"] = std::string(*spec.matcher);
      EXPECT_EQ(hooks.at(spec.name), json::array{group}) << spec.name;
    }
  }
}

TEST(Merged, WritesWhatAFileShouldHold) {
  AgentDefinition definition = AgentDefinition::gemini;
  definition.events = {{"BeforeTool", {}, 5000}, {"Notification", "permission_prompt", 3}};
  EXPECT_EQ(text(HookSettings::merged(parsed(R"({"model":{"name":"x"}})"), "/a b/Tavrin/bin/tavrin-hook",
                                      definition)),
            R"({
  "model": {
    "name": "x"
  },
  "hooks": {
    "BeforeTool": [
      {
        "hooks": [
          {
            "type": "command",
            "command": "\"/a b/Tavrin/bin/tavrin-hook\" --agent gemini",
            "timeout": 5000
          }
        ]
      }
    ],
    "Notification": [
      {
        "matcher": "permission_prompt",
        "hooks": [
          {
            "type": "command",
            "command": "\"/a b/Tavrin/bin/tavrin-hook\" --agent gemini",
            "timeout": 3
          }
        ]
      }
    ]
  }
}
)");
}

TEST(Merged, WithoutEventsItWritesAnEmptyHooksObject) {
  EXPECT_EQ(HookSettings::merged({}, path, definitionOf({})), parsed(R"({"hooks":{}})"));
}

TEST(Merged, TwiceIsTheSameAsOnce) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const json::object once = HookSettings::merged({}, path, definition);
    EXPECT_EQ(text(HookSettings::merged(once, path, definition)), text(once)) << definition.name;
  }
}

TEST(Merged, AMovedToolReplacesTheOldEntriesWhateverTheirFlagAndTimeOut) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    AgentDefinition before = definition;
    before.helperFlag = "--agent other";
    before.events = {};
    json::object old = HookSettings::merged({}, oldPath, before);
    for (const HookSettings::EventSpec& spec : definition.events)
      old.at("hooks").as_object()[spec.name] = json::array{
          json::object{{"matcher", "anything"},
                       {"hooks", json::array{HookSettings::hookEntry(oldPath, "--agent other", 77)}}}};
    EXPECT_EQ(HookSettings::merged(old, path, definition), HookSettings::merged({}, path, definition))
        << definition.name;
  }
}

TEST(Merged, AUsersEntryInOurGroupStaysAndOurNewGroupComesAfterIt) {
  const std::string user = R"({"type":"command","command":"make lint"})";
  const json::object document =
      withStop(R"([{"matcher":"m","hooks":[)" + user + R"(,{"command":")" + oldPath + R"("}]},{"x":1}])");
  EXPECT_EQ(HookSettings::merged(document, path, stopOnly),
            withStop(R"([{"matcher":"m","hooks":[)" + user + R"(]},{"x":1},)" + ourGroup + "]"));
}

TEST(Merged, KeepsOtherEventsAndTopLevelKeysInTheirOrder) {
  const json::object document = parsed(
      R"({"z":1.0,"hooks":{"B":[{"hooks":[{"command":"b"}]}],"Stop":[],"A":"odd"},"a":[null,{}],"m":18446744073709551615})");
  EXPECT_EQ(text(HookSettings::merged(document, path, stopOnly)),
            text(parsed(R"({"z":1.0,"hooks":{"B":[{"hooks":[{"command":"b"}]}],"Stop":[)" + ourGroup +
                        R"(],"A":"odd"},"a":[null,{}],"m":18446744073709551615})")));
}

TEST(Merged, AHooksValueThatIsNotAnObjectIsReplacedInItsPlace) {
  for (const char* hooks : {"null", "7", "true", "\"hooks\"", "[]", R"([{"Stop":[]}])"}) {
    const json::object document = parsed(R"({"a":1,"hooks":)" + std::string(hooks) + R"(,"b":2})");
    EXPECT_EQ(text(HookSettings::merged(document, path, stopOnly)),
              text(parsed(R"({"a":1,"hooks":{"Stop":[)" + ourGroup + R"(]},"b":2})")))
        << hooks;
  }
}

TEST(Merged, AnEventThatIsNotAnArrayOfObjectsIsReplaced) {
  for (const char* value :
       {"null", "7", "\"x\"", "{}", R"({"hooks":[]})", "[null]", R"([{"hooks":[]},"no group"])", "[[]]"})
    EXPECT_EQ(HookSettings::merged(withStop(value), path, stopOnly), withStop("[" + ourGroup + "]")) << value;
}

TEST(Merged, ElementsThatAreNotGroupsStay) {
  for (const char* group : {"{}", R"({"matcher":5})", R"({"hooks":null})", R"({"hooks":{}})",
                            R"({"hooks":[7]})", R"({"hooks":[]})"})
    EXPECT_EQ(HookSettings::merged(withStop("[" + std::string(group) + "]"), path, stopOnly),
              withStop("[" + std::string(group) + "," + ourGroup + "]"))
        << group;
}

TEST(Removed, TakesOurGroupsTheirEmptyEventsAndAnEmptyHooksObject) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    EXPECT_EQ(HookSettings::removed(HookSettings::merged({}, path, definition)), json::object())
        << definition.name;
    const json::object document = parsed(R"({"b":1,"a":{"hooks":{}},"c":[]})");
    EXPECT_EQ(text(HookSettings::removed(HookSettings::merged(document, path, definition))), text(document))
        << definition.name;
  }
}

TEST(Removed, TreatsEachDocumentByItsForm) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"{}", "{}"},
      {R"({"hooks":7})", R"({"hooks":7})"},
      {R"({"a":1,"hooks":[{"hooks":[)" + ourEntry + R"(]}]})",
       R"({"a":1,"hooks":[{"hooks":[)" + ourEntry + R"(]}]})"},
      {R"({"hooks":{},"a":1})", R"({"a":1})"},
      {R"({"a":1,"hooks":{"Stop":[)" + ourGroup + R"(]},"b":2,"c":3})", R"({"a":1,"b":2,"c":3})"},
      {R"({"hooks":{"Stop":[]}})", "{}"},
      // At any event, whether it is listed for an agent or not.
      {R"({"hooks":{"Unheard":[)" + ourGroup + R"(],"Stop":[{"hooks":[{"command":"x"},)" + ourEntry +
           R"(]}]}})",
       R"({"hooks":{"Stop":[{"hooks":[{"command":"x"}]}]}})"},
      // A value that is not an array of objects stays as it is.
      {R"({"hooks":{"A":null,"B":7,"C":{"hooks":[)" + ourEntry + R"(]},"D":[)" + ourGroup + R"(,1],"E":[)" +
           ourGroup + "]}}",
       R"({"hooks":{"A":null,"B":7,"C":{"hooks":[)" + ourEntry + R"(]},"D":[)" + ourGroup + ",1]}}"},
      {R"({"hooks":{"A":[{}],"B":[{"hooks":[]}],"C":[{"hooks":[7,)" + ourEntry + "]}]}}",
       R"({"hooks":{"A":[{}],"B":[{"hooks":[]}],"C":[{"hooks":[7,)" + ourEntry + "]}]}}"},
  };
  for (const auto& [before, after] : cases)
    EXPECT_EQ(text(HookSettings::removed(parsed(before))), text(parsed(after))) << before;
}

TEST(IsInstalled, HoldsForWhatMergedWrites) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    const json::object document = HookSettings::merged({}, path, definition);
    EXPECT_TRUE(HookSettings::isInstalled(document, path, definition)) << definition.name;
    EXPECT_FALSE(HookSettings::isInstalled(document, oldPath, definition)) << definition.name;
    EXPECT_FALSE(HookSettings::isInstalled(HookSettings::removed(document), path, definition))
        << definition.name;
  }
}

TEST(IsInstalled, EveryEventMustBeThere) {
  for (const AgentDefinition& definition : AgentDefinition::all) {
    for (const HookSettings::EventSpec& spec : definition.events) {
      json::object document = HookSettings::merged({}, path, definition);
      document.at("hooks").as_object().erase(spec.name);
      EXPECT_FALSE(HookSettings::isInstalled(document, path, definition))
          << definition.name << " " << spec.name;
    }
  }
}

TEST(IsInstalled, AnEmptyEventListIsInstalledWhereverThereIsAHooksObject) {
  EXPECT_TRUE(HookSettings::isInstalled(parsed(R"({"hooks":{}})"), path, definitionOf({})));
  EXPECT_FALSE(HookSettings::isInstalled({}, path, definitionOf({})));
  EXPECT_FALSE(HookSettings::isInstalled(parsed(R"({"hooks":[]})"), path, definitionOf({})));
}

TEST(IsInstalled, TheMatcherMustAgree) {
  const auto withMatcher = [](const char* matcher) {
    json::object document = HookSettings::merged({}, path, AgentDefinition::claude);
    json::object& group = document.at("hooks").at("Notification").at(0).as_object();
    group.erase("matcher");
    if (matcher != nullptr) group["matcher"] = *Json::parse(matcher);
    return HookSettings::isInstalled(document, path, AgentDefinition::claude);
  };
  EXPECT_TRUE(withMatcher("\"permission_prompt\""));
  for (const char* matcher :
       {"\"\"", "\"permission_prompt|idle_prompt\"", "\"Permission_Prompt\"", "5", "null"})
    EXPECT_FALSE(withMatcher(matcher)) << matcher;
  EXPECT_FALSE(withMatcher(nullptr));
}

TEST(IsInstalled, AGroupWithAMatcherDoesNotCountForASpecWithoutOne) {
  const auto withMatcher = [](const std::string& matcher) {
    return HookSettings::isInstalled(
        withStop(R"([{"matcher":)" + matcher + R"(,"hooks":[)" + ourEntry + "]}]"), path, stopOnly);
  };
  EXPECT_FALSE(withMatcher("\"\""));
  EXPECT_FALSE(withMatcher("\"*\""));
  // A matcher that is not a text does not count.
  EXPECT_TRUE(withMatcher("null"));
  EXPECT_TRUE(withMatcher("7"));
  EXPECT_TRUE(withMatcher("[\"a\"]"));
}

TEST(IsInstalled, AnyGroupAndAnyEntryMayBeTheOne) {
  EXPECT_TRUE(HookSettings::isInstalled(
      withStop(
          R"([{},{"hooks":7},{"hooks":[]},{"matcher":"x","hooks":[{"command":"a"}]},{"hooks":[{},{"command":5},)" +
          ourEntry + R"(,{"command":"b"}]}])"),
      path, stopOnly));
  // Matcher and command must be in the same group.
  AgentDefinition definition = definitionOf({{"Stop", "m"}});
  EXPECT_FALSE(HookSettings::isInstalled(
      withStop(R"([{"matcher":"m","hooks":[{"command":"a"}]},)" + ourGroup + "]"), path, definition));
}

TEST(IsInstalled, TimeOutAndTypeAreNotCompared) {
  const std::string command = R"("command":"\")" + path + R"(\"")";
  EXPECT_TRUE(HookSettings::isInstalled(
      withStop(R"([{"hooks":[{)" + command + R"(,"timeout":600,"type":"x"}]}])"), path, stopOnly));
  EXPECT_TRUE(HookSettings::isInstalled(withStop(R"([{"hooks":[{)" + command + "}]}]"), path, stopOnly));
}

TEST(IsInstalled, TheCommandMustBeEqualToTheLetter) {
  for (const std::string& command :
       {path, "\"" + path + "\" ", "\"" + path + "\" --agent grok", " \"" + path + "\"", std::string()}) {
    const json::object entry{{"command", command}};
    const json::object document{
        {"hooks", {{"Stop", json::array{json::object{{"hooks", json::array{entry}}}}}}}};
    EXPECT_FALSE(HookSettings::isInstalled(document, path, stopOnly)) << command;
  }
}

TEST(IsInstalled, OtherShapesAreNotInstalled) {
  const std::vector<std::string> stops = {"[]",
                                          "null",
                                          "{}",
                                          ourGroup,
                                          "[" + ourGroup + ",7]",
                                          R"([{"hooks":[)" + ourEntry + ",null]}]",
                                          R"([{"hooks":)" + ourEntry + "}]",
                                          "[" + ourEntry + "]"};
  for (const std::string& groups : stops) {
    EXPECT_FALSE(HookSettings::isInstalled(withStop(groups), path, stopOnly)) << groups;
  }
  for (const char* document : {"{}", R"({"hooks":null})", R"({"hooks":"Stop"})", R"({"hooks":[]})",
                               R"({"hooks":{}})", R"({"Stop":[]})"})
    EXPECT_FALSE(HookSettings::isInstalled(parsed(document), path, stopOnly)) << document;
}

TEST(OwnFileDocument, OfCopilotHasSevenEventsThatEndInTheirNames) {
  const json::object document = HookSettings::ownFileDocument(path, AgentDefinition::copilot);
  EXPECT_EQ(document.size(), 2U);
  EXPECT_EQ(document.at("version"), json::value(1));
  const json::object& hooks = document.at("hooks").as_object();
  EXPECT_EQ(hooks.size(), 7U);
  for (const auto& [event, entries] : hooks) {
    const std::string name(event);
    json::object expected{
        {"type", "command"}, {"bash", "\"" + path + "\" --agent copilot --event " + name}, {"timeoutSec", 5}};
    if (name == "notification") expected["matcher"] = "permission_prompt|elicitation_dialog";
    EXPECT_EQ(entries, json::array{expected}) << name;
  }
  EXPECT_TRUE(HookSettings::isOwnFile(document));
}

TEST(OwnFileDocument, WithoutAnEventFlagTheCommandHasNoArguments) {
  const AgentDefinition definition = definitionOf({{"Stop", "first", 1}, {"Start", {}, 7}, {"Stop", {}, 2}});
  EXPECT_EQ(HookSettings::ownFileDocument("/x", definition), parsed(R"({"version":1,"hooks":{
      "Stop":[{"type":"command","bash":"\"/x\"","timeoutSec":2}],
      "Start":[{"type":"command","bash":"\"/x\"","timeoutSec":7}]}})"));
  EXPECT_EQ(HookSettings::ownFileDocument("/x", definitionOf({})), parsed(R"({"version":1,"hooks":{}})"));
}

TEST(IsOwnFile, GoesByTheMarkerInAnyBash) {
  for (
      const char* document :
      {R"({"hooks":{"a":[{"bash":"/Tavrin/bin/tavrin-hook"}]}})",
       R"({"version":9,"hooks":{"a":[],"b":7,"c":[{"bash":5},{"bash":"\"/x/Tavrin/bin/tavrin-hook\" --agent copilot"}]}})"}) {
    EXPECT_TRUE(HookSettings::isOwnFile(parsed(document))) << document;
  }
}

TEST(IsOwnFile, OtherDocumentsAreNot) {
  for (const char* document : {"{}", R"({"version":1})", R"({"version":1,"hooks":{}})",
                               R"({"hooks":[{"bash":"/Tavrin/bin/tavrin-hook"}]})",
                               R"({"hooks":{"a":{"bash":"/Tavrin/bin/tavrin-hook"}}})",
                               R"({"hooks":{"a":[{"bash":"/Tavrin/bin/tavrin-hook"},7]}})",
                               R"({"hooks":{"a":[{"command":"/Tavrin/bin/tavrin-hook"}]}})",
                               R"({"hooks":{"a":[{"bash":["/Tavrin/bin/tavrin-hook"]}]}})",
                               R"({"hooks":{"a":[{"hooks":[{"bash":"/Tavrin/bin/tavrin-hook"}]}]}})",
                               R"({"bash":"/Tavrin/bin/tavrin-hook"})"}) {
    EXPECT_FALSE(HookSettings::isOwnFile(parsed(document))) << document;
  }
  for (const AgentDefinition& definition : AgentDefinition::all)
    EXPECT_FALSE(HookSettings::isOwnFile(HookSettings::merged({}, path, definition))) << definition.name;
}

}  // namespace
}  // namespace tavrin
