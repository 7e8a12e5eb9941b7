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
#include "TavrinCore/Agents/HookSettings.hpp"

/// Hooks in Codex's hooks file work once Codex trusts them. Its app server, a local process that speaks
/// JSON-RPC 2.0, lists them and records the trust. Here are the requests of that conversation and what the
/// answers say; starting the server, carrying the messages and numbering the requests is the caller's:
///
///   initializeRequest, once;
///   hooksListRequest, whose answer goes through parseHooks;
///   trustRequest with what needingTrust finds, unless that is nothing, and the list again;
///   readiness of the last list.
///
/// A malformed answer reads as an empty one. Nothing here fails.
namespace tavrin::CodexActivation {

/// A hook whose command holds this text is this system's.
inline constexpr std::string_view marker = HookSettings::marker;

/// One hook as the app server lists it.
struct Hook {
  std::string key;
  std::string command;
  std::string sourcePath;
  std::string eventName;
  std::string trustStatus;  ///< "unknown" when the server does not say
  std::string currentHash;  ///< of the hook's settings: what trust is given to

  bool isTavrin() const;

  /// "trusted" and "managed" hooks are, and no others.
  bool isTrusted() const;

  bool operator==(const Hook&) const = default;
};

/// That the hook `key` is to be trusted as long as its settings have this hash.
struct TrustUpdate {
  std::string key;
  std::string hash;

  bool operator==(const TrustUpdate&) const = default;
};

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

/// This system's hooks among `hooks`, in order.
std::vector<Hook> tavrinHooks(const std::vector<Hook>& hooks);

/// What to trust: this system's hooks that are not trusted yet, in order, and never anybody else's.
std::vector<TrustUpdate> needingTrust(const std::vector<Hook>& hooks);

/// What to show for Codex. `installed`: this system's hooks are in the hooks file; `binaryFound`: there is a
/// Codex to start the app server from; `hooks`: what it listed, nothing when it could not be asked.
AgentReadiness readiness(bool installed, bool binaryFound, const std::optional<std::vector<Hook>>& hooks);

}  // namespace tavrin::CodexActivation
