#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The order of names in a person's language, ignoring case: "alpha", "Beta", "ähnlich" in German, but
/// "ähnlich" after "z" in Swedish. It comes from ICU on Linux and from CoreFoundation on macOS. Neither is
/// touched before the first call.
namespace tavrin::Collation {

/// ranks[i] is the place of names[i] in that order. The lower rank comes first. Names that the language does
/// not distinguish, such as names that differ only in case, share a rank. The collator sees each name once.
///
/// `locale` is an identifier such as "en" or "sv_SE", or "" for the user's own. If the system has no order
/// for any language, names are ordered by their code points in lower case.
std::vector<std::size_t> ranks(std::span<const std::string_view> names, const std::string& locale = "");

}  // namespace tavrin::Collation
