#include "TavrinCore/Agents/CodexActivation.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TavrinCore/Support/Json/Json.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

namespace json = boost::json;

using CodexActivation::Hook;
using CodexActivation::TrustUpdate;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

json::value parsed(std::string_view text) {
  return Json::parse(text).value();
}

// "request" or "response" number `number` of a conversation with a real app server.
json::value recorded(std::string_view number, std::string_view what) {
  const std::string name = std::string(number) + "-" + std::string(what) + ".json";
  return parsed(test::readFile(test::dataDirectory() / "rpc" / name));
}

std::vector<Hook> recordedHooks(std::string_view number) {
  return CodexActivation::parseHooks(recorded(number, "response"));
}

const std::string ourCommand =
    R"("/Users/dev/Library/Application Support/Tavrin/bin/tavrin-hook" --agent codex)";

Hook hook(std::string key, std::string command, std::string trustStatus) {
  return {.key = key,
          .command = std::move(command),
          .sourcePath = "/Users/dev/.codex/hooks.json",
          .eventName = "stop",
          .trustStatus = std::move(trustStatus),
          .currentHash = "hash of " + key};
}

// A hooks/list answer with one directory that holds one hook.
json::value answerWith(std::string_view listedHook) {
  return parsed(R"({"id":2,"result":{"data":[{"hooks":[)" + std::string(listedHook) + "]}]}}");
}

// Malformed answers: wrong types at every level, and half an answer.
const std::vector<std::string> brokenAnswers = {
    "null",
    "true",
    "7",
    "\"result\"",
    "[]",
    R"([{"result":{"data":[]}}])",
    "{}",
    R"({"error":{"code":-32600,"message":"Not initialized"},"id":1})",
    R"({"result":null})",
    R"({"result":[]})",
    R"({"result":"data"})",
    R"({"result":{}})",
    R"({"result":{"data":null}})",
    R"({"result":{"data":{}}})",
    R"({"result":{"data":"[]"}})",
    R"({"result":{"data":[]}})",
    R"({"result":{"data":[null]}})",
    R"({"data":[{"id":"t","name":"n","hooks":[{"key":"k","command":"c","currentHash":"h"}]}]})",
    R"({"result":{"data":[{"id":"t","name":"n","hooks":[{"key":"k","command":"c","currentHash":"h"}]},7]}})",
    R"({"result":[{"data":[{"id":"t","name":"n","hooks":[{"key":"k","command":"c","currentHash":"h"}]}]}]})"};

TEST(CodexActivation, KnowsItsHooksByTheMarkerOfTheSettings) {
  EXPECT_EQ(CodexActivation::marker, "/Tavrin/bin/tavrin-hook");
}

TEST(CodexHook, IsTavrinsWhenItsCommandHoldsTheMarker) {
  EXPECT_TRUE(hook("k", ourCommand, "").isTavrin());
  EXPECT_TRUE(hook("k", "/Tavrin/bin/tavrin-hook", "").isTavrin());
  EXPECT_FALSE(hook("k", "/tavrin/bin/tavrin-hook", "").isTavrin());
  EXPECT_FALSE(hook("/Tavrin/bin/tavrin-hook", "tavrin-hook", "").isTavrin());
  EXPECT_FALSE(hook("k", "", "").isTavrin());
}

TEST(CodexHook, IsTrustedWhenTrustedOrManagedToTheLetter) {
  EXPECT_TRUE(hook("k", "c", "trusted").isTrusted());
  EXPECT_TRUE(hook("k", "c", "managed").isTrusted());
  for (const char* status :
       {"Trusted", "TRUSTED", "Managed", "untrusted", "modified", "unknown", "", " trusted"})
    EXPECT_FALSE(hook("k", "c", status).isTrusted()) << status;
}

TEST(CodexHook, ComparesAllFields) {
  const Hook one = hook("k", "c", "trusted");
  EXPECT_EQ(one, hook("k", "c", "trusted"));
  for (std::string Hook::*field : {&Hook::key, &Hook::command, &Hook::sourcePath, &Hook::eventName,
                                   &Hook::trustStatus, &Hook::currentHash}) {
    Hook other = one;
    other.*field += "x";
    EXPECT_NE(one, other);
  }
}

