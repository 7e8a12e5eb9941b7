#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"

/// Edits the text of an agent's settings file. Only the bytes of this system's own entries change:
/// indentation, key order, line endings, a byte order mark, comments and a missing final newline stay. New
/// text uses the file's own indentation and spacing. Nothing here touches a file.
///
/// A text is JSON as RFC 8259 has it, in UTF-8, at most 512 levels deep; the last of two equal keys counts.
/// An empty text counts as an empty object. Gemini CLI also reads comments and trailing commas, so they are
/// accepted for Gemini alone. The other clients ignore a whole file because of one.
namespace tavrin::SettingsText {

/// Why nothing was changed.
struct Refusal {
  std::size_t line = 0;    ///< from 1; 0 when the reason has no place in the text
  std::size_t column = 0;  ///< in characters (code points), from 1
  std::string reason;      ///< such as "Claude Code does not accept the comment at line 2, column 3"
  std::string advice;      ///< what to do, such as "Remove the comment, then try again."

  /// "FILE was not changed: REASON. ADVICE"
  std::string sentence(std::string_view file) const;

  bool operator==(const Refusal&) const = default;
};

/// What an edit makes of a text.
struct Outcome {
  enum class Kind : std::uint8_t {
    changed,    ///< `text` is the new text
    unchanged,  ///< there is nothing to do
    refused,    ///< `refusal` says why
  };

  Kind kind = Kind::unchanged;
  std::string text;      ///< the new text; the text as it was when nothing changes
  Refusal refusal = {};  ///< empty unless refused
  bool isEmpty =
      false;  ///< the text holds nothing any more but an empty object, or nothing of others' at all

  bool operator==(const Outcome&) const = default;
};

/// Puts the hooks of `definition` into `text`: what HookSettings::merged makes of the document, or for an own
/// file what HookSettings::ownFileDocument is. `helperPath` is where tavrin-hook is installed.
///
/// Unchanged when each event is installed and has exactly one group of this system's: a group that moves
/// would cost the trust that Codex gave it. Refused when the text does not parse or is not an object, when an
/// own file holds somebody else's hooks, and when `helperPath` could not be recognised later or would not
/// survive a shell: it must end in "/Tavrin/bin/tavrin-hook", be absolute UTF-8, and hold no quote, dollar
/// sign, backquote, backslash or control character.
Outcome connect(std::string_view text, std::string_view helperPath, const AgentDefinition& definition);

/// Takes this system's hooks out of `text`: what HookSettings::removed makes of the document, which also
/// drops empty events and an empty "hooks". The bytes before `connect` come back wherever `removed` gives the
/// document before `connect` back. An own file that is this system's becomes empty; others' stay as they are.
/// Refused when the text does not parse or is not an object.
Outcome disconnect(std::string_view text, const AgentDefinition& definition);

/// An entry of this system's in a text.
struct Entry {
  std::string event;
  std::string command;
  std::string helperPath;  ///< the path that the command runs; "" when the command does not quote one

  bool operator==(const Entry&) const = default;
};

/// What a text holds of this system.
struct Contents {
  std::optional<Refusal> refusal;  ///< why the client cannot read the text; then all else is empty
  std::vector<Entry> entries;  ///< in the order of the text, also of events that are not registered any more

  bool operator==(const Contents&) const = default;
};

Contents contents(std::string_view text, const AgentDefinition& definition);

/// Whether `connect` would have nothing to do.
bool isConnected(std::string_view text, std::string_view helperPath, const AgentDefinition& definition);

}  // namespace tavrin::SettingsText
