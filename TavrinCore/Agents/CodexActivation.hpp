#pragma once

// Part of Tavrin::Core. Needs Boost.JSON and the standard library.

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentReadiness.hpp"
#include "TavrinCore/Agents/CodexMessages.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"

/// The messages of CodexMessages.hpp as documents. A malformed answer reads as an empty one. Nothing here
/// fails.
namespace tavrin::CodexActivation {

/// A hook whose command contains this text is Tavrin's.
inline constexpr std::string_view marker = HookSettings::marker;

/// A JSON-RPC request. The requests below are built with it.
boost::json::object rpc(std::int64_t id, std::string_view method, boost::json::object params);

/// Opens the conversation. `version` is the caller's version.
boost::json::object initializeRequest(std::int64_t id, std::string_view version);

/// Asks for the hooks of the directories `cwds`.
boost::json::object hooksListRequest(std::int64_t id, const std::vector<std::string>& cwds);

/// Trusts all of `updates` at once, and makes the running Codex reload its settings. Other hooks keep their
/// trust. The last of two updates with the same key counts.
boost::json::object trustRequest(std::int64_t id, const std::vector<TrustUpdate>& updates);

/// Asks for the latest `limit` threads, which are Codex's sessions.
boost::json::object threadListRequest(std::int64_t id, std::int64_t limit);

/// The hooks in the answer to hooksListRequest, in order. A hook without a text for its key, its command or
/// its hash is left out.
std::vector<Hook> parseHooks(const boost::json::value& response);

/// The names in the answer to threadListRequest, by thread id. A thread whose name is only spaces and tabs
/// has none.
std::map<std::string, std::string> parseThreadNames(const boost::json::value& response);

}  // namespace tavrin::CodexActivation
