#include "fuzz/PlainJson.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <set>

namespace tavrin::fuzz::PlainJson {

namespace {

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

void appendUtf8(std::string& out, unsigned codePoint) {
  const auto byte = [&](unsigned value) { out += static_cast<char>(value); };
  if (codePoint < 0x80) {
    byte(codePoint);
  } else if (codePoint < 0x800) {
    byte(0xc0 + codePoint / 0x40);
    byte(0x80 + codePoint % 0x40);
  } else if (codePoint < 0x10000) {
    byte(0xe0 + codePoint / 0x1000);
    byte(0x80 + codePoint / 0x40 % 0x40);
    byte(0x80 + codePoint % 0x40);
  } else {
    byte(0xf0 + codePoint / 0x40000);
    byte(0x80 + codePoint / 0x1000 % 0x40);
    byte(0x80 + codePoint / 0x40 % 0x40);
    byte(0x80 + codePoint % 0x40);
  }
}

// Each function removes what it is named after from the front of the document. It returns false if that is
// not there.
class Reader {
 public:
  explicit Reader(std::string_view document) : rest_(document) {}

  bool document(Value& value) {
    skip("\xEF\xBB\xBF");
    whiteSpace();
    if (!this->value(value, 1)) return false;
    whiteSpace();
    return rest_.empty();
  }

