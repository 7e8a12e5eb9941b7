#include "TavrinCore/Support/Json/JsonFields.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "TavrinCore/Support/Integer.hpp"
#include "TavrinCore/Support/Json/JsonGrammar.hpp"

namespace tavrin {

// Receives what the parser finds, and keeps the fields of `keys`.
class JsonFieldsHandler : public JsonGrammar::Handler {
 public:
  enum class Rules : std::uint8_t { message, record };

  JsonFieldsHandler(std::span<const std::string_view> keys, Rules rules) : keys_(keys), rules_(rules) {
    result_.fields_.resize(keys.size());
  }

  JsonFields take() { return std::move(result_); }

  bool on_object_begin(error_code& /*error*/) {
    if (depth_ == 0) result_.isObject_ = true;
    begin(JsonField::Kind::another);
    return true;
  }
  bool on_object_end(std::size_t /*count*/, error_code& /*error*/) { return end(); }

  bool on_array_begin(error_code& /*error*/) {
    begin(depth_ == 1 ? JsonField::Kind::texts : JsonField::Kind::another);
    return true;
  }
  bool on_array_end(std::size_t /*count*/, error_code& /*error*/) { return end(); }

  bool on_key_part(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    if (isMember()) key_.append(part.data(), part.size());
    return true;
  }
  bool on_key(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    if (isMember()) selectField(part);
    return true;
  }

  bool on_string_part(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    if (isKept()) text_.append(part.data(), part.size());
    return true;
  }
  bool on_string(string_view part, std::size_t /*size*/, error_code& /*error*/) {
    if (!isKept()) return true;
    text_.append(part.data(), part.size());
    if (depth_ == 2) {
      if (field_->kind == JsonField::Kind::texts) field_->texts.push_back(std::move(text_));
    } else {
      field_->kind = JsonField::Kind::text;
      field_->text = std::move(text_);
    }
    text_.clear();
    return true;
  }

  bool on_int64(std::int64_t /*value*/, string_view digits, error_code& /*error*/) { return number(digits); }
  bool on_uint64(std::uint64_t /*value*/, string_view digits, error_code& /*error*/) {
    return number(digits);
  }
  bool on_double(double value, string_view digits, error_code& error) {
    if (rules_ == Rules::message && std::isinf(value) &&
        std::isinf(JsonGrammar::nearestDouble(value, digits))) {
      error = boost::json::error::exponent_overflow;
      return false;
    }
    return number(digits);
  }
  bool on_bool(bool /*value*/, error_code& /*error*/) { return scalar(JsonField::Kind::another); }
  bool on_null(error_code& /*error*/) { return scalar(JsonField::Kind::null); }

 private:
  // Whether a key at this depth belongs to the top-level object.
  bool isMember() const { return depth_ == 1; }
  // Whether the value at this depth is a field, or an element of a field that is an array.
  bool isKept() const { return field_ != nullptr && depth_ <= 2; }

  void selectField(string_view lastPart) {
    // A key without escapes comes in one part, so it need not be copied.
    const std::string_view whole = key_.empty()
                                       ? std::string_view(lastPart.data(), lastPart.size())
                                       : std::string_view(key_.append(lastPart.data(), lastPart.size()));
    const auto found = std::ranges::find(keys_, whole);
    key_.clear();
    field_ = nullptr;
    if (found == keys_.end()) return;
    JsonField& field = result_.fields_[static_cast<std::size_t>(found - keys_.begin())];
    if (field.kind != JsonField::Kind::absent) {
      if (rules_ == Rules::record) return;
      field = {};
    }
    field_ = &field;
  }

  bool scalar(JsonField::Kind kind) {
    if (!isKept()) return true;
    field_->kind = depth_ == 2 ? JsonField::Kind::another : kind;
    return true;
  }
  bool number(string_view digits) {
    if (isKept() && depth_ == 1) field_->text.assign(digits.data(), digits.size());
    return scalar(JsonField::Kind::number);
  }
  void begin(JsonField::Kind kind) {
    if (isKept() && depth_ > 0) field_->kind = depth_ == 1 ? kind : JsonField::Kind::another;
    ++depth_;
  }
  bool end() {
    --depth_;
    return true;
  }

