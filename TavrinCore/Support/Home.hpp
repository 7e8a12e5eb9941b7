#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string>

/// The user's home directory.
namespace tavrin::Home {

/// The current user's home directory. It is $HOME if that is an absolute path, else the directory of the real
/// user id in the password database (passwd(5)), else "/var/empty". It has no slash at the end, unless it is
/// "/".
std::string directory();

}  // namespace tavrin::Home
