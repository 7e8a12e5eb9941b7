#include "TavrinCore/Monitor/ChildEvidence.hpp"

#include <gtest/gtest.h>

namespace tavrin {
namespace {

using ChildEvidence::runs;
using Kind = SessionFact::Kind;

SessionFact fact(Kind kind, std::string call = {}) {
  return {.kind = kind, .at = Date(), .call = std::move(call), .command = {}};
}

TEST(OpenQuestions, AreThoseWithoutAnswerOrResult) {
  const std::vector<SessionFact> facts = {fact(Kind::asked, "a"),     fact(Kind::asked, "b"),
                                          fact(Kind::asked, "c"),     fact(Kind::asked, "d"),
                                          fact(Kind::answered, "a"),  fact(Kind::output),
                                          fact(Kind::callEnded, "b"), fact(Kind::withdrawn, "c")};
  const auto open = ChildEvidence::openQuestions(facts);
  ASSERT_EQ(open.size(), 1U);
  EXPECT_EQ(open.front()->call, "d");
}

TEST(OpenQuestions, EndWithTheirTurn) {
  for (const Kind kind : {Kind::turnStarted, Kind::turnEnded, Kind::interrupted, Kind::refused, Kind::failed,
                          Kind::sessionEnded})
    EXPECT_TRUE(ChildEvidence::openQuestions({fact(Kind::asked, "a"), fact(kind)}).empty());
}

TEST(OpenQuestions, OfASubagentOutliveATurnThatEndsByItself) {
  SessionFact question = fact(Kind::asked, "a");
  question.isSubagents = true;
  for (const Kind kind : {Kind::turnStarted, Kind::turnEnded})
    EXPECT_EQ(ChildEvidence::openQuestions({question, fact(kind)}).size(), 1U);
  for (const Kind kind : {Kind::interrupted, Kind::refused, Kind::failed, Kind::sessionEnded})
    EXPECT_TRUE(ChildEvidence::openQuestions({question, fact(kind)}).empty());
  EXPECT_TRUE(ChildEvidence::openQuestions({question, fact(Kind::answered, "a")}).empty());
}

TEST(ChildProcess, OfAShellThatHoldsTheCommandRunsIt) {
  EXPECT_TRUE(runs({"/bin/bash", "-lc", "touch a; sleep 9"}, "touch a; sleep 9"));
  EXPECT_TRUE(runs({"/proc/self/exe", "--codex-run-as-process-setup", "38", "/bin/bash", "-lc", "npm test"},
                   "npm test"));
}

TEST(ChildProcess, ThatTheShellBecameRunsTheCommand) {
  EXPECT_TRUE(runs({"sleep", "9"}, "touch a; sleep 9"));
  EXPECT_TRUE(runs({"/usr/bin/git", "push", "origin"}, "git push origin"));
  EXPECT_TRUE(runs({"git", "commit", "-m", "a b"}, "git commit -m 'a b'"));
  EXPECT_TRUE(runs({"/bin/sh", "./build.sh"}, "./build.sh"));
  EXPECT_TRUE(runs({"make"}, "make"));
}

TEST(ChildProcess, OfAScriptFromThePathRunsTheCommandThatNamesIt) {
  EXPECT_TRUE(runs({"/usr/bin/python3", "/usr/bin/pip", "install", "x"}, "pip install x"));
  EXPECT_TRUE(runs({"node", "/usr/lib/yarn.js", "build"}, "cd web && yarn build"));
  EXPECT_TRUE(runs({"/opt/bin/make"}, "(make)"));
  EXPECT_TRUE(runs({"node", "/usr/lib/yarn.js"}, "cd web && yarn"));
  EXPECT_FALSE(runs({"node", "/usr/lib/yarn.js"}, "cd yarns"));
  EXPECT_FALSE(runs({"node", "/usr/lib/hook.js"}, "node build.js"));
  EXPECT_FALSE(runs({"node", "/usr/lib/ya.js", "build"}, "yarn build"));
  EXPECT_FALSE(runs({"node", "/usr/lib/arn.js", "build"}, "yarn build"));
  EXPECT_FALSE(runs({"node", "/usr/lib/", "build"}, "yarn build"));
  EXPECT_FALSE(runs({"node", "", "build"}, "yarn build"));
}

TEST(ChildProcess, OfAnotherKindDoesNot) {
  EXPECT_FALSE(runs({"git", "status"}, "touch a"));
  EXPECT_FALSE(runs({"sleep", "10"}, "touch a; sleep 9"));
  EXPECT_FALSE(runs({"codex"}, "touch a"));
  EXPECT_FALSE(runs({"/bin/bash", "-lc", "ls"}, "touch a"));
  EXPECT_FALSE(runs({"tavrin-hook", "--agent", "codex"}, "touch a"));
  EXPECT_FALSE(runs({}, "touch a"));
  EXPECT_FALSE(runs({"touch", "a"}, ""));
}

TEST(ChildProcess, InTheSandboxNeededNoAnswer) {
  EXPECT_FALSE(runs({"/x/codex-linux-sandbox", "--", "bash", "-c", "sleep 9"}, "sleep 9"));
  EXPECT_FALSE(runs({"/x/helper", "--sandbox-policy-cwd", "/src", "bash", "-c", "sleep 9"}, "sleep 9"));
  EXPECT_FALSE(runs({"/usr/bin/sandbox-exec", "-p", "x", "sleep 9"}, "sleep 9"));
}

}  // namespace
}  // namespace tavrin
