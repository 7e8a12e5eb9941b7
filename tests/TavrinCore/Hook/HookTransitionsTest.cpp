#include "TavrinCore/Hook/HookTransitions.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "tests/TavrinCore/Hook/TransitionSamples.hpp"

namespace tavrin::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;

// The action that an event asks for

TEST(HookTransitions, EachEventOfTheTableHasItsAction) {
  const std::vector<std::pair<HookEvent, HookAction>> cases = {
      {event("SessionStart"), idle},
      {start("startup"), idle},
      {start(""), idle},
      {start("Compact"), idle},
      {start("compact"), ignore},
      {event("UserPromptSubmit"), working},
      {event("PostToolUse"), working},
      {event("PostToolUseFailure"), working},
      {toolEvent("PreToolUse", "AskUserQuestion"), needsYou},
      {toolEvent("PreToolUse", "request_user_input"), needsYou},
      {toolEvent("PreToolUse", "Bash"), working},
      {toolEvent("PreToolUse", "askUserQuestion"), working},
      {event("PreToolUse"), working},
      {event("PermissionRequest"), needsYou},
      {event("Elicitation"), needsYou},
      {event("PermissionDenied"), working},
      {notification("permission_prompt"), needsYou},
      {notification("ToolPermission"), needsYou},
      {notification("elicitation_dialog"), needsYou},
      {notification("idle_prompt"), ignore},
      {notification("toolPermission"), ignore},
      {notification(""), ignore},
      {event("Notification"), ignore},
      {event("Stop"), idle},
      {event("StopFailure"), idle},
      {event("StopCancelled"), idle},
      {event("Interrupt"), idle},
      {event("Resumed"), working},
      {event("PreCompact"), ignore},
      {event("PostCompact"), ignore},
      {event("SubagentStart"), ignore},
      {event("SubagentStop"), ignore},
      {event("BeforeAgent"), working},
      {event("BeforeTool"), working},
      {event("AfterTool"), working},
      {event("AfterAgent"), idle},
      {event("BeforeModel"), ignore},
      {event("AfterModel"), ignore},
      {event("BeforeToolSelection"), ignore},
      {event("PreCompress"), ignore},
      {event("SessionEnd"), remove},
  };
  for (const auto& [sent, expected] : cases) {
    SCOPED_TRACE(::testing::PrintToString(sent));
    EXPECT_EQ(HookTransitions::action(sent), expected);
  }
  EXPECT_EQ(cases.size(), 41U);
}

TEST(HookTransitions, AnEventMissingFromTheTableIsIgnored) {
  for (const char* name : {"PostToolBatch", "CwdChanged", "stop", "STOP", "Stop ", "SessionStarted",
                           "agentStop", "userPromptSubmitted", ""}) {
    EXPECT_EQ(HookTransitions::action(event(name)), ignore) << '"' << name << '"';
  }
}

TEST(HookTransitions, OnlyBeforeItsUseIsAQuestionToolAQuestion) {
  EXPECT_EQ(HookTransitions::action(toolEvent("BeforeTool", "AskUserQuestion")), working);
  EXPECT_EQ(HookTransitions::action(toolEvent("PostToolUse", "AskUserQuestion")), working);
}

TEST(HookTransitions, SourceAndNotificationTypeCountOnlyForTheirOwnEvents) {
  HookEvent stop = event("Stop");
  stop.source = "compact";
  stop.notificationType = "permission_prompt";
  EXPECT_EQ(HookTransitions::action(stop), idle);
}

