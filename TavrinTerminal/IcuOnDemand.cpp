// The functions of ICU that Collation_icu.cpp calls, each of which finds ICU's own and calls that. The linker
// then leaves ICU's libraries out, and nothing is loaded until names are ordered.
//
// Loading them takes more than 1 ms, half of what `tavrin --version` takes with them. `tavrin status` orders
// no names, and status bars and prompts run it again and again. Only the executable tavrin is linked with
// this file. Other programs that use TavrinPanel link ICU as usual.

#include <dlfcn.h>
#include <unicode/ucol.h>
#include <unicode/uloc.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/uvernum.h>

#include <cstdint>
#include <optional>

// ICU's headers define ucol_open as a macro: its name in this release, such as ucol_open_72.
#define TAVRIN_QUOTED(name) #name
#define TAVRIN_FIND(name, function) find(TAVRIN_QUOTED(name), function)

namespace {

struct Icu {
  decltype(&ucol_open) open;
  decltype(&ucol_close) close;
  decltype(&ucol_setAttribute) setAttribute;
  decltype(&ucol_getSortKey) getSortKey;
  decltype(&uloc_getDefault) getDefault;
  decltype(&uloc_getLanguage) getLanguage;
  decltype(&unorm2_getNFCInstance) getNfcInstance;
  decltype(&unorm2_normalize) normalize;
  decltype(&u_strFoldCase) foldCase;
};

std::optional<Icu> openIcu() {
  // The name by which linked programs load it. It needs libicuuc, so dlsym(3) finds the functions of both.
  void* const library = ::dlopen("libicui18n.so." U_ICU_VERSION_SHORT, RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) return std::nullopt;
  const auto find = [&]<class Function>(const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
  };
  Icu found{};
  const bool all =
      TAVRIN_FIND(ucol_open, found.open) && TAVRIN_FIND(ucol_close, found.close) &&
      TAVRIN_FIND(ucol_setAttribute, found.setAttribute) && TAVRIN_FIND(ucol_getSortKey, found.getSortKey) &&
      TAVRIN_FIND(uloc_getDefault, found.getDefault) && TAVRIN_FIND(uloc_getLanguage, found.getLanguage) &&
      TAVRIN_FIND(unorm2_getNFCInstance, found.getNfcInstance) &&
      TAVRIN_FIND(unorm2_normalize, found.normalize) && TAVRIN_FIND(u_strFoldCase, found.foldCase);
  return all ? std::optional(found) : std::nullopt;
}

const std::optional<Icu>& loaded() {
  static const std::optional<Icu> opened = openIcu();
  return opened;
}

}  // namespace

// If ICU cannot be loaded, ucol_open fails, and names are sorted by code point.

const char* uloc_getDefault() {
  return loaded() ? loaded()->getDefault() : "";
}

UCollator* ucol_open(const char* locale, UErrorCode* status) {
  if (loaded()) return loaded()->open(locale, status);
  *status = U_UNSUPPORTED_ERROR;
  return nullptr;
}

// Those below are called only with a collator.

void ucol_close(UCollator* collator) {
  loaded()->close(collator);
}

void ucol_setAttribute(UCollator* collator, UColAttribute attribute, UColAttributeValue value,
                       UErrorCode* status) {
  loaded()->setAttribute(collator, attribute, value, status);
}

std::int32_t ucol_getSortKey(const UCollator* collator, const UChar* text, std::int32_t length,
                             std::uint8_t* key, std::int32_t capacity) {
  return loaded()->getSortKey(collator, text, length, key, capacity);
}

std::int32_t uloc_getLanguage(const char* locale, char* language, std::int32_t capacity, UErrorCode* status) {
  return loaded()->getLanguage(locale, language, capacity, status);
}

const UNormalizer2* unorm2_getNFCInstance(UErrorCode* status) {
  return loaded()->getNfcInstance(status);
}

std::int32_t unorm2_normalize(const UNormalizer2* normalizer, const UChar* text, std::int32_t length,
                              UChar* out, std::int32_t capacity, UErrorCode* status) {
  return loaded()->normalize(normalizer, text, length, out, capacity, status);
}

std::int32_t u_strFoldCase(UChar* out, std::int32_t capacity, const UChar* text, std::int32_t length,
                           std::uint32_t options, UErrorCode* status) {
  return loaded()->foldCase(out, capacity, text, length, options, status);
}
