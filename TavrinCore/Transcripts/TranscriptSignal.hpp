#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"

namespace tavrin {

/// Something that an agent's transcript tells and none of its hooks may.
class TranscriptSignal {
 public:
  enum class Kind : std::uint8_t {
    toolResult,   ///< a tool call has its result, so it waits no longer
    interrupted,  ///< the turn stopped: interrupted by the user, aborted, or completed
    resumed,      ///< the agent is producing output again
  };

  /// `id` is the tool call's identifier.
  static TranscriptSignal toolResult(std::string id) { return {Kind::toolResult, std::move(id)}; }
  static TranscriptSignal interrupted() { return {Kind::interrupted, {}}; }
  static TranscriptSignal resumed() { return {Kind::resumed, {}}; }

  Kind kind() const { return kind_; }

  /// The identifier of a toolResult; "" for the other kinds.
  const std::string& id() const { return id_; }

  bool operator==(const TranscriptSignal&) const = default;

 private:
  TranscriptSignal(Kind kind, std::string id) : kind_(kind), id_(std::move(id)) {}

  Kind kind_;
  std::string id_;
};

/// Reads transcripts, files of one JSON object a line, of the two agents whose format is known. `line` is one
/// line, with or without its line feed; one that is malformed or of another kind gives no signals. Most lines
/// hold none, and of those most are passed over without being read as JSON.
namespace TranscriptParser {

/// The signals in a line of the agent's transcript, in order.
std::vector<TranscriptSignal> signals(std::string_view line, Agent agent);

/// Of Claude Code: results of tools, and the texts that stand for an interruption, in user messages.
std::vector<TranscriptSignal> claudeSignals(std::string_view line);

/// Of Codex: at most one signal a line.
std::vector<TranscriptSignal> codexSignals(std::string_view line);

}  // namespace TranscriptParser

}  // namespace tavrin