TEST(HookTransitions, EachRegisteredEventHasItsActionAsTheAgentSpellsIt) {
  using Cases = std::vector<std::pair<std::string, HookAction>>;
  const std::vector<std::pair<Agent, Cases>> agents = {
      {Agent::claude,
       {{"SessionStart", idle},
        {"UserPromptSubmit", working},
        {"PreToolUse", working},
        {"PostToolUse", working},
        {"PostToolUseFailure", working},
        {"PermissionRequest", needsYou},
        {"PermissionDenied", working},
        {"Elicitation", needsYou},
        {"Notification", needsYou},
        {"Stop", idle},
        {"SessionEnd", remove}}},
      {Agent::codex,
       {{"SessionStart", idle},
        {"UserPromptSubmit", working},
        {"PreToolUse", working},
        {"PostToolUse", working},
        {"Stop", idle},
        {"Interrupt", idle},
        {"SessionEnd", remove}}},
      {Agent::gemini,
       {{"SessionStart", idle},
        {"SessionEnd", remove},
        {"BeforeAgent", working},
        {"BeforeTool", working},
        {"AfterTool", working},
        {"AfterAgent", idle},
        {"Notification", needsYou}}},
      {Agent::copilot,
       {{"sessionStart", idle},
        {"sessionEnd", remove},
        {"userPromptSubmitted", working},
        {"postToolUse", working},
        {"postToolUseFailure", working},
        {"agentStop", idle},
        {"notification", needsYou}}},
      {Agent::grok,
       {{"SessionStart", idle},
        {"SessionEnd", remove},
        {"UserPromptSubmit", working},
        {"PreToolUse", working},
        {"PostToolUse", working},
        {"PostToolUseFailure", working},
        {"Stop", idle},
        {"StopFailure", idle},
        {"StopCancelled", idle},
        {"Notification", needsYou}}},
  };
  ASSERT_EQ(agents.size(), allAgents.size());
  for (const auto& [agent, cases] : agents) {
    SCOPED_TRACE(rawValue(agent));
    const std::string type = agent == Agent::gemini ? "ToolPermission" : "permission_prompt";
    const std::string payload = R"({"sessionId":"session","notification_type":")" + type + R"("})";
    std::vector<std::string> registered;
    for (const auto& spec : AgentDefinition::definition(agent).events) registered.emplace_back(spec.name);
    std::vector<std::string> named;
    for (const auto& [name, expected] : cases) {
      EXPECT_EQ(HookTransitions::action(HookEvent::parse(payload, name)), expected) << name;
      named.push_back(name);
    }
    EXPECT_THAT(named, UnorderedElementsAreArray(registered));
  }
}

TEST(HookTransitions, TheNameSetsAreTheseAndNoOther) {
  using HookTransitions::Names;
  EXPECT_EQ(HookTransitions::questionTools, (Names{"AskUserQuestion", "request_user_input"}));
  EXPECT_EQ(HookTransitions::opensCall, (Names{"PreToolUse", "BeforeTool"}));
  EXPECT_EQ(HookTransitions::closesCall,
            (Names{"PostToolUse", "PostToolUseFailure", "PermissionDenied", "AfterTool"}));
}

// The action's effect on the stored record

TEST(HookTransitions, ACodexPermissionRequestIsIgnoredWhateverIsStored) {
  const HookEvent request = toolEvent("PermissionRequest", "Bash");
  EXPECT_EQ(HookTransitions::resolve(needsYou, request, std::nullopt, Agent::codex), ignore);
  for (const SessionState state : allSessionStates) {
    EXPECT_EQ(HookTransitions::resolve(needsYou, request, sessionOf(Agent::codex, state), Agent::codex),
              ignore)
        << rawValue(state);
    EXPECT_EQ(HookTransitions::resolve(needsYou, request, sessionOf(Agent::claude, state), Agent::codex),
              ignore)
        << rawValue(state);
  }
}

TEST(HookTransitions, APermissionRequestOfAnyOtherAgentNeedsTheUser) {
  const HookEvent request = toolEvent("PermissionRequest", "Bash");
  for (const Agent agent : {Agent::claude, Agent::gemini, Agent::copilot, Agent::grok}) {
    EXPECT_EQ(HookTransitions::resolve(needsYou, request, std::nullopt, agent), needsYou) << rawValue(agent);
    EXPECT_EQ(
        HookTransitions::resolve(needsYou, request, sessionOf(Agent::codex, SessionState::needsYou), agent),
        needsYou)
        << rawValue(agent);
  }
}

TEST(HookTransitions, WithoutAnAgentTheStoredRecordsAgentDecides) {
  const HookEvent request = toolEvent("PermissionRequest", "Bash");
  const auto resolved = [&](const std::optional<Session>& stored) {
    return HookTransitions::resolve(needsYou, request, stored, std::nullopt);
  };
  EXPECT_EQ(resolved(sessionOf(Agent::codex, SessionState::working)), ignore);
  EXPECT_EQ(resolved(sessionOf(Agent::claude, SessionState::working)), needsYou);
  EXPECT_EQ(resolved(std::nullopt), needsYou);
}

