#include <gtest/gtest.h>

#include <string>

#include "TavrinHook/HookCommand.hpp"

namespace tavrin {
namespace {

using HookCommand::trace;

HookEvent preToolUse() {
  return {.sessionId = "3f2a9c1d-7b60-4c1e-9d53-0a1b2c3d4e5f",
          .eventName = "PreToolUse",
          .cwd = "/Users/dev/app",
          .toolName = "Bash",
          .notificationType = {},
          .source = {},
          .toolUseId = "toolu_01a1b2c3",
          .agentId = {},
          .transcriptPath = {}};
}

HookEvent notification() {
  HookEvent event = preToolUse();
  event.eventName = "Notification";
  event.toolName.reset();
  event.toolUseId.reset();
  event.notificationType = "permission_prompt";
  return event;
}

std::string withSession(std::string id) {
  HookEvent event = preToolUse();
  event.sessionId = std::move(id);
  return trace(event, Agent::claude, "working");
}

std::string withToolUse(std::string id) {
  HookEvent event = preToolUse();
  event.toolUseId = std::move(id);
  return trace(event, Agent::claude, "working");
}

std::string withSubagent(std::string id) {
  HookEvent event = preToolUse();
  event.agentId = std::move(id);
  return trace(event, Agent::claude, "working");
}

TEST(HookCommandTrace, ShowsAgentSessionEventToolAndOutcome) {
  EXPECT_EQ(trace(preToolUse(), Agent::claude, "working"),
            "claude 3f2a9c1d PreToolUse Bash#a1b2c3 \u2192 working");
}

TEST(HookCommandTrace, HasTwoSpacesWithoutATool) {
  EXPECT_EQ(trace(notification(), Agent::claude, "needsYou holding 1"),
            "claude 3f2a9c1d Notification(permission_prompt)  \u2192 needsYou holding 1");
}

TEST(HookCommandTrace, NamesEachAgentByItsRawValue) {
  for (const Agent agent : allAgents) {
    EXPECT_EQ(trace(preToolUse(), agent, "x"),
              std::string(rawValue(agent)) + " 3f2a9c1d PreToolUse Bash#a1b2c3 \u2192 x");
  }
}

TEST(HookCommandTrace, ShowsAnEmptyNotificationType) {
  HookEvent event = notification();
  event.notificationType = "";
  EXPECT_EQ(trace(event, Agent::claude, "ignored"), "claude 3f2a9c1d Notification()  \u2192 ignored");
}

TEST(HookCommandTrace, ShowsANotificationTypeOfAnyEvent) {
  HookEvent event = preToolUse();
  event.notificationType = "n";
  EXPECT_EQ(trace(event, Agent::claude, "x"), "claude 3f2a9c1d PreToolUse(n) Bash#a1b2c3 \u2192 x");
}

TEST(HookCommandTrace, ShowsAToolWithoutAnId) {
  HookEvent event = preToolUse();
  event.toolUseId.reset();
  EXPECT_EQ(trace(event, Agent::claude, "x"), "claude 3f2a9c1d PreToolUse Bash \u2192 x");
  event.toolUseId = "";
  EXPECT_EQ(trace(event, Agent::claude, "x"), "claude 3f2a9c1d PreToolUse Bash \u2192 x");
}

TEST(HookCommandTrace, ShowsAnIdWithoutATool) {
  HookEvent event = preToolUse();
  event.toolName.reset();
  EXPECT_EQ(trace(event, Agent::claude, "x"), "claude 3f2a9c1d PreToolUse #a1b2c3 \u2192 x");
  event.toolName = "";
  EXPECT_EQ(trace(event, Agent::claude, "x"), "claude 3f2a9c1d PreToolUse #a1b2c3 \u2192 x");
}

TEST(HookCommandTrace, ShowsASubagentEvenWithAnEmptyId) {
  EXPECT_EQ(withSubagent("a0b1c2d3e4"), "claude 3f2a9c1d PreToolUse Bash#a1b2c3 agent:a0b1c2 \u2192 working");
  EXPECT_EQ(withSubagent("a0b"), "claude 3f2a9c1d PreToolUse Bash#a1b2c3 agent:a0b \u2192 working");
  EXPECT_EQ(withSubagent(""), "claude 3f2a9c1d PreToolUse Bash#a1b2c3 agent: \u2192 working");
}

TEST(HookCommandTrace, ShowsASubagentWithoutATool) {
  HookEvent event = notification();
  event.agentId = "a0b1c2d3";
  EXPECT_EQ(trace(event, Agent::claude, "x"),
            "claude 3f2a9c1d Notification(permission_prompt)  agent:a0b1c2 \u2192 x");
}

TEST(HookCommandTrace, ShortIdsAreShownWhole) {
  EXPECT_EQ(withSession("s"), "claude s PreToolUse Bash#a1b2c3 \u2192 working");
  EXPECT_EQ(withSession("1234567"), "claude 1234567 PreToolUse Bash#a1b2c3 \u2192 working");
  EXPECT_EQ(withSession("12345678"), "claude 12345678 PreToolUse Bash#a1b2c3 \u2192 working");
  EXPECT_EQ(withSession("123456789"), "claude 12345678 PreToolUse Bash#a1b2c3 \u2192 working");
  EXPECT_EQ(withToolUse("x"), "claude 3f2a9c1d PreToolUse Bash#x \u2192 working");
  EXPECT_EQ(withToolUse("12345"), "claude 3f2a9c1d PreToolUse Bash#12345 \u2192 working");
  EXPECT_EQ(withToolUse("123456"), "claude 3f2a9c1d PreToolUse Bash#123456 \u2192 working");
  EXPECT_EQ(withToolUse("1234567"), "claude 3f2a9c1d PreToolUse Bash#234567 \u2192 working");
}

TEST(HookCommandTrace, IdsAreCountedInCharactersNotInBytes) {
  // A family, a flag, a thumb with a skin tone and an accented letter. Each is one character.
  const std::string four =
      "\U0001F468\u200d\U0001F469\u200d\U0001F467\U0001F1E9\U0001F1EA\U0001F44D\U0001F3FDe\u0301";
  EXPECT_EQ(withSession(four + "12345"), "claude " + four + "1234 PreToolUse Bash#a1b2c3 \u2192 working");
  EXPECT_EQ(withToolUse("12345" + four), "claude 3f2a9c1d PreToolUse Bash#45" + four + " \u2192 working");
  EXPECT_EQ(withSubagent(four + "12345"),
            "claude 3f2a9c1d PreToolUse Bash#a1b2c3 agent:" + four + "12 \u2192 working");
  EXPECT_EQ(withSession("\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9"),
            "claude \u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9 PreToolUse Bash#a1b2c3 \u2192 working");
}

TEST(HookCommandTrace, EverythingElseIsShownAsItIs) {
  HookEvent event = preToolUse();
  event.eventName = "Some  event";
  event.toolName = "mcp__server__a \u4e2d tool\n";
  event.toolUseId.reset();
  EXPECT_EQ(trace(event, Agent::grok, ""), "grok 3f2a9c1d Some  event mcp__server__a \u4e2d tool\n \u2192 ");
}

TEST(HookCommandTrace, OmitsDirectorySourceAndTranscript) {
  HookEvent event = preToolUse();
  event.source = "startup";
  event.cwd = "/elsewhere";
  event.transcriptPath = "/t";
  EXPECT_EQ(trace(event, Agent::claude, "working"), trace(preToolUse(), Agent::claude, "working"));
}

}  // namespace
}  // namespace tavrin