 private:
  bool skip(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  void whiteSpace() {
    while (skip(" ") || skip("\t") || skip("\n") || skip("\r")) {
    }
  }

  bool value(Value& value, int depth) {
    constexpr int deepest = 512;
    if (skip("null")) return true;
    if (rest_.starts_with("true") || rest_.starts_with("false")) {
      value.kind = Value::Kind::truth;
      value.truth = skip("true");
      return value.truth || skip("false");
    }
    if (rest_.starts_with('"')) {
      value.kind = Value::Kind::text;
      return string(value.text, value.hasLoneSurrogate);
    }
    if (rest_.starts_with('[') || rest_.starts_with('{')) return depth <= deepest && list(value, depth);
    value.kind = Value::Kind::number;
    return number(value.text);
  }

  bool list(Value& value, int depth) {
    const bool isObject = rest_.front() == '{';
    const std::string_view end = isObject ? "}" : "]";
    value.kind = isObject ? Value::Kind::object : Value::Kind::array;
    rest_.remove_prefix(1);
    whiteSpace();
    while (!skip(end)) {
      std::string key;
      if (isObject && !this->key(key)) return false;
      Value element;
      if (!this->value(element, depth + 1)) return false;
      if (isObject) value.keys.push_back(std::move(key));
      value.elements.push_back(std::move(element));
      whiteSpace();
      if (!skip(",")) return skip(end);
      whiteSpace();
    }
    return true;
  }

  bool key(std::string& key) {
    bool hasLoneSurrogate = false;
    if (!string(key, hasLoneSurrogate)) return false;
    whiteSpace();
    if (!skip(":")) return false;
    whiteSpace();
    return true;
  }

  bool digits(std::string& out) {
    if (rest_.empty() || !isDigit(rest_.front())) return false;
    while (!rest_.empty() && isDigit(rest_.front())) take(out);
    return true;
  }

  void take(std::string& out) {
    out += rest_.front();
    rest_.remove_prefix(1);
  }

  bool number(std::string& out) {
    if (rest_.starts_with('-')) take(out);
    if (rest_.starts_with('0')) {
      take(out);
    } else if (!digits(out)) {
      return false;
    }
    if (rest_.starts_with('.')) {
      take(out);
      if (!digits(out)) return false;
    }
    if (rest_.starts_with('e') || rest_.starts_with('E')) {
      take(out);
      if (rest_.starts_with('+') || rest_.starts_with('-')) take(out);
      if (!digits(out)) return false;
    }
    return true;
  }

  bool string(std::string& out, bool& hasLoneSurrogate) {
    if (!skip("\"")) return false;
    while (!rest_.starts_with('"')) {
      if (rest_.starts_with('\\') ? !escape(out, hasLoneSurrogate) : !character(out)) return false;
    }
    return skip("\"");
  }

  // Well-formed UTF-8 (The Unicode Standard, table 3-7), no control characters.
  bool character(std::string& out) {
    const auto byte = [this](std::size_t index) {
      return index < rest_.size() ? static_cast<unsigned char>(rest_[index]) : 0U;
    };
    const unsigned first = byte(0);
    std::size_t length = 1;
    if (first < 0x20) return false;
    if (first >= 0x80) {
      if (first < 0xc2 || first > 0xf4) return false;
      length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
      const unsigned lowest = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
      const unsigned highest = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
      if (byte(1) < lowest || byte(1) > highest) return false;
      for (std::size_t i = 2; i < length; ++i) {
        if (byte(i) < 0x80 || byte(i) > 0xbf) return false;
      }
    }
    for (; length > 0; --length) take(out);
    return true;
  }

  bool escape(std::string& out, bool& hasLoneSurrogate) {
    constexpr std::string_view letters = "\"\\/bfnrt";
    constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    rest_.remove_prefix(1);
    if (rest_.empty()) return false;
    if (const std::size_t at = letters.find(rest_.front()); at != std::string_view::npos) {
      out += meanings[at];
      rest_.remove_prefix(1);
      return true;
    }
    std::optional<unsigned> unit = codeUnit("u");
    if (!unit) return false;
    if (*unit >= 0xd800 && *unit <= 0xdbff) {
      const Reader before = *this;
      const std::optional<unsigned> low = codeUnit("\\u");
      if (low && *low >= 0xdc00 && *low <= 0xdfff) {
        unit = 0x10000 + (*unit - 0xd800) * 0x400 + (*low - 0xdc00);
      } else {
        *this = before;
      }
    }
    if (*unit >= 0xd800 && *unit <= 0xdfff) {
      hasLoneSurrogate = true;
      unit = 0xfffd;
    }
    appendUtf8(out, *unit);
    return true;
  }

  std::optional<unsigned> codeUnit(std::string_view start) {
    if (!skip(start) || rest_.size() < 4) return std::nullopt;
    unsigned unit = 0;
    for (const char c : rest_.substr(0, 4)) {
      constexpr std::string_view hex = "0123456789abcdef";
      const std::size_t digit = hex.find(c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c);
      if (digit == std::string_view::npos) return std::nullopt;
      unit = unit * 16 + static_cast<unsigned>(digit);
    }
    rest_.remove_prefix(4);
    return unit;
  }

  std::string_view rest_;
};

template <class Integer>
std::optional<Integer> integer(const std::string& digits) {
  Integer value{};
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

bool isTheNumber(const std::string& digits, const boost::json::value& value) {
  if (const auto* const number = value.if_int64()) return integer<std::int64_t>(digits) == *number;
  if (const auto* const number = value.if_uint64()) return integer<std::uint64_t>(digits) == *number;
  const double* const number = value.if_double();
  if (number == nullptr || integer<std::int64_t>(digits) || integer<std::uint64_t>(digits)) return false;
  const double own = std::strtod(digits.c_str(), nullptr);
  return own == *number && std::signbit(own) == std::signbit(*number);
}

}  // namespace

const Value* Value::first(std::string_view key) const {
  const auto found = std::find(keys.begin(), keys.end(), key);
  return found == keys.end() ? nullptr : &elements.at(static_cast<std::size_t>(found - keys.begin()));
}

const Value* Value::last(std::string_view key) const {
  const auto found = std::find(keys.rbegin(), keys.rend(), key);
  return found == keys.rend() ? nullptr : &elements.at(static_cast<std::size_t>(keys.rend() - found - 1));
}

bool Value::exceedsDoubles() const {
  return (kind == Kind::number && std::isinf(std::strtod(text.c_str(), nullptr))) ||
         std::ranges::any_of(elements, &Value::exceedsDoubles);
}

std::optional<Value> parse(std::string_view document) {
  Value value;
  return Reader(document).document(value) ? std::optional(std::move(value)) : std::nullopt;
}

std::optional<Value> parseMessage(std::string_view document) {
  std::optional<Value> value = parse(document);
  return value && value->exceedsDoubles() ? std::nullopt : std::move(value);
}

bool agree(const Value& plain, const boost::json::value& value) {
  switch (plain.kind) {
    case Value::Kind::null:
      return value.is_null();
    case Value::Kind::truth:
      return value.is_bool() && value.get_bool() == plain.truth;
    case Value::Kind::number:
      return isTheNumber(plain.text, value);
    case Value::Kind::text:
      return value.is_string() && std::string_view(value.get_string()) == plain.text;
    case Value::Kind::array:
      return value.is_array() &&
             std::ranges::equal(plain.elements, value.get_array(),
                                [](const Value& a, const boost::json::value& b) { return agree(a, b); });
    case Value::Kind::object:
      break;
  }
  if (!value.is_object()) return false;
  const std::set<std::string_view> keys(plain.keys.begin(), plain.keys.end());
  return value.get_object().size() == keys.size() && std::ranges::all_of(keys, [&](std::string_view key) {
           const boost::json::value* const member = value.get_object().if_contains(key);
           return member != nullptr && agree(*plain.last(key), *member);
         });
}

}  // namespace tavrin::fuzz::PlainJson
