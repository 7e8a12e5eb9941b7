#include "TavrinCore/Support/Json/JsonLayout.hpp"

#include <algorithm>
#include <boost/json/value.hpp>
#include <cmath>

#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Support/Json/JsonGrammar.hpp"

namespace tavrin::JsonLayout {

namespace {

constexpr std::string_view whiteSpace = " \t\r\n";

std::size_t skipWhiteSpace(std::string_view text, std::size_t at) {
  return std::min(text.find_first_not_of(whiteSpace, at), text.size());
}

// The position after the text that begins with the quote at `at`, or the document's end if nothing closes it.
std::size_t skipText(std::string_view text, std::size_t at) {
  ++at;
  for (;;) {
    at = text.find_first_of("\"\\", at);
    if (at == std::string_view::npos) return text.size();
    if (text[at] == '"') return at + 1;
    at += 2;
  }
}

std::size_t skipValue(std::string_view text, std::size_t at) {
  std::size_t depth = 0;
  while (at < text.size()) {
    const char c = text[at];
    if (c == '"') {
      at = skipText(text, at);
    } else if (c == '{' || c == '[') {
      ++depth;
      ++at;
    } else if (c == '}' || c == ']') {
      --depth;
      ++at;
    } else if (depth > 0) {
      at = std::min(text.find_first_of("\"{}[]", at), text.size());
      continue;
    } else {
      return std::min(text.find_first_of(",]} \t\r\n", at), text.size());
    }
    if (depth == 0) return at;
  }
  return at;
}

Comment commentAt(std::string_view text, std::size_t start) {
  Comment comment{.span = {start, text.size()}, .isLine = text[start + 1] == '/'};
  if (comment.isLine) {
    const std::size_t lineFeed = text.find('\n', start);
    if (lineFeed != std::string_view::npos)
      comment.span.end = lineFeed - (text[lineFeed - 1] == '\r' ? 1 : 0);
  } else {
    const std::size_t closing = text.find("*/", start + 2);
    if (closing != std::string_view::npos) comment.span.end = closing + 2;
  }
  return comment;
}

// Accepts everything except numbers beyond a double's range, which the grammar leaves to handlers.
class NumbersHandler : public JsonGrammar::Handler {
 public:
  static bool on_object_begin(error_code& /*error*/) { return true; }
  static bool on_object_end(std::size_t /*count*/, error_code& /*error*/) { return true; }
  static bool on_array_begin(error_code& /*error*/) { return true; }
  static bool on_array_end(std::size_t /*count*/, error_code& /*error*/) { return true; }
  static bool on_key_part(string_view /*part*/, std::size_t /*size*/, error_code& /*error*/) { return true; }
  static bool on_key(string_view /*part*/, std::size_t /*size*/, error_code& /*error*/) { return true; }
  static bool on_string_part(string_view /*part*/, std::size_t /*size*/, error_code& /*e*/) { return true; }
  static bool on_string(string_view /*part*/, std::size_t /*size*/, error_code& /*error*/) { return true; }
  static bool on_int64(std::int64_t /*value*/, string_view /*digits*/, error_code& /*error*/) { return true; }
  static bool on_uint64(std::uint64_t /*v*/, string_view /*digits*/, error_code& /*error*/) { return true; }
  static bool on_double(double value, string_view digits, error_code& error) {
    if (!std::isinf(value) || !std::isinf(JsonGrammar::nearestDouble(value, digits))) return true;
    error = boost::json::error::exponent_overflow;
    return false;
  }
  static bool on_bool(bool /*value*/, error_code& /*error*/) { return true; }
  static bool on_null(error_code& /*error*/) { return true; }
};

Fault faultOf(const boost::system::error_code& error) {
  if (error == boost::json::error::incomplete) return Fault::tooEarlyEnd;
  if (error == boost::json::error::too_deep) return Fault::tooDeep;
  if (error == boost::json::error::exponent_overflow) return Fault::numberTooLarge;
  return Fault::other;
}

}  // namespace

Plain withoutComments(std::string_view text) {
  Plain plain{.text = std::string(text), .comments = {}, .unclosed = {}};
  for (std::size_t at = text.find_first_of("\"/"); at < text.size(); at = text.find_first_of("\"/", at)) {
    if (text[at] == '"') {
      at = skipText(text, at);
      continue;
    }
    const char next = at + 1 < text.size() ? text[at + 1] : '\0';
    if (next != '/' && next != '*') {
      ++at;
      continue;
    }
    const Comment comment = commentAt(text, at);
    const std::string_view bytes = text.substr(at, comment.span.end - at);
    if (!comment.isLine && (bytes.size() < 4 || !bytes.ends_with("*/"))) plain.unclosed = at;
    std::fill(plain.text.begin() + static_cast<std::ptrdiff_t>(at),
              plain.text.begin() + static_cast<std::ptrdiff_t>(comment.span.end), ' ');
    plain.comments.push_back(comment);
    at = comment.span.end;
  }
  return plain;
}

std::optional<std::size_t> trailingComma(std::string_view text) {
  for (std::size_t at = text.find_first_of("\",");; at = text.find_first_of("\",", at)) {
    if (at >= text.size()) return std::nullopt;
    if (text[at] == '"') {
      at = skipText(text, at);
      continue;
    }
    const std::size_t next = skipWhiteSpace(text, at + 1);
    if (next < text.size() && (text[next] == '}' || text[next] == ']')) return at;
    ++at;
  }
}

FaultAt faultIn(std::string_view text) {
  // Json::parse mends this, so it is not a fault.
  const std::string mended = JsonGrammar::mended(text, "\\ufffd");
  std::string_view document = mended;
  std::size_t start = 0;
  if (document.starts_with("\xEF\xBB\xBF")) start = 3;
  document.remove_prefix(start);
  boost::json::basic_parser<NumbersHandler> parser(JsonGrammar::options());
  boost::system::error_code error;
  const std::size_t used = parser.write_some(false, document.data(), document.size(), error);
  if (!error && used == document.size()) return {};
  const std::size_t position = start + std::min(used, document.size());
  if (!error) return {Fault::other, position};
  const bool isNotAscii = position < text.size() && static_cast<unsigned char>(text[position]) >= 0x80;
  return {isNotAscii ? Fault::notUtf8 : faultOf(error), position};
}

std::size_t rootPosition(std::string_view text) {
  return skipWhiteSpace(text, text.starts_with("\xEF\xBB\xBF") ? 3 : 0);
}

List listAt(std::string_view text, std::size_t open) {
  List list{.open = open, .close = 0, .items = {}};
  const bool isObject = text[open] == '{';
  std::size_t at = skipWhiteSpace(text, open + 1);
  while (at < text.size() && text[at] != '}' && text[at] != ']') {
    Item item;
    item.span.start = at;
    if (isObject) {
      item.key = {at, skipText(text, at)};
      at = skipWhiteSpace(text, skipWhiteSpace(text, item.key.end) + 1);
    }
    item.value = {at, skipValue(text, at)};
    item.span.end = item.value.end;
    at = skipWhiteSpace(text, item.span.end);
    if (at < text.size() && text[at] == ',') {
      item.comma = at;
      at = skipWhiteSpace(text, at + 1);
    }
    list.items.push_back(item);
  }
  list.close = at;
  return list;
}

std::string unquoted(std::string_view quoted) {
  if (quoted.find('\\') == std::string_view::npos) return std::string(quoted.substr(1, quoted.size() - 2));
  const std::optional<boost::json::value> value = Json::parse(quoted);
  const boost::json::string* const text = value ? value->if_string() : nullptr;
  return text == nullptr ? std::string() : std::string(text->data(), text->size());
}

}  // namespace tavrin::JsonLayout
