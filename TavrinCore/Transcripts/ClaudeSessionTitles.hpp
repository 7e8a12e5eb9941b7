#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/Home.hpp"

/// Titles that the Claude desktop app keeps for its sessions, in files "local_ID.json" somewhere in one
/// directory. A look-up reads a bounded number of bounded files, skips whatever it cannot read, and never
/// fails.
namespace tavrin::ClaudeSessionTitles {

/// The app that keeps the titles.
inline constexpr std::string_view desktopBundleIdentifier = claudeDesktopBundleIdentifier;

/// How many entries of the directory one look-up goes through, sub-folders and their entries included.
inline constexpr int mostEntries = 20'000;

/// The largest file that is read, in bytes.
inline constexpr std::size_t largestFile = 1'000'000;

/// "Library/Application Support/Claude/claude-code-sessions" under the home directory.
std::string defaultDirectory(std::string_view home = Home::directory());

/// The titles of those `sessionIds` that have one, by session id. Hidden entries, what lies in packages
/// (folders such as "X.app") and what symbolic links point at is not looked at. Ids that are empty, longer
/// than 128 bytes, or hold anything but ASCII letters, digits, "_" and "-" have none.
std::map<std::string, std::string> resolve(const std::set<std::string>& sessionIds,
                                           const std::string& directory = defaultDirectory());

/// The title of one session.
std::optional<std::string> resolve(const std::string& sessionId,
                                   const std::string& directory = defaultDirectory());

/// `session` with its title from `titles`, when it is one of Claude Code in the desktop app and has one
/// there; else as it is.
Session applying(const std::map<std::string, std::string>& titles, Session session);

}  // namespace tavrin::ClaudeSessionTitles