TEST(HookTransitions, WithoutARecordTheActionStands) {
  for (const HookAction action : {idle, working, needsYou, remove, ignore}) {
    for (const char* name : {"PreToolUse", "PostToolUse", "PermissionDenied", "UserPromptSubmit"}) {
      EXPECT_EQ(HookTransitions::resolve(action, fromSubagent(event(name)), std::nullopt, Agent::claude),
                action);
    }
  }
}

TEST(HookTransitions, ASessionThatDoesNotWaitTakesEveryAction) {
  for (const SessionState state : {SessionState::idle, SessionState::working}) {
    // What an earlier stretch may have left behind does not matter.
    Session stored = sessionOf(Agent::claude, state);
    stored.waitingOn = {"a", "b"};
    for (const HookAction action : {idle, working, needsYou, remove, ignore}) {
      EXPECT_EQ(
          HookTransitions::resolve(action, toolEvent("PostToolUse", "Bash", "a"), stored, Agent::claude),
          action);
      EXPECT_EQ(HookTransitions::resolve(action, fromSubagent(event("PreToolUse")), stored, Agent::claude),
                action);
    }
  }
}

TEST(HookTransitions, OnlyGoingToWorkIsHeldUpByAWait) {
  for (const HookAction action : {idle, needsYou, remove, ignore}) {
    EXPECT_EQ(HookTransitions::resolve(action, toolEvent("PostToolUse", "Bash", "a"), waitingFor({"a", "b"}),
                                       Agent::claude),
              action);
  }
}

TEST(HookTransitions, ADenialAnswersTheQuestionEvenWhenOtherCallsAreWaitedOn) {
  EXPECT_EQ(HookTransitions::resolve(working, toolEvent("PermissionDenied", "Bash", "a"),
                                     waitingFor({"a", "b"}), Agent::claude),
            working);
  EXPECT_EQ(HookTransitions::resolve(working, fromSubagent(event("PermissionDenied")), waitingFor({"a", "b"}),
                                     Agent::claude),
            working);
}

TEST(HookTransitions, AFinishedCallEndsTheWaitOnlyWhenItWasTheLastOneWaitedOn) {
  for (const char* name : {"PostToolUse", "PostToolUseFailure", "AfterTool"}) {
    SCOPED_TRACE(name);
    const auto resolved = [&](const HookEvent& sent, std::vector<std::string> waitingOn) {
      return HookTransitions::resolve(working, sent, waitingFor(std::move(waitingOn)), Agent::claude);
    };
    EXPECT_EQ(resolved(toolEvent(name, "Bash", "a"), {"a"}), working);
    EXPECT_EQ(resolved(toolEvent(name, "Bash", "a"), {"a", "a"}), working);
    EXPECT_EQ(resolved(toolEvent(name, "Bash", "a"), {"a", "b"}), needsYou);
    EXPECT_EQ(resolved(toolEvent(name, "Bash", "c"), {"a"}), needsYou);
    EXPECT_EQ(resolved(toolEvent(name, "Bash"), {"name:Bash"}), working);
    EXPECT_EQ(resolved(toolEvent(name, "Bash"), {"Bash"}), needsYou);
    EXPECT_EQ(resolved(event(name), {"a"}), needsYou);
    EXPECT_EQ(resolved(event(name), {}), working);
    EXPECT_EQ(resolved(toolEvent(name, "Bash", "c"), {}), working);
  }
}

TEST(HookTransitions, OnlyTheMainAgentsToolStartEndsTheWait) {
  for (const char* name : {"PreToolUse", "BeforeTool"}) {
    SCOPED_TRACE(name);
    const HookEvent opened = toolEvent(name, "Bash", "c");
    EXPECT_EQ(HookTransitions::resolve(working, fromSubagent(opened), waitingFor({"a"}), Agent::claude),
              needsYou);
    EXPECT_EQ(HookTransitions::resolve(working, opened, waitingFor({"a"}), Agent::claude), working);
    HookEvent emptyAgentId = opened;
    emptyAgentId.agentId = "";
    EXPECT_EQ(HookTransitions::resolve(working, emptyAgentId, waitingFor({"a"}), Agent::claude), working);
  }
}

