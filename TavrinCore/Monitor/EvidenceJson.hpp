#pragma once

// Part of Tavrin::Core. Needs Boost.JSON and the standard library.

#include <boost/json/value.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TavrinCore/Monitor/SessionFact.hpp"
#include "TavrinCore/Support/Json/Json.hpp"

/// What the readers of agents' files share.
namespace tavrin::EvidenceJson {

/// Whether `line` holds `word`. Most lines of a transcript carry no evidence, and this check alone rules them
/// out.
bool holds(std::string_view line, std::string_view word);

/// The JSON object in `text`, or an empty one if there is none.
inline boost::json::object objectIn(std::string_view text) {
  std::optional<boost::json::value> document = Json::parse(text);
  boost::json::object* const object = document ? document->if_object() : nullptr;
  return object == nullptr ? boost::json::object() : std::move(*object);
}

/// The text under `key`, or "".
inline std::string_view textAt(const boost::json::object& object, std::string_view key) {
  return Json::textAt(object, key).value_or(std::string_view());
}

/// The object under `key`, or a constant empty one.
const boost::json::object& objectAt(const boost::json::object& object, std::string_view key);

/// The whole number under `key`; nullopt when there is none.
std::optional<std::int64_t> integerAt(const boost::json::object& object, std::string_view key);

/// The process id under `key`; nullopt unless it is a whole number from 2 to 2^31 - 1.
std::optional<std::int32_t> pidAt(const boost::json::object& object, std::string_view key);

/// The time under `key` in ISO 8601; nullopt when there is none.
std::optional<Date> dateAt(const boost::json::object& object, std::string_view key);

/// The time under `key` in milliseconds since 1970; nullopt when there is none.
std::optional<Date> millisecondsAt(const boost::json::object& object, std::string_view key);

}  // namespace tavrin::EvidenceJson
