#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

/// The environment that another process was started with.
namespace tavrin::ProcessEnvironment {

using Variables = std::map<std::string, std::string, std::less<>>;

/// The variables of a process: /proc/PID/environ on Linux (proc(5)), sysctl KERN_PROCARGS2 on macOS. Empty
/// for a process that is gone or belongs to another user.
Variables of(std::int32_t pid);

/// "NAME=value" pieces, each with a zero byte after it. Pieces without "=" are left out; of two with one name
/// the first counts, as for getenv(3).
Variables parse(std::string_view block);

/// The environment in the answer of KERN_PROCARGS2: a 32-bit count of arguments, the executable's path, zero
/// bytes, the arguments, then the environment up to an empty piece. Empty when the bytes are not of that
/// form.
Variables parseProcArgs(std::string_view bytes);

}  // namespace tavrin::ProcessEnvironment
