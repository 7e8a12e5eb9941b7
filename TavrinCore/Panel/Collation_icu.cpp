#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/uloc.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

#include "TavrinCore/Panel/CollationPlatform.hpp"
#include "TavrinCore/Support/ByteOrder.hpp"

namespace tavrin::Collation {

namespace {

struct Close {
  void operator()(UCollator* collator) const { ucol_close(collator); }
};
using Collator = std::unique_ptr<UCollator, Close>;

// For a user without a language ("C" or "POSIX"), ICU's locale is "en_US_POSIX", which sorts by bytes, upper
// case first. Such a user gets the order of no particular language instead.
std::string userLocale() {
  const std::string locale = uloc_getDefault();
  return locale.ends_with("_POSIX") ? "root" : locale;
}

Collator openCollator(const std::string& locale) {
  UErrorCode status = U_ZERO_ERROR;
  Collator collator(ucol_open(locale.c_str(), &status));
  if (U_FAILURE(status)) return nullptr;
  // Secondary strength compares letters and accents, not case. Normalised, a letter and its accent equal the
  // accented letter. Some languages (Thai) would ignore spaces and punctuation, in which folder names differ.
  ucol_setAttribute(collator.get(), UCOL_STRENGTH, UCOL_SECONDARY, &status);
  ucol_setAttribute(collator.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
  ucol_setAttribute(collator.get(), UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &status);
  return U_FAILURE(status) ? nullptr : std::move(collator);
}

// How case is folded. Turkish and Azerbaijani have two letters I, each in both cases.
std::uint32_t foldOptions(const std::string& locale) {
  std::array<char, ULOC_LANG_CAPACITY> language{};
  UErrorCode status = U_ZERO_ERROR;
  uloc_getLanguage(locale.c_str(), language.data(), static_cast<std::int32_t>(language.size()), &status);
  const std::string_view name = language.data();
  return name == "tr" || name == "az" ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
}

// The text that ICU writes by `write(buffer, capacity)`. `write` returns the length of the whole text, and is
// called again if that is more than `capacity`.
template <class String, class Write>
String written(std::size_t expectedLength, Write write) {
  String text(expectedLength, {});
  for (;;) {
    const auto length = static_cast<std::size_t>(write(text.data(), static_cast<std::int32_t>(text.size())));
    const bool whole = length <= text.size();
    text.resize(length);
    if (whole) return text;
  }
}

// `text` with each letter and its accents as one code point if one exists: a decomposed "İ" must fold like
// the composed one.
std::u16string composed(const std::u16string& text) {
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* const nfc = unorm2_getNFCInstance(&status);
  if (U_FAILURE(status)) return text;
  return written<std::u16string>(text.size() + 1, [&](char16_t* buffer, std::int32_t capacity) {
    UErrorCode overflow = U_ZERO_ERROR;
    return unorm2_normalize(nfc, text.data(), static_cast<std::int32_t>(text.size()), buffer, capacity,
                            &overflow);
  });
}

// `name` with its case folded. The collator alone distinguishes "ß" from "ss", which differ only in case:
// both are "SS".
std::u16string folded(std::string_view name, std::uint32_t options) {
  const std::u16string text = composed(shownPart(name));
  return written<std::u16string>(text.size() + 1, [&](char16_t* buffer, std::int32_t capacity) {
    UErrorCode status = U_ZERO_ERROR;
    return u_strFoldCase(buffer, capacity, text.data(), static_cast<std::int32_t>(text.size()), options,
                         &status);
  });
}

bool isAscii(std::string_view name) {
  return std::ranges::all_of(name, [](char c) { return static_cast<signed char>(c) >= 0; });
}

// Equals the default case of `folded` for ASCII, which is always composed and in which only A to Z have case.
std::u16string foldedAscii(std::string_view name) {
  std::u16string text;
  name = name.substr(0, longestShownPart);
  text.reserve(name.size());
  for (const char c : name) text += static_cast<char16_t>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return text;
}

// The collator's sort keys of names, in one piece of memory. Their bytes compare as the names do.
class SortKeys {
 public:
  SortKeys(UCollator& collator, std::size_t count) : collator_(collator), places_(count) {}

  void add(std::size_t index, const std::u16string& name) {
    const std::size_t begin = bytes_.size();
    const auto length = static_cast<std::int32_t>(name.size());
    std::array<std::uint8_t, 128> buffer{};
    const auto size = static_cast<std::size_t>(ucol_getSortKey(&collator_, name.data(), length, buffer.data(),
                                                               static_cast<std::int32_t>(buffer.size())));
    if (size <= buffer.size()) {
      bytes_.append(reinterpret_cast<const char*>(buffer.data()), size);
    } else {
      bytes_.resize(begin + size);
      ucol_getSortKey(&collator_, name.data(), length, reinterpret_cast<std::uint8_t*>(&bytes_[begin]),
                      static_cast<std::int32_t>(size));
    }
    places_[index] = {.begin = begin, .size = size};
  }

  std::vector<std::size_t> ranks() const {
    std::vector<std::string_view> keys;
    keys.reserve(places_.size());
    for (const Place& place : places_) {
      keys.push_back(std::string_view(bytes_).substr(place.begin, place.size));
    }
    const std::vector<std::size_t> order = ByteOrder::sorted(keys);
    std::vector<std::size_t> ranks(order.size());
    std::size_t rank = 0;
    for (std::size_t i = 0; i < order.size(); ++i) {
      if (i > 0 && keys[order[i]] != keys[order[i - 1]]) rank = i;
      ranks[order[i]] = rank;
    }
    return ranks;
  }

 private:
  struct Place {
    std::size_t begin = 0;
    std::size_t size = 0;
  };

  UCollator& collator_;
  std::string bytes_;
  std::vector<Place> places_;
};

}  // namespace

std::optional<std::vector<std::size_t>> systemRanks(std::span<const std::string_view> names,
                                                    const std::string& locale) {
  const std::string language = locale.empty() ? userLocale() : locale;
  const Collator collator = openCollator(language);
  if (!collator) return std::nullopt;
  const std::uint32_t fold = foldOptions(language);
  // Most names are ASCII. They need no normalisation, and only A to Z need folding.
  const bool isPlainFold = fold == U_FOLD_CASE_DEFAULT;
  const auto isPlain = [&](std::string_view name) { return isPlainFold && isAscii(name); };
  SortKeys keys(*collator, names.size());
  UErrorCode status = U_ZERO_ERROR;
  ucol_setAttribute(collator.get(), UCOL_NORMALIZATION_MODE, UCOL_OFF, &status);
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (isPlain(names[i])) keys.add(i, foldedAscii(names[i]));
  }
  ucol_setAttribute(collator.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!isPlain(names[i])) keys.add(i, folded(names[i], fold));
  }
  return U_FAILURE(status) ? std::nullopt : std::optional(keys.ranks());
}

}  // namespace tavrin::Collation
