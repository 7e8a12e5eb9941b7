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
#include "TavrinCore/Agents/HookSettings.hpp"

/// Codex runs a hook only after it trusts it. Its app server, a local process that speaks JSON-RPC 2.0, lists
/// the hooks and records the trust. These functions make the requests and read the answers. The caller starts
/// the server, sends the messages and numbers the requests:
///
/// 1. initializeRequest, once.
/// 2. hooksListRequest. parseHooks reads the answer.
/// 3. If needingTrust finds hooks: trustRequest, then hooksListRequest again.
/// 4. readiness of the last list.
///
/// A malformed answer counts as empty. Nothing here fails.
namespace tavrin::CodexActivation {

/// A hook whose command contains this text is Tavrin's.
inline constexpr std::string_view marker = HookSettings::marker;

/// One hook as the app server lists it.
struct Hook {
  std::string key;
  std::string command;
  std::string sourcePath;
  std::string eventName;
  std::string trustStatus;  ///< "unknown" if the server does not send it
  std::string currentHash;  ///< of the hook's settings; trust is for this hash

  bool isTavrin() const;

  /// Whether the status is "trusted" or "managed".
  bool isTrusted() const;

  bool operator==(const Hook&) const = default;
};

/// Trust for the hook `key` as long as its settings have this hash.
struct TrustUpdate {
  std::string key;
  std::string hash;

  bool operator==(const TrustUpdate&) const = default;
};

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

/// Tavrin's hooks among `hooks`, in order.
std::vector<Hook> tavrinHooks(const std::vector<Hook>& hooks);

/// Trust for those of Tavrin's hooks that lack it, in order. Never for hooks of others.
std::vector<TrustUpdate> needingTrust(const std::vector<Hook>& hooks);

/// What to show for Codex. `installed` says that Tavrin's hooks are in the hooks file. `binaryFound` says
/// that there is a Codex to start the app server from. `hooks` is its list, or nullopt if it did not answer.
AgentReadiness readiness(bool installed, bool binaryFound, const std::optional<std::vector<Hook>>& hooks);

}  // namespace tavrin::CodexActivation
