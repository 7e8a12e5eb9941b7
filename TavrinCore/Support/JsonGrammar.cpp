#include "TavrinCore/Support/JsonGrammar.hpp"

#include <charconv>

namespace tavrin::JsonGrammar {

namespace {

constexpr std::size_t escapeLength = 6;  // \uXXXX

// The UTF-16 code unit of the \uXXXX escape at the front of `text`; -1 when there is none.
int escapedUnit(std::string_view text) {
  if (text.size() < escapeLength || !text.starts_with("\\u")) return -1;
  int unit = -1;
  const char* const end = text.data() + escapeLength;
  const auto [stop, error] = std::from_chars(text.data() + 2, end, unit, 16);
  return error == std::errc() && stop == end ? unit : -1;
}

constexpr bool isLeading(int unit) {
  return unit >= 0xd800 && unit <= 0xdbff;
}
constexpr bool isTrailing(int unit) {
  return unit >= 0xdc00 && unit <= 0xdfff;
}

}  // namespace

std::string replacingLoneSurrogates(std::string_view document, std::string_view standIn) {
  std::string mended(document);
  for (std::size_t i = mended.find('\\'); i < mended.size(); i = mended.find('\\', i)) {
    const std::string_view rest = std::string_view(mended).substr(i);
    const int unit = escapedUnit(rest);
    if (isLeading(unit) && isTrailing(escapedUnit(rest.substr(escapeLength)))) {
      i += 2 * escapeLength;
    } else if (isLeading(unit) || isTrailing(unit)) {
      mended.replace(i, escapeLength, standIn);
      i += escapeLength;
    } else {
      i += 2;
    }
  }
  return mended;
}

}  // namespace tavrin::JsonGrammar
