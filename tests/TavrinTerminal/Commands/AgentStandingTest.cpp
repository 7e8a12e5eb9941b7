#include "TavrinTerminal/AgentStanding.hpp"

#include <gtest/gtest.h>

#include "tests/TavrinTerminal/Commands/AgentMachine.hpp"

namespace tavrin {
namespace {

using test::AgentMachine;

// Where Codex stands, before it is asked.
AgentStanding codexOf(const AgentMachine& machine) {
  return standingsOf(surveyed({Agent::codex}, machine.surroundings, placesFor(machine.surroundings, {})),
                     machine.surroundings)
      .front();
}

TEST(AgentStandings, CodexIsCheckedForTrustWhenItCanBeAsked) {
  AgentMachine machine;
  machine.folder(".codex");
  machine.codex("plays");
  machine.connect();
  const AgentStanding standing = codexOf(machine);
  EXPECT_EQ(standing.readiness.kind(), AgentReadiness::Kind::checking);
  EXPECT_FALSE(standing.isTrustUnknown);
  EXPECT_EQ(standing.word(), "checking");
}

TEST(AgentStandings, CodexWithoutAProgramToAskHasUnknownTrust) {
  AgentMachine machine;
  machine.folder(".codex");
  machine.connect();
  const AgentStanding standing = codexOf(machine);
  EXPECT_TRUE(standing.isConnected);
  EXPECT_TRUE(standing.isTrustUnknown);
  EXPECT_EQ(standing.word(), "connected, trust unknown");
  EXPECT_EQ(
      standing.readiness,
      AgentReadiness::inactive("Codex runs hooks only once it trusts them. Whether it does is not known, "
                               "because there is no program \"codex\" to ask.",
                               false));
}

TEST(AgentStandings, CodexWithoutHooksHasNoTrustToKnow) {
  AgentMachine machine;
  machine.folder(".codex");
  const AgentStanding standing = codexOf(machine);
  EXPECT_FALSE(standing.isTrustUnknown);
  EXPECT_EQ(standing.word(), "not connected");
}

}  // namespace
}  // namespace tavrin
