#pragma once

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

/// A hook whose command holds this text is this system's.
inline constexpr std::string_view marker = HookSettings::marker;

/// A JSON-RPC request; those below are made of it.
boost::json::object rpc(std::int64_t id, std::string_view method, boost::json::object params);

/// Opens the conversation. `version` is the caller's own.
boost::json::object initializeRequest(std::int64_t id, std::string_view version);

/// Asks for the hooks that count in the directories `cwds`.
boost::json::object hooksListRequest(std::int64_t id, const std::vector<std::string>& cwds);

/// Trusts all of `updates` at once and has the running Codex take notice. Other hooks keep their trust. Of
/// two updates with one key the later counts.
boost::json::object trustRequest(std::int64_t id, const std::vector<TrustUpdate>& updates);

/// Asks for the latest `limit` threads, which are Codex's sessions.
boost::json::object threadListRequest(std::int64_t id, std::int64_t limit);

/// The hooks in the answer to a hooksListRequest, in order. Those without a text for key, command or hash are
/// left out.
std::vector<Hook> parseHooks(const boost::json::value& response);

/// The names in the answer to a threadListRequest, by thread id. A thread whose name is blank has none.
std::map<std::string, std::string> parseThreadNames(const boost::json::value& response);

}  // namespace tavrin::CodexActivation
