#include "tests/macos/FakeCoreFoundation.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace tavrin::test {

namespace {

using Index = Collation::CoreFoundation::Index;
using Object = Collation::CoreFoundation::Object;
using Range = Collation::CoreFoundation::Range;

FakeCoreFoundation* current = nullptr;

struct FakeObject {
  bool isLocale;
  std::u16string text;
};
std::vector<std::unique_ptr<FakeObject>> living;

Object created(FakeObject object) {
  ++current->created;
  return living.emplace_back(std::make_unique<FakeObject>(std::move(object))).get();
}

// The object, if it has this type. Otherwise fails the test and returns an empty one.
const FakeObject& objectAt(Object object, bool isLocale) {
  const auto found = std::ranges::find_if(living, [&](const auto& owned) { return owned.get() == object; });
  static const FakeObject none{};
  if (found == living.end() || (*found)->isLocale != isLocale) {
    ADD_FAILURE() << (isLocale ? "no locale" : "no text") << " where there must be one";
    return none;
  }
  return **found;
}

std::string narrow(std::u16string_view text) {
  return {text.begin(), text.end()};
}

Object stringCreateWithCharacters(Object allocator, const char16_t* characters, Index length) {
  EXPECT_EQ(allocator, nullptr);
  std::u16string text(characters, static_cast<std::size_t>(length));
  return current->refusedTexts.contains(text) ? nullptr : created({.isLocale = false, .text = text});
}

Index stringGetLength(Object text) {
  return static_cast<Index>(objectAt(text, false).text.size());
}

Object localeOf(const std::u16string& identifier) {
  const bool isKnown = !current->unknownLocales.contains(narrow(identifier));
  return isKnown ? created({.isLocale = true, .text = identifier}) : nullptr;
}

Object localeCopyCurrent() {
  return localeOf(u"current");
}

Object localeCreate(Object allocator, Object identifier) {
  EXPECT_EQ(allocator, nullptr);
  return localeOf(objectAt(identifier, false).text);
}

std::u16string folded(std::u16string text) {
  for (char16_t& unit : text) {
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit - u'A' + u'a');
  }
  return text;
}

Index stringCompareWithOptionsAndLocale(Object a, Object b, Range range, unsigned long flags, Object locale) {
  const std::u16string& left = objectAt(a, false).text;
  const std::u16string& right = objectAt(b, false).text;
  const std::string language = locale == nullptr ? "" : narrow(objectAt(locale, true).text);
  current->comparisons.push_back({left, right, range.location, range.length, flags, language});
  if (const auto answer = current->answers.find({left, right}); answer != current->answers.end())
    return answer->second;
  const int order = folded(left).compare(folded(right));
  return static_cast<Index>(order > 0) - static_cast<Index>(order < 0);
}

void release(Object object) {
  ++current->released;
  const auto found = std::ranges::find_if(living, [&](const auto& owned) { return owned.get() == object; });
  if (found == living.end()) {
    ADD_FAILURE() << "a release of what is no object any more";
  } else {
    living.erase(found);
  }
}

}  // namespace

FakeCoreFoundation::FakeCoreFoundation() {
  EXPECT_EQ(current, nullptr);
  current = this;
}

FakeCoreFoundation::~FakeCoreFoundation() {
  EXPECT_TRUE(living.empty()) << living.size() << " objects are never released";
  living.clear();
  current = nullptr;
}

Collation::Loader FakeCoreFoundation::loader() {
  return {.open = [this](const char* path, int mode) -> void* {
            opened.emplace_back(path);
            EXPECT_EQ(mode, RTLD_LAZY | RTLD_LOCAL);
            return isInstalled ? this : nullptr;
          },
          .find = [this](void* library, const char* name) -> void* {
            const std::map<std::string_view, void*> functions = {
                {"CFStringCreateWithCharacters", reinterpret_cast<void*>(stringCreateWithCharacters)},
                {"CFStringCompareWithOptionsAndLocale",
                 reinterpret_cast<void*>(stringCompareWithOptionsAndLocale)},
                {"CFStringGetLength", reinterpret_cast<void*>(stringGetLength)},
                {"CFLocaleCopyCurrent", reinterpret_cast<void*>(localeCopyCurrent)},
                {"CFLocaleCreate", reinterpret_cast<void*>(localeCreate)},
                {"CFRelease", reinterpret_cast<void*>(release)},
            };
            const auto found = functions.find(name);
            EXPECT_TRUE(library == this && found != functions.end()) << name;
            return missing.contains(name) || found == functions.end() ? nullptr : found->second;
          }};
}

}  // namespace tavrin::test
