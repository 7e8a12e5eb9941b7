#include "TavrinCore/Sessions/Session.hpp"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/HomeVariable.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

constexpr std::string_view home = "/Users/dev";

// A record with something in every field.
Session fullSession() {
  Session session;
  session.sessionId = "0198c2a4-77aa";
  session.agent = Agent::gemini;
  session.state = SessionState::needsYou;
  session.needsYouTool = "Bash";
  session.attentionId = "OLD-ID";
  session.attentionTranscriptOffset = 4096;
  session.inFlight = {"call_1", "call_2"};
  session.waitingOn = {"call_2"};
  session.transcriptPath = "/t/x.jsonl";
  session.updatedAt = dateFromSeconds(1000);
  session.stateSince = dateFromSeconds(900);
  session.cwd = "/Users/dev/src/app/sub";
  session.agentPid = 612;
  session.tty = "/dev/ttys004";
  session.hostPid = 301;
  session.hostBundleId = "com.apple.Terminal";
  session.repoRoot = "/Users/dev/src/app";
  session.worktreeName = "feature-x";
  session.title = "A title";
  return session;
}

// Returns "NEW-1", "NEW-2" and so on, and counts.
struct Ids {
  int given = 0;

  UuidSource source() {
    return [this] { return "NEW-" + std::to_string(++given); };
  }
};

TEST(Session, StartsWithoutAnyOptionalField) {
  const Session session;
  EXPECT_EQ(session.agent, Agent::claude);
  EXPECT_EQ(session.state, SessionState::idle);
  EXPECT_FALSE(session.needsYouTool || session.attentionId || session.attentionTranscriptOffset ||
               session.transcriptPath || session.tty || session.hostPid || session.hostBundleId ||
               session.repoRoot || session.worktreeName || session.title);
  EXPECT_TRUE(session.inFlight.empty() && session.waitingOn.empty());
}

TEST(Session, IsEqualOnlyWhenEveryFieldIs) {
  using Change = void (*)(Session&);
  const std::vector<Change> changes = {
      [](Session& s) { s.sessionId += "x"; },
      [](Session& s) { s.agent = Agent::grok; },
      [](Session& s) { s.state = SessionState::idle; },
      [](Session& s) { s.needsYouTool.reset(); },
      [](Session& s) { s.attentionId = ""; },
      [](Session& s) { s.attentionTranscriptOffset = 4097; },
      [](Session& s) { s.inFlight.pop_back(); },
      [](Session& s) { s.waitingOn.emplace_back("call_1"); },
      [](Session& s) { s.transcriptPath.reset(); },
      [](Session& s) { s.updatedAt = dateFromSeconds(1000.5); },
      [](Session& s) { s.stateSince = dateFromSeconds(901); },
      [](Session& s) { s.cwd += "/"; },
      [](Session& s) { s.agentPid = -612; },
      [](Session& s) { s.tty.reset(); },
      [](Session& s) { s.hostPid = 0; },
      [](Session& s) { s.hostBundleId.reset(); },
      [](Session& s) { s.repoRoot = ""; },
      [](Session& s) { s.worktreeName.reset(); },
      [](Session& s) { s.title = "a title"; },
  };
  EXPECT_EQ(fullSession(), fullSession());
  for (std::size_t i = 0; i < changes.size(); ++i) {
    Session other = fullSession();
    changes[i](other);
    EXPECT_NE(other, fullSession()) << "change " << i;
  }
}

// Every step from state to state, with and without each thing that matters, compared with the rules one by
// one.
TEST(Session, ApplyingFollowsItsRulesInEveryCase) {
  constexpr std::array<bool, 2> noAndYes = {false, true};
  const Date now = dateFromSeconds(2000);
  int cases = 0;
  for (const SessionState oldState : allSessionStates) {
    for (const SessionState newState : allSessionStates) {
      for (const bool toolGiven : noAndYes) {
        for (const bool hadTool : noAndYes) {
          for (const bool hadId : noAndYes) {
            for (const bool hadOffset : noAndYes) {
              Session session = fullSession();
              session.state = oldState;
              if (!hadTool) session.needsYouTool.reset();
              if (!hadId) session.attentionId.reset();
              if (!hadOffset) session.attentionTranscriptOffset.reset();
              const Session before = session;

              Session expected = session;
              expected.updatedAt = now;
              expected.state = newState;
              if (newState != oldState) expected.stateSince = now;
              const bool wasAsking = oldState == SessionState::needsYou;
              int ids = 0;
              if (newState == SessionState::needsYou) {
                if (toolGiven) {
                  expected.needsYouTool = "Edit";
                } else if (!wasAsking) {
                  expected.needsYouTool = std::nullopt;
                }
                if (!wasAsking || !hadId) {
                  expected.attentionId = "NEW-1";
                  ids = 1;
                }
                if (!wasAsking) expected.attentionTranscriptOffset = std::nullopt;
              } else {
                expected.needsYouTool = std::nullopt;
                expected.attentionId = std::nullopt;
                expected.attentionTranscriptOffset = std::nullopt;
              }

              Ids source;
              const std::optional<std::string> tool =
                  toolGiven ? std::optional<std::string>("Edit") : std::nullopt;
              SCOPED_TRACE(std::string(rawValue(oldState)) + " to " + std::string(rawValue(newState)) +
                           (toolGiven ? ", tool given" : "") + (hadTool ? ", had tool" : "") +
                           (hadId ? ", had id" : "") + (hadOffset ? ", had offset" : ""));
              EXPECT_EQ(session.applying(newState, tool, now, source.source()), expected);
              EXPECT_EQ(source.given, ids);
              EXPECT_EQ(session, before);
              ++cases;
            }
          }
        }
      }
    }
  }
  EXPECT_EQ(cases, 144);
}

