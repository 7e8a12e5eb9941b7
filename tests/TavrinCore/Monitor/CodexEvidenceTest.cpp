#include <gtest/gtest.h>

#include "EvidenceLines.hpp"

namespace tavrin::test {
namespace {

std::string codexCall(const std::string& name, const std::string& arguments) {
  return R"({"timestamp":"TIME","type":"response_item","payload":{"type":"function_call","call_id":"c1","name":")" +
         name + R"(","arguments":")" + arguments + "\"}}";
}

TEST(CodexRollout, ACallThatLeavesTheSandboxAsks) {
  const LineEvidence line = evidenceInLine(
      timed(codexCall("exec_command",
                      R"({\"cmd\": \"touch a; sleep 9\", \"sandbox_permissions\": \"require_escalated\"})")),
      Agent::codex);
  EXPECT_EQ(factsOf(line), (Facts{{Kind::asked, "c1"}}));
  EXPECT_EQ(line.facts.front().command, "touch a; sleep 9");
}

TEST(CodexRollout, ACallInCodeModeAsksWithItsOwnCommand) {
  const LineEvidence line = evidenceInLine(
      timed(
          R"({"timestamp":"TIME","type":"response_item","payload":{"type":"custom_tool_call","call_id":"c1",)"
          R"("name":"exec","input":"text(await tools.exec_command({\"cmd\": \"touch a\", )"
          R"(\"sandbox_permissions\": \"require_escalated\"}));"}})"),
      Agent::codex);
  EXPECT_EQ(factsOf(line), (Facts{{Kind::asked, "c1"}}));
  EXPECT_EQ(line.facts.front().command, "touch a");
}

// The command of a call with these arguments, whose quotes are written plainly.
std::string commandOfCall(const std::string& arguments) {
  std::string escaped;
  for (const char letter : arguments) escaped += letter == '"' ? "\\\"" : std::string(1, letter);
  const LineEvidence line = evidenceInLine(timed(codexCall("tool", escaped)), Agent::codex);
  return line.facts.empty() ? "none" : line.facts.front().command;
}

TEST(CodexRollout, ACommandMayBeAListOfWords) {
  const std::string end = R"(, "sandbox_permissions": "require_escalated"})";
  EXPECT_EQ(commandOfCall(R"({"command": ["bash", "-lc", "touch a; sleep 9"])" + end), "touch a; sleep 9");
  EXPECT_EQ(commandOfCall(R"({"command": ["git", "push", "origin"])" + end), "git push origin");
  EXPECT_EQ(commandOfCall(R"({"command": ["ls", "-l", 7, "a"])" + end), "ls -l a");
  EXPECT_EQ(commandOfCall(R"({"command": ["npm", "test"])" + end), "npm test");
  EXPECT_EQ(commandOfCall(R"({"command": ["bash", "-lc", "make", "x"])" + end), "bash -lc make x");
  EXPECT_EQ(commandOfCall(R"({"command": [])" + end), "");
  EXPECT_EQ(commandOfCall(R"({"command": "make all")" + end), "make all");
  EXPECT_EQ(commandOfCall(R"({"command": 7)" + end), "");
  EXPECT_EQ(commandOfCall(R"({"patch": "x")" + end), "");
}

TEST(CodexRollout, AProgramWrittenAsJavaScriptIsReadAsSuch) {
  const std::string end = R"(, sandbox_permissions: "require_escalated"}; await run(x))";
  EXPECT_EQ(commandOfCall(R"(const x = {cmd: "touch a; sleep 9")" + end), "touch a; sleep 9");
  EXPECT_EQ(commandOfCall(R"(const x = {"cmd" : 'echo "a"')" + end), R"(echo "a")");
  EXPECT_EQ(commandOfCall("run({cmd:`make`" + end), "make");
  EXPECT_EQ(commandOfCall("let cmd; run({ 'cmd': cmdOf(1), cmd: 'ls'" + end), "ls");
  // A backslash of the program is two in the rollout.
  EXPECT_EQ(commandOfCall(R"(run({cmd: 'a\\tb\\nc \\'d\\'')" + end), "a\tb\nc 'd'");
}

TEST(CodexRollout, AProgramWithoutAPlainCommandStandsForItsCommand) {
  for (const std::string start : {"const x = {cmd: list[0]", "const x = {cmd: 'make", "const cmd = {a: 1"}) {
    const std::string program = start + R"(, sandbox_permissions: "require_escalated"}; await run(x))";
    EXPECT_EQ(commandOfCall(program), program);
  }
  const std::string words = "sandbox_permissions require_escalated";
  EXPECT_EQ(commandOfCall(words), "");
  EXPECT_EQ(commandOfCall("} " + words + " {"), "");
  EXPECT_EQ(commandOfCall("{ " + words), "");
}

TEST(CodexRollout, ACommandThatOnlyNamesTheSandboxDoesNotAsk) {
  EXPECT_EQ(commandOfCall(R"({"cmd": "grep -r require_escalated src"})"), "none");
  EXPECT_EQ(commandOfCall(R"({"cmd": "grep -E 'sandbox_permissions|require_escalated' src"})"), "none");
  EXPECT_EQ(commandOfCall(R"({"cmd": "echo require_escalated", "sandbox_permissions": "use_default"})"),
            "none");
  EXPECT_EQ(commandOfCall(R"(run({cmd: "grep require_escalated src"}))"), "none");
  EXPECT_EQ(in(Agent::codex, codexCall("require_escalated", "run({sandbox_permissions: 1})")), Facts{});
}

TEST(CodexRollout, APatchThatQuotesACallThatAsksDoesNotAsk) {
  EXPECT_EQ(
      in(Agent::codex, R"({"timestamp":"TIME","type":"response_item","payload":{"type":"custom_tool_call",)"
                       R"("call_id":"c1","name":"apply_patch",)"
                       R"("input":"*** Begin Patch\n+{sandbox_permissions: \"require_escalated\"}\n"}})"),
      Facts{});
}

TEST(CodexRollout, ACallWithoutAnIdentifierCannotBeFollowed) {
  EXPECT_EQ(in(Agent::codex, R"({"timestamp":"TIME","type":"response_item","payload":)"
                             R"({"type":"function_call","name":"request_user_input"}})"),
            Facts{});
}

TEST(CodexRollout, AQuestionAsksAndAnOrdinaryCallDoesNot) {
  EXPECT_EQ(in(Agent::codex, codexCall("request_user_input", "{}")), (Facts{{Kind::asked, "c1"}}));
  EXPECT_EQ(in(Agent::codex, codexCall("exec_command", R"({\"cmd\": \"ls\"})")), Facts{});
  EXPECT_EQ(in(Agent::codex, codexCall("exec_command", R"({\"cmd\": \"grep request_user_input\"})")),
            Facts{});
}

TEST(CodexRollout, OutputTurnsAndErrorsAreFacts) {
  const auto event = [](const std::string& payload) {
    return in(Agent::codex,
              R"({"timestamp":"TIME","ordinal":3,"type":"event_msg","payload":)" + payload + "}");
  };
  EXPECT_EQ(event(R"({"type":"task_started"})"), (Facts{{Kind::turnStarted, ""}}));
  EXPECT_EQ(event(R"({"type":"task_complete"})"), (Facts{{Kind::turnEnded, ""}}));
  EXPECT_EQ(event(R"({"type":"task_complete","error":{"message":"400"}})"), (Facts{{Kind::failed, ""}}));
  EXPECT_EQ(event(R"({"type":"turn_aborted","reason":"interrupted"})"), (Facts{{Kind::interrupted, ""}}));
  EXPECT_EQ(event(R"({"type":"token_count"})"), (Facts{{Kind::output, ""}}));
  EXPECT_EQ(event(R"({"type":"item_completed","item":{"id":"c1","type":"CommandExecution"}})"),
            (Facts{{Kind::callEnded, "c1"}}));
  EXPECT_EQ(in(Agent::codex, R"({"timestamp":"TIME","type":"response_item","payload":)"
                             R"({"type":"function_call_output","call_id":"c1"}})"),
            (Facts{{Kind::callEnded, "c1"}}));
}

TEST(CodexRollout, ItsFirstLineNamesTheParent) {
  EXPECT_EQ(CodexEvidence::meta(R"({"type":"session_meta","payload":{"id":"b","parent_thread_id":"a",)"
                                R"("subagent_history_start_ordinal":16}})"),
            (CodexEvidence::Meta{.id = "b", .parentId = "a", .firstOwnLine = 16}));
  EXPECT_EQ(CodexEvidence::meta(R"({"type":"session_meta","payload":{"id":"b"}})"),
            (CodexEvidence::Meta{.id = "b", .parentId = "", .firstOwnLine = 0}));
  EXPECT_EQ(CodexEvidence::meta(R"({"type":"event_msg","payload":{"id":"b"}})"), std::nullopt);
  EXPECT_EQ(CodexEvidence::meta(R"({"type":"session_meta","payload":{}})"), std::nullopt);
}

TEST(CodexRollout, ALineOfANewKindIsCounted) {
  EXPECT_TRUE(evidenceInLine(R"({"type":"world_state","payload":{}})", Agent::codex).isKnown);
  EXPECT_FALSE(evidenceInLine(R"({"type":"telepathy","payload":{}})", Agent::codex).isKnown);
  EXPECT_EQ(CodexEvidence::ordinal(R"({"timestamp":"x","ordinal":16,"type":"y"})"), 16U);
  EXPECT_EQ(CodexEvidence::ordinal(R"({"timestamp":"x"})"), std::nullopt);
  EXPECT_EQ(CodexEvidence::ordinal(R"({"ordinal":"x"})"), std::nullopt);
}

TEST(CodexNames, HoldAnIdAndTheTimeInIt) {
  constexpr std::string_view id = "01a20054-7c97-7890-932d-c7bd65f0f20a";
  EXPECT_EQ(CodexEvidence::idInName("rollout-2026-11-21T22-57-45-" + std::string(id) + ".jsonl"), id);
  EXPECT_EQ(CodexEvidence::idInName(std::string(id) + ".lock"), id);
  EXPECT_EQ(CodexEvidence::idInName(".coordination.lock"), "");
  EXPECT_EQ(CodexEvidence::idInName(std::string(36, 'a') + ".lock"), "");
  EXPECT_NEAR(secondsOf(CodexEvidence::createdAt(id).value()), 1'795'301'866, 1);
  EXPECT_EQ(CodexEvidence::createdAt("01a20054-7c97-4890-932d-c7bd65f0f20a"), std::nullopt);
  EXPECT_EQ(CodexEvidence::createdAt("x"), std::nullopt);
  for (const std::string_view other :
       {"g1a20054-7c97-7890-932d-c7bd65f0f20a", "01a20054-gc97-7890-932d-c7bd65f0f20a"})
    EXPECT_EQ(CodexEvidence::createdAt(other), std::nullopt) << other;
  for (const std::size_t place : {0U, 8U, 13U, 18U, 23U, 35U}) {
    std::string wrong(id);
    wrong[place] = place == 0 || place == 35 ? 'x' : 'a';
    EXPECT_EQ(CodexEvidence::idInName(wrong + ".lock"), "") << wrong;
  }
}

}  // namespace
}  // namespace tavrin::test
