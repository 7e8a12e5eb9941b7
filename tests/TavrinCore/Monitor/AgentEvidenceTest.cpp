#include "TavrinCore/Monitor/AgentEvidence.hpp"

#include <gtest/gtest.h>

#include "EvidenceLines.hpp"
#include "tests/support/Random.hpp"

namespace tavrin::test {
namespace {

TEST(ClaudeStatus, NamesProcessSessionAndState) {
  const auto status = ClaudeEvidence::status(
      R"({"pid":18,"sessionId":"d9a5","cwd":"/src","startedAt":1795300000000,"status":"waiting",)"
      R"("waitingFor":"permission prompt","statusUpdatedAt":1795300800250})");
  EXPECT_EQ(status, (ClaudeEvidence::Status{.pid = 18,
                                            .sessionId = "d9a5",
                                            .cwd = "/src",
                                            .state = SessionState::needsYou,
                                            .since = at,
                                            .isKnown = true}));
}

TEST(ClaudeStatus, EachWordMeansAState) {
  const auto stateOf = [](const std::string& word) {
    return ClaudeEvidence::status(R"({"pid":18,"sessionId":"a","status":")" + word + "\"}").value();
  };
  EXPECT_EQ(stateOf("busy").state, SessionState::working);
  EXPECT_EQ(stateOf("idle").state, SessionState::idle);
  EXPECT_EQ(stateOf("shell").state, std::nullopt);
  EXPECT_TRUE(stateOf("shell").isKnown);
  EXPECT_EQ(stateOf("dreaming").state, std::nullopt);
  EXPECT_FALSE(stateOf("dreaming").isKnown);
}

TEST(ClaudeStatus, OfAHeadlessRunHasNoState) {
  const auto status = ClaudeEvidence::status(R"({"pid":18,"sessionId":"a","startedAt":1795300800250})");
  ASSERT_TRUE(status);
  EXPECT_EQ(status->state, std::nullopt);
  EXPECT_TRUE(status->isKnown);
  EXPECT_EQ(status->since, at);
}

TEST(ClaudeStatus, NeedsAProcessAndASession) {
  for (const char* const text :
       {"", "{", "[]", "7", R"({"pid":18})", R"({"sessionId":"a"})", R"({"pid":1,"sessionId":"a"})",
        R"({"pid":-5,"sessionId":"a"})", R"({"pid":"18","sessionId":"a"})", R"({"pid":2.5,"sessionId":"a"})",
        R"({"pid":99999999999,"sessionId":"a"})", R"({"pid":18,"sessionId":""})",
        R"({"pid":18,"sessionId":7})"})
    EXPECT_EQ(ClaudeEvidence::status(text), std::nullopt) << text;
}

TEST(ClaudeTranscript, AToolResultEndsItsCall) {
  EXPECT_EQ(in(Agent::claude,
               R"({"type":"user","timestamp":"TIME","message":{"content":[)"
               R"({"type":"tool_result","tool_use_id":"a"},{"type":"tool_result","tool_use_id":"b"}]}})"),
            (Facts{{Kind::callEnded, "a"}, {Kind::callEnded, "b"}}));
}

TEST(ClaudeTranscript, ARefusalThatStopsTheAgentOnlyWithdrawsTheQuestion) {
  const auto refusal = [](const std::string& end) {
    return in(
        Agent::claude,
        R"({"type":"user","timestamp":"TIME","message":{"content":[{"type":"tool_result","is_error":true,)"
        R"("content":"The user doesn't want to proceed with this tool use. )" +
            end + R"(","tool_use_id":"a"}]}})");
  };
  EXPECT_EQ(refusal("STOP what you are doing and wait for the user"), (Facts{{Kind::withdrawn, "a"}}));
  // With words of the person, the agent goes on.
  EXPECT_EQ(refusal("The user said: use another file"), (Facts{{Kind::callEnded, "a"}}));
}

TEST(ClaudeTranscript, AnInterruptionStopsTheTurn) {
  EXPECT_EQ(in(Agent::claude, R"({"type":"user","timestamp":"TIME","message":{"content":[)"
                              R"({"type":"text","text":"[Request interrupted by user for tool use]"}]}})"),
            (Facts{{Kind::interrupted, ""}}));
}

