#include "TavrinCore/Panel/ActivityEmptyContent.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace tavrin {
namespace {

using Agents = ActivityEmptyContent::Agents;
using Localhost = ActivityEmptyContent::Localhost;
using Action = ActivityEmptyContent::Action;

struct Case {
  Agents agents;
  Localhost localhost;
  const char* title;
  const char* subtitle;  // null for none
};

// Every state with no idle session hidden.
const std::vector<Case> cases = {
    {Agents::connected(3), Localhost::off, "All quiet", nullptr},
    {Agents::connected(3), Localhost::checking, "Checking localhost",
     "Looking for local servers on this Mac."},
    {Agents::connected(3), Localhost::unavailable, "Localhost unavailable",
     "Couldn’t refresh your local servers.\nTavrin will try again automatically."},
    {Agents::connected(3), Localhost::quiet, "All quiet", nullptr},
    {Agents::off(), Localhost::off, "Monitoring is off",
     "Turn on AI activity or localhost\nto see what’s running."},
    {Agents::off(), Localhost::checking, "Checking localhost", "Looking for local servers on this Mac."},
    {Agents::off(), Localhost::unavailable, "Localhost unavailable",
     "Couldn’t refresh your local servers.\nTavrin will try again automatically."},
    {Agents::off(), Localhost::quiet, "All quiet", nullptr},
    {Agents::checking(), Localhost::off, "Checking your agents",
     "Checking which agents can report activity."},
    {Agents::checking(), Localhost::checking, "Getting ready", "Checking your agents and local servers."},
    {Agents::checking(), Localhost::unavailable, "Localhost unavailable",
     "Couldn’t refresh your local servers.\nTavrin will try again automatically."},
    {Agents::checking(), Localhost::quiet, "Checking your agents",
     "Checking which agents can report activity."},
};

std::optional<std::string> text(const char* text) {
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

TEST(ActivityEmptyContent, EachStateHasItsTexts) {
  ASSERT_EQ(cases.size(), 12U);
  for (const auto& [agents, localhost, title, subtitle] : cases) {
    const ActivityEmptyContent content = {.agents = agents, .localhost = localhost, .hiddenIdleCount = 0};
    EXPECT_EQ(content.title(), title);
    EXPECT_EQ(content.subtitle(), text(subtitle)) << title;
    const bool off = agents == Agents::off() && localhost == Localhost::off;
    EXPECT_EQ(content.action(), off ? std::optional(Action::openSettings) : std::nullopt) << title;
  }
}

TEST(ActivityEmptyContent, HiddenSessionsAreMentionedOnlyWhileAgentsAreConnected) {
  const struct {
    std::int64_t count;
    const char* subtitle;
  } counts[] = {
      {std::numeric_limits<std::int64_t>::min(), nullptr},
      {-1, nullptr},
      {0, nullptr},
      {1, "1 idle session is hidden."},
      {2, "2 idle sessions are hidden."},
      {std::numeric_limits<std::int64_t>::max(), "9223372036854775807 idle sessions are hidden."},
  };
  int mentioned = 0;
  for (const auto& [agents, localhost, title, subtitle] : cases) {
    for (const auto& [count, hint] : counts) {
      const ActivityEmptyContent content = {
          .agents = agents, .localhost = localhost, .hiddenIdleCount = count};
      const bool mentions = agents == Agents::connected(3) && std::string_view(title) == "All quiet";
      EXPECT_EQ(content.title(), title) << count;
      EXPECT_EQ(content.subtitle(), text(mentions ? hint : subtitle)) << title << " " << count;
      if (mentions && hint != nullptr) ++mentioned;
    }
  }
  EXPECT_EQ(mentioned, 6);
}

TEST(ActivityEmptyContent, TheNumberOfConnectedAgentsChangesNoText) {
  for (const std::int64_t count : {std::int64_t{-1}, std::int64_t{0}, std::int64_t{5}}) {
    const ActivityEmptyContent content = {
        .agents = Agents::connected(count), .localhost = Localhost::quiet, .hiddenIdleCount = 1};
    EXPECT_EQ(content.title(), "All quiet");
    EXPECT_EQ(content.subtitle(), "1 idle session is hidden.");
    EXPECT_EQ(content.agents.connectedCount(), count);
  }
  EXPECT_EQ(Agents::off().connectedCount(), std::nullopt);
  EXPECT_EQ(Agents::checking().connectedCount(), std::nullopt);
}

TEST(ActivityEmptyContent, EqualityComparesEveryField) {
  const ActivityEmptyContent content = {
      .agents = Agents::connected(1), .localhost = Localhost::quiet, .hiddenIdleCount = 1};
  EXPECT_EQ(content, content);
  ActivityEmptyContent other = content;
  other.agents = Agents::connected(2);
  EXPECT_NE(content, other);
  other = content;
  other.localhost = Localhost::off;
  EXPECT_NE(content, other);
  other = content;
  other.hiddenIdleCount = 2;
  EXPECT_NE(content, other);
}

}  // namespace
}  // namespace tavrin
