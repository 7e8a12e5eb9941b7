#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Home.hpp"

/// Titles that the Claude desktop app stores for its sessions, in files "local_ID.json" in one directory and
/// its sub-folders. A look-up reads a limited number of files of limited size. It skips what it cannot read,
/// and never fails.
namespace tavrin::ClaudeSessionTitles {

/// The app that stores the titles.
inline constexpr std::string_view desktopBundleIdentifier = claudeDesktopBundleIdentifier;

/// The most directory entries that one look-up visits, in all folders together.
inline constexpr int mostEntries = 20'000;

/// The most that a run of tavrin-hook visits, because other runs wait for it. The app has one folder for each
/// account, and in it one for each organisation, which holds the files. That is found with far fewer.
inline constexpr int mostEntriesInHook = 200;

/// The largest file that is read, in bytes.
inline constexpr std::size_t largestFile = 1'000'000;

/// "Library/Application Support/Claude/claude-code-sessions" under the home directory.
std::string defaultDirectory(std::string_view home = Home::directory());

/// The titles of those `sessionIds` that have one, by session id. Skips hidden entries, packages (folders
/// such as "X.app") and symbolic links. An id has no title if it is empty, longer than 128 bytes, or contains
/// anything but ASCII letters, digits, "_" and "-".
std::map<std::string, std::string> resolve(const std::set<std::string>& sessionIds,
                                           const std::string& directory = defaultDirectory());

/// The title of one session, or nullopt. Visits at most `limit` entries, those of the upper folders first.
/// Each folder is searched for the session's file by name before it is listed. If `limit` is less than
/// `mostEntries`, folders that seem to have more than `limit` entries are not listed.
std::optional<std::string> resolve(const std::string& sessionId,
                                   const std::string& directory = defaultDirectory(),
                                   int limit = mostEntries);

/// `session` with its title from `titles`, if Claude Code runs it in the desktop app and `titles` has it. Any
/// other session is returned as it is.
Session applying(const std::map<std::string, std::string>& titles, Session session);

}  // namespace tavrin::ClaudeSessionTitles
