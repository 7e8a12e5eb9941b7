#include <boost/json/serialize.hpp>
#include <charconv>
#include <cmath>

#include "TavrinCore/Support/Json/Json.hpp"

namespace tavrin::Json {

namespace {

// Whether a double without a fraction would read as a 64-bit integer if only its digits were printed. The
// digits printed for -2^63 spell a number that does not fit.
bool readsAsInteger(double value) {
  return value > -0x1p63 && value < 0x1p64;
}

// `digits` with a decimal point. The value of the first digit is 10^exponent.
std::string laidOut(std::string digits, int exponent) {
  constexpr int firstPowerInFull = -6;
  constexpr int firstPowerTooLong = 21;
  if (exponent < firstPowerInFull || exponent >= firstPowerTooLong) {
    if (digits.size() > 1) digits.insert(1, 1, '.');
    return digits + (exponent < 0 ? "e" : "e+") + std::to_string(exponent);
  }
  if (exponent < 0) return "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  const auto wholeDigits = static_cast<std::size_t>(exponent) + 1;
  if (digits.size() > wholeDigits) return digits.insert(wholeDigits, 1, '.');
  return digits.append(wholeDigits - digits.size(), '0');
}

std::string doubleText(double value) {
  if (!std::isfinite(value)) return "null";
  // Boost.JSON writes the fewest digits that read back the same, such as "1.25E-7".
  const std::string shortest = boost::json::serialize(boost::json::value(std::abs(value)));
  const std::size_t e = shortest.find('E');
  std::string digits = shortest.substr(0, e);
  if (digits.size() > 1) digits.erase(1, 1);
  int exponent = 0;
  std::from_chars(shortest.data() + e + 1, shortest.data() + shortest.size(), exponent);

  std::string text = std::signbit(value) ? "-" : "";
  text += laidOut(std::move(digits), exponent);
  if (std::trunc(value) == value && readsAsInteger(value)) text += ".0";
  return text;
}

class Printer {
 public:
  void value(const boost::json::value& value) {
    if (const auto* const object = value.if_object()) {
      list('{', *object, '}', [this](const boost::json::key_value_pair& member) {
        text_ += boost::json::serialize(boost::json::string_view(member.key()));
        text_ += ": ";
        this->value(member.value());
      });
    } else if (const auto* const array = value.if_array()) {
      list('[', *array, ']', [this](const boost::json::value& element) { this->value(element); });
    } else if (const double* const number = value.if_double()) {
      text_ += doubleText(*number);
    } else {
      text_ += boost::json::serialize(value);
    }
  }

  void lineFeed() { text_ += '\n'; }

  std::string take() { return std::move(text_); }

 private:
  template <class Elements, class PrintElement>
  void list(char opening, const Elements& elements, char closing, PrintElement printElement) {
    text_ += opening;
    indentation_ += 2;
    bool isFirst = true;
    for (const auto& element : elements) {
      if (!isFirst) text_ += ',';
      isFirst = false;
      newLine();
      printElement(element);
    }
    indentation_ -= 2;
    if (!isFirst) newLine();
    text_ += closing;
  }

  void newLine() {
    lineFeed();
    text_.append(indentation_, ' ');
  }

  std::string text_;
  std::size_t indentation_ = 0;
};

}  // namespace

std::string print(const boost::json::value& document) {
  Printer printer;
  printer.value(document);
  printer.lineFeed();
  return printer.take();
}

}  // namespace tavrin::Json