TEST(ClaudeTranscript, AnErrorOfTheApiFailsTheTurn) {
  EXPECT_EQ(in(Agent::claude, R"({"type":"assistant","timestamp":"TIME","isApiErrorMessage":true})"),
            (Facts{{Kind::failed, ""}}));
  EXPECT_EQ(in(Agent::claude, R"({"type":"assistant","timestamp":"TIME","isApiErrorMessage":false})"),
            Facts{});
}

TEST(ClaudeTranscript, TheDurationOfATurnEndsIt) {
  EXPECT_EQ(in(Agent::claude, R"({"type":"system","subtype":"turn_duration","timestamp":"TIME"})"),
            (Facts{{Kind::turnEnded, ""}}));
}

TEST(ClaudeTranscript, WordsOfALineInAnotherPlaceAreNotEvidence) {
  const auto none = [](const std::string& rest) {
    return in(Agent::claude, R"({"timestamp":"TIME",)" + rest + "}").empty();
  };
  EXPECT_TRUE(none(R"("type":"assistant","message":{"content":"a tool_result, turn_duration"})"));
  EXPECT_TRUE(none(R"("type":"assistant","isApiErrorMessage":false)"));
  EXPECT_TRUE(none(R"("type":"assistant","isApiErrorMessage":"true")"));
  EXPECT_TRUE(none(R"("type":"system","subtype":"note","content":"turn_duration")"));
  EXPECT_TRUE(none(R"("type":"summary","summary":"[Request interrupted by user")"));
}

TEST(ClaudeTranscript, ARefusalAndAnInterruptionMayShareALine) {
  EXPECT_EQ(
      in(Agent::claude, R"({"timestamp":"TIME","type":"user","message":{"content":[)"
                        R"({"type":"tool_result","tool_use_id":"c","content":)"
                        R"("The user doesn't want to proceed with this tool use. STOP what you are doing"},)"
                        R"({"type":"text","text":"[Request interrupted by user for tool use]"}]}})"),
      (Facts{{Kind::withdrawn, "c"}, {Kind::interrupted, ""}}));
}

TEST(ClaudeTranscript, APromptStartsATurnButWhatTheClientWritesDoesNot) {
  const auto starts = [](const std::string& rest) {
    return evidenceInLine(timed(R"({"type":"user","promptId":"1","timestamp":"TIME",)" + rest + "}"),
                          Agent::claude)
        .startsTurn;
  };
  EXPECT_TRUE(starts(R"("message":{"content":"Do it"})"));
  EXPECT_FALSE(starts(R"("message":{"content":"<command-name>/clear</command-name>"})"));
  EXPECT_FALSE(starts(R"("message":{"content":"[Request interrupted by user]"})"));
  EXPECT_FALSE(starts(R"("isMeta":true,"message":{"content":"Do it"})"));
  EXPECT_FALSE(starts(R"("message":{"content":""})"));
  EXPECT_TRUE(starts(R"("isMeta":false,"message":{"content":"Do it"})"));
  EXPECT_TRUE(starts(R"("isMeta":"no","message":{"content":"Do it"})"));
  const LineEvidence other = evidenceInLine(
      timed(R"({"type":"attachment","promptId":"1","timestamp":"TIME","message":{"content":"x"}})"),
      Agent::claude);
  EXPECT_EQ(other, LineEvidence());
}

TEST(Transcripts, ALineWithoutATimeIsNotEvidence) {
  EXPECT_EQ(in(Agent::claude, R"({"type":"system","subtype":"turn_duration"})"), Facts{});
  EXPECT_EQ(in(Agent::codex, R"({"type":"event_msg","payload":{"type":"task_complete"}})"), Facts{});
  EXPECT_EQ(in(Agent::gemini, R"({"type":"error"})"), Facts{});
  EXPECT_EQ(in(Agent::copilot, R"({"type":"abort"})"), Facts{});
  EXPECT_EQ(in(Agent::grok, R"({"type":"turn_ended"})"), Facts{});
}

TEST(Transcripts, ALineThatIsNotAnObjectIsNotEvidence) {
  for (const Agent agent : allAgents)
    for (const char* const text :
         {"", "{", "null", "[]", "7", "\"a\"", "{\"type\":7}", "\xff\xfe", "{\"type\":\"x\"}"})
      EXPECT_EQ(in(agent, text), Facts{}) << rawValue(agent) << " " << text;
}

TEST(GeminiChat, CancellationAndErrorsEndTheTurn) {
  EXPECT_EQ(in(Agent::gemini, R"({"timestamp":"TIME","type":"info","content":"Request cancelled."})"),
            (Facts{{Kind::interrupted, ""}}));
  EXPECT_EQ(in(Agent::gemini, R"({"timestamp":"TIME","type":"info","content":"This request failed."})"),
            Facts{});
  EXPECT_EQ(in(Agent::gemini, R"({"timestamp":"TIME","type":"error","content":"[API Error: 400]"})"),
            (Facts{{Kind::failed, ""}}));
}

TEST(GeminiChat, ContentWithoutTextIsOfNoPrompt) {
  const auto starts = [](const std::string& content) {
    return evidenceInLine(timed(R"({"timestamp":"TIME","type":"user","content":)" + content + "}"),
                          Agent::gemini)
        .startsTurn;
  };
  EXPECT_TRUE(starts(R"("Do it")"));
  EXPECT_TRUE(starts(R"([{"text":"Do it"}])"));
  EXPECT_FALSE(starts("[]"));
  EXPECT_FALSE(starts(R"([{"functionResponse":{}}])"));
  EXPECT_FALSE(starts(R"("")"));
}

TEST(GeminiChat, LinesThatChangeEarlierOnesAreKnown) {
  for (const char* line : {R"({"sessionId":"a"})", R"({"$set":{}})", R"({"$rewindTo":"b"})"})
    EXPECT_TRUE(evidenceInLine(line, Agent::gemini).isKnown) << line;
  EXPECT_FALSE(evidenceInLine(R"({"$other":1})", Agent::gemini).isKnown);
}

TEST(GeminiChat, EachCallHasItsOwnTime) {
  EXPECT_EQ(in(Agent::gemini, R"({"timestamp":"2026-11-21T22:39:00Z","type":"gemini","toolCalls":[)"
                              R"({"name":"a","status":"cancelled","timestamp":"TIME"},)"
                              R"({"name":"b","status":"success","timestamp":"TIME"},)"
                              R"({"name":"c","status":"error","timestamp":"TIME"},)"
                              R"({"name":"d","status":"executing","timestamp":"TIME"}]})"),
            (Facts{{Kind::refused, "name:a"}, {Kind::callEnded, "name:b"}, {Kind::callEnded, "name:c"}}));
}

TEST(GeminiChat, AHistoryThatIsWrittenAgainStartsNoTurn) {
  const LineEvidence line =
      evidenceInLine(timed(R"({"timestamp":"TIME","type":"user","content":[{"text":"Please only say ok"}]})"),
                     Agent::gemini);
  EXPECT_TRUE(line.facts.empty());
  EXPECT_TRUE(line.startsTurn);
  EXPECT_TRUE(evidenceInLine(R"({"$set":{"lastUpdated":"x"}})", Agent::gemini).isKnown);
  EXPECT_FALSE(evidenceInLine(R"({"type":"dream"})", Agent::gemini).isKnown);
}

TEST(CopilotEvents, EachQuestionHasItsAnswer) {
  const auto event = [](const std::string& rest) {
    return in(Agent::copilot, R"({"timestamp":"TIME",)" + rest + "}");
  };
  EXPECT_EQ(event(R"("type":"permission.requested","data":{"requestId":"r"})"), (Facts{{Kind::asked, "r"}}));
  EXPECT_EQ(event(R"("type":"permission.completed","data":{"requestId":"r","result":{"kind":"approved"}})"),
            (Facts{{Kind::answered, "r"}}));
  EXPECT_EQ(
      event(
          R"("type":"permission.completed","data":{"requestId":"r","result":{"kind":"denied-interactively-by-user"}})"),
      (Facts{{Kind::answered, "r"}}));
  EXPECT_EQ(event(R"("type":"permission.completed","data":{"requestId":"r","result":{"kind":"cancelled"}})"),
            (Facts{{Kind::withdrawn, "r"}}));
  EXPECT_EQ(event(R"("type":"tool.execution_start","data":{"toolCallId":"t","toolName":"ask_user"})"),
            (Facts{{Kind::asked, "t"}}));
  EXPECT_EQ(event(R"("type":"tool.execution_start","data":{"toolCallId":"t","toolName":"bash"})"), Facts{});
  EXPECT_EQ(event(R"("type":"tool.execution_complete","data":{"toolCallId":"t"})"),
            (Facts{{Kind::callEnded, "t"}}));
}

TEST(CopilotEvents, TurnsOfTheSessionCountAndThoseOfSubagentsDoNot) {
  const auto event = [](const std::string& rest) {
    return in(Agent::copilot, R"({"timestamp":"TIME",)" + rest + "}");
  };
  EXPECT_EQ(event(R"("type":"user.message")"), (Facts{{Kind::turnStarted, ""}}));
  EXPECT_EQ(event(R"("type":"user.message","agentId":"s")"), Facts{});
  EXPECT_EQ(event(R"("type":"assistant.turn_start")"), (Facts{{Kind::stepStarted, ""}}));
  EXPECT_EQ(event(R"("type":"assistant.turn_start","agentId":"s")"), Facts{});
  EXPECT_EQ(event(R"("type":"abort","data":{"reason":"user_abort"})"), (Facts{{Kind::interrupted, ""}}));
  EXPECT_EQ(event(R"("type":"session.error","data":{"statusCode":400})"), (Facts{{Kind::failed, ""}}));
  EXPECT_EQ(event(R"("type":"session.error","agentId":"s","data":{"statusCode":400})"), Facts{});
  EXPECT_EQ(event(R"("type":"session.shutdown")"), (Facts{{Kind::sessionEnded, ""}}));
  EXPECT_EQ(event(R"("type":"hook.start","data":{"hookType":"agentStop","input":{}})"),
            (Facts{{Kind::turnEnded, ""}}));
}

TEST(CopilotEvents, OfASubagentAreMarkedAsItsOwn) {
  const std::string line =
      timed(R"({"timestamp":"TIME","type":"permission.requested","data":{"requestId":"r"})");
  EXPECT_FALSE(evidenceInLine(line + "}", Agent::copilot).facts.front().isSubagents);
  EXPECT_TRUE(evidenceInLine(line + R"(,"agentId":"s"})", Agent::copilot).facts.front().isSubagents);
}

TEST(CopilotEvents, NameTheSubagentsOfTheSession) {
  const LineEvidence hook =
      evidenceInLine(timed(R"({"timestamp":"TIME","type":"hook.start","data":{"hookType":"agentStop",)"
                           R"("input":{"sessionId":"child","parentAgentId":"parent"}}})"),
                     Agent::copilot);
  EXPECT_EQ(hook.subagent, "child");
  EXPECT_TRUE(hook.facts.empty());
  EXPECT_EQ(evidenceInLine(timed(R"({"timestamp":"TIME","type":"subagent.started","agentId":"child"})"),
                           Agent::copilot)
                .subagent,
            "child");
  EXPECT_FALSE(evidenceInLine(R"({"type":"weather.changed"})", Agent::copilot).isKnown);
}

TEST(CopilotEvents, OfAnotherKindAboutPermissionsAreNotAQuestion) {
  EXPECT_EQ(in(Agent::copilot, R"({"timestamp":"TIME","type":"permission.shown","data":{"requestId":"r"}})"),
            Facts{});
}

TEST(CopilotHold, NamesItsProcess) {
  for (const char* const name : {"inuse.34.hold", "inuse.34.lock", "inuse.34"})
    EXPECT_EQ(CopilotEvidence::holder(name), 34) << name;
  for (const char* const name : {"inuse..hold", "inuse.x.hold", "inuse.", "34.hold", "inuse.hold", ""})
    EXPECT_EQ(CopilotEvidence::holder(name), std::nullopt) << name;
}

TEST(GrokEvents, QuestionsAndTurnsAreFacts) {
  const auto event = [](const std::string& rest) { return in(Agent::grok, R"({"ts":"TIME",)" + rest + "}"); };
  EXPECT_EQ(event(R"("type":"permission_requested","tool_name":"run")"),
            (Facts{{Kind::asked, "permission:run"}}));
  EXPECT_EQ(event(R"("type":"permission_resolved","tool_name":"run","decision":"allow")"),
            (Facts{{Kind::answered, "permission:run"}}));
  for (const std::string decision : {"deny", "cancelled"})
    EXPECT_EQ(event(R"("type":"permission_resolved","tool_name":"run","decision":")" + decision + "\""),
              (Facts{{Kind::withdrawn, "permission:run"}}));
  EXPECT_EQ(event(R"("type":"permission_resolved","tool_name":"run","decision":"always")"),
            (Facts{{Kind::answered, "permission:run"}}));
  EXPECT_EQ(event(R"("type":"tool_started","tool_name":"ask_user_question")"),
            (Facts{{Kind::asked, "question"}}));
  EXPECT_EQ(event(R"("type":"tool_completed","tool_name":"ask_user_question")"),
            (Facts{{Kind::callEnded, "question"}}));
  EXPECT_EQ(event(R"("type":"tool_started","tool_name":"run")"), Facts{});
  EXPECT_EQ(event(R"("type":"turn_started")"), (Facts{{Kind::turnStarted, ""}}));
  EXPECT_EQ(event(R"("type":"first_token")"), (Facts{{Kind::output, ""}}));
  EXPECT_EQ(event(R"("type":"turn_ended","outcome":"completed")"), (Facts{{Kind::turnEnded, ""}}));
  EXPECT_EQ(event(R"("type":"turn_ended","outcome":"error")"), (Facts{{Kind::failed, ""}}));
  EXPECT_EQ(event(R"("type":"turn_ended","outcome":"cancelled")"), (Facts{{Kind::interrupted, ""}}));
  EXPECT_EQ(event(R"("type":"turn_ended","outcome":"interrupted")"), (Facts{{Kind::interrupted, ""}}));
  EXPECT_EQ(
      event(R"("type":"turn_ended","outcome":"cancelled","cancellation_category":"permission_rejected")"),
      (Facts{{Kind::refused, ""}}));
  EXPECT_FALSE(evidenceInLine(R"({"type":"tea_break"})", Agent::grok).isKnown);
}

