#include <gtest/gtest.h>

#include <string>

#include "TavrinCore/Support/Text.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

TEST(LowerCase, MatchesFoundation) {
  std::size_t lines = 0;
  for (const boost::json::value& line : test::jsonLines("platform/texts.jsonl")) {
    const boost::json::object& object = line.as_object();
    const std::string text = test::bytesOf(object);
    EXPECT_EQ(Text::lowerCased(text), object.at("lowerCased").as_string()) << text;
    ++lines;
  }
  EXPECT_EQ(lines, 520U);
}

TEST(LowerCase, ConvertsEachCodePointByItself) {
  EXPECT_EQ(Text::lowerCased("Ὀδυσσεύς ΟΔΟΣ"), "ὀδυσσεύς οδοσ");
  EXPECT_EQ(Text::lowerCased("\u212a\u00c5\u0130"), "k\u00e5i\u0307");
}

TEST(LowerCase, BytesThatAreNotUtf8Stay) {
  const std::string text("A\xff\x00\xc3Z\xe2\x84", 7);
  EXPECT_EQ(Text::lowerCased(text), std::string("a\xff\x00\xc3z\xe2\x84", 7));
}

TEST(Utf16, PairsSurrogatesAndReplacesInvalidBytes) {
  EXPECT_EQ(Text::utf16(""), u"");
  EXPECT_EQ(Text::utf16("a\u00e9\u20ac\U0001f600"), u"a\u00e9\u20ac\U0001f600");
  EXPECT_EQ(Text::utf16("\xff"
                        "a\xc3"),
            u"\ufffda\ufffd");
  EXPECT_EQ(Text::utf16(std::string_view("a\0b", 3)), std::u16string_view(u"a\0b", 3));
}

}  // namespace
}  // namespace tavrin
