#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What is whose in a settings text, byte by byte: a reader of its own, as plain as can be, to hold the
/// editor against. It shares no code with it. Texts must be JSON; comments and trailing commas are read as
/// well.
namespace tavrin::test::SettingsOracle {

/// The text's bytes without what is ours, and without the white space and commas between values.
///
/// Ours are the groups in which all commands run tavrin-hook, single such entries in other groups, and the
/// events and the "hooks" that hold nothing else. Values of another type in the place of "hooks" and of the
/// events in `listed` are nobody's, and are left out too. Where something is left out under a key, everything
/// under equal keys is left out with it.
std::string others(std::string_view text, const std::vector<std::string>& listed);

/// Whether `part` is `whole` with bytes left out.
bool isPartOf(std::string_view part, std::string_view whole);

}  // namespace tavrin::test::SettingsOracle
