#pragma once

#include <boost/json/value.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A second reader of JSON, to compare the first with. It is as simple as possible and uses no library: RFC
/// 8259 in UTF-8, plus one comma after a last element, one byte order mark, and at most 512 levels.
namespace tavrin::fuzz::PlainJson {

struct Value {
  enum class Kind : std::uint8_t { null, truth, number, text, array, object };

  Kind kind = Kind::null;
  bool truth = false;
  std::string text;               ///< a text; a number's digits
  std::vector<Value> elements;    ///< an array's elements, or the values under an object's keys
  std::vector<std::string> keys;  ///< an object's keys in their order, equal ones included
  bool hasLoneSurrogate = false;  ///< a text with an escape that reads as U+FFFD

  /// The member under `key`, the first or the last of equal ones; null if there is none, or if this is not an
  /// object.
  const Value* first(std::string_view key) const;
  const Value* last(std::string_view key) const;

  const std::string* asText() const { return kind == Kind::text ? &text : nullptr; }

  /// Whether it holds, at any depth, a number beyond a double's range.
  bool exceedsDoubles() const;
};

/// The value of `document`; nullopt if it is not JSON. Numbers of any size are accepted.
std::optional<Value> parse(std::string_view document);

/// The same, but also rejects what a message must not hold: numbers beyond a double's range.
std::optional<Value> parseMessage(std::string_view document);

/// Whether both are the same value. The last of equal keys counts.
bool agree(const Value& plain, const boost::json::value& value);

}  // namespace tavrin::fuzz::PlainJson
