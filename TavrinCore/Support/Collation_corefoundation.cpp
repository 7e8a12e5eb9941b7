#include <dlfcn.h>

#include <cstdint>
#include <memory>

#include "TavrinCore/Support/CollationPlatform.hpp"
#include "TavrinCore/Support/Text.hpp"

namespace tavrin::Collation {

namespace {

// The few declarations of <CoreFoundation/CoreFoundation.h> that are used; the library is opened at run time,
// so that nothing is linked to it.
using Index = long;
using Object = const void*;
struct Range {
  Index location;
  Index length;
};
enum CompareFlags : unsigned long { caseInsensitive = 1, localized = 32 };

struct CoreFoundation {
  Object (*stringCreateWithCharacters)(Object allocator, const char16_t* characters, Index length);
  Index (*stringCompareWithOptionsAndLocale)(Object a, Object b, Range range, unsigned long flags,
                                             Object locale);
  Index (*stringGetLength)(Object text);
  Object (*localeCopyCurrent)();
  Object (*localeCreate)(Object allocator, Object identifier);
  void (*release)(Object object);
};

template <class Function>
bool find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

std::optional<CoreFoundation> openCoreFoundation() {
  void* const library =
      dlopen("/System/Library/Frameworks/CoreFoundation.framework/CoreFoundation", RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) return std::nullopt;
  CoreFoundation functions{};
  const bool all =
      find(library, "CFStringCreateWithCharacters", functions.stringCreateWithCharacters) &&
      find(library, "CFStringCompareWithOptionsAndLocale", functions.stringCompareWithOptionsAndLocale) &&
      find(library, "CFStringGetLength", functions.stringGetLength) &&
      find(library, "CFLocaleCopyCurrent", functions.localeCopyCurrent) &&
      find(library, "CFLocaleCreate", functions.localeCreate) &&
      find(library, "CFRelease", functions.release);
  return all ? std::optional(functions) : std::nullopt;
}

// An object of CoreFoundation's that ends with this one.
using Owned = std::unique_ptr<const void, void (*)(Object)>;

Owned stringOf(const CoreFoundation& functions, std::string_view text) {
  const std::u16string characters = Text::utf16(text);
  return {
      functions.stringCreateWithCharacters(nullptr, characters.data(), static_cast<Index>(characters.size())),
      functions.release};
}

Owned localeOf(const CoreFoundation& functions, const std::string& identifier) {
  if (identifier.empty()) return {functions.localeCopyCurrent(), functions.release};
  const Owned name = stringOf(functions, identifier);
  return {functions.localeCreate(nullptr, name.get()), functions.release};
}

}  // namespace

std::optional<std::vector<std::size_t>> systemRanks(std::span<const std::string_view> names,
                                                    const std::string& locale) {
  const std::optional<CoreFoundation> functions = openCoreFoundation();
  if (!functions) return std::nullopt;
  const Owned language = localeOf(*functions, locale);
  std::vector<Owned> texts;
  texts.reserve(names.size());
  for (const std::string_view name : names) {
    texts.push_back(stringOf(*functions, name));
    if (!texts.back()) return std::nullopt;
  }
  return ranksBy(names.size(), [&](std::size_t a, std::size_t b) {
    const Range whole = {0, functions->stringGetLength(texts[a].get())};
    return functions->stringCompareWithOptionsAndLocale(texts[a].get(), texts[b].get(), whole,
                                                        caseInsensitive | localized, language.get()) < 0;
  });
}

}  // namespace tavrin::Collation
