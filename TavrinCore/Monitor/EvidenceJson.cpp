#include "TavrinCore/Monitor/EvidenceJson.hpp"

#include <cstring>
#include <limits>

namespace tavrin::EvidenceJson {

namespace json = boost::json;

bool holds(std::string_view line, std::string_view word) {
  // memmem(3) is several times as fast as std::string_view::find, which stops at each of the word's first
  // letters.
  return ::memmem(line.data(), line.size(), word.data(), word.size()) != nullptr;
}

const json::object& objectAt(const json::object& object, std::string_view key) {
  static const json::object none;
  const json::object* const found = Json::objectAt(object, key);
  return found == nullptr ? none : *found;
}

std::optional<std::int64_t> integerAt(const json::object& object, std::string_view key) {
  const json::value* const value = object.if_contains(key);
  const std::int64_t* const integer = value == nullptr ? nullptr : value->if_int64();
  return integer == nullptr ? std::nullopt : std::optional(*integer);
}

std::optional<std::int32_t> pidAt(const json::object& object, std::string_view key) {
  const auto integer = integerAt(object, key);
  if (!integer || *integer < 2 || *integer > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
  return static_cast<std::int32_t>(*integer);
}

std::optional<Date> dateAt(const json::object& object, std::string_view key) {
  return Iso8601::parse(textAt(object, key));
}

std::optional<Date> millisecondsAt(const json::object& object, std::string_view key) {
  const auto integer = integerAt(object, key);
  return integer ? std::optional(dateFromSeconds(static_cast<double>(*integer) / 1000)) : std::nullopt;
}

}  // namespace tavrin::EvidenceJson
