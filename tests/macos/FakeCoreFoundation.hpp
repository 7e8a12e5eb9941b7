#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Panel/Collation_corefoundation.hpp"

namespace tavrin::test {

/// A made-up CoreFoundation. Only one can exist at a time, because a library's functions have no object. It
/// orders texts by code units and ignores the case of ASCII. It fails the test for anything that would end a
/// real process: one release too many, an object of the wrong type, a missing object.
class FakeCoreFoundation {
 public:
  FakeCoreFoundation();
  ~FakeCoreFoundation();
  FakeCoreFoundation(const FakeCoreFoundation&) = delete;
  FakeCoreFoundation& operator=(const FakeCoreFoundation&) = delete;

  struct Comparison {
    std::u16string a;
    std::u16string b;
    Collation::CoreFoundation::Index start;
    Collation::CoreFoundation::Index length;
    unsigned long flags;
    std::string locale;  ///< "" if there is none

    bool operator==(const Comparison&) const = default;
  };

  bool isInstalled = true;
  std::set<std::string> missing;                                     ///< functions
  std::set<std::u16string> refusedTexts;                             ///< that get no memory
  std::set<std::string> unknownLocales;                              ///< "current" is the user's own
  std::map<std::pair<std::u16string, std::u16string>, int> answers;  ///< of comparisons

  std::vector<std::string> opened;  ///< paths of libraries
  std::vector<Comparison> comparisons;
  int created = 0;
  int released = 0;

  Collation::Loader loader();
};

}  // namespace tavrin::test