TEST(CodexRequest, AnyRequestHasItsFourKeys) {
  EXPECT_EQ(json::value(CodexActivation::rpc(-3, "some/method", {})),
            parsed(R"({"jsonrpc":"2.0","id":-3,"method":"some/method","params":{}})"));
  EXPECT_EQ(CodexActivation::rpc(1, "m", {{"a", nullptr}}).at("params"), parsed(R"({"a":null})"));
}

TEST(CodexRequest, RequestsAreThoseThatTheRealServerAnswered) {
  EXPECT_EQ(CodexActivation::initializeRequest(1, "1.0"), recorded("01", "request"));
  EXPECT_EQ(CodexActivation::hooksListRequest(2, {"/Users/dev/src/app"}), recorded("02", "request"));
  EXPECT_EQ(CodexActivation::trustRequest(3, CodexActivation::needingTrust(recordedHooks("02"))),
            recorded("03", "request"));
  EXPECT_EQ(CodexActivation::hooksListRequest(4, {"/Users/dev/src/app"}), recorded("04", "request"));
  EXPECT_EQ(CodexActivation::threadListRequest(5, 20), recorded("05", "request"));
  EXPECT_EQ(CodexActivation::threadListRequest(3, 20), recorded("11", "request"));
  EXPECT_EQ(CodexActivation::threadListRequest(4, 2), recorded("12", "request"));
  EXPECT_EQ(CodexActivation::threadListRequest(7, 20), recorded("15", "request"));
  EXPECT_EQ(CodexActivation::trustRequest(
                3, {{.key = "/Users/dev/.codex/hooks.json:session_start:0:0",
                     .hash = "sha256:b1e3a22962dafbc11e11db9174d9984f54bcb39ee9e584c7ba54591cbd291945"}}),
            recorded("21", "request"));
}

TEST(CodexRequest, HooksListTakesAnyNumberOfDirectories) {
  EXPECT_EQ(CodexActivation::hooksListRequest(9, {}).at("params"), parsed(R"({"cwds":[]})"));
  EXPECT_EQ(CodexActivation::hooksListRequest(9, {"/a", "/ü b"}).at("params"),
            parsed(R"({"cwds":["/a","/ü b"]})"));
}

TEST(CodexRequest, TwoUpdatesMakeOneEditWithTwoKeys) {
  const json::object request =
      CodexActivation::trustRequest(8, {{.key = "b", .hash = "h1"}, {.key = "a", .hash = "h2"}});
  EXPECT_EQ(request, parsed(R"({"jsonrpc":"2.0","id":8,"method":"config/batchWrite","params":{
      "edits":[{"keyPath":"hooks.state","value":{"b":{"trusted_hash":"h1"},"a":{"trusted_hash":"h2"}},
                "mergeStrategy":"upsert"}],
      "filePath":null,"expectedVersion":null,"reloadUserConfig":true}})"));
  const json::object& value = request.at("params").at("edits").at(0).at("value").as_object();
  EXPECT_EQ(value.begin()->key(), "b");  // in the order of the updates
}

TEST(CodexRequest, ALaterUpdateOfTheSameKeyReplacesTheEarlier) {
  const json::object request = CodexActivation::trustRequest(
      8, {{.key = "a", .hash = "old"}, {.key = "b", .hash = "h"}, {.key = "a", .hash = "new"}});
  EXPECT_EQ(request.at("params").at("edits").at(0).at("value"),
            parsed(R"({"a":{"trusted_hash":"new"},"b":{"trusted_hash":"h"}})"));
}

TEST(CodexRequest, WithoutUpdatesTheValueIsAnEmptyObject) {
  const json::object request = CodexActivation::trustRequest(8, {});
  EXPECT_EQ(request.at("params").at("edits"),
            parsed(R"([{"keyPath":"hooks.state","value":{},"mergeStrategy":"upsert"}])"));
}

