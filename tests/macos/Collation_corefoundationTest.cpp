// The order of names on macOS, over a made-up CoreFoundation.
#include "TavrinCore/Panel/Collation_corefoundation.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Panel/Collation.hpp"
#include "TavrinCore/Panel/CollationPlatform.hpp"
#include "tests/macos/FakeCoreFoundation.hpp"

namespace tavrin {
namespace {

using test::FakeCoreFoundation;
using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using Names = std::vector<std::string_view>;
using Ranks = std::vector<std::size_t>;
using Comparison = FakeCoreFoundation::Comparison;

class CollationOfMacos : public ::testing::Test {
 protected:
  std::optional<Ranks> ranks(const Names& names, const std::string& locale = "") {
    return Collation::coreFoundationRanks(names, locale, library.loader());
  }

  void expectReleased(int count) const {
    EXPECT_EQ(library.created, count);
    EXPECT_EQ(library.released, count);
  }

  FakeCoreFoundation library;
};

TEST_F(CollationOfMacos, RanksAreThoseOfTheComparison) {
  EXPECT_EQ(ranks({"b", "A", "a", "c", "B"}), (Ranks{2, 0, 0, 4, 2}));
  EXPECT_THAT(library.opened,
              ElementsAre("/System/Library/Frameworks/CoreFoundation.framework/CoreFoundation"));
  expectReleased(6);
}

TEST_F(CollationOfMacos, EachAnswerOfAComparisonCounts) {
  const auto say = [this](int answer) {
    library.answers[{u"x", u"y"}] = answer;
    library.answers[{u"y", u"x"}] = -answer;
  };
  say(-1);
  EXPECT_EQ(ranks({"x", "y"}), (Ranks{0, 1}));
  say(0);
  EXPECT_EQ(ranks({"x", "y"}), (Ranks{0, 0}));
  say(1);
  EXPECT_EQ(ranks({"x", "y"}), (Ranks{1, 0}));
}

// If the comparison contradicts itself, sorting still ends, in any order.
TEST_F(CollationOfMacos, AComparisonThatContradictsItselfDoesNoHarm) {
  std::vector<std::string> names(200);
  for (std::size_t i = 0; i < names.size(); ++i) names[i] = "n" + std::to_string(i);
  for (const int everything : {-1, 1}) {
    for (const std::string& a : names) {
      for (const std::string& b : names)
        library.answers[{{a.begin(), a.end()}, {b.begin(), b.end()}}] = everything;
    }
    const std::optional<Ranks> found = ranks(Names(names.begin(), names.end()));
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->size(), names.size());
    EXPECT_LT(*std::ranges::max_element(*found), names.size());
  }
}

TEST_F(CollationOfMacos, WholeTextsAreComparedInTheUsersLanguageBlindToCaseAndForm) {
  ranks({"long name", "z"});
  ASSERT_FALSE(library.comparisons.empty());
  for (const Comparison& comparison : library.comparisons) {
    EXPECT_EQ(comparison.start, 0);
    EXPECT_EQ(comparison.length, static_cast<long>(comparison.a.size()));
    EXPECT_EQ(comparison.flags, 1U | 16U | 32U);
    EXPECT_EQ(comparison.locale, "current");
  }
}

TEST_F(CollationOfMacos, AnotherLanguageIsTakenByItsIdentifier) {
  EXPECT_EQ(ranks({"b", "a"}, "sv_SE"), (Ranks{1, 0}));
  EXPECT_THAT(library.comparisons, Each(Field(&Comparison::locale, "sv_SE")));
  expectReleased(4);
}

TEST_F(CollationOfMacos, WithoutALocaleThereIsStillAnOrder) {
  library.unknownLocales = {"current", "xx"};
  library.refusedTexts = {u"no memory"};
  for (const std::string locale : {"", "xx"}) {
    EXPECT_EQ(ranks({"b", "a"}, locale), (Ranks{1, 0})) << locale;
    EXPECT_THAT(library.comparisons, Each(Field(&Comparison::locale, "")));
  }
  EXPECT_EQ(ranks({"b", "a"}, "no memory"), (Ranks{1, 0}));
  EXPECT_EQ(library.created, library.released);
}

TEST_F(CollationOfMacos, BytesThatAreNotUtf8CountAsReplacementCharacters) {
  ranks(
      {"a\xff"
       "b",
       "\xc3"});
  ASSERT_FALSE(library.comparisons.empty());
  for (const Comparison& comparison : library.comparisons) {
    EXPECT_THAT(comparison.a, AnyOf(u"a\ufffdb", u"\ufffd"));
    EXPECT_THAT(comparison.b, AnyOf(u"a\ufffdb", u"\ufffd"));
  }
}

TEST_F(CollationOfMacos, NamesMayHoldAnyCharacter) {
  EXPECT_EQ(ranks({std::string_view("a\0b", 3), "", "\U0001f600", std::string_view("a\0a", 3)}),
            (Ranks{2, 0, 3, 1}));
  const auto pair = std::ranges::find_if(
      library.comparisons, [](const Comparison& each) { return each.a.starts_with(u'\xd83d'); });
  ASSERT_NE(pair, library.comparisons.end());
  EXPECT_EQ(pair->length, 2);
}

TEST_F(CollationOfMacos, OfALongNameTheFirst4096UnitsCount) {
  const std::string start(4095, 'x');
  EXPECT_EQ(ranks({start + "yb", start + "ya", start + "z", start}), (Ranks{1, 1, 3, 0}));
  for (const Comparison& comparison : library.comparisons) EXPECT_LE(comparison.a.size(), 4096U);
}

TEST_F(CollationOfMacos, FewerThanTwoNamesAreNotCompared) {
  EXPECT_EQ(ranks({}), Ranks{});
  EXPECT_EQ(ranks({"a"}), Ranks{0});
  EXPECT_TRUE(library.comparisons.empty());
  EXPECT_EQ(library.created, library.released);
}

TEST_F(CollationOfMacos, WithoutTheLibraryThereAreNoRanks) {
  library.isInstalled = false;
  EXPECT_EQ(ranks({"b", "a"}), std::nullopt);
  expectReleased(0);
}

TEST_F(CollationOfMacos, WithoutOneOfItsFunctionsThereAreNoRanks) {
  int count = 0;
  for (const char* const function :
       {"CFStringCreateWithCharacters", "CFStringCompareWithOptionsAndLocale", "CFStringGetLength",
        "CFLocaleCopyCurrent", "CFLocaleCreate", "CFRelease"}) {
    library.missing = {function};
    EXPECT_EQ(ranks({"b", "a"}, "sv"), std::nullopt) << function;
    ++count;
  }
  EXPECT_EQ(count, 6);
  expectReleased(0);
}

TEST_F(CollationOfMacos, WithoutMemoryForANameThereAreNoRanks) {
  for (const char16_t* const refused : {u"a", u"b", u"c"}) {
    library.refusedTexts = {refused};
    EXPECT_EQ(ranks({"a", "b", "c"}), std::nullopt);
    EXPECT_EQ(library.created, library.released);
  }
  EXPECT_TRUE(library.comparisons.empty());
}

#ifndef __APPLE__
TEST_F(CollationOfMacos, OnASystemWithoutCoreFoundationNamesComeByCodePoint) {
  const Names names = {"b", "A", "a", "\u00e9", "B", "z"};
  EXPECT_EQ(Collation::systemRanks(names, "en"), std::nullopt);
  EXPECT_EQ(Collation::ranks(names, "en"), Collation::plainRanks(names));
}
#endif

}  // namespace
}  // namespace tavrin