// What the reader says when it parses the line: it never judges one with a space in front without parsing.
LineEvidence parsedEvidence(const std::string& line) {
  return evidenceInLine(" " + line, Agent::grok);
}

TEST(GrokEvents, AreJudgedWithoutParsingAsWithIt) {
  for (const char* const text :
       {R"({"ts":"TIME","type":"phase_changed","phase":"waiting_for_model"})",
        R"({"ts":"TIME","type":"loop_started","loop_index":0})",
        R"({"ts":"TIME","type":"tool_started","tool_name":"write"})",
        R"({"ts":"TIME","type":"tool_started","tool_name":"ask_user_question"})",
        R"({"ts":"TIME","type":"tool_completed","tool_name":"write","outcome":"success"})",
        R"({"ts":"TIME","tool_name":"ask_user_question","type":"tool_completed"})",
        R"({"ts":"TIME","type":"first_token"})", R"({"type":"first_token","ts":"TIME"})",
        R"({"ts":"TIME","type":"tea_break"})", R"({"ts":"TIME","kind":"phase_changed"})",
        // The last of equal keys counts, however it is written.
        R"({"ts":"TIME","type":"phase_changed","type":"first_token"})",
        R"({"ts":"TIME","type":"first_token","type":"phase_changed"})",
        R"({"ts":"TIME","type":"phase_changed","type" : "first_token"})",
        R"({"ts":"TIME","type":"phase_changed","type":7})",
        R"({"ts":"TIME","type":"phase_changed","t\u0079pe":"first_token"})",
        R"({"ts":"TIME","type":"phase_changed","\u0074ype":"tea_break"})",
        R"({"ts":"TIME","type" : "first_token","type":"phase_changed"})",
        // Spaces and escapes.
        R"({ "ts" : "TIME" , "type" : "phase_changed" })", R"({"ts":"TIME","type": "first_token"})",
        R"({"ts":"TIME","type":"first\u005ftoken"})", R"({"ts":"TIME","type":"phase\u005fchanged"})",
        R"({"ts":"TIME","type":"tool_started","tool_name":"ask\u005fuser_question"})",
        "{\t\"type\":\"loop_started\",\"ts\":\"TIME\"}\r",
        // The words in another place.
        R"({"ts":"TIME","phase":"type","type":"first_token"})",
        R"({"ts":"TIME","type":"phase_changed","phase":"type"})",
        R"({"ts":"TIME","phase":"\"type\":\"phase_changed\"","type":"first_token"})",
        R"({"ts":"TIME","type":"first_token","phase":"\"type\":\"phase_changed\""})",
        R"({"ts":"TIME","of":{"type":"phase_changed"},"type":"first_token"})",
        R"({"ts":"TIME","type":"first_token","of":{"type":"phase_changed"}})",
        R"({"ts":"TIME","of":[{"type":"phase_changed"}]})", R"([{"ts":"TIME","type":"phase_changed"}])",
        R"({"ts":"TIME","subtype":"phase_changed"})", R"({"ts":"TIME","type":["type","phase_changed"]})",
        // Literals.
        R"({"ts":"TIME","is":true,"isnt":false,"none":null,"zero":0,"count":42,"type":"first_token"})",
        R"({"ts":"TIME","count":007,"type":"first_token"})", R"({"ts":"TIME","is":yes,"type":"first_token"})",
        R"({"ts":"TIME","count":-1.5e3,"type":"first_token"})", R"({"ts":"TIME","type":"first_token","n":1)",
        R"({"ts":"TIME","count":1234567890123456,"type":"first_token"})",
        R"({"ts":"TIME","count":,"type":"first_token"})", R"({"ts":"TIME","type":"first_token","type":null})",
        // No JSON.
        R"({"ts":"TIME","type":"first_token")", R"({"ts":"TIME","type":"first_token})",
        R"({"ts":"TIME","type":"first_token","n":"1})", R"({"ts":"TIME","type":"first_token",})",
        R"({"ts":"TIME","type":"first_token"}})", R"({"ts":"TIME","type":"first_token"}{})",
        R"({"ts":"TIME","type""first_token"})", R"({"ts":"TIME" "type":"first_token"})",
        R"("ts":"TIME","type":"first_token"})", "{\"ts\":\"TIME\",\"type\":\"first_token\",\"a\":\"\x01\"}",
        "{\"ts\":\"TIME\",\"type\":\"first_token\",\"a\":\"\xff\"}", R"({"a":"1})", R"({"a":"1"})", "{}", "{",
        "}", "", R"({"ts":"TIME","type":"first_token","a":"ä"})"}) {
    const std::string line = timed(text);
    EXPECT_EQ(evidenceInLine(line, Agent::grok), parsedEvidence(line)) << line;
  }
}

