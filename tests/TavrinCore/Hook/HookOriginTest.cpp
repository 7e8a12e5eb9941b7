#include "TavrinCore/Hook/HookOrigin.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace tavrin {
namespace {

const HookOrigin grok = HookOrigin::agent(Agent::grok);

// The origin of a payload. Checks that a payload parsed beforehand has the same origin.
HookOrigin detected(std::string_view bytes) {
  const HookOrigin origin = HookOrigin::detect(bytes);
  try {
    EXPECT_EQ(HookOrigin::detect(HookPayload(bytes)), origin) << bytes;
  } catch (const JsonError&) {
    EXPECT_EQ(origin, HookOrigin::declared()) << bytes;
  }
  return origin;
}

TEST(HookOrigin, AnEmptyObjectTrustsTheCommandLine) {
  EXPECT_EQ(detected("{}"), HookOrigin::declared());
}

TEST(HookOrigin, InvalidJsonTrustsTheCommandLine) {
  for (const std::string_view bytes :
       {"", " ", "{", "cursor_version", "{\"cursor_version\":1", "{\"cursor_version\":1} x",
        "{'workspaceRoot':1}", "{\"workspaceRoot\":}", "{\"workspaceRoot\":1e999}",
        "{\"workspaceRoot\":\"\xff\"}"}) {
    EXPECT_EQ(detected(bytes), HookOrigin::declared()) << bytes;
  }
}

TEST(HookOrigin, AValueThatIsNotAnObjectTrustsTheCommandLine) {
  for (const std::string_view bytes :
       {"[]", R"([{"cursor_version":1}])", R"(["cursor_version","workspaceRoot"])", R"("workspaceRoot")", "1",
        "null", "true"}) {
    EXPECT_EQ(detected(bytes), HookOrigin::declared()) << bytes;
  }
}

TEST(HookOrigin, AnObjectWithoutAMarkTrustsTheCommandLine) {
  EXPECT_EQ(detected(R"({"session_id":"a","hook_event_name":"Stop"})"), HookOrigin::declared());
}

TEST(HookOrigin, OnlyTheKeyCountsWhateverItsValue) {
  int count = 0;
  for (const std::string_view value : {"null", "true", "false", "0", "-1.5e3", "\"\"", "\"1.7.2\"", "{}",
                                       "{\"a\":{\"b\":[]}}", "[]", "[1,\"x\"]"}) {
    const std::string text(value);
    EXPECT_EQ(detected(R"({"cursor_version":)" + text + "}"), HookOrigin::unsupported()) << value;
    EXPECT_EQ(detected(R"({"workspaceRoot":)" + text + "}"), grok) << value;
    EXPECT_EQ(detected(R"({"a":)" + text + R"(,"workspaceRoot":)" + text + R"(,"z":1})"), grok) << value;
    ++count;
  }
  EXPECT_EQ(count, 11);
}

TEST(HookOrigin, AVersionOfCursorOutweighsAWorkspaceRootInEitherOrder) {
  EXPECT_EQ(detected(R"({"cursor_version":"1","workspaceRoot":"/a"})"), HookOrigin::unsupported());
  EXPECT_EQ(detected(R"({"workspaceRoot":"/a","cursor_version":"1"})"), HookOrigin::unsupported());
}

TEST(HookOrigin, KeysAreComparedExactlyAndOnlyAtTheTop) {
  for (const std::string_view bytes :
       {R"({"cursorVersion":1})", R"({"Cursor_version":1})", R"({"cursor_version ":1})",
        R"({"workspaceroot":1})", R"({"workspace_root":1})", R"({"WorkspaceRoot":1})",
        R"({"workspaceRoots":1})", R"({"":1})", R"({"a":{"cursor_version":1}})",
        R"({"a":[{"workspaceRoot":1}]})", R"({"a":"workspaceRoot"})",
        R"({"a":{"a":{"workspaceRoot":1}},"b":[["cursor_version"]]})"}) {
    EXPECT_EQ(detected(bytes), HookOrigin::declared()) << bytes;
  }
}

TEST(HookOrigin, AKeyWrittenWithEscapesIsTheSameKey) {
  EXPECT_EQ(detected(R"({"\u0063ursor\u005fversion":1})"), HookOrigin::unsupported());
  EXPECT_EQ(detected(R"({"workspace\u0052oot":1})"), grok);
}

TEST(HookOrigin, AnUnpairedSurrogateElsewhereHidesNoMark) {
  EXPECT_EQ(detected(R"({"a":"\ud83e","workspaceRoot":"/"})"), grok);
}

TEST(HookOrigin, ADeclaredAgentOtherThanClaudeCodeAlwaysWins) {
  for (const Agent declared : {Agent::codex, Agent::gemini, Agent::copilot, Agent::grok}) {
    EXPECT_EQ(HookOrigin::resolve(declared, HookOrigin::declared()), declared);
    EXPECT_EQ(HookOrigin::resolve(declared, HookOrigin::unsupported()), declared);
    for (const Agent shown : allAgents) {
      EXPECT_EQ(HookOrigin::resolve(declared, HookOrigin::agent(shown)), declared);
    }
  }
}

TEST(HookOrigin, ForClaudeCodeThePayloadDecides) {
  EXPECT_EQ(HookOrigin::resolve(Agent::claude, HookOrigin::declared()), Agent::claude);
  EXPECT_EQ(HookOrigin::resolve(Agent::claude, HookOrigin::unsupported()), std::nullopt);
  for (const Agent shown : allAgents) {
    EXPECT_EQ(HookOrigin::resolve(Agent::claude, HookOrigin::agent(shown)), shown);
  }
}

TEST(HookOrigin, OriginsAreEqualWhenTheyNameTheSame) {
  EXPECT_EQ(HookOrigin::agent(Agent::codex), HookOrigin::agent(Agent::codex));
  EXPECT_NE(HookOrigin::agent(Agent::codex), grok);
  EXPECT_NE(HookOrigin::agent(Agent::claude), HookOrigin::declared());
  EXPECT_NE(HookOrigin::agent(Agent::claude), HookOrigin::unsupported());
  EXPECT_NE(HookOrigin::declared(), HookOrigin::unsupported());
}

TEST(HookOrigin, SaysWhatItIs) {
  EXPECT_EQ(grok.shownAgent(), Agent::grok);
  EXPECT_FALSE(grok.isDeclared() || grok.isUnsupported());
  EXPECT_TRUE(HookOrigin::declared().isDeclared());
  EXPECT_FALSE(HookOrigin::declared().isUnsupported() || HookOrigin::declared().shownAgent());
  EXPECT_TRUE(HookOrigin::unsupported().isUnsupported());
  EXPECT_FALSE(HookOrigin::unsupported().isDeclared() || HookOrigin::unsupported().shownAgent());
}

}  // namespace
}  // namespace tavrin
