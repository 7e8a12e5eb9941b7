#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Context/ProcessNode.hpp"

namespace tavrin {

/// What one system tells about processes: a handful of look-ups, each giving nothing for what it cannot tell.
/// The walk over them is the same everywhere.
struct ProcessTable {
  struct Record {
    std::int32_t parent = 0;
    std::string name;  ///< the short name, which the system may have cut off or left empty
  };
  struct Application {
    std::optional<std::string> bundleId;
    bool isRegular = false;
  };

  std::function<std::optional<Record>(std::int32_t pid)> record;
  std::function<std::optional<std::string>(std::int32_t pid)> longName;
  std::function<std::optional<std::string>(std::int32_t pid)> terminal;  ///< the controlling terminal's path
  std::function<std::optional<Application>(std::int32_t pid)> application;

  /// The name of a process's executable, on systems where its short name is that of a thread, which programs
  /// change at will; not set where the short name is as good.
  std::function<std::optional<std::string>(std::int32_t pid)> executable = {};

  /// Whether there may be an application among a process and its ancestors up to `outermost`, told at a lower
  /// price than by asking for each of them; not set where there is no such way.
  std::function<bool(std::int32_t innermost, std::int32_t outermost)> mayHaveApplications = {};

  /// The table of the running system. It may remember what it has read, so it holds for one short run.
  static ProcessTable ofThisSystem();
};

namespace ProcessTree {

inline constexpr int defaultLimit = 32;

/// The process `pid` and its ancestors, child first, at most `limit` of them. Process 1 and the kernel are
/// left out; a process that ends during the walk ends the walk.
std::vector<ProcessNode> ancestors(std::int32_t pid, const ProcessTable& table, int limit = defaultLimit);

/// The same walk without asking for applications. On the way to the nearest agent, which is a process with
/// its name or its executable's among `names`, it asks for executables where the name is not enough.
std::vector<ProcessNode> ancestorsWithAgent(std::span<const std::string_view> names, std::int32_t pid,
                                            const ProcessTable& table, int limit = defaultLimit);

/// That walk as far as the agent: all that finding it takes.
std::vector<ProcessNode> ancestorsUpTo(std::span<const std::string_view> names, std::int32_t pid,
                                       const ProcessTable& table, int limit = defaultLimit);

/// Whether the process goes by one of `names`: by its own name or, when that is not a shell's, by its
/// executable's. Without either it does not.
bool isNamed(const ProcessNode& node, std::span<const std::string_view> names);

/// Whether the name is that of a shell, through which agents start their hooks.
bool isShell(std::string_view name);

/// The parent of a process, if it can be looked up.
std::optional<std::int32_t> parent(std::int32_t pid, const ProcessTable& table);

/// The short name of a process or, when that is empty, its long name.
std::optional<std::string> name(std::int32_t pid, const ProcessTable& table);

/// The path of a process's controlling terminal, such as "/dev/ttys004"; nothing when it has none.
std::optional<std::string> tty(std::int32_t pid, const ProcessTable& table);

}  // namespace ProcessTree

}  // namespace tavrin