TEST(ParseHooks, ReadsWhatTheRealServerListed) {
  const std::vector<Hook> hooks = recordedHooks("02");
  ASSERT_THAT(hooks, SizeIs(8));
  EXPECT_EQ(hooks.front(),
            (Hook{.key = "/Users/dev/.codex/hooks.json:pre_tool_use:0:0",
                  .command = ourCommand,
                  .sourcePath = "/Users/dev/.codex/hooks.json",
                  .eventName = "preToolUse",
                  .trustStatus = "untrusted",
                  .currentHash = "sha256:a9ddada7b552c93a08bc23baa0fcf564d86dbd02389b1189059b43fc6e316b71"}));
  std::vector<std::string> events;
  for (const Hook& listed : hooks) events.push_back(listed.eventName);
  EXPECT_THAT(events, ElementsAre("preToolUse", "permissionRequest", "postToolUse", "sessionStart",
                                  "sessionEnd", "userPromptSubmit", "stop", "interrupt"));
}

TEST(ParseHooks, ErrorsAndMalformedAnswersHaveNoHooks) {
  for (const std::string& answer : brokenAnswers)
    EXPECT_THAT(CodexActivation::parseHooks(parsed(answer)), IsEmpty()) << answer;
  for (const char* number : {"01", "03", "05", "11", "14", "16", "17"})
    EXPECT_THAT(recordedHooks(number), IsEmpty()) << number;
}

TEST(ParseHooks, AHookWithoutKeyCommandOrHashIsSkipped) {
  for (const char* listed :
       {R"({"command":"c","currentHash":"h"})", R"({"key":"k","currentHash":"h"})",
        R"({"key":"k","command":"c"})", R"({"key":7,"command":"c","currentHash":"h"})",
        R"({"key":"k","command":null,"currentHash":"h"})", R"({"key":"k","command":"c","currentHash":["h"]})",
        R"({"key":"k","command":"c","currentHash":5})", "{}"}) {
    EXPECT_THAT(CodexActivation::parseHooks(answerWith(listed)), IsEmpty()) << listed;
  }
}

TEST(ParseHooks, OtherFieldsHaveAStandIn) {
  const Hook bare{.key = "k",
                  .command = "",
                  .sourcePath = "",
                  .eventName = "",
                  .trustStatus = "unknown",
                  .currentHash = "h"};
  EXPECT_THAT(CodexActivation::parseHooks(answerWith(R"({"key":"k","command":"","currentHash":"h"})")),
              ElementsAre(bare));
  EXPECT_THAT(
      CodexActivation::parseHooks(answerWith(
          R"({"key":"k","command":"","currentHash":"h","sourcePath":1,"eventName":null,"trustStatus":true})")),
      ElementsAre(bare));
}

TEST(ParseHooks, ReadsDirectoriesAndTheirHooksInOrder) {
  const std::vector<Hook> hooks = CodexActivation::parseHooks(parsed(R"({"result":{"data":[
      {"hooks":[{"key":"1","command":"c","currentHash":"h"},{"key":"2","command":"c","currentHash":"h"}]},
      {"hooks":{"key":"no","command":"c","currentHash":"h"}},
      {"hooks":[{"key":"no","command":"c","currentHash":"h"},"no object"]},
      {},
      {"hooks":null},
      {"hooks":[]},
      {"hooks":[{"key":"3","command":"c"},{"key":"1","command":"c","currentHash":"h"}]}]}})"));
  std::vector<std::string> keys;
  for (const Hook& listed : hooks) keys.push_back(listed.key);
  EXPECT_THAT(keys, ElementsAre("1", "2", "1"));
}

