#pragma once

#include <boost/json/basic_parser_impl.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <string>
#include <string_view>

/// The JSON that this system reads, for handlers of boost::json::basic_parser: RFC 8259 in UTF-8, plus one
/// comma after the last element of an object or array and one byte order mark in front; at most 512 levels
/// deep.
namespace tavrin::JsonGrammar {

inline constexpr std::size_t deepest = 512;

/// `document` with what the parser refuses and this system reads put in other words of the same length: every
/// unpaired surrogate escape as `standIn`, six bytes such as "\\ufffd", and every exponent beyond 999999999
/// as that.
std::string mended(std::string_view document, std::string_view standIn);

/// The double nearest to the number that `digits` spell, infinite when that is beyond a double's range.
/// `parsed` is what the parser made of them, which may be off by a few units in the last place, or infinite
/// too early.
double nearestDouble(double parsed, std::string_view digits);

/// Feeds the whole of `document` to `parser`, and gives the error that ends it, if any. Never throws by
/// itself.
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

/// What a handler need not look at: everything. Handlers derive from it and hide what they do look at.
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
