#pragma once

#include <boost/json/value.hpp>
#include <optional>
#include <string_view>

/// Whole JSON documents as values, for files that other programs and their users write. tavrin-hook does
/// without them: what it reads, it reads through JsonFields.
namespace tavrin::Json {

/// The value of a document, with the keys of objects in their order; nothing when `document` is not JSON as
/// JsonGrammar has it. An unpaired surrogate escape reads as U+FFFD, the last of equal keys counts, and
/// numbers come as 64-bit integers where they fit, else as the nearest double; one beyond a double's range is
/// refused.
std::optional<boost::json::value> parse(std::string_view document);

}  // namespace tavrin::Json