TEST(Session, OneStretchOfNeedingTheUserKeepsItsIdentifierAndTheNextHasAnother) {
  Ids ids;
  const auto source = ids.source();
  const Session idle;
  const Session first = idle.applying(SessionState::needsYou, "Bash", dateFromSeconds(1), source);
  const Session again = first.applying(SessionState::needsYou, std::nullopt, dateFromSeconds(2), source);
  const Session other = again.applying(SessionState::needsYou, "Edit", dateFromSeconds(3), source);
  const Session working = other.applying(SessionState::working, "Edit", dateFromSeconds(4), source);
  const Session second = working.applying(SessionState::needsYou, std::nullopt, dateFromSeconds(5), source);
  EXPECT_EQ(first.attentionId, "NEW-1");
  EXPECT_EQ(again.attentionId, "NEW-1");
  EXPECT_EQ(again.needsYouTool, "Bash");
  EXPECT_EQ(again.stateSince, dateFromSeconds(1));
  EXPECT_EQ(again.updatedAt, dateFromSeconds(2));
  EXPECT_EQ(other.attentionId, "NEW-1");
  EXPECT_EQ(other.needsYouTool, "Edit");
  EXPECT_EQ(working.attentionId, std::nullopt);
  EXPECT_EQ(working.needsYouTool, std::nullopt);
  EXPECT_EQ(second.attentionId, "NEW-2");
  EXPECT_EQ(second.needsYouTool, std::nullopt);
}

TEST(Session, AnEmptyToolNameIsAToolAndAnEmptyIdentifierIsOne) {
  Ids ids;
  Session session = fullSession();
  session.attentionId = "";
  const Session next = session.applying(SessionState::needsYou, "", dateFromSeconds(2000), ids.source());
  EXPECT_EQ(next.needsYouTool, "");
  EXPECT_EQ(next.attentionId, "");
  EXPECT_EQ(ids.given, 0);
}

TEST(Session, IdentifiersAreRandomUnlessTheyAreHandedIn) {
  const Session first = Session().applying(SessionState::needsYou, std::nullopt, dateFromSeconds(1));
  const Session second = Session().applying(SessionState::needsYou, std::nullopt, dateFromSeconds(1));
  ASSERT_TRUE(first.attentionId && second.attentionId);
  EXPECT_EQ(first.attentionId->size(), 36U);
  EXPECT_NE(first.attentionId, second.attentionId);
}

TEST(Session, OnlyACodexSessionThatWaitsForAnythingButAnAnswerShowsAsWorking) {
  int cases = 0;
  for (const Agent agent : allAgents) {
    for (const SessionState state : allSessionStates) {
      for (const auto& tool :
           std::vector<std::optional<std::string>>{std::nullopt, "", "request_user_input",
                                                   "Request_User_Input", "request_user_input ", "shell"}) {
        Session session;
        session.agent = agent;
        session.state = state;
        session.needsYouTool = tool;
        SCOPED_TRACE(std::string(rawValue(agent)) + " " + std::string(rawValue(state)) + " " +
                     tool.value_or("-"));
        const bool needs = state == SessionState::needsYou;
        const bool isHidden = agent == Agent::codex && tool != "request_user_input";
        EXPECT_EQ(session.hasActionablePrompt(), needs && !isHidden);
        EXPECT_EQ(session.displayState(), needs && isHidden ? SessionState::working : state);
        ++cases;
      }
    }
  }
  EXPECT_EQ(cases, 5 * 3 * 6);
}

