#pragma once

#include <string>

/// Where the user's files lie.
namespace tavrin::Home {

/// The current user's home directory, without a trailing slash (but for "/" itself): $HOME when that is an
/// absolute path, else the directory that the password database (passwd(5)) gives for the real user id, else
/// "/var/empty".
std::string directory();

}  // namespace tavrin::Home
