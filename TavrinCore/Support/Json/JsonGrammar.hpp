#pragma once

// Part of Tavrin::Core. Needs Boost.JSON and the standard library.

#include <boost/assert/source_location.hpp>
// Errors name no line of Boost.JSON. Even empty names of files would be 4 KB of pointers, and every start of
// tavrin-hook would relocate them.
#undef BOOST_CURRENT_LOCATION
#define BOOST_CURRENT_LOCATION ::boost::source_location(nullptr, 0, nullptr)

#include <boost/json/basic_parser_impl.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <string>
#include <string_view>

/// The JSON that Tavrin accepts: RFC 8259 in UTF-8, at most 512 levels deep. It also accepts a comma after
/// the last element of an object or an array, and a byte order mark in front.
namespace tavrin::JsonGrammar {

inline constexpr std::size_t deepest = 512;

/// Rewrites, without changing the length, what Boost.JSON rejects and Tavrin accepts. Each unpaired surrogate
/// escape becomes `standIn`, six bytes such as "\\ufffd". Each exponent beyond 999999999 becomes 999999999.
std::string mended(std::string_view document, std::string_view standIn);

/// The double nearest to the number that `digits` spell, or infinity if it is beyond a double's range.
/// `parsed` is the parser's result. It may be wrong in the last digits, or infinite too early.
double nearestDouble(double parsed, std::string_view digits);

/// Passes the whole of `document` to `parser`. Returns the error, if there is one. Throws only what the
/// handler throws.
template <class Handler>
boost::system::error_code parse(boost::json::basic_parser<Handler>& parser, std::string_view document) {
  if (document.starts_with("\xEF\xBB\xBF")) document.remove_prefix(3);
  boost::system::error_code error;
  const std::size_t used = parser.write_some(false, document.data(), document.size(), error);
  if (!error && used < document.size()) error = boost::json::error::extra_data;
  return error;
}

inline boost::json::parse_options options() {
  boost::json::parse_options options;
  options.max_depth = deepest;
  options.allow_trailing_commas = true;
  return options;
}

/// A handler that ignores everything. Handlers derive from it and hide the functions they need.
struct Handler {
  using error_code = boost::system::error_code;
  using string_view = boost::json::string_view;

  static constexpr std::size_t max_object_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_array_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);

  static bool on_document_begin(error_code& /*error*/) { return true; }
  static bool on_document_end(error_code& /*error*/) { return true; }
  static bool on_number_part(string_view /*part*/, error_code& /*error*/) { return true; }
  static bool on_comment_part(string_view /*part*/, error_code& /*error*/) { return true; }
  static bool on_comment(string_view /*part*/, error_code& /*error*/) { return true; }
};

}  // namespace tavrin::JsonGrammar
