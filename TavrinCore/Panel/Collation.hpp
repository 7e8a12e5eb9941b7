#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The order that a person's language gives to names, blind to case: "alpha", "Beta", "ähnlich" in German,
/// "ähnlich" after "z" in Swedish. ICU gives it on Linux, CoreFoundation on macOS; neither is touched before
/// the first call.
namespace tavrin::Collation {

/// ranks[i] is the place of names[i] in that order: the lower comes first, and names that the language does
/// not tell apart, as when only case differs, share one. Each name is given to the collator once.
///
/// `locale` is an identifier such as "en" or "sv_SE", "" for the user's own. When the system cannot give the
/// order of any language, names come in the order of their code points in lower case.
std::vector<std::size_t> ranks(std::span<const std::string_view> names, const std::string& locale = "");

}  // namespace tavrin::Collation
