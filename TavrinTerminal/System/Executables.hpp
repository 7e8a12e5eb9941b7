#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Where programs are found.
namespace tavrin::Executables {

/// The folders of a PATH variable, in order. Entries that are relative or empty are left out: what they name
/// depends on where the person happens to be.
std::vector<std::string> folders(std::string_view pathVariable);

/// Whether `path` names a regular file that this user may execute.
bool isExecutable(const std::string& path);

/// The path of the program `name` in the first of these folders that has it; nullopt when none has.
std::optional<std::string> find(std::string_view name, std::string_view pathVariable);

/// The real path of the program that runs here; "" when the system does not know it.
std::string own();

}  // namespace tavrin::Executables