TEST(Session, TheFolderIsHomeForTheHomeDirectoryOrTheLastComponent) {
  EXPECT_EQ(Session::folderName("/Users/dev", home), "home");
  EXPECT_EQ(Session::folderName("/Users/dev/", home), "dev");
  EXPECT_EQ(Session::folderName("/Users/dev/src/app", home), "app");
  EXPECT_EQ(Session::folderName("/Users/dev/src/app/", home), "app");
  EXPECT_EQ(Session::folderName("/Users/Dev", home), "Dev");
  EXPECT_EQ(Session::folderName("/", home), "/");
  EXPECT_EQ(Session::folderName("/", "/"), "home");
  EXPECT_EQ(Session::folderName("", home), "");
  EXPECT_EQ(Session::folderName("", ""), "home");
  EXPECT_EQ(Session::folderName("relative", home), "relative");
}

TEST(Session, TheFolderOfEveryPathIsFoundationsLastComponent) {
  const auto lines = test::jsonLines("platform/paths.jsonl");
  ASSERT_EQ(lines.size(), 100U);
  for (const auto& value : lines) {
    const std::string path = test::bytesOf(value.as_object(), "path");
    const std::string last = test::bytesOf(value.as_object(), "lastComponent");
    EXPECT_EQ(Session::folderName(path, "/nowhere"), last.empty() ? path : last) << path;
  }
}

// A session in the Claude desktop app, in a repository.
Session desktopSession(std::optional<std::string> title) {
  Session session = fullSession();
  session.agent = Agent::claude;
  session.hostBundleId = "com.anthropic.claudefordesktop";
  session.title = std::move(title);
  return session;
}

TEST(Session, ASessionInTheClaudeDesktopAppIsCalledByItsTitle) {
  EXPECT_EQ(desktopSession("Fix the build").projectName(home), "Fix the build");
  EXPECT_EQ(desktopSession("  Fix\tthe \n\u00a0 build\u3000").projectName(home), "Fix the build");

  Session inATerminal = desktopSession("Fix the build");
  inATerminal.hostBundleId = "com.apple.Terminal";
  EXPECT_EQ(inATerminal.projectName(home), "app · feature-x");
  inATerminal.hostBundleId.reset();
  EXPECT_EQ(inATerminal.projectName(home), "app · feature-x");
  for (const Agent agent : {Agent::codex, Agent::gemini, Agent::copilot, Agent::grok}) {
    Session ofAnother = desktopSession("Fix the build");
    ofAnother.agent = agent;
    EXPECT_EQ(ofAnother.projectName(home), "app · feature-x");
  }
}

TEST(Session, ATitleThatIsEmptyOrLongerThan1024BytesIsNotUsed) {
  EXPECT_EQ(desktopSession(std::nullopt).projectName(home), "app · feature-x");
  EXPECT_EQ(desktopSession("").projectName(home), "app · feature-x");
  EXPECT_EQ(desktopSession(" \n\t\u2003").projectName(home), "app · feature-x");
  const std::string longest(1024, 'x');
  EXPECT_EQ(desktopSession(longest).projectName(home), longest);
  EXPECT_EQ(desktopSession(longest + "x").projectName(home), "app · feature-x");
  // The limit applies to the size in bytes of UTF-8 after white space has been collapsed.
  EXPECT_EQ(desktopSession("  " + longest + " \n").projectName(home), longest);
  std::string umlauts;
  for (int i = 0; i < 512; ++i) umlauts += "ü";
  EXPECT_EQ(desktopSession(umlauts).projectName(home), umlauts);
  EXPECT_EQ(desktopSession(umlauts + "x").projectName(home), "app · feature-x");
}

TEST(Session, OtherwiseItIsCalledByItsRepositoryAndThenByItsFolder) {
  Session session = fullSession();
  EXPECT_EQ(session.projectName(home), "app · feature-x");
  session.worktreeName = "";
  EXPECT_EQ(session.projectName(home), "app");
  session.worktreeName.reset();
  EXPECT_EQ(session.projectName(home), "app");
  session.repoRoot = "/";
  EXPECT_EQ(session.projectName(home), "/");
  session.repoRoot = "";
  EXPECT_EQ(session.projectName(home), "sub");
  session.repoRoot.reset();
  EXPECT_EQ(session.projectName(home), "sub");
  session.cwd = home;
  EXPECT_EQ(session.projectName(home), "home");
}

TEST(Session, TheHomeDirectoryIsTheUsersUnlessItIsHandedIn) {
  const test::HomeVariable variable("/Users/somebody/");
  Session session;
  session.cwd = "/Users/somebody";
  EXPECT_EQ(session.projectName(), "home");
  EXPECT_EQ(session.projectName(home), "somebody");
}

}  // namespace
}  // namespace tavrin