// Lines of the client with a few bytes changed.
TEST(GrokEvents, AreJudgedWithoutParsingAsWithItWhateverChanges) {
  Random random(randomSeed());
  const std::vector<std::string> lines = {
      timed(R"({"ts":"TIME","type":"turn_started","turn_number":0,"yolo_mode":false,"model_id":"grok"})"),
      timed(R"({"ts":"TIME","type":"first_token"})"),
      timed(
          R"({"ts":"TIME","type":"permission_resolved","tool_name":"run","decision":"deny","wait_ms":3349})"),
      timed(R"({"ts":"TIME","type":"tool_started","tool_name":"ask_user_question"})"),
      timed(R"({"ts":"TIME","type":"turn_ended","outcome":"cancelled"})")};
  const std::string bytes = R"("":{}[],.0123tfnse\ -)";
  std::size_t facts = 0;
  for (int round = 0; round < generatedCases(20'000); ++round) {
    std::string line = random.of(lines);
    for (std::size_t changes = random.below(3); changes > 0; --changes) {
      const std::size_t place = random.below(line.size());
      if (random.flip()) line.erase(place, 1 + random.below(2));
      if (random.flip()) line.insert(std::min(place, line.size()), 1, random.of(bytes));
    }
    const LineEvidence found = evidenceInLine(line, Agent::grok);
    ASSERT_EQ(found, parsedEvidence(line)) << line;
    facts += found.facts.size();
  }
  EXPECT_GT(facts, 1'000U);
}

TEST(GrokList, NamesOpenSessionsAndLeavesOutWhatItCannotRead) {
  const auto open = GrokEvidence::openSessions(
      timed(R"([{"session_id":"a","pid":18,"cwd":"/src","opened_at":"TIME"},{"session_id":"b"},{"pid":9}])"));
  EXPECT_EQ(open,
            (std::vector<GrokEvidence::Open>{{.sessionId = "a", .pid = 18, .cwd = "/src", .since = at}}));
  EXPECT_EQ(GrokEvidence::openSessions("[]"), std::vector<GrokEvidence::Open>());
  for (const char* const text : {"", "{}", "[", "[7]"})
    EXPECT_EQ(GrokEvidence::openSessions(text), std::nullopt);
}

TEST(GrokSummary, SaysWhetherTheSessionIsASubagents) {
  EXPECT_TRUE(GrokEvidence::isSubagent(R"({"session_kind":"subagent"})"));
  EXPECT_FALSE(GrokEvidence::isSubagent(R"({"session_kind":"main"})"));
  EXPECT_FALSE(GrokEvidence::isSubagent(R"({})"));
  EXPECT_FALSE(GrokEvidence::isSubagent(""));
}

}  // namespace
}  // namespace tavrin::test
