#include "TavrinCore/Support/Json/JsonGrammar.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "TavrinCore/Support/Json/JsonEscape.hpp"

#if !defined(__cpp_lib_to_chars)
#include <clocale>
#if __has_include(<xlocale.h>)
#include <xlocale.h>  // where macOS has strtod_l(3)
#endif
#endif

namespace tavrin::JsonGrammar {

namespace {

void replaceLoneSurrogates(std::string& document, std::string_view standIn) {
  for (std::size_t i = document.find('\\'); i < document.size(); i = document.find('\\', i)) {
    const std::string_view rest = std::string_view(document).substr(i);
    const int unit = JsonEscape::unit(rest);
    if (JsonEscape::isLeadingSurrogate(unit) &&
        JsonEscape::isTrailingSurrogate(JsonEscape::unit(rest.substr(JsonEscape::length)))) {
      i += 2 * JsonEscape::length;
    } else if (JsonEscape::isSurrogate(unit)) {
      document.replace(i, JsonEscape::length, standIn);
      i += JsonEscape::length;
    } else {
      i += 2;
    }
  }
}

// Overwrites the exponent whose "e" is at `start` if it has too many digits. Returns where it ends.
std::size_t capExponent(std::string& document, std::size_t start) {
  constexpr std::size_t mostDigits = 9;
  std::size_t first = start + 1;
  if (first < document.size() && (document[first] == '+' || document[first] == '-')) ++first;
  const std::size_t end = std::min(document.find_first_not_of("0123456789", first), document.size());
  const std::size_t significant = std::min(document.find_first_not_of('0', first), end);
  if (end - significant > mostDigits) {
    document.replace(significant, end - significant - mostDigits, end - significant - mostDigits, '0');
    document.replace(end - mostDigits, mostDigits, mostDigits, '9');
  }
  return end;
}

void capExponents(std::string& document) {
  bool inText = false;
  for (std::size_t i = 0; i < document.size();) {
    const char c = document[i];
    if (c == '"') inText = !inText;
    if (!inText && (c == 'e' || c == 'E')) {
      i = capExponent(document, i);
    } else {
      i += inText && c == '\\' ? 2 : 1;
    }
  }
}

}  // namespace

std::string mended(std::string_view document, std::string_view standIn) {
  std::string mended(document);
  replaceLoneSurrogates(mended, standIn);
  capExponents(mended);
  return mended;
}

double nearestDouble(double parsed, std::string_view digits) {
#if defined(__cpp_lib_to_chars)
  double value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc::result_out_of_range) return value;
  // Too large or too small. The parser's result shows which.
  const double magnitude = std::abs(parsed) > 1 ? std::numeric_limits<double>::infinity() : 0;
  return std::copysign(magnitude, parsed);
#else
  (void)parsed;
#if defined(LC_C_LOCALE)
  const locale_t locale = LC_C_LOCALE;
#else
  static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
#endif
  return strtod_l(std::string(digits).c_str(), nullptr, locale);
#endif
}

}  // namespace tavrin::JsonGrammar
