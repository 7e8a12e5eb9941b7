#pragma once

// Lines of agents' transcripts, and the facts in them.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Monitor/AgentEvidence.hpp"

namespace tavrin::test {

using Kind = SessionFact::Kind;

inline constexpr std::string_view time = "2026-11-21T22:40:00.250Z";
inline const Date at = dateFromSeconds(1'795'300'800.25);

// The kinds of facts in a line, each with its call.
using Facts = std::vector<std::pair<Kind, std::string>>;

inline Facts factsOf(const LineEvidence& line) {
  Facts found;
  for (const SessionFact& fact : line.facts) {
    EXPECT_EQ(fact.at, at);
    found.emplace_back(fact.kind, fact.call);
  }
  return found;
}

// `text` with TIME replaced by the time above.
inline std::string timed(std::string text) {
  for (std::size_t place = text.find("TIME"); place != std::string::npos; place = text.find("TIME"))
    text.replace(place, 4, time);
  return text;
}

inline Facts in(Agent agent, const std::string& text) {
  return factsOf(evidenceInLine(timed(text), agent));
}

}  // namespace tavrin::test
