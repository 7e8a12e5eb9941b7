#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin::test {

/// The programs beside these tests that play a part in them; each says in its source what it does.
std::string sessionWorker();
std::string confined();

/// A process that is under way, so that many can be kept in a list.
using Running = std::unique_ptr<Subprocess>;
Running start(const std::vector<std::string>& words, const Subprocess::Environment& environment = {});

/// The run of tavrin-hook, fed nothing yet.
Running startHook(const ScratchHome& home);

/// The event of Claude Code that starts the call `toolUseId` in a session.
std::string toolStart(std::string_view sessionId, std::string_view toolUseId, std::string_view cwd = "");

/// What is stored about a session, if anything that can be read.
std::optional<Session> stored(const ScratchHome& home, std::string_view sessionId);

/// The names of the files beside the records that a run must not leave: temporaries.
std::vector<std::string> temporaries(const std::filesystem::path& directory);

/// The lines of the log without their time stamps.
std::vector<std::string> logLines(const ScratchHome& home);

/// Whether a line begins with a time stamp and a blank.
bool isStamped(std::string_view line);

}  // namespace tavrin::test
