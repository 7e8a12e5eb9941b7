#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The functions of CoreFoundation that sort names. The library is opened at run time, so nothing is linked
/// to it. The few declarations needed from <CoreFoundation/CoreFoundation.h> are here.
namespace tavrin::Collation {

struct CoreFoundation {
  using Index = long;
  using Object = const void*;  ///< any CoreFoundation object; whoever created or copied it releases it
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

/// Opens a library as dlopen(3) does, and finds a function in it as dlsym(3) does.
struct Loader {
  std::function<void*(const char* path, int mode)> open;
  std::function<void*(void* library, const char* name)> find;

  /// The system's own.
  static Loader ofThisSystem();
};

/// The result of Collation::systemRanks, with CoreFoundation from this loader. Returns nullopt if the library
/// or one of its functions is missing, or if there is no memory for a name.
std::optional<std::vector<std::size_t>> coreFoundationRanks(std::span<const std::string_view> names,
                                                            const std::string& locale, const Loader& loader);

}  // namespace tavrin::Collation