  std::span<const std::string_view> keys_;
  Rules rules_;
  JsonFields result_;
  std::size_t depth_ = 0;
  JsonField* field_ = nullptr;  // the one whose value is being read
  std::string key_;
  std::string text_;
};

namespace {

using Parser = boost::json::basic_parser<JsonFieldsHandler>;
using Rules = JsonFieldsHandler::Rules;

JsonFields parse(std::string_view document, std::span<const std::string_view> keys, Rules rules,
                 boost::system::error_code& error) {
  Parser parser(JsonGrammar::options(), keys, rules);
  error = JsonGrammar::parse(parser, document);
  return parser.handler().take();
}

// Parses a document again after mending it. `error` is why the parser rejected it. It is cleared if the
// mended document parses, and kept if there was nothing to mend.
JsonFields parseMended(std::string_view document, std::span<const std::string_view> keys, Rules rules,
                       std::string_view standIn, boost::system::error_code& error) {
  const std::string mended = JsonGrammar::mended(document, standIn);
  return mended == document ? JsonFields() : parse(mended, keys, rules, error);
}

// The integer that a JSON number spells, or nullopt if it is not an integer or does not fit. Takes time in
// proportion to digits.size().
template <class Number>
std::optional<Number> exactInteger(std::string_view digits) {
  const bool negative = digits.starts_with('-');
  if (negative) digits.remove_prefix(1);
  std::int64_t exponent = 0;
  if (const std::size_t e = digits.find_first_of("eE"); e != std::string_view::npos) {
    std::string_view power = digits.substr(e + 1);
    if (power.starts_with('+')) power.remove_prefix(1);
    const std::optional<std::int64_t> read = Integer::digits<std::int64_t>(power);
    if (!read) return {};
    // No text has enough digits to make up for a larger exponent.
    constexpr std::int64_t farthest = 1'000'000'000;
    exponent = std::clamp(*read, -farthest, farthest);
    digits = digits.substr(0, e);
  }
  std::string significant(digits);
  if (const std::size_t point = significant.find('.'); point != std::string::npos) {
    exponent -= static_cast<std::int64_t>(significant.size() - point - 1);
    significant.erase(point, 1);
  }
  for (; exponent < 0 && significant.size() > 1 && significant.back() == '0'; ++exponent)
    significant.pop_back();
  if (significant.find_first_not_of('0') == std::string::npos) return Number{0};
  constexpr std::int64_t mostDigits = std::numeric_limits<Number>::digits10 + 1;
  if (exponent < 0 || exponent > mostDigits) return {};
  significant.append(static_cast<std::size_t>(exponent), '0');
  if (negative) significant.insert(0, 1, '-');
  return Integer::digits<Number>(significant);
}

}  // namespace

JsonFields JsonFields::ofMessage(std::string_view document, std::span<const std::string_view> keys) {
  boost::system::error_code error;
  JsonFields fields = parse(document, keys, Rules::message, error);
  if (error) fields = parseMended(document, keys, Rules::message, "\\ufffd", error);
  if (error) throw JsonError("not a JSON document: " + error.message());
  return fields;
}

std::optional<JsonFields> JsonFields::ofRecord(std::string_view document,
                                               std::span<const std::string_view> keys) {
  boost::system::error_code error;
  JsonFields fields = parse(document, keys, Rules::record, error);
  if (!error) return fields;
  fields = parseMended(document, keys, Rules::record, "\\ufffd", error);
  if (error) return std::nullopt;
  // A field that depends on the stand-in held an unpaired surrogate.
  const JsonFields others = parseMended(document, keys, Rules::record, "\\ufffe", error);
  return fields.fields_ == others.fields_ ? std::optional(std::move(fields)) : std::nullopt;
}

std::optional<std::int32_t> JsonField::asInt32() const {
  return kind == Kind::number ? exactInteger<std::int32_t>(text) : std::nullopt;
}

std::optional<std::uint64_t> JsonField::asUInt64() const {
  if (kind != Kind::number) return std::nullopt;
  const auto value = exactInteger<std::uint64_t>(text);
  // Like the decoder of macOS's Foundation: a number with a point or an exponent is first read as a double,
  // and doubles from here on round up to 2^64.
  constexpr std::uint64_t roundingOver = 18'446'744'073'709'550'592U;
  const bool isPlain = text.find_first_of(".eE") == std::string::npos;
  return value && !isPlain && *value >= roundingOver ? std::nullopt : value;
}

void appendJsonText(std::string& out, std::string_view text) {
  constexpr std::string_view hexDigits = "0123456789abcdef";
  const auto isRaw = [](char c) {
    return static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\' && c != '/';
  };
  out += '"';
  while (!text.empty()) {
    const auto end = std::ranges::find_if_not(text, isRaw);
    out.append(text.begin(), end);
    text.remove_prefix(static_cast<std::size_t>(end - text.begin()));
    if (text.empty()) break;
    const char c = text.front();
    text.remove_prefix(1);
    out += '\\';
    switch (c) {
      case '\b':
        out += 'b';
        break;
      case '\f':
        out += 'f';
        break;
      case '\n':
        out += 'n';
        break;
      case '\r':
        out += 'r';
        break;
      case '\t':
        out += 't';
        break;
      case '"':
      case '\\':
      case '/':
        out += c;
        break;
      default:
        out += "u00";
        out += hexDigits[static_cast<unsigned char>(c) >> 4U];
        out += hexDigits[static_cast<unsigned char>(c) & 0xFU];
    }
  }
  out += '"';
}

}  // namespace tavrin
