#include "TavrinTerminal/UnseenPorts.hpp"

#include <gtest/gtest.h>

#include "TavrinTerminal/ShownText.hpp"

namespace tavrin::test {
namespace {

using UnseenPorts::sentence;

constexpr std::size_t wide = 200;

TEST(UnseenPorts, AreNamedInOneSentence) {
  EXPECT_EQ(sentence({}, wide), "");
  EXPECT_EQ(sentence({22}, wide), "1 port belongs to a process that you cannot see: 22");
  EXPECT_EQ(sentence({22, 631, 5432}, wide),
            "3 ports belong to processes that you cannot see: 22, 631, 5432");
}

TEST(UnseenPorts, GiveWayAsWholePortsWhereThereIsNoRoom) {
  const std::string words = "3 ports belong to processes that you cannot see: ";
  EXPECT_EQ(sentence({22, 631, 5432}, words.size() + 13), words + "22, 631, 5432");
  EXPECT_EQ(sentence({22, 631, 5432}, words.size() + 12), words + "22, 631, \u2026");
  EXPECT_EQ(sentence({22, 631, 5432}, words.size() + 10), words + "22, 631, \u2026");
  EXPECT_EQ(sentence({22, 631, 5432}, words.size() + 9), words + "22, \u2026");
  EXPECT_EQ(sentence({22, 631, 5432}, words.size() + 4), words + "\u2026");
  EXPECT_EQ(sentence({22, 631, 5432}, 0), words + "\u2026");
}

}  // namespace
}  // namespace tavrin::test
