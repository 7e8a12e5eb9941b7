#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Sessions/SessionState.hpp"
#include "TavrinCore/Support/Date.hpp"
#include "TavrinCore/Support/Home.hpp"
#include "TavrinCore/Support/Uuid.hpp"

namespace tavrin {

/// What is known about one agent session: which agent, what it is doing, what it waits for, where it runs.
/// Field names are the keys of its file.
struct Session {
  std::string sessionId;  ///< the agent's own identifier; names the record and its file
  Agent agent = Agent::claude;
  SessionState state = SessionState::idle;
  std::optional<std::string> needsYouTool;  ///< the tool that waits for the user, while `needsYou`
  std::optional<std::string> attentionId;   ///< one for each stretch of `needsYou`, a UUID
  std::optional<std::uint64_t> attentionTranscriptOffset;  ///< the transcript's size in bytes when it began
  std::vector<std::string> inFlight;   ///< call keys of the tools under way, oldest first, at most 64
  std::vector<std::string> waitingOn;  ///< call keys of the tools that the user is asked about
  std::optional<std::string> transcriptPath;
  Date updatedAt;   ///< when the record last changed
  Date stateSince;  ///< when `state` last changed
  std::string cwd;  ///< the session's working directory
  std::int32_t agentPid = 0;
  std::optional<std::string> tty;           ///< the agent's terminal, as "/dev/ttys004"
  std::optional<std::int32_t> hostPid;      ///< the application that hosts the agent
  std::optional<std::string> hostBundleId;  ///< and its bundle identifier
  std::optional<std::string> repoRoot;      ///< root of the repository that holds `cwd`
  std::optional<std::string> worktreeName;  ///< its linked work tree, if `cwd` lies in one
  std::optional<std::string> title;         ///< the conversation's title

  bool operator==(const Session&) const = default;

  /// The record as its file holds it: pretty-printed JSON with sorted keys, dates in whole seconds, no key
  /// for what is absent, no final line feed. Texts that are no UTF-8 make a file that `decode` refuses.
  std::string encode() const;

  /// The record that a file's text holds, or nothing when a required key is missing, a value has the wrong
  /// type, or the text is no JSON. Files of earlier versions are read: "claudePid" stands in for a missing
  /// "agentPid", and a record without a known agent belongs to Claude Code.
  static std::optional<Session> decode(std::string_view text);

  /// The state as shown to people: a Codex session that waits for anything but an answer shows as working.
  SessionState displayState() const;

  /// Whether the session waits for something that the user can do.
  bool hasActionablePrompt() const;

  /// What the session is called: its title in the Claude desktop app, else its repository, else its folder.
  std::string projectName(std::string_view home = Home::directory()) const;

  /// "home" for the home directory itself; else the last component of `cwd`, or `cwd` when that is empty.
  static std::string folderName(std::string_view cwd, std::string_view home);

  /// A copy of the record moved to `newState` at the time `date`; `tool` is the tool that now needs the user.
  /// One stretch of `needsYou` keeps one `attentionId`; each new one takes a fresh one from `makeId`.
  Session applying(SessionState newState, const std::optional<std::string>& tool, Date date,
                   const UuidSource& makeId = Uuid::random) const;
};

/// The bundle identifier of the Claude desktop app, which keeps titles of its sessions.
inline constexpr std::string_view claudeDesktopBundleIdentifier = "com.anthropic.claudefordesktop";

/// A conversation's title as it is shown: its words joined by one blank each. Nothing when that is empty or
/// longer than 1,024 bytes.
std::optional<std::string> shownTitle(std::string_view title);

}  // namespace tavrin
