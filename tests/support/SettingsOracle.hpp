#pragma once

#include <string>
#include <string_view>
#include <vector>

/// Decides byte by byte who owns what in a settings text. It is a simple reader that shares no code with the
/// editor, so tests can compare the two. Texts must be JSON, in which comments and trailing commas are
/// allowed.
namespace tavrin::test::SettingsOracle {

/// The text's bytes without ours, and without the white space and commas between values.
///
/// Ours are the groups in which all commands run tavrin-hook, single such entries in other groups, and the
/// events and the "hooks" that hold nothing else. Values of another type in the place of "hooks", or of the
/// events in `listed`, belong to nobody and are left out too. If something is left out under a key,
/// everything under equal keys is left out with it.
std::string others(std::string_view text, const std::vector<std::string>& listed);

/// Whether `part` is `whole` with some bytes left out.
bool isPartOf(std::string_view part, std::string_view whole);

}  // namespace tavrin::test::SettingsOracle