TEST(ParseThreadNames, ReadsWhatTheRealServerListed) {
  const json::value list = recorded("15", "response");
  std::map<std::string, std::string> named;
  for (const json::value& thread : list.at("result").at("data").as_array()) {
    if (thread.at("name").is_string())
      named.emplace(thread.at("id").as_string().c_str(), thread.at("name").as_string().c_str());
  }
  EXPECT_THAT(named, UnorderedElementsAre(Pair("01a1fbda-ea83-7520-a3fe-11e73a7dc25b", "A given name")));
  EXPECT_EQ(CodexActivation::parseThreadNames(list), named);
  for (const char* number : {"05", "11", "12", "13"})
    EXPECT_THAT(CodexActivation::parseThreadNames(recorded(number, "response")), IsEmpty()) << number;
}

TEST(ParseThreadNames, ErrorsAndMalformedAnswersHaveNoNames) {
  for (const std::string& answer : brokenAnswers)
    EXPECT_THAT(CodexActivation::parseThreadNames(parsed(answer)), IsEmpty()) << answer;
  for (const char* number : {"01", "02", "03", "14", "16", "17"})
    EXPECT_THAT(CodexActivation::parseThreadNames(recorded(number, "response")), IsEmpty()) << number;
}

TEST(ParseThreadNames, ATitleCountsIfThereIsNoNameButNotIfTheNameIsSpaces) {
  EXPECT_THAT(CodexActivation::parseThreadNames(parsed(R"({"result":{"data":[
                  {"id":"name","name":"N","title":"T"},
                  {"id":"title","title":"T"},
                  {"id":"null name","name":null,"title":"T"},
                  {"id":"number","name":5,"title":"T"},
                  {"id":"empty name","name":"","title":"T"},
                  {"id":"blank name","name":" \t ","title":"T"},
                  {"id":"blank title","title":"\t"},
                  {"id":"neither"},
                  {"id":"mistyped","name":[],"title":{}},
                  {"id":6,"name":"N"},
                  {"name":"N"}]}})")),
              UnorderedElementsAre(Pair("name", "N"), Pair("title", "T"), Pair("null name", "T"),
                                   Pair("number", "T")));
}

TEST(ParseThreadNames, ANameKeepsItsSpacesUnlessItIsOnlySpacesAndTabs) {
  EXPECT_THAT(
      CodexActivation::parseThreadNames(parsed(
          R"({"result":{"data":[{"id":"a","name":" \tN "},{"id":"b","name":"\n"},{"id":"","name":"x"}]}})")),
      UnorderedElementsAre(Pair("a", " \tN "), Pair("b", "\n"), Pair("", "x")));
}

TEST(ParseThreadNames, TheLaterOfTwoElementsWithOneIdWinsUnlessItsNameIsSpaces) {
  EXPECT_THAT(CodexActivation::parseThreadNames(parsed(R"({"result":{"data":[
                  {"id":"a","name":"first"},{"id":"b","name":"kept"},{"id":"a","name":"second"},{"id":"b","name":" "}]}})")),
              UnorderedElementsAre(Pair("a", "second"), Pair("b", "kept")));
}

TEST(NeedingTrust, ListsOursThatAreNotTrustedInOrder) {
  const std::vector<Hook> hooks = {hook("1", ourCommand, "modified"), hook("2", "make lint", "untrusted"),
                                   hook("3", ourCommand, "trusted"),  hook("4", ourCommand, "unknown"),
                                   hook("5", ourCommand, "managed"),  hook("6", ourCommand, "Trusted")};
  EXPECT_THAT(
      CodexActivation::needingTrust(hooks),
      ElementsAre(TrustUpdate{.key = "1", .hash = "hash of 1"}, TrustUpdate{.key = "4", .hash = "hash of 4"},
                  TrustUpdate{.key = "6", .hash = "hash of 6"}));
  EXPECT_THAT(CodexActivation::tavrinHooks(hooks),
              ElementsAre(hooks[0], hooks[2], hooks[3], hooks[4], hooks[5]));
  EXPECT_THAT(CodexActivation::tavrinHooks({}), IsEmpty());
}

