#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"

namespace tavrin {

/// Something that an agent's transcript shows and its hooks may not report.
class TranscriptSignal {
 public:
  enum class Kind : std::uint8_t {
    toolResult,   ///< a tool call has its result, so it no longer waits
    interrupted,  ///< the turn stopped: interrupted by the user, aborted, or completed
    resumed,      ///< the agent is producing output again
  };

  /// `id` is the tool call's identifier.
  static TranscriptSignal toolResult(std::string id) {
    return TranscriptSignal(ToolResult{.id = std::move(id)});
  }
  static TranscriptSignal interrupted() { return TranscriptSignal(Plain<Kind::interrupted>{}); }
  static TranscriptSignal resumed() { return TranscriptSignal(Plain<Kind::resumed>{}); }

  Kind kind() const { return static_cast<Kind>(signal_.index()); }

  /// The identifier of a toolResult, or "" for the other kinds.
  const std::string& id() const {
    static const std::string none;
    const ToolResult* const result = std::get_if<ToolResult>(&signal_);
    return result == nullptr ? none : result->id;
  }

  bool operator==(const TranscriptSignal&) const = default;

 private:
  struct ToolResult {
    std::string id;

    bool operator==(const ToolResult&) const = default;
  };
  template <Kind>
  struct Plain {
    bool operator==(const Plain&) const = default;
  };
  // In the order of `Kind`.
  using Signal = std::variant<ToolResult, Plain<Kind::interrupted>, Plain<Kind::resumed>>;

  explicit TranscriptSignal(Signal signal) : signal_(std::move(signal)) {}

  Signal signal_;
};

/// The name of a kind in messages, such as "toolResult".
constexpr std::string_view rawValue(TranscriptSignal::Kind kind) {
  constexpr std::array<std::string_view, 3> names = {"toolResult", "interrupted", "resumed"};
  return names[static_cast<std::size_t>(kind)];
}

/// Reads the transcripts of the two agents whose format is known. A transcript has one JSON object per line.
/// `line` is one line, with or without its line feed. A line that is malformed or of another kind has no
/// signals. Most lines have none, and most of those are skipped without being parsed as JSON.
namespace TranscriptParser {

/// The signals in a line of the agent's transcript, in order.
std::vector<TranscriptSignal> signals(std::string_view line, Agent agent);

/// The signals in a line of Claude Code: in user messages, the results of tools and the texts that mark an
/// interruption.
std::vector<TranscriptSignal> claudeSignals(std::string_view line);

/// The signals in a line of Codex: at most one.
std::vector<TranscriptSignal> codexSignals(std::string_view line);

}  // namespace TranscriptParser

}  // namespace tavrin
