#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// CoreFoundation as the order of names uses it. The library is opened at run time, so that nothing is linked
/// to it; here stand the few declarations of <CoreFoundation/CoreFoundation.h> that are used.
namespace tavrin::Collation {

struct CoreFoundation {
  using Index = long;
  using Object = const void*;  ///< of any type of the library's; whoever created or copied it releases it
  struct Range {
    Index location;
    Index length;
  };
  enum CompareFlags : unsigned long { caseInsensitive = 1, nonliteral = 16, localized = 32 };

  Object (*stringCreateWithCharacters)(Object allocator, const char16_t* characters, Index length);
  Index (*stringCompareWithOptionsAndLocale)(Object a, Object b, Range range, unsigned long flags,
                                             Object locale);
  Index (*stringGetLength)(Object text);
  Object (*localeCopyCurrent)();
  Object (*localeCreate)(Object allocator, Object identifier);
  void (*release)(Object object);
};

/// What opens a library, dlopen(3), and finds a function in it, dlsym(3).
struct Loader {
  std::function<void*(const char* path, int mode)> open;
  std::function<void*(void* library, const char* name)> find;

  /// The system's own.
  static Loader ofThisSystem();
};

/// What Collation::systemRanks gives, with CoreFoundation from this loader; nothing when the library or one
/// of its functions is missing, or when it cannot hold a name.
std::optional<std::vector<std::size_t>> coreFoundationRanks(std::span<const std::string_view> names,
                                                            const std::string& locale, const Loader& loader);

}  // namespace tavrin::Collation
