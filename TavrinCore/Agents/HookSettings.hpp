#pragma once

// Part of Tavrin::Core. Needs Boost.JSON and the standard library.

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/EventSpec.hpp"

/// Edits an agent's hook configuration as a parsed document: adds the entries that run tavrin-hook, takes
/// them out again, tells whether they are there. What anybody else put into the document stays as it is and
/// where it is.
///
/// Nothing here touches a file, fails, or changes what it is given: documents go in, new documents come out.
/// A value of an unexpected type counts as missing; it is replaced where an entry must be written, else kept.
namespace tavrin::HookSettings {

/// The command that an agent runs: `helperPath` in double quotes. If `flag` is not empty, a space and `flag`
/// follow.
std::string command(std::string_view helperPath, std::optional<std::string_view> flag);

/// One entry of a "hooks" block; `timeout` is in the agent's own unit.
boost::json::object hookEntry(std::string_view helperPath, std::optional<std::string_view> flag,
                              std::int64_t timeout);

/// Whether an entry of a "hooks" block is this system's: its "command" is a text that holds `marker`.
bool isTavrinHook(const boost::json::object& entry);

/// The groups of one event without this system's entries. A group that held nothing else goes with them;
/// any other stays, in its place and with all its keys.
boost::json::array stripTavrin(const boost::json::array& groups);

// For agents of the format `hooksBlock`, whose file is shared with the user:

/// `document` with exactly one group of this system's for each of the definition's events, after those of
/// others. `helperPath`, which ends in `marker`, is where tavrin-hook is installed; entries of earlier
/// installations, wherever that was, are replaced.
boost::json::object merged(boost::json::object document, std::string_view helperPath,
                           const AgentDefinition& definition);

/// `document` without this system's entries, and without the events and the "hooks" object that are empty
/// then.
boost::json::object removed(boost::json::object document);

/// Whether `document` has, for each of the definition's events, an entry with the very command that `merged`
/// writes, in a group with the event's matcher. Time-outs may differ: the user may have changed them.
bool isInstalled(const boost::json::object& document, std::string_view helperPath,
                 const AgentDefinition& definition);

// For agents of the format `ownFile`, whose file is this system's alone:

/// The whole file.
boost::json::object ownFileDocument(std::string_view helperPath, const AgentDefinition& definition);

/// Whether a file found in that place is this system's: some event has an entry whose "bash" is a text that
/// holds `marker`.
bool isOwnFile(const boost::json::object& document);

}  // namespace tavrin::HookSettings