TEST(HookTransitions, EveryOtherWorkingEventEndsTheWaitEvenFromASubagent) {
  for (const char* name : {"UserPromptSubmit", "Resumed", "BeforeAgent"}) {
    EXPECT_EQ(
        HookTransitions::resolve(working, fromSubagent(event(name)), waitingFor({"a", "b"}), Agent::claude),
        working)
        << name;
  }
}

// The tool to show

TEST(HookTransitions, NeedsYouToolIsTheQuestionOrTheToolThatAsksForPermission) {
  EXPECT_EQ(HookTransitions::needsYouTool(toolEvent("PreToolUse", "AskUserQuestion")), "AskUserQuestion");
  EXPECT_EQ(HookTransitions::needsYouTool(toolEvent("PreToolUse", "request_user_input")),
            "request_user_input");
  EXPECT_EQ(HookTransitions::needsYouTool(toolEvent("PreToolUse", "Bash")), std::nullopt);
  EXPECT_EQ(HookTransitions::needsYouTool(event("PreToolUse")), std::nullopt);
  EXPECT_EQ(HookTransitions::needsYouTool(toolEvent("PermissionRequest", "Bash")), "Bash");
  EXPECT_EQ(HookTransitions::needsYouTool(toolEvent("PermissionRequest", "AskUserQuestion")),
            "AskUserQuestion");
  EXPECT_EQ(HookTransitions::needsYouTool(event("PermissionRequest")), std::nullopt);
  for (const char* name : {"BeforeTool", "PostToolUse", "Notification", "Elicitation", "PermissionDenied"})
    EXPECT_EQ(HookTransitions::needsYouTool(toolEvent(name, "AskUserQuestion")), std::nullopt) << name;
}

// Keeping track of calls

std::vector<std::string> openAfter(const HookEvent& event, std::vector<std::string> inFlight) {
  Session session = sessionOf(Agent::claude, SessionState::working);
  session.inFlight = std::move(inFlight);
  return HookTransitions::track(session, event, SessionState::working).inFlight;
}

TEST(HookTransitions, TheseNineEventsForgetAllOpenCalls) {
  int count = 0;
  for (const char* name : {"UserPromptSubmit", "Stop", "StopFailure", "StopCancelled", "Interrupt",
                           "SessionStart", "BeforeAgent", "AfterAgent", "Resumed"}) {
    EXPECT_THAT(openAfter(event(name), {"a", "b"}), IsEmpty()) << name;
    ++count;
  }
  EXPECT_EQ(count, 9);
  for (const char* name : {"PermissionRequest", "Notification", "Elicitation", "SubagentStop", "PreToolUse",
                           "PostToolUse", "PreCompact", "SessionEnd"}) {
    EXPECT_THAT(openAfter(event(name), {"a", "b"}), ElementsAre("a", "b")) << name;
  }
}

TEST(HookTransitions, AnOpenedCallIsAppendedOnceAndKeepsItsPlace) {
  for (const char* name : {"PreToolUse", "BeforeTool"}) {
    EXPECT_THAT(openAfter(toolEvent(name, "Bash", "c"), {"a", "b"}), ElementsAre("a", "b", "c")) << name;
    EXPECT_THAT(openAfter(toolEvent(name, "Bash", "a"), {"a", "b"}), ElementsAre("a", "b")) << name;
  }
}

TEST(HookTransitions, AClosedCallIsRemovedFromAnyPlace) {
  for (const char* name : {"PostToolUse", "PostToolUseFailure", "PermissionDenied", "AfterTool"}) {
    EXPECT_THAT(openAfter(toolEvent(name, "Bash", "b"), {"b", "a", "b", "c"}), ElementsAre("a", "c")) << name;
    EXPECT_THAT(openAfter(toolEvent(name, "Bash", "d"), {"a", "b"}), ElementsAre("a", "b")) << name;
  }
}

