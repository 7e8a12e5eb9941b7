#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/AgentHome.hpp"
#include "TavrinCore/Agents/SettingsText.hpp"
#include "TavrinCore/Support/Home.hpp"

namespace tavrin {

/// An agent's settings file on disk, edited by SettingsText and replaced in one step.
///
/// Links are followed. The new file has the mode, owner, access control list and extended attributes of the
/// old one. If there was no file, only the owner may access the new one (mode 0600). The new text is written
/// to ".UUID.tmp" beside the target and synced. It takes the target's place only while the target still holds
/// the bytes that were read. If another program wrote in between, everything starts again, at most
/// `mostTries` times. A process that dies at any point leaves the old file or the new one, and perhaps a
/// temporary. If the file system can exchange two names (renameat2(2), renamex_np(2)), a write by another
/// process that replaces the file is never lost. On other file systems such a write is lost if it falls
/// between the last comparison and the rename. A process that writes into the file without replacing it can
/// lose what it writes at that moment.
///
/// Before the first change to a file without Tavrin's hooks, the original file is copied to the originals
/// folder (mode 0600, because settings may hold keys). A clean disconnect deletes the copy.
class SettingsFile {
 public:
  static constexpr int mostTries = 20;
  /// No client reads settings this long.
  static constexpr std::size_t largestFile = 64'000'000;

  /// The settings of the agent whose home this is. `originals` is the folder of originals.
  explicit SettingsFile(const AgentHome& home, std::string originals = defaultOriginals(Home::directory()));

  /// A settings file of `agent` at an absolute path, such as one in `originalsIn`.
  SettingsFile(Agent agent, std::string path, std::string originals = defaultOriginals(Home::directory()));

  /// "Library/Application Support/Tavrin/originals" under the home directory, beside the sessions folder.
  static std::string defaultOriginals(std::string_view home);

  const std::string& path() const { return path_; }
  Agent agent() const { return agent_; }

  /// What became of the file.
  struct Outcome {
    enum class Kind : std::uint8_t {
      changed,    ///< it was written, created or removed
      unchanged,  ///< there was nothing to do
      refused,    ///< it is unchanged, because of its content or its place
      failed,     ///< it is unchanged, because a system call failed
    };

    Kind kind = Kind::unchanged;
    /// One or two sentences for a person, with the path: what was done, or what was not done and what to do.
    std::string sentence;
    std::optional<std::string> before;  ///< the text that was read; nullopt when there was no file
    std::optional<std::string> after;   ///< the text that is there, or would be; nullopt for no file
  };

  /// Whether an edit is made, or only what it would do is returned.
  enum class Mode : std::uint8_t { write, preview };

  /// Puts the hooks of `definition` in, with tavrin-hook at `helperPath` (see SettingsText::connect). First
  /// removes Tavrin's entries for events that the definition does not have. Makes the folder of the file only
  /// inside the agent's own folder, which exists once the agent was started.
  Outcome connect(std::string_view helperPath, const AgentDefinition& definition,
                  Mode mode = Mode::write) const;

  /// Takes Tavrin's hooks out (see SettingsText::disconnect). A file without any is not written. A file that
  /// `connect` created is removed if it holds nothing else. So is an own file of Tavrin's.
  Outcome disconnect(Mode mode = Mode::write) const;

  /// What the file holds of Tavrin.
  struct State {
    bool exists = false;
    std::optional<std::string> trouble;  ///< why it cannot be read, or the client does not load it
    std::vector<SettingsText::Entry> entries;
    bool isConnected = false;  ///< `connect` with this path and definition would have nothing to do
  };
  State state(std::string_view helperPath, const AgentDefinition& definition) const;

  /// A file as it was before it was first connected.
  struct Original {
    Agent agent = Agent::claude;
    std::string path;                 ///< of the settings file, as it was connected
    std::optional<std::string> text;  ///< nullopt when there was no file
    std::string recordedIn;           ///< the file in the originals folder

    bool operator==(const Original&) const = default;
  };

  /// The originals in a folder, ordered by path: one for every connected file, whatever the environment says
  /// now. Files that are not such records are left out.
  static std::vector<Original> originalsIn(
      const std::string& originals = defaultOriginals(Home::directory()));

  /// The original of this file, or nullopt if none is kept.
  std::optional<Original> original() const;

 private:
  struct Attempt;
  struct Edit {
    std::string_view helperPath;
    const AgentDefinition* definition;
    Mode mode;
    bool isConnect;
  };

  Outcome edited(const Edit& edit) const;
  std::optional<Outcome> tried(const Edit& edit) const;
  std::optional<Outcome> connected(const Attempt& attempt, const Edit& edit) const;
  std::optional<Outcome> disconnected(const Attempt& attempt, const Edit& edit) const;
  static SettingsText::Outcome connectedText(std::string_view text, std::string_view helperPath,
                                             const AgentDefinition& definition);
  std::string originalFile() const;

  Agent agent_;
  std::string path_;
  std::string agentFolder_;
  std::string originals_;
};

}  // namespace tavrin
