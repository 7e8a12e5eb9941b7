#pragma once

// Part of Tavrin::Core. Needs Boost.JSON and the standard library.

#include <boost/json/value.hpp>
#include <optional>
#include <string>
#include <string_view>

/// Whole JSON documents as values, for files that other programs and their users write. tavrin-hook reads
/// only through JsonFields.
namespace tavrin::Json {

/// The value of a document, or nullopt if `document` is not JSON as JsonGrammar defines it. Objects keep the
/// order of their keys. The last of equal keys counts. An unpaired surrogate escape reads as U+FFFD. A number
/// is a 64-bit integer if it fits, otherwise the nearest double. A number beyond a double's range is an
/// error.
std::optional<boost::json::value> parse(std::string_view document);

/// `document` in the usual form of settings files: two spaces a level, `"key": value`, keys in their order,
/// `[]` and `{}` for what is empty, as few escapes as possible, and a line feed at the end. Parsing a file of
/// this form and printing it again gives the same bytes.
///
/// A double has the fewest digits that read back as the same double, in the layout of ECMAScript (ECMA-262,
/// Number::toString: 0.000001, 1e-7, 100000000000000000000, 1e+21). It ends in ".0" if it would read as an
/// integer otherwise (5.0, -0.0). A double that is not finite becomes null.
std::string print(const boost::json::value& document);

// Look-ups in documents that may hold anything. A value of another type counts as missing.

/// `value` as an array whose elements are all objects, or null. An empty array is one.
const boost::json::array* objects(const boost::json::value& value);

/// The object under `key`, or null.
const boost::json::object* objectAt(const boost::json::object& object, std::string_view key);

/// The array of objects under `key`, or null.
const boost::json::array* objectsAt(const boost::json::object& object, std::string_view key);

/// The text under `key`, or nullopt.
std::optional<std::string_view> textAt(const boost::json::object& object, std::string_view key);

}  // namespace tavrin::Json