TEST(HookTransitions, ACallWithoutAnIdGoesByItsToolsName) {
  EXPECT_THAT(openAfter(toolEvent("PreToolUse", "Bash"), {}), ElementsAre("name:Bash"));
  EXPECT_THAT(openAfter(toolEvent("PostToolUse", "Bash"), {"name:Bash", "Bash"}), ElementsAre("Bash"));
  HookEvent emptyId = toolEvent("BeforeTool", "Bash");
  emptyId.toolUseId = "";
  EXPECT_THAT(openAfter(emptyId, {}), ElementsAre("name:Bash"));
}

TEST(HookTransitions, WithNeitherIdNorNameNothingOpensOrCloses) {
  EXPECT_THAT(openAfter(event("PreToolUse"), {"a"}), ElementsAre("a"));
  EXPECT_THAT(openAfter(event("PostToolUse"), {"a"}), ElementsAre("a"));
  EXPECT_THAT(openAfter(toolEvent("PreToolUse", ""), {"a"}), ElementsAre("a"));
  EXPECT_THAT(openAfter(toolEvent("PostToolUse", ""), {"a", "name:"}), ElementsAre("a", "name:"));
}

TEST(HookTransitions, AListThatWasTooLongIsCutToSixtyFourWithTheNextCall) {
  std::vector<std::string> tooMany;
  for (int i = 1; i <= 70; ++i) tooMany.push_back(std::to_string(i));
  const std::vector<std::string> cut = openAfter(toolEvent("PreToolUse", "Bash", "71"), tooMany);
  ASSERT_EQ(cut.size(), 64U);
  EXPECT_EQ(cut.front(), "8");
  EXPECT_EQ(cut.back(), "71");
  EXPECT_EQ(openAfter(toolEvent("PreToolUse", "Bash", "70"), tooMany), tooMany);
}

TEST(HookTransitions, AWaitThatBeginsWithAnOpenedCallIsOnlyForThatCall) {
  Session session = sessionOf(Agent::claude, SessionState::needsYou);
  session.inFlight = {"a"};
  session.waitingOn = {"left behind"};
  for (const std::optional<SessionState> previous :
       {std::optional<SessionState>(), std::optional(SessionState::idle),
        std::optional(SessionState::working)}) {
    const Session tracked =
        HookTransitions::track(session, toolEvent("PreToolUse", "AskUserQuestion", "q"), previous);
    EXPECT_THAT(tracked.waitingOn, ElementsAre("q"));
    EXPECT_THAT(tracked.inFlight, ElementsAre("a", "q"));
  }
}

TEST(HookTransitions, AWaitThatBeginsOtherwiseIsForEveryOpenCall) {
  Session session = sessionOf(Agent::claude, SessionState::needsYou);
  session.inFlight = {"a", "b"};
  session.waitingOn = {"left behind"};
  const std::vector<HookEvent> events = {toolEvent("PermissionRequest", "Bash"),
                                         notification("permission_prompt"), event("Elicitation"),
                                         event("PreToolUse")};
  for (const HookEvent& sent : events) {
    EXPECT_THAT(HookTransitions::track(session, sent, SessionState::working).waitingOn, ElementsAre("a", "b"))
        << ::testing::PrintToString(sent);
  }
}

TEST(HookTransitions, AWaitThatGoesOnLosesOnlyTheCallsThatAreClosed) {
  const Session session = waitingFor({"a", "b"});
  const auto waitingAfter = [&](const HookEvent& sent) {
    return HookTransitions::track(session, sent, SessionState::needsYou).waitingOn;
  };
  EXPECT_THAT(waitingAfter(toolEvent("PostToolUse", "Bash", "a")), ElementsAre("b"));
  EXPECT_THAT(waitingAfter(toolEvent("PreToolUse", "Bash", "c")), ElementsAre("a", "b"));
  EXPECT_THAT(waitingAfter(toolEvent("PermissionRequest", "Bash")), ElementsAre("a", "b"));
}

TEST(HookTransitions, ASessionThatDoesNotNeedItsUserWaitsForNoCall) {
  for (const SessionState state : {SessionState::idle, SessionState::working}) {
    Session session = waitingFor({"a", "b"});
    session.state = state;
    const Session tracked =
        HookTransitions::track(session, event("PermissionRequest"), SessionState::needsYou);
    EXPECT_THAT(tracked.waitingOn, IsEmpty());
    EXPECT_THAT(tracked.inFlight, ElementsAre("a", "b"));
  }
}

}  // namespace
}  // namespace tavrin::test
