#pragma once

#include <functional>
#include <string>

namespace tavrin {

/// Identifiers that are nobody else's.
namespace Uuid {

/// A fresh random UUID (RFC 9562, version 4) in its standard form with upper-case letters. Throws
/// std::system_error when the system gives no random bytes.
std::string random();

}  // namespace Uuid

/// Where code that needs identifiers gets them from; tests hand in ones they know.
using UuidSource = std::function<std::string()>;

}  // namespace tavrin
