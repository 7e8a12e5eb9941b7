#pragma once

#include <boost/json/value.hpp>
#include <optional>
#include <string>
#include <string_view>

/// Whole JSON documents as values, for files that other programs and their users write. tavrin-hook does
/// without them: what it reads, it reads through JsonFields.
namespace tavrin::Json {

/// The value of a document, with the keys of objects in their order; nothing when `document` is not JSON as
/// JsonGrammar has it. An unpaired surrogate escape reads as U+FFFD, the last of equal keys counts, and
/// numbers come as 64-bit integers where they fit, else as the nearest double; one beyond a double's range is
/// refused.
std::optional<boost::json::value> parse(std::string_view document);

/// `document` in the usual form of settings files: two blanks a level, `"key": value`, keys in their order,
/// `[]` and `{}` where there is nothing inside, only what must be escaped escaped, and a line feed at the
/// end. A file that is in this form already comes back byte for byte through `parse`.
///
/// Integers are their digits. Doubles are the fewest digits that read back as the same double, laid out as
/// ECMAScript does (ECMA-262, Number::toString: 0.000001, 1e-7, 100000000000000000000, 1e+21), with ".0"
/// where they would read as an integer otherwise (5.0, -0.0). A double that is not finite, which no document
/// can hold, becomes null.
std::string print(const boost::json::value& document);

// Look-ups in documents of which nothing can be taken for granted: what is missing and what has another type
// is the same to them.

/// The array in `value` when each of its elements is an object, as when it has none; else null.
const boost::json::array* objects(const boost::json::value& value);

/// The object under `key`; null when there is none.
const boost::json::object* objectAt(const boost::json::object& object, std::string_view key);

/// The array of objects under `key`; null when there is none.
const boost::json::array* objectsAt(const boost::json::object& object, std::string_view key);

/// The text under `key`; nothing when there is none.
std::optional<std::string_view> textAt(const boost::json::object& object, std::string_view key);

}  // namespace tavrin::Json
