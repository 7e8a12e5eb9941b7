#include "TavrinCore/Support/Integer.hpp"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/TestData.hpp"

namespace tavrin {
namespace {

template <class Number>
std::optional<Number> expected(const boost::json::value& value) {
  return value.is_null() ? std::nullopt : std::optional<Number>(value.to_number<Number>());
}

TEST(Integer, ReadsNumbersAsFoundationDoes) {
  std::size_t lines = 0;
  for (const boost::json::value& line : test::jsonLines("platform/numbers.jsonl")) {
    const boost::json::object& object = line.as_object();
    const std::string text = test::bytesOf(object);
    EXPECT_EQ(Integer::int32(text), expected<std::int32_t>(object.at("int32"))) << text;
    ++lines;
  }
  EXPECT_EQ(lines, 39U);
}

TEST(Integer, MixedSignsAreNotANumber) {
  for (const char* text : {"+-1", "-+1", "++1"}) EXPECT_EQ(Integer::int32(text), std::nullopt) << text;
}

TEST(Integer, ANulEndsNoNumber) {
  EXPECT_EQ(Integer::int32(std::string_view("1\0", 2)), std::nullopt);
}

TEST(Integer, APortLiesBetween1And65535) {
  EXPECT_EQ(Integer::port("1"), 1);
  EXPECT_EQ(Integer::port("65535"), 65535);
  EXPECT_EQ(Integer::port("0080"), 80);
  for (const char* text : {"", "0", "65536", "-1", "80a", "http", "4294967376"}) {
    EXPECT_EQ(Integer::port(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace tavrin
