#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

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

/// One session of an agent: which agent, what it is doing, what it waits for and where it runs. The names of
/// the fields are the keys in its file.
struct Session {
  std::string sessionId;  ///< the agent's own identifier; it also names the file
  Agent agent = Agent::claude;
  SessionState state = SessionState::idle;
  std::optional<std::string> needsYouTool;  ///< while `needsYou`: the tool that waits for the user
  std::optional<std::string> attentionId;   ///< a UUID, new each time the state becomes `needsYou`
  std::optional<std::uint64_t> attentionTranscriptOffset;  ///< the transcript's size in bytes at that time
  std::vector<std::string> inFlight;   ///< call keys of the tools that are running, oldest first, at most 64
  std::vector<std::string> waitingOn;  ///< call keys of the tools that the user is asked about
  std::optional<std::string> transcriptPath;
  Date updatedAt;   ///< when the record last changed
  Date stateSince;  ///< when `state` last changed
  std::string cwd;  ///< the session's working directory
  std::int32_t agentPid = 0;
  std::optional<std::string> tty;           ///< the agent's terminal, such as "/dev/ttys004"
  std::optional<std::int32_t> hostPid;      ///< the application that hosts the agent
  std::optional<std::string> hostBundleId;  ///< that application's bundle identifier
  std::optional<std::string> repoRoot;      ///< the root of the repository that `cwd` is in
  std::optional<std::string> worktreeName;  ///< the name of the linked work tree that `cwd` is in
  std::optional<std::string> title;         ///< the title of the conversation

  bool operator==(const Session&) const = default;

  /// The text of the record's file: pretty-printed JSON with sorted keys, dates in whole seconds, no keys for
  /// absent values and no line feed at the end. If a text is not UTF-8, `decode` rejects the file.
  std::string encode() const;

  /// The record in a file's text. Returns nullopt if the text is not JSON, a required key is missing or a
  /// value has the wrong type. Reads the files of earlier versions too: a missing "agentPid" is read from
  /// "claudePid", and a record without a known agent belongs to Claude Code.
  static std::optional<Session> decode(std::string_view text);

  /// The state to show. A Codex session that waits for anything but an answer shows as working.
  SessionState displayState() const;

  /// Whether the session waits for something that the user can do.
  bool hasActionablePrompt() const;

  /// The name of the session: its title in the Claude desktop app, else its repository, else its folder.
  std::string projectName(std::string_view home = Home::directory()) const;

  /// "home" if `cwd` is the home directory. Else the last component of `cwd`, or `cwd` if that is empty.
  static std::string folderName(std::string_view cwd, std::string_view home);

  /// A copy of the record with the state `newState`, set at `date`. `tool` is the tool that now needs the
  /// user. `attentionId` stays while the state stays `needsYou`. When it becomes `needsYou`, `makeId` makes a
  /// new one.
  Session applying(SessionState newState, const std::optional<std::string>& tool, Date date,
                   const UuidSource& makeId = Uuid::random) const;
};

/// The bundle identifier of the Claude desktop app.
inline constexpr std::string_view claudeDesktopBundleIdentifier = "com.anthropic.claudefordesktop";

/// The words of a conversation's title with one space between them, or nullopt if that is empty or longer
/// than 1,024 bytes.
std::optional<std::string> shownTitle(std::string_view title);

}  // namespace tavrin
