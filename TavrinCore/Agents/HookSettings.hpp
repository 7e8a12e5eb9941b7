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

/// Edits an agent's hook configuration as a parsed document: adds the entries that run tavrin-hook, removes
/// them again, and reports whether they are there. Everything else in the document stays as it is and where
/// it is.
///
/// Nothing here touches a file, fails, or changes its arguments: documents go in, new documents come out. A
/// value of an unexpected type counts as missing. It is replaced if an entry must be written there, and
/// otherwise kept.
namespace tavrin::HookSettings {

/// The command that an agent runs: `helperPath` in double quotes. If `flag` is not empty, a space and `flag`
/// follow.
std::string command(std::string_view helperPath, std::optional<std::string_view> flag);

/// One entry of a "hooks" block; `timeout` is in the agent's own unit.
boost::json::object hookEntry(std::string_view helperPath, std::optional<std::string_view> flag,
                              std::int64_t timeout);

/// Whether an entry of a "hooks" block is Tavrin's: its "command" is a text that contains `marker`.
bool isTavrinHook(const boost::json::object& entry);

/// The groups of one event without Tavrin's entries. A group that held nothing else is removed too. Any other
/// group stays in its place with all its keys.
boost::json::array stripTavrin(const boost::json::array& groups);

// For agents of the format `hooksBlock`, whose file is shared with the user:

/// `document` with exactly one group of Tavrin's for each of the definition's events, after the groups of
/// others. `helperPath`, which ends in `marker`, is where tavrin-hook is installed. Entries of earlier
/// installations are replaced, wherever they point.
boost::json::object merged(boost::json::object document, std::string_view helperPath,
                           const AgentDefinition& definition);

/// `document` without Tavrin's entries, and without the events and the "hooks" object that become empty.
boost::json::object removed(boost::json::object document);

/// Whether `document` has, for each of the definition's events, an entry with exactly the command that
/// `merged` writes, in a group with the event's matcher. Time-outs may differ, because the user may have
/// changed them.
bool isInstalled(const boost::json::object& document, std::string_view helperPath,
                 const AgentDefinition& definition);

// For agents of the format `ownFile`, whose file belongs only to Tavrin:

/// The whole file.
boost::json::object ownFileDocument(std::string_view helperPath, const AgentDefinition& definition);

/// Whether a file found in that place is Tavrin's: some event has an entry whose "bash" is a text that
/// contains `marker`.
bool isOwnFile(const boost::json::object& document);

}  // namespace tavrin::HookSettings
