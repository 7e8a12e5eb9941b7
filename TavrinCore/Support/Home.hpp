#pragma once

#include <string>

/// Where the user's files lie.
namespace tavrin::Home {

/// The current user's home directory, without a trailing slash (but for "/" itself): $HOME when that is an
/// absolute path, else the directory that the password database (passwd(5)) gives for the real user id, else
/// "/var/empty". For root, a $HOME of another user, as sudo(8) may leave it, does not count: files of root's
/// in it would lock that user out. Root's own directory of the database stands in for it.
std::string directory();

}  // namespace tavrin::Home
