#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

#include "TavrinCore/Support/Json/JsonFields.hpp"

namespace tavrin {
namespace {

std::string jsonText(std::string_view text) {
  std::string out;
  appendJsonText(out, text);
  return out;
}

TEST(JsonText, EveryAsciiCharacterIsWrittenAsTheEncoderDoes) {
  int cases = 0;
  for (int c = 0; c < 0x80; ++c) {
    const char character = static_cast<char>(c);
    std::string expected(1, character);
    constexpr std::string_view hex = "0123456789abcdef";
    if (c < 0x20)
      expected = std::string("\\u00") + hex[static_cast<std::size_t>(c) / 16] +
                 hex[static_cast<std::size_t>(c) % 16];
    if (character == '\b') expected = "\\b";
    if (character == '\f') expected = "\\f";
    if (character == '\n') expected = "\\n";
    if (character == '\r') expected = "\\r";
    if (character == '\t') expected = "\\t";
    if (character == '"' || character == '\\' || character == '/') expected.insert(0, 1, '\\');
    EXPECT_EQ(jsonText(std::string(1, character)), "\"" + expected + "\"") << c;
    ++cases;
  }
  EXPECT_EQ(cases, 128);
  EXPECT_EQ(jsonText(std::string_view("\x1f", 1)), R"("\u001f")");
  EXPECT_EQ(jsonText("\x7f"), "\"\x7f\"");
}

TEST(JsonText, EverythingBeyondAsciiIsWrittenRaw) {
  EXPECT_EQ(jsonText("é\u0085\u2028\u2029\ufeff\uffff😀\U0010ffff"),
            "\"é\u0085\u2028\u2029\ufeff\uffff😀\U0010ffff\"");
  EXPECT_EQ(jsonText(""), "\"\"");
}

TEST(JsonText, WrittenTextReadsBackAndIsAppended) {
  std::string all;
  for (int c = 0; c < 0x80; ++c) all += static_cast<char>(c);
  all += "é\u2028😀";
  std::string document = "{\"a\":";
  appendJsonText(document, all);
  document += "}";
  constexpr std::array<std::string_view, 1> keys = {"a"};
  EXPECT_EQ(JsonFields::ofMessage(document, keys)[0].text, all);
  EXPECT_EQ(JsonFields::ofRecord(document, keys).value()[0].text, all);
}

}  // namespace
}  // namespace tavrin
