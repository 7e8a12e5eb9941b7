#include "TavrinCore/Agents/AgentHome.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

#include "TavrinCore/Support/Path.hpp"

namespace tavrin {

namespace {

struct Place {
  Agent agent;
  std::string_view variable;
  bool namesParent;  // the variable names the folder's parent, not the folder
  std::string_view sessions;
};

constexpr std::array<Place, allAgents.size()> places = {{
    {Agent::claude, "CLAUDE_CONFIG_DIR", false, "projects"},
    {Agent::codex, "CODEX_HOME", false, "sessions"},
    {Agent::gemini, "GEMINI_CLI_HOME", true, "tmp"},
    {Agent::copilot, "COPILOT_HOME", false, "session-state"},
    {Agent::grok, "GROK_HOME", false, "sessions"},
}};

const Place& placeOf(Agent agent) {
  return *std::ranges::find(places, agent, &Place::agent);
}

// The first component of the settings file's path: the agent's folder, such as ".claude".
std::string_view folderName(Agent agent) {
  const std::string_view path = AgentDefinition::definition(agent).configPath;
  return path.substr(0, path.find('/'));
}

bool isAsciiAlphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// encodeURIComponent of ECMA-262, which leaves "-_.!~*'()" and ASCII letters and digits as they are.
std::string percentEncoded(std::string_view text) {
  constexpr std::string_view hexDigits = "0123456789ABCDEF";
  constexpr std::string_view plain = "-_.!~*'()";
  std::string encoded;
  for (const char c : text) {
    if (isAsciiAlphanumeric(c) || plain.find(c) != std::string_view::npos) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += hexDigits[byte >> 4U];
    encoded += hexDigits[byte & 0xFU];
  }
  return encoded;
}

// Claude counts UTF-16 units: a character outside ASCII is one "-", and one beyond U+FFFF is two.
std::string dashed(std::string_view text) {
  constexpr unsigned char firstOfFourBytes = 0xF0;
  std::string name;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool continuesCharacter = (byte & 0xC0U) == 0x80U;
    if (isAsciiAlphanumeric(c)) {
      name += c;
    } else if (!continuesCharacter) {
      name += byte >= firstOfFourBytes ? "--" : "-";
    }
  }
  return name;
}

}  // namespace

std::optional<std::string> AgentHome::ownEnvironment(std::string_view name) {
  const char* const value = std::getenv(std::string(name).c_str());
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

AgentHome AgentHome::standard(Agent agent, std::string_view home) {
  return {agent, Path::joined(home, folderName(agent)), false};
}

AgentHome AgentHome::of(Agent agent, const Environment& environment, std::string_view home,
                        std::string_view workingDirectory) {
  const Place& place = placeOf(agent);
  const std::optional<std::string> value = environment(place.variable);
  if (!value || value->empty()) return standard(agent, home);
  std::string directory = Path::standardized(*value, workingDirectory);
  if (place.namesParent) directory = Path::joined(directory, folderName(agent));
  return {agent, std::move(directory), true};
}

std::string_view AgentHome::variable(Agent agent) {
  return placeOf(agent).variable;
}

std::string AgentHome::inside(std::string_view relative) const {
  return Path::joined(directory_, relative);
}

std::string AgentHome::settingsPath() const {
  const std::string_view path = AgentDefinition::definition(agent_).configPath;
  return inside(path.substr(path.find('/') + 1));
}

std::string AgentHome::sessionsDirectory() const {
  return inside(placeOf(agent_).sessions);
}

std::optional<std::string> AgentHome::statusDirectory() const {
  if (agent_ == Agent::claude) return inside("sessions");
  if (agent_ == Agent::codex) return inside("thread-writer-locks");
  return std::nullopt;
}

std::optional<std::string> AgentHome::statusFile(std::int32_t pid) const {
  if (agent_ != Agent::claude) return std::nullopt;
  return inside("sessions/" + std::to_string(pid) + ".json");
}

std::optional<std::string> AgentHome::lockFile(std::string_view sessionId) const {
  if (agent_ != Agent::codex || !isPlainName(sessionId)) return std::nullopt;
  return inside("thread-writer-locks/" + std::string(sessionId) + ".lock");
}

std::optional<std::string> AgentHome::activeSessionsFile() const {
  return agent_ == Agent::grok ? std::optional(inside("active_sessions.json")) : std::nullopt;
}

std::optional<std::string> AgentHome::sessionDirectory(std::string_view sessionId,
                                                       std::string_view cwd) const {
  if (!isPlainName(sessionId)) return std::nullopt;
  if (agent_ == Agent::copilot) return Path::joined(sessionsDirectory(), sessionId);
  if (agent_ == Agent::grok)
    return Path::joined(Path::joined(sessionsDirectory(), percentEncoded(cwd)), sessionId);
  return std::nullopt;
}

std::optional<std::string> AgentHome::transcript(std::string_view sessionId, std::string_view cwd) const {
  if (!isPlainName(sessionId)) return std::nullopt;
  if (agent_ == Agent::claude)
    return Path::joined(Path::joined(sessionsDirectory(), dashed(cwd)), std::string(sessionId) + ".jsonl");
  const std::optional<std::string> folder = sessionDirectory(sessionId, cwd);
  return folder ? std::optional(Path::joined(*folder, "events.jsonl")) : std::nullopt;
}

std::optional<std::string> AgentHome::subagentsDirectory(std::string_view sessionId,
                                                         std::string_view cwd) const {
  if (agent_ != Agent::claude || !isPlainName(sessionId)) return std::nullopt;
  const std::string session = Path::joined(Path::joined(sessionsDirectory(), dashed(cwd)), sessionId);
  return Path::joined(session, "subagents");
}

std::optional<std::string> AgentHome::holdFile(std::string_view sessionId, std::int32_t pid) const {
  if (agent_ != Agent::copilot || !isPlainName(sessionId)) return std::nullopt;
  return Path::joined(Path::joined(sessionsDirectory(), sessionId), "inuse." + std::to_string(pid) + ".hold");
}

bool AgentHome::isPlainName(std::string_view name) {
  constexpr std::size_t longestName = 255;  // NAME_MAX of every file system in use, see limits.h(0p)
  if (name.empty() || name == "." || name == ".." || name.size() > longestName) return false;
  return std::ranges::none_of(name, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return c == '/' || byte < 0x20 || byte == 0x7F;
  });
}

}  // namespace tavrin