TEST(NeedingTrust, AfterAChangeOfTimeOutsAsksOnlyForTheModifiedHooks) {
  EXPECT_THAT(CodexActivation::needingTrust(recordedHooks("20")), SizeIs(6));
  EXPECT_THAT(CodexActivation::needingTrust(recordedHooks("22")), SizeIs(5));
  EXPECT_THAT(CodexActivation::needingTrust(recordedHooks("10")), IsEmpty());
}

TEST(CodexReadiness, TheFirstReasonCounts) {
  const std::vector<Hook> untrusted = {hook("1", ourCommand, "untrusted")};
  const AgentReadiness openOnce = AgentReadiness::inactive("open Codex once to activate", false);
  const AgentReadiness unreached = AgentReadiness::inactive("couldn’t reach Codex — retry", true);
  const AgentReadiness needsTrust = AgentReadiness::inactive("needs trust in Codex", true);
  EXPECT_EQ(CodexActivation::readiness(false, false, std::nullopt), AgentReadiness::notInstalled());
  EXPECT_EQ(CodexActivation::readiness(false, true, untrusted), AgentReadiness::notInstalled());
  EXPECT_EQ(CodexActivation::readiness(true, false, std::nullopt), openOnce);
  EXPECT_EQ(CodexActivation::readiness(true, false, untrusted), openOnce);
  EXPECT_EQ(CodexActivation::readiness(true, true, std::nullopt), unreached);
  EXPECT_EQ(CodexActivation::readiness(true, true, untrusted), needsTrust);
  EXPECT_EQ(CodexActivation::readiness(true, true, std::vector<Hook>{}), AgentReadiness::active());
}

TEST(CodexReadiness, OneHookOfOursWithoutTrustIsEnoughAndOthersDoNotCount) {
  const Hook theirs = hook("1", "make lint", "untrusted");
  const Hook trusted = hook("2", ourCommand, "trusted");
  const Hook managed = hook("3", ourCommand, "managed");
  const Hook modified = hook("4", ourCommand, "modified");
  const auto readiness = [](const std::vector<Hook>& hooks) {
    return CodexActivation::readiness(true, true, hooks);
  };
  EXPECT_EQ(readiness({theirs}), AgentReadiness::active());
  EXPECT_EQ(readiness({theirs, trusted, managed}), AgentReadiness::active());
  EXPECT_FALSE(readiness({theirs, trusted, managed, modified}).isActive());
}

TEST(CodexReadiness, ItsTextsHaveTheTypographicApostropheAndDash) {
  EXPECT_EQ(CodexActivation::readiness(true, true, std::nullopt).reason(),
            "couldn\xE2\x80\x99t reach Codex \xE2\x80\x94 retry");
}

TEST(CodexConversation, ListsTrustsListsAgainAndIsActive) {
  int next = 1;
  const auto ask = [&](const json::object& request) {
    const std::string number = "0" + std::to_string(next++);
    EXPECT_EQ(request, recorded(number, "request"));
    json::value answer = recorded(number, "response");
    EXPECT_EQ(answer.at("id"), request.at("id"));
    return answer;
  };
  ask(CodexActivation::initializeRequest(next, "1.0"));

  const std::vector<std::string> cwds = {"/Users/dev/src/app"};
  const std::vector<Hook> before =
      CodexActivation::parseHooks(ask(CodexActivation::hooksListRequest(next, cwds)));
  EXPECT_EQ(CodexActivation::readiness(true, true, before),
            AgentReadiness::inactive("needs trust in Codex", true));

  const std::vector<TrustUpdate> updates = CodexActivation::needingTrust(before);
  EXPECT_THAT(updates, SizeIs(8));
  EXPECT_EQ(ask(CodexActivation::trustRequest(next, updates)).at("result").at("status"), "ok");

  const std::vector<Hook> after =
      CodexActivation::parseHooks(ask(CodexActivation::hooksListRequest(next, cwds)));
  EXPECT_THAT(CodexActivation::needingTrust(after), IsEmpty());
  EXPECT_EQ(CodexActivation::readiness(true, true, after), AgentReadiness::active());
  EXPECT_EQ(next, 5);
}

}  // namespace
}  // namespace tavrin
