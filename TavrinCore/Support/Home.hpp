#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <string>

/// The user's home directory.
namespace tavrin::Home {

/// The current user's home directory. It is $HOME if that is an absolute path, else the directory of the real
/// user id in the password database (passwd(5)), else "/var/empty". It has no slash at the end, unless it is
/// "/". If root runs with the $HOME of another user, as sudo(8) may leave it, the result is root's directory
/// in the database: files that root makes in the other user's home would lock that user out.
std::string directory();

}  // namespace tavrin::Home
