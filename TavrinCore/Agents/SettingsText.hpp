#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"

/// Edits the text of an agent's settings file. Only the bytes of Tavrin's own entries change: indentation,
/// key order, line endings, a byte order mark, comments and a missing final newline stay. New text uses the
/// file's own indentation and spacing. Nothing here touches a file.
///
/// A text is JSON as in RFC 8259, in UTF-8, at most 512 levels deep. The last of two equal keys counts. An
/// empty text counts as an empty object. Gemini CLI also reads comments and trailing commas, so they are
/// accepted only for Gemini. The other clients ignore a whole file if it contains one.
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

/// The result of an edit.
struct Outcome {
  enum class Kind : std::uint8_t {
    changed,    ///< `text` is the new text
    unchanged,  ///< there is nothing to do
    refused,    ///< `refusal` says why
  };

  Kind kind = Kind::unchanged;
  std::string text;      ///< the new text, or the old one if nothing changes
  Refusal refusal = {};  ///< empty unless refused
  bool isEmpty =
      false;  ///< the text holds nothing any more but an empty object, or nothing of others' at all

  bool operator==(const Outcome&) const = default;
};

/// Puts the hooks of `definition` into `text`, as HookSettings::merged does with a document. For an own file
/// the result is HookSettings::ownFileDocument. `helperPath` is where tavrin-hook is installed.
///
/// The text stays unchanged if each event is installed and has exactly one group of Tavrin's, because moving
/// a group would lose the trust that Codex gave it. The edit is refused if the text does not parse or is not
/// an object, if an own file holds somebody else's hooks, and if `helperPath` could not be recognised later
/// or is not safe in a shell: it must end in "/Tavrin/bin/tavrin-hook", be absolute UTF-8, and hold no quote,
/// dollar sign, backquote, backslash or control character.
Outcome connect(std::string_view text, std::string_view helperPath, const AgentDefinition& definition);

/// Takes Tavrin's hooks out of `text`, as HookSettings::removed does with a document. That also drops empty
/// events and an empty "hooks". If `removed` restores the document before `connect`, this restores its bytes.
/// An own file of Tavrin's becomes empty. Somebody else's file stays as it is. The edit is refused if the
/// text does not parse or is not an object.
Outcome disconnect(std::string_view text, const AgentDefinition& definition);

/// An entry of Tavrin's in a text.
struct Entry {
  std::string event;
  std::string command;
  std::string helperPath;  ///< the path that the command runs; "" when the command does not quote one

  bool operator==(const Entry&) const = default;
};

/// What a text holds of Tavrin.
struct Contents {
  std::optional<Refusal> refusal;  ///< why the client cannot read the text; then all else is empty
  std::vector<Entry> entries;  ///< in the order of the text, also of events that are not registered any more

  bool operator==(const Contents&) const = default;
};

/// Reads which entries of Tavrin `text` holds, by the definition of the agent whose settings they are.
Contents contents(std::string_view text, const AgentDefinition& definition);

/// Whether `connect` would have nothing to do.
bool isConnected(std::string_view text, std::string_view helperPath, const AgentDefinition& definition);

}  // namespace tavrin::SettingsText
