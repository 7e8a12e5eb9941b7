#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/uloc.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <array>
#include <cstdint>
#include <memory>

#include "TavrinCore/Panel/CollationPlatform.hpp"

namespace tavrin::Collation {

namespace {

struct Close {
  void operator()(UCollator* collator) const { ucol_close(collator); }
};
using Collator = std::unique_ptr<UCollator, Close>;

// ICU's locale of a user without one, "C" or "POSIX", is "en_US_POSIX": by bytes, upper case first. Such a
// user gets the order of no language in particular.
std::string userLocale() {
  const std::string locale = uloc_getDefault();
  return locale.ends_with("_POSIX") ? "root" : locale;
}

Collator openCollator(const std::string& locale) {
  UErrorCode status = U_ZERO_ERROR;
  Collator collator(ucol_open(locale.c_str(), &status));
  if (U_FAILURE(status)) return nullptr;
  // Secondary strength sees letters and accents, not case. Normalised, a letter and its accent are the
  // accented letter. Some languages (Thai) would pass over blanks and punctuation, by which folders differ.
  ucol_setAttribute(collator.get(), UCOL_STRENGTH, UCOL_SECONDARY, &status);
  ucol_setAttribute(collator.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
  ucol_setAttribute(collator.get(), UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &status);
  return U_FAILURE(status) ? nullptr : std::move(collator);
}

// How case is folded: Turkish and Azerbaijani have two letters I, each in both cases.
std::uint32_t foldOptions(const std::string& locale) {
  std::array<char, ULOC_LANG_CAPACITY> language{};
  UErrorCode status = U_ZERO_ERROR;
  uloc_getLanguage(locale.c_str(), language.data(), static_cast<std::int32_t>(language.size()), &status);
  const std::string_view name = language.data();
  return name == "tr" || name == "az" ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
}

// Text that ICU writes by `write(buffer, capacity)`, which gives the length of the whole text and is called
// again when that is more than `capacity`.
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

// `text` with each letter and its accents as one code point where there is one: a decomposed "İ" must fold as
// such.
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

// `name` with its case folded. The collator alone tells "ß" from "ss", which differ in case only: both are
// "SS".
std::u16string folded(std::string_view name, std::uint32_t options) {
  const std::u16string text = composed(shownPart(name));
  return written<std::u16string>(text.size() + 1, [&](char16_t* buffer, std::int32_t capacity) {
    UErrorCode status = U_ZERO_ERROR;
    return u_strFoldCase(buffer, capacity, text.data(), static_cast<std::int32_t>(text.size()), options,
                         &status);
  });
}

// Bytes that compare as the names do.
std::string sortKey(const UCollator& collator, const std::u16string& name) {
  return written<std::string>(2 * name.size() + 16, [&](char* buffer, std::int32_t capacity) {
    return ucol_getSortKey(&collator, name.data(), static_cast<std::int32_t>(name.size()),
                           reinterpret_cast<std::uint8_t*>(buffer), capacity);
  });
}

}  // namespace

std::optional<std::vector<std::size_t>> systemRanks(std::span<const std::string_view> names,
                                                    const std::string& locale) {
  const std::string language = locale.empty() ? userLocale() : locale;
  const Collator collator = openCollator(language);
  if (!collator) return std::nullopt;
  const std::uint32_t fold = foldOptions(language);
  std::vector<std::string> keys;
  keys.reserve(names.size());
  for (const std::string_view name : names) keys.push_back(sortKey(*collator, folded(name, fold)));
  return ranksBy(names.size(), [&](std::size_t a, std::size_t b) { return keys[a] < keys[b]; });
}

}  // namespace tavrin::Collation
