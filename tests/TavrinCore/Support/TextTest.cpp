#include "TavrinCore/Support/Text.hpp"

#include <gtest/gtest.h>

#include <boost/json/array.hpp>
#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Random.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

using namespace std::string_literals;

constexpr char32_t lastCodePoint = 0x10ffff;
constexpr std::size_t scalarCount = 0x110000 - 0x800;

std::string utf8(char32_t value) {
  const auto byte = [](char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
  const auto tail = [&](unsigned shift) { return byte(0x80U | ((value >> shift) & 0x3fU)); };
  if (value < 0x80) return {byte(value)};
  if (value < 0x800) return {byte(0xc0U | (value >> 6U)), tail(0)};
  if (value < 0x10000) return {byte(0xe0U | (value >> 12U)), tail(6), tail(0)};
  return {byte(0xf0U | (value >> 18U)), tail(12), tail(6), tail(0)};
}

// Calls `visit` with every code point that is not a surrogate. Returns their number.
template <class Visit>
std::size_t forEachScalar(Visit visit) {
  std::size_t count = 0;
  for (char32_t value = 0; value <= lastCodePoint; ++value) {
    if (value >= 0xd800 && value <= 0xdfff) continue;
    visit(value);
    ++count;
  }
  return count;
}

// For each code point, whether macOS's Foundation says that it has `property`.
std::vector<bool> foundationProperty(std::string_view property) {
  std::vector<bool> has(lastCodePoint + 1);
  for (const auto& line : test::jsonLines("platform/character-ranges.jsonl")) {
    if (line.at("property").as_string() != property) continue;
    for (const auto& range : line.at("ranges").as_array()) {
      for (auto i = range.at(0).to_number<std::size_t>(); i <= range.at(1).to_number<std::size_t>(); ++i)
        has[i] = true;
    }
  }
  return has;
}

std::vector<std::string> characters(std::string_view text) {
  std::vector<std::string> characters;
  while (!text.empty()) {
    const std::string_view first = Text::firstCharacters(text, 1);
    characters.emplace_back(first);
    text.remove_prefix(first.size());
  }
  return characters;
}

std::string joined(const std::vector<std::string>& pieces, std::size_t from, std::size_t to) {
  std::string text;
  for (std::size_t i = from; i < to; ++i) text += pieces[i];
  return text;
}

TEST(Text, EveryTextIsCutAndFilteredAsByFoundation) {
  const auto lines = test::jsonLines("platform/texts.jsonl");
  ASSERT_EQ(lines.size(), 520U);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const auto& line = lines[i].as_object();
    const std::string text = test::bytesOf(line);
    SCOPED_TRACE("line " + std::to_string(i + 1) + ": " + text);
    std::vector<std::string> expected;
    for (const auto& character : line.at("characters").as_array())
      expected.emplace_back(character.as_string());
    EXPECT_EQ(characters(text), expected);
    EXPECT_EQ(Text::firstCharacters(text, 8), test::bytesOf(line, "first8"));
    EXPECT_EQ(Text::lastCharacters(text, 6), test::bytesOf(line, "last6"));
    EXPECT_EQ(Text::onlyNameCharacters(text), test::bytesOf(line, "safeName"));
    EXPECT_EQ(Text::upperCasedFirst(text), test::bytesOf(line, "firstUpperCased"));
    EXPECT_EQ(Text::words(text), test::bytesOf(line, "words"));
    EXPECT_TRUE(Text::isValidUtf8(text));
    for (std::size_t count = 0; count <= expected.size() + 1; ++count) {
      const std::size_t kept = std::min(count, expected.size());
      EXPECT_EQ(Text::firstCharacters(text, count), joined(expected, 0, kept)) << count;
      EXPECT_EQ(Text::lastCharacters(text, count), joined(expected, expected.size() - kept, expected.size()))
          << count;
    }
  }
}

