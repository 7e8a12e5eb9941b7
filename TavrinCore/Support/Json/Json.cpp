#include "TavrinCore/Support/Json/Json.hpp"

#include <algorithm>
#include <boost/json/value_stack.hpp>
#include <cmath>
#include <string>

#include "TavrinCore/Support/Json/JsonGrammar.hpp"

namespace tavrin::Json {

namespace {

// Builds a value while the parser goes through the document.
class ValueHandler : public JsonGrammar::Handler {
 public:
  ValueHandler() { stack_.reset(); }

  boost::json::value take() { return stack_.release(); }

  static bool on_object_begin(error_code& /*error*/) { return true; }
  bool on_object_end(std::size_t count, error_code& /*error*/) {
    stack_.push_object(count);
    return true;
  }
  static bool on_array_begin(error_code& /*error*/) { return true; }
  bool on_array_end(std::size_t count, error_code& /*error*/) {
    stack_.push_array(count);
    return true;
  }
  bool on_key_part(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    stack_.push_chars(part);
    return true;
  }
  bool on_key(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    stack_.push_key(part);
    return true;
  }
  bool on_string_part(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    stack_.push_chars(part);
    return true;
  }
  bool on_string(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    stack_.push_string(part);
    return true;
  }
  bool on_int64(std::int64_t value, string_view /*digits*/, error_code& /*error*/) {
    stack_.push_int64(value);
    return true;
  }
  bool on_uint64(std::uint64_t value, string_view /*digits*/, error_code& /*error*/) {
    stack_.push_uint64(value);
    return true;
  }
  bool on_double(double value, string_view digits, error_code& error) {
    const double nearest = JsonGrammar::nearestDouble(value, digits);
    if (std::isinf(nearest)) {
      error = boost::json::error::exponent_overflow;
      return false;
    }
    stack_.push_double(nearest);
    return true;
  }
  bool on_bool(bool value, error_code& /*error*/) {
    stack_.push_bool(value);
    return true;
  }
  bool on_null(error_code& /*error*/) {
    stack_.push_null();
    return true;
  }

 private:
  boost::json::value_stack stack_;
};

std::optional<boost::json::value> parseAsIs(std::string_view document) {
  boost::json::basic_parser<ValueHandler> parser(JsonGrammar::options());
  if (JsonGrammar::parse(parser, document)) return std::nullopt;
  return parser.handler().take();
}

}  // namespace

std::optional<boost::json::value> parse(std::string_view document) {
  std::optional<boost::json::value> value = parseAsIs(document);
  if (value) return value;
  const std::string mended = JsonGrammar::mended(document, "\\ufffd");
  return mended == document ? std::nullopt : parseAsIs(mended);
}

const boost::json::array* objects(const boost::json::value& value) {
  const boost::json::array* const array = value.if_array();
  const auto isObject = [](const boost::json::value& element) { return element.is_object(); };
  return array != nullptr && std::ranges::all_of(*array, isObject) ? array : nullptr;
}

const boost::json::object* objectAt(const boost::json::object& object, std::string_view key) {
  const boost::json::value* const value = object.if_contains(key);
  return value == nullptr ? nullptr : value->if_object();
}

const boost::json::array* objectsAt(const boost::json::object& object, std::string_view key) {
  const boost::json::value* const value = object.if_contains(key);
  return value == nullptr ? nullptr : objects(*value);
}

std::optional<std::string_view> textAt(const boost::json::object& object, std::string_view key) {
  const boost::json::value* const value = object.if_contains(key);
  const boost::json::string* const text = value == nullptr ? nullptr : value->if_string();
  if (text == nullptr) return std::nullopt;
  return std::string_view(text->data(), text->size());
}

}  // namespace tavrin::Json
