#pragma once

#include <boost/json/value.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A second reader of JSON, as plain as can be and without any library, to hold the first against: RFC 8259
/// in UTF-8, plus one comma after a last element, one byte order mark, and at most 512 levels.
namespace tavrin::fuzz::PlainJson {

struct Value {
  enum class Kind : std::uint8_t { null, truth, number, text, array, object };

  Kind kind = Kind::null;
  bool truth = false;
  std::string text;               ///< a text; a number's digits
  std::vector<Value> elements;    ///< an array's, or those under an object's keys
  std::vector<std::string> keys;  ///< an object's, in their order, equal ones included
  bool hasLoneSurrogate = false;  ///< a text with an escape that reads as U+FFFD

  /// The member under `key`, the first or the last of equal ones; null when there is none, or no object.
  const Value* first(std::string_view key) const;
  const Value* last(std::string_view key) const;

  const std::string* asText() const { return kind == Kind::text ? &text : nullptr; }

  /// Whether a number in it, however deep, lies beyond a double's range.
  bool exceedsDoubles() const;
};

/// The value of `document`; nothing when it is not JSON. Numbers of any size are.
std::optional<Value> parse(std::string_view document);

/// The same with what a message must not hold refused: numbers beyond a double's range.
std::optional<Value> parseMessage(std::string_view document);

/// Whether both are the same value, the last of equal keys counting.
bool agree(const Value& plain, const boost::json::value& value);

}  // namespace tavrin::fuzz::PlainJson
