#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentReadiness.hpp"

/// Codex runs hooks only once it trusts them. Its app server (`codex app-server`), a local process that
/// speaks JSON-RPC 2.0 with one message per line, lists hooks and records trust. This file makes and reads
/// the texts of those messages. The caller starts the server, carries the messages and numbers the requests:
///
///   initializeMessage, once;
///   hooksListMessage, whose answer goes through hooksIn;
///   trustMessage with the result of needingTrust, if that is not empty, and the list again;
///   readiness of the last list.
///
/// Answers carry the request's id. Notifications, which have none, come in between.
namespace tavrin::CodexActivation {

/// One hook as the app server lists it.
struct Hook {
  std::string key;
  std::string command;
  std::string sourcePath;
  std::string eventName;
  std::string trustStatus;  ///< "unknown" when the server does not say
  std::string currentHash;  ///< the hash of the hook's settings, to which trust applies

  bool isTavrin() const;

  /// True for the statuses "trusted" and "managed".
  bool isTrusted() const;

  bool operator==(const Hook&) const = default;
};

/// Trusts the hook `key` as long as its settings have this hash.
struct TrustUpdate {
  std::string key;
  std::string hash;

  bool operator==(const TrustUpdate&) const = default;
};

// Requests, each one line of JSON without a line feed.

/// Opens the conversation. `version` is the caller's own.
std::string initializeMessage(std::int64_t id, std::string_view version);

/// Asks for the hooks that count in the directories `cwds`.
std::string hooksListMessage(std::int64_t id, const std::vector<std::string>& cwds);

/// Trusts all of `updates` at once, and makes the running Codex reload its settings. Other hooks keep their
/// trust. The last of two updates with the same key counts.
std::string trustMessage(std::int64_t id, const std::vector<TrustUpdate>& updates);

/// Asks for the latest `limit` threads, which are Codex's sessions.
std::string threadListMessage(std::int64_t id, std::int64_t limit);

// Answers.

/// A line from the server.
struct Answer {
  std::optional<std::int64_t> id;    ///< of the request that it answers; nullopt for a notification
  std::optional<std::string> error;  ///< the server's message when it refused the request

  bool operator==(const Answer&) const = default;
};

/// nullopt when `line` is not a JSON object.
std::optional<Answer> answerIn(std::string_view line);

/// The hooks in the answer to a hooksListMessage, in order. Those without a text for key, command or hash are
/// left out. nullopt when `line` is not such an answer, or is an error.
std::optional<std::vector<Hook>> hooksIn(std::string_view line);

/// The names in the answer to a threadListMessage, by thread id. A thread whose name is only spaces and tabs
/// has none. nullopt when `line` is not such an answer, or is an error.
std::optional<std::map<std::string, std::string>> threadNamesIn(std::string_view line);

/// Tavrin's hooks among `hooks`, in order.
std::vector<Hook> tavrinHooks(const std::vector<Hook>& hooks);

/// What to trust: Tavrin's hooks that are not trusted yet, in order, and never anybody else's.
std::vector<TrustUpdate> needingTrust(const std::vector<Hook>& hooks);

/// What to show for Codex. `installed`: Tavrin's hooks are in the hooks file. `binaryFound`: there is a Codex
/// that can run the app server. `hooks`: what the app server listed, or nullopt if it could not be asked.
AgentReadiness readiness(bool installed, bool binaryFound, const std::optional<std::vector<Hook>>& hooks);

}  // namespace tavrin::CodexActivation
