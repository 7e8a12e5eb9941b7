#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Home.hpp"

namespace tavrin {

/// Where an agent keeps its files. Nothing here looks at the file system, so a path may name nothing.
///
/// Each agent has a variable that moves its folder (CLAUDE_CONFIG_DIR, CODEX_HOME, GEMINI_CLI_HOME,
/// COPILOT_HOME, GROK_HOME). While it is set, the agent does not read the folder in the home directory.
/// GEMINI_CLI_HOME names the parent of the folder, the others name the folder. An empty variable counts as
/// not set. None of the agents follows XDG_CONFIG_HOME. Source of variables and paths: the clients, observed
/// running in November 2026 (Claude Code 2.1.197, Codex 0.169.0, Gemini CLI 0.61.0, Copilot CLI 1.0.102, Grok
/// 1.0.41).
class AgentHome {
 public:
  /// The value of an environment variable; nullopt when it is not set.
  using Environment = std::function<std::optional<std::string>(std::string_view name)>;

  /// The environment of this process.
  static std::optional<std::string> ownEnvironment(std::string_view name);

  /// The home of `agent` for a client that is started with this environment and home directory. A relative
  /// path in the variable starts at `workingDirectory`, as it does for a client started there.
  static AgentHome of(Agent agent, const Environment& environment = ownEnvironment,
                      std::string_view home = Home::directory(),
                      std::string_view workingDirectory = File::currentDirectory());

  /// The home of `agent` when no variable moves it.
  static AgentHome standard(Agent agent, std::string_view home = Home::directory());

  /// The variable that moves the agent's folder, such as "CODEX_HOME".
  static std::string_view variable(Agent agent);

  Agent agent() const { return agent_; }

  /// The agent's own folder, absolute, such as "/Users/dev/.claude". It exists once the agent was started.
  const std::string& directory() const { return directory_; }

  /// Whether the variable, and not the home directory, names the folder.
  bool isMoved() const { return isMoved_; }

  /// The file that hooks are written to: AgentDefinition::configPath in this folder.
  std::string settingsPath() const;

  /// The folder below which the agent writes its sessions: Claude "projects", Codex "sessions", Gemini "tmp",
  /// Copilot "session-state", Grok "sessions".
  std::string sessionsDirectory() const;

  /// The folder that holds a small status or lock file for each live session, to be watched: Claude
  /// "sessions", Codex "thread-writer-locks". nullopt for the others: Gemini has no such files, Copilot has
  /// them in each session's folder, Grok has one file for all (`activeSessionsFile`).
  std::optional<std::string> statusDirectory() const;

  /// Claude's status file of the process `pid`: "sessions/PID.json". nullopt for other agents.
  std::optional<std::string> statusFile(std::int32_t pid) const;

  /// Codex's lock of a session: "thread-writer-locks/ID.lock". nullopt for other agents, and for an id that
  /// is not a plain file name.
  std::optional<std::string> lockFile(std::string_view sessionId) const;

  /// Grok's list of open sessions, "active_sessions.json". nullopt for other agents.
  std::optional<std::string> activeSessionsFile() const;

  /// The folder of one session's own files: Copilot "session-state/ID", Grok "sessions/FOLDER/ID", where
  /// FOLDER is the working directory in percent-encoding. nullopt for other agents, and for an id that is not
  /// a plain file name.
  std::optional<std::string> sessionDirectory(std::string_view sessionId, std::string_view cwd) const;

  /// The session's transcript: Claude "projects/FOLDER/ID.jsonl", where FOLDER is the working directory with
  /// "-" in place of each character that is not an ASCII letter or digit; Copilot and Grok "events.jsonl" in
  /// the session's folder. nullopt for Codex and Gemini, which put the time into the name, and for an id that
  /// is not a plain file name.
  std::optional<std::string> transcript(std::string_view sessionId, std::string_view cwd) const;

  /// The folder of the transcripts of a Claude session's sub-agents ("projects/FOLDER/ID/subagents"). nullopt
  /// for other agents, and for an id that is not a plain file name.
  std::optional<std::string> subagentsDirectory(std::string_view sessionId, std::string_view cwd) const;

  /// The file that Copilot keeps in a session's folder while the process `pid` has it open: "inuse.PID.hold".
  /// nullopt for other agents, and for an id that is not a plain file name.
  std::optional<std::string> holdFile(std::string_view sessionId, std::int32_t pid) const;

  /// Whether `name` may stand as one component of a path: not empty, "." or "..", at most 255 bytes, no slash
  /// and no control character. Ids come from other programs.
  static bool isPlainName(std::string_view name);

  bool operator==(const AgentHome&) const = default;

 private:
  AgentHome(Agent agent, std::string directory, bool isMoved)
      : agent_(agent), directory_(std::move(directory)), isMoved_(isMoved) {}

  std::string inside(std::string_view relative) const;

  Agent agent_;
  std::string directory_;
  bool isMoved_;
};

}  // namespace tavrin
