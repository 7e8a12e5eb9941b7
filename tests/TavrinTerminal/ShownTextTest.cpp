#include "TavrinTerminal/ShownText.hpp"

#include <gtest/gtest.h>

#include "TavrinTerminal/JsonObject.hpp"
#include "tests/support/Random.hpp"

namespace tavrin::test {
namespace {

constexpr std::string_view bad = "\uFFFD";

std::string replaced(std::string_view before, std::string_view after) {
  return std::string(before) + std::string(bad) + std::string(after);
}

TEST(ShownText, OrdinaryTextStaysAsItIs) {
  for (const char* text : {"", "shop \u00b7 checkout", "日本語", "e\u0301", "👩‍👩‍👧‍👦",
                           "❤️", "🇬🇷", "نیم‌فاصله", "~!@#$%^&*()"}) {
    EXPECT_EQ(ShownText::clean(text), text);
  }
}

TEST(ShownText, NothingThatControlsATerminalIsLeft) {
  for (char32_t c = 0; c < 0xA0; ++c) {
    const bool isControl = c < 0x20 || (c >= 0x7F);
    std::string text = "a";
    if (c < 0x80) {
      text += static_cast<char>(c);
    } else {
      text += '\xC2';
      text += static_cast<char>(c);
    }
    text += 'b';
    const bool isSpace = (c >= 9 && c <= 13) || c == 0x85;
    const std::string expected = isSpace ? "a b" : isControl ? replaced("a", "b") : text;
    EXPECT_EQ(ShownText::clean(text), expected) << static_cast<unsigned>(c);
  }
}

TEST(ShownText, NothingTurnsALineRoundOrHides) {
  for (const char* c : {"\u202A", "\u202B", "\u202C", "\u202D", "\u202E", "\u2066",     "\u2067",    "\u2068",
                        "\u2069", "\u200E", "\u200F", "\u061C", "\u200B", "\u2060",     "\uFEFF",    "\u00AD",
                        "\u180E", "\uFFF9", "\u115F", "\u3164", "\uFFA0", "\U000E0041", "\U000E0001"}) {
    EXPECT_EQ(ShownText::clean(std::string("a") + c + "b"), replaced("a", "b"));
  }
}

TEST(ShownText, LineEndsBecomeOneSpace) {
  EXPECT_EQ(ShownText::clean("a\r\n\tb"), "a b");
  EXPECT_EQ(ShownText::clean("a\u2028b\u2029c\x0b"), "a b c ");
}

TEST(ShownText, BytesThatAreNotTextAreReplaced) {
  EXPECT_EQ(ShownText::clean("a\xff"
                             "b"),
            replaced("a", "b"));
  EXPECT_EQ(ShownText::clean("a\xC2"), replaced("a", ""));
  EXPECT_EQ(ShownText::clean("\xED\xA0\x80"), std::string(bad) + std::string(bad) + std::string(bad));
}

TEST(ShownText, WidthsAreThoseOfTerminals) {
  EXPECT_EQ(ShownText::width(""), 0U);
  EXPECT_EQ(ShownText::width("shop"), 4U);
  EXPECT_EQ(ShownText::width("e\u0301"), 1U);
  EXPECT_EQ(ShownText::width("日本"), 4U);
  EXPECT_EQ(ShownText::width("👩‍👩‍👧‍👦"), 2U);
  EXPECT_EQ(ShownText::width("❤️"), 2U);
  EXPECT_EQ(ShownText::width("🇬🇷"), 2U);
  EXPECT_EQ(ShownText::width("\uFFFD"), 1U);
}

TEST(ShownText, CutTextsEndInAnEllipsisWithinTheirColumns) {
  EXPECT_EQ(ShownText::cut("checkout", 8), "checkout");
  EXPECT_EQ(ShownText::cut("checkout", 7), "checko\u2026");
  EXPECT_EQ(ShownText::cut("日本語", 4), "日\u2026");
  EXPECT_EQ(ShownText::cut("ab", 1), "\u2026");
  EXPECT_EQ(ShownText::cut("ab", 0), "");
  EXPECT_EQ(ShownText::padded("日", 4), "日  ");
  EXPECT_EQ(ShownText::padded("日本語", 4), "日\u2026 ");
}

// Random bytes, many of them control characters and the beginnings of longer characters.
std::string noise(Random& random) {
  std::string text;
  for (std::size_t i = random.below(40); i > 0; --i)
    text += random.flip() ? static_cast<char>(random.below(256))
                          : random.of(std::string_view("\x1b\x9b\xe2\x80\xae\xc2\n\"\\"));
  return text;
}

TEST(ShownText, CleanTextIsCleanWhateverItWas) {
  Random random(randomSeed());
  for (int i = 0; i < generatedCases(20'000); ++i) {
    const std::string cleaned = ShownText::clean(noise(random));
    EXPECT_EQ(ShownText::clean(cleaned), cleaned);
    ShownText::forEachPiece(cleaned, [&](std::string_view, ShownText::Piece kind, char32_t) {
      EXPECT_EQ(kind, ShownText::Piece::shown);
    });
    for (std::size_t columns = 0; columns < 12; ++columns) {
      EXPECT_LE(ShownText::width(ShownText::cut(cleaned, columns)), columns);
      EXPECT_EQ(ShownText::width(ShownText::padded(cleaned, columns)), columns);
    }
  }
}

TEST(JsonObject, WritesMembersInTheirOrder) {
  JsonObject object;
  object.text("b", "x");
  object.optionalText("none", std::nullopt);
  object.number("a", -5);
  object.boolean("yes", true);
  object.json("raw", "{}");
  object.list("list", {"1", "2"});
  object.list("empty", {});
  EXPECT_EQ(object.finish(), R"({"b":"x","a":-5,"yes":true,"raw":{},"list":[1,2],"empty":[]})");
  EXPECT_EQ(JsonObject().finish(), "{}");
}

TEST(JsonObject, EscapesWhatCouldControlATerminal) {
  std::string out;
  appendJsonString(out, "a\"\\\n\t\x1b\x7f\u009b\u202e\U000E0001\xff/é");
  EXPECT_EQ(out, R"("a\"\\\n\u0009\u001b\u007f\u009b\u202e\udb40\udc01)"
                 "\uFFFD"
                 R"(/é")");
}

}  // namespace
}  // namespace tavrin::test
