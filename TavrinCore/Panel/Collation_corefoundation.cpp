#include "TavrinCore/Panel/Collation_corefoundation.hpp"

#include <dlfcn.h>

#include <memory>

#include "TavrinCore/Panel/CollationPlatform.hpp"

namespace tavrin::Collation {

namespace {

using Index = CoreFoundation::Index;
using Object = CoreFoundation::Object;

std::optional<CoreFoundation> openCoreFoundation(const Loader& loader) {
  void* const library = loader.open("/System/Library/Frameworks/CoreFoundation.framework/CoreFoundation",
                                    RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) return std::nullopt;
  const auto find = [&]<class Function>(const char* name, Function& function) {
    function = reinterpret_cast<Function>(loader.find(library, name));
    return function != nullptr;
  };
  CoreFoundation functions{};
  const bool all = find("CFStringCreateWithCharacters", functions.stringCreateWithCharacters) &&
                   find("CFStringCompareWithOptionsAndLocale", functions.stringCompareWithOptionsAndLocale) &&
                   find("CFStringGetLength", functions.stringGetLength) &&
                   find("CFLocaleCopyCurrent", functions.localeCopyCurrent) &&
                   find("CFLocaleCreate", functions.localeCreate) && find("CFRelease", functions.release);
  return all ? std::optional(functions) : std::nullopt;
}

// A CoreFoundation object that is released together with this one.
using Owned = std::unique_ptr<const void, void (*)(Object)>;

Owned stringOf(const CoreFoundation& functions, std::string_view text) {
  const std::u16string characters = shownPart(text);
  return {
      functions.stringCreateWithCharacters(nullptr, characters.data(), static_cast<Index>(characters.size())),
      functions.release};
}

// The language with this identifier. If `identifier` is empty, the user's language.
Owned localeOf(const CoreFoundation& functions, const std::string& identifier) {
  const Owned name = identifier.empty() ? Owned(nullptr, functions.release) : stringOf(functions, identifier);
  const Object locale = name ? functions.localeCreate(nullptr, name.get()) : functions.localeCopyCurrent();
  return {locale, functions.release};
}

}  // namespace

Loader Loader::ofThisSystem() {
  return {.open = ::dlopen, .find = ::dlsym};
}

std::optional<std::vector<std::size_t>> coreFoundationRanks(std::span<const std::string_view> names,
                                                            const std::string& locale, const Loader& loader) {
  const std::optional<CoreFoundation> functions = openCoreFoundation(loader);
  if (!functions) return std::nullopt;
  const Owned language = localeOf(*functions, locale);
  std::vector<Owned> texts;
  texts.reserve(names.size());
  for (const std::string_view name : names) {
    texts.push_back(stringOf(*functions, name));
    if (!texts.back()) return std::nullopt;
  }
  // The same comparison as Cocoa's localized, case-insensitive one, in which a letter and its accent equal
  // the accented letter.
  constexpr unsigned long flags =
      CoreFoundation::caseInsensitive | CoreFoundation::nonliteral | CoreFoundation::localized;
  return ranksBy(names.size(), [&](std::size_t a, std::size_t b) {
    const CoreFoundation::Range whole = {0, functions->stringGetLength(texts[a].get())};
    return functions->stringCompareWithOptionsAndLocale(texts[a].get(), texts[b].get(), whole, flags,
                                                        language.get()) < 0;
  });
}

std::optional<std::vector<std::size_t>> systemRanks(std::span<const std::string_view> names,
                                                    const std::string& locale) {
  return coreFoundationRanks(names, locale, Loader::ofThisSystem());
}

}  // namespace tavrin::Collation
