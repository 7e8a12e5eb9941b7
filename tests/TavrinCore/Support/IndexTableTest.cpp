#include "TavrinCore/Support/IndexTable.hpp"
#include "tests/support/Random.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

namespace tavrin {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(IndexTable, AKeyKeepsTheIndexThatItWasAddedWithFirst) {
  const std::vector<int> keys = {5, 7, 5};
  IndexTable table(keys.size());
  const auto isKey = [&](int key) { return [&keys, key](std::size_t index) { return keys[index] == key; }; };
  EXPECT_EQ(table.find(spreadHash(5), isKey(5)), std::nullopt);
  EXPECT_EQ(table.findOrAdd(spreadHash(5), 0, isKey(5)), 0U);
  EXPECT_EQ(table.findOrAdd(spreadHash(7), 1, isKey(7)), 1U);
  EXPECT_EQ(table.findOrAdd(spreadHash(5), 2, isKey(5)), 0U);
  EXPECT_EQ(table.find(spreadHash(7), isKey(7)), 1U);
}

// All keys share one hash or one slot. They go into the next free slots, around the end of the table.
TEST(IndexTable, KeysWithTheSameHashAreDistinguished) {
  for (const std::size_t hash : {std::size_t{0}, ~std::size_t{0}}) {
    IndexTable table(100);
    for (std::size_t key = 0; key < 100; ++key) {
      EXPECT_EQ(table.findOrAdd(hash, key, [&](std::size_t index) { return index == key; }), key);
    }
    for (std::size_t key = 0; key < 100; ++key) {
      EXPECT_EQ(table.find(hash, [&](std::size_t index) { return index == key; }), key);
    }
    EXPECT_EQ(table.find(hash, [](std::size_t) { return false; }), std::nullopt);
  }
}

TEST(TextIndex, TextsAreNumberedAsTheyCome) {
  TextIndex texts(4);
  EXPECT_EQ(texts.add("b"), 0U);
  EXPECT_EQ(texts.add(""), 1U);
  EXPECT_EQ(texts.add("b"), 0U);
  EXPECT_EQ(texts.add("a"), 2U);
  EXPECT_EQ(texts.find("a"), 2U);
  EXPECT_EQ(texts.find("c"), std::nullopt);
  EXPECT_THAT(texts.texts(), ElementsAre("b", "", "a"));
}

TEST(TextIndex, AnEmptyTableFindsNothing) {
  EXPECT_EQ(TextIndex(0).find(""), std::nullopt);
}

TEST(TextIndex, ManyTextsAreNumberedAsOneAfterTheOther) {
  TextIndex texts(3);
  EXPECT_THAT(texts.addAll({}), IsEmpty());
  EXPECT_THAT(texts.addAll(std::vector<std::string_view>{"b", "a", "b"}), ElementsAre(0, 1, 0));
  EXPECT_THAT(texts.addAll(std::vector<std::string_view>{"", "a"}), ElementsAre(2, 1));
  EXPECT_THAT(texts.texts(), ElementsAre("b", "a", ""));
}

TEST(TextIndex, UnknownTextsHaveTheNumberAfterTheLast) {
  TextIndex texts(2);
  texts.add("a");
  texts.add("b");
  EXPECT_THAT(texts.findAll(std::vector<std::string_view>{"b", "c", "a", ""}), ElementsAre(1, 2, 0, 2));
  EXPECT_THAT(texts.findAll({}), IsEmpty());
}

TEST(TextIndex, TextsAreTakenFromTheirItems) {
  const std::vector<std::string> items = {"one", "", "three"};
  EXPECT_THAT(textsOf(items, [](const std::string& item) { return std::string_view(item).substr(0, 1); }),
              ElementsAre("o", "", "t"));
}

TEST(TextIndex, GivesWhatAMapGivesOnGeneratedTexts) {
  test::Random random(test::randomSeed());
  for (int round = 0; round < 200; ++round) {
    std::vector<std::string> all;
    for (std::size_t i = random.below(100); i > 0; --i) all.push_back("t" + std::to_string(random.below(40)));
    TextIndex texts(all.size());
    std::map<std::string, std::size_t> map;
    for (const std::string& text : all) {
      EXPECT_EQ(texts.add(text), map.try_emplace(text, map.size()).first->second) << "round " << round;
    }
    EXPECT_EQ(texts.texts().size(), map.size());
  }
}

}  // namespace
}  // namespace tavrin