// The ranges follow Unicode 17. A later utf8proc may know characters that a later version adds.
TEST(Text, NameCharactersAreFoundationsLettersAndNumbers) {
  const std::vector<bool> letters = foundationProperty("letter");
  const std::vector<bool> numbers = foundationProperty("number");
  std::size_t letterCount = 0;
  std::size_t numberCount = 0;
  const std::size_t count = forEachScalar([&](char32_t value) {
    const bool expected = letters[value] || numbers[value] || value == U'-' || value == U'_';
    const std::string text = utf8(value);
    letterCount += letters[value] ? 1 : 0;
    numberCount += numbers[value] ? 1 : 0;
    EXPECT_EQ(Text::onlyNameCharacters(text), expected ? text : "") << "U+" << std::hex << +value;
  });
  EXPECT_EQ(count, scalarCount);
  EXPECT_EQ(letterCount, 147'421U);
  EXPECT_EQ(numberCount, 2'023U);
}

TEST(Text, WordSeparatorsAreFoundationsWhiteSpace) {
  const std::vector<bool> spaces = foundationProperty("whitespace");
  std::size_t spaceCount = 0;
  const std::size_t count = forEachScalar([&](char32_t value) {
    const bool expected = spaces[value];
    const std::string text = utf8(value);
    const std::string between = "a" + text + "b";
    const std::string around = text + "a" + text;
    spaceCount += expected ? 1 : 0;
    EXPECT_EQ(Text::words(between), expected ? "a b" : between) << "U+" << std::hex << +value;
    EXPECT_EQ(Text::words(around), expected ? "a" : around) << "U+" << std::hex << +value;
    EXPECT_EQ(Text::trimmed(around), expected ? "a" : around) << "U+" << std::hex << +value;
  });
  EXPECT_EQ(count, scalarCount);
  EXPECT_EQ(spaceCount, 25U);
}

TEST(Text, OnlyALowerCaseFirstCharacterIsUpperCased) {
  const std::vector<bool> lowerCase = foundationProperty("lowercase");
  std::size_t changed = 0;
  std::size_t lowerCount = 0;
  const std::size_t count = forEachScalar([&](char32_t value) {
    const std::string text = utf8(value);
    const std::string upper = Text::upperCasedFirst(text);
    EXPECT_EQ(Text::upperCasedFirst(text + "\nxy z"), upper + "\nxy z") << "U+" << std::hex << +value;
    lowerCount += lowerCase[value] ? 1 : 0;
    changed += upper == text ? 0 : 1;
    EXPECT_TRUE(lowerCase[value] || upper == text) << "U+" << std::hex << +value;
  });
  EXPECT_EQ(count, scalarCount);
  EXPECT_EQ(lowerCount, 3'144U);
  // Unicode 15 has this many code points whose upper-case form differs from themselves.
  EXPECT_GE(changed, 1'400U);
}

TEST(Text, UpperCasingUsesTheFullMappings) {
  const std::map<std::string, std::string> cases = {
      {"ß", "SS"},
      {"ﬁnd", "FInd"},
      {"ﬃ", "FFI"},
      {"ﬅ", "ST"},
      {"ŉ", "\u02bcN"},
      {"ǰ", "J\u030c"},
      {"\u0390", "\u0399\u0308\u0301"},
      {"\u0587", "\u0535\u0552"},
      {"\u1e96", "H\u0331"},
      {"\u1e9a", "A\u02be"},
      {"\u1f50", "\u03a5\u0313"},
      {"\u1f80", "\u1f08\u0399"},
      {"\u1fb3", "\u0391\u0399"},
      {"\u1fb4", "\u0386\u0399"},
      {"\u1fb7", "\u0391\u0342\u0399"},
      {"ς", "Σ"},
      {"ı", "I"},
      {"ÿ", "Ÿ"},
      {"\u10d0", "\u1c90"},
      {"\u13f8", "\u13f0"},
      {"\uab70", "\u13a0"},
      {"é", "É"},
      {"e\u0301a", "E\u0301a"},
      {"идёт", "Идёт"},
      // Not lower-case letters, or lower-case letters without an upper-case form.
      {"", ""},
      {"ẞ", "ẞ"},
      {"ǅ", "ǅ"},
      {"ᾈ", "ᾈ"},
      {"ĸ", "ĸ"},
      {"ª", "ª"},
      {"字", "字"},
      {" a", " a"},
      {"1a", "1a"},
      {"\xff"
       "a",
       "\xff"
       "a"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(Text::upperCasedFirst(text), expected) << text;
}

TEST(Text, WellFormedUtf8IsDistinguishedFromEverythingElse) {
  const std::vector<std::string> accepted = {
      "",        "a",      "\0"s,    "\x7f",   "\u0080",     "\u07ff",     "\u0800",
      "\ud7ff"s, "\ue000", "\ufeff", "\uffff", "\U00010000", "\U0010ffff", "a\u0301😀\0b"s,
  };
  for (const std::string& text : accepted) EXPECT_TRUE(Text::isValidUtf8(text)) << text;
  const std::vector<std::string> refused = {
      "\x80",
      "\xbf",
      "\xc0\x80",
      "\xc1\xbf",
      "\xc2",
      "\xc3(",
      "\xe0\x80\xaf",
      "\xe0\x9f\xbf",
      "\xe2\x82",
      "\xed\xa0\x80",
      "\xed\xbf\xbf",
      "\xf0\x9f\x98",
      "\xf0\x8f\xbf\xbf",
      "\xf4\x90\x80\x80",
      "\xf5\x80\x80\x80",
      "\xf8\x88\x80\x80\x80",
      "\xfe",
      "\xff",
      "caf\xe9",
      "ok\xf0\x9f\x98",
      "\xe2\x82x",
  };
  for (const std::string& text : refused) {
    SCOPED_TRACE(testing::PrintToString(text));
    EXPECT_FALSE(Text::isValidUtf8(text));
    EXPECT_FALSE(Text::isValidUtf8("before" + text));
    EXPECT_FALSE(Text::isValidUtf8(text + "after"));
  }
}

TEST(Text, EveryEncodedScalarIsWellFormedAndEverySurrogateIsNot) {
  const std::size_t count = forEachScalar(
      [](char32_t value) { EXPECT_TRUE(Text::isValidUtf8(utf8(value))) << std::hex << +value; });
  EXPECT_EQ(count, scalarCount);
  for (char32_t value = 0xd800; value <= 0xdfff; ++value) {
    EXPECT_FALSE(Text::isValidUtf8(utf8(value))) << std::hex << +value;
  }
}

TEST(Text, AnInvalidByteIsACharacterByItself) {
  EXPECT_EQ(characters("a\xff\xfe\u0301é\xc3"),
            (std::vector<std::string>{"a", "\xff", "\xfe", "\u0301", "é", "\xc3"}));
  EXPECT_EQ(characters("e\u0301\x80\u0301"), (std::vector<std::string>{"e\u0301", "\x80", "\u0301"}));
  EXPECT_EQ(Text::lastCharacters("é\xff\xf0\x9f", 2), "\xf0\x9f");
  EXPECT_EQ(Text::onlyNameCharacters("a\xffé\x80\xed\xa0\x80z"), "aéz");
  EXPECT_EQ(Text::words(" \xff  \x80 "), "\xff \x80");
  EXPECT_EQ(Text::trimmed(" \xff \x80 "), "\xff \x80");
}

TEST(Text, CutsOfRandomBytesFitTogether) {
  const unsigned seed = test::randomSeed();
  test::Random random(seed);
  // Parts of UTF-8 that form whole, broken and combined characters.
  constexpr std::string_view bytes = "a\r\n \xcc\x81\xe2\x80\x8d\xf0\x9f\x98\x80\xff";
  for (int i = 0; i < 5'000; ++i) {
    std::string text;
    for (int length = 0; length < 24; ++length) text += random.of(bytes);
    const std::vector<std::string> pieces = characters(text);
    ASSERT_EQ(joined(pieces, 0, pieces.size()), text);
    for (std::size_t count = 0; count <= pieces.size(); ++count) {
      ASSERT_EQ(std::string(Text::firstCharacters(text, pieces.size() - count)) +
                    std::string(Text::lastCharacters(text, count)),
                text)
          << testing::PrintToString(text) << " " << count << ", seed " << seed;
    }
  }
}

TEST(Text, ACarriageReturnAndALineFeedAreOneCharacter) {
  EXPECT_EQ(Text::firstCharacters("\r\nabc", 1), "\r\n");
  EXPECT_EQ(Text::lastCharacters("abc\r\n", 1), "\r\n");
  EXPECT_EQ(Text::lastCharacters("ab\r\ncdefg", 6), "\r\ncdefg");
  EXPECT_EQ(Text::firstCharacters("\n\rabc", 1), "\n");
}

TEST(Text, ALetterWithACombiningMarkIsANameCharacterButADashIsNot) {
  EXPECT_EQ(Text::onlyNameCharacters("-\u0301a"), "a");
  EXPECT_EQ(Text::onlyNameCharacters("_\u20e3a"), "a");
  EXPECT_EQ(Text::onlyNameCharacters("e\u0301-_"), "e\u0301-_");
  EXPECT_EQ(Text::onlyNameCharacters("1\ufe0f\u20e3"), "1\ufe0f\u20e3");
  EXPECT_EQ(Text::onlyNameCharacters("../../etc/passwd"), "etcpasswd");
  EXPECT_EQ(Text::onlyNameCharacters("a\0b"s), "ab");
}

TEST(Text, TrimmingKeepsTheInside) {
  EXPECT_EQ(Text::trimmed(""), "");
  EXPECT_EQ(Text::trimmed(" \t\r\n\u3000"), "");
  EXPECT_EQ(Text::trimmed("a"), "a");
  EXPECT_EQ(Text::trimmed("\r\n a \u00a0 b\u2028\n"), "a \u00a0 b");
  // A space with a combining mark on it is still white space, including the mark.
  EXPECT_EQ(Text::trimmed(" \u0301a \u0301"), "a");
  EXPECT_EQ(Text::words("a \u0301b"), "a b");
}

TEST(Text, AWordThatStartsWithAMarkMarksTheSpaceBeforeIt) {
  const std::string words = Text::words("a \t\u0301b");
  EXPECT_EQ(words, "a \u0301b");
  EXPECT_EQ(Text::words(words), "a b");
}

}  // namespace
}  // namespace tavrin
