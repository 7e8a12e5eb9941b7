#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <functional>
#include <string>

namespace tavrin {

/// Unique identifiers.
namespace Uuid {

/// A new random UUID (RFC 9562, version 4) with upper-case letters. Throws std::system_error if the system
/// has no random bytes.
std::string random();

}  // namespace Uuid

/// Makes identifiers. Tests pass one whose results they know.
using UuidSource = std::function<std::string()>;

}  // namespace tavrin
