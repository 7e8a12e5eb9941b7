#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Context/ProcessNode.hpp"

namespace tavrin {

/// The look-ups of processes on one system. Each returns nullopt if it does not know the answer. ProcessTree
/// uses them in the same way on all systems.
struct ProcessTable {
  /// A process's entry.
  struct Record {
    std::int32_t parent = 0;
    std::string name;  ///< the short name, which the system may have shortened or left empty
  };
  /// A running application, as people know it.
  struct Application {
    std::optional<std::string> bundleId;
    bool isRegular = false;
  };

  std::function<std::optional<Record>(std::int32_t pid)> record;
  std::function<std::optional<std::string>(std::int32_t pid)> longName;
  std::function<std::optional<std::string>(std::int32_t pid)> terminal;  ///< the controlling terminal's path
  std::function<std::optional<Application>(std::int32_t pid)> application;

  /// The name of a process's executable. Set only where the short name belongs to a thread and programs can
  /// change it.
  std::function<std::optional<std::string>(std::int32_t pid)> executable = {};

  /// Whether a process may belong to an application. Set only where processes keep the application of their
  /// parent unless they are moved, and where this costs less than asking about each process.
  std::function<bool(std::int32_t pid)> mayBeOfApplication = {};

  /// The table of the running system. It may remember what it has read, so use it for one short run only.
  static ProcessTable ofThisSystem();
};

/// The chain of a process's ancestors, and facts about one process.
namespace ProcessTree {

/// How many processes of a chain are looked at, at most.
inline constexpr int defaultLimit = 32;

/// The process `pid` and its ancestors, child first, at most `limit` in all. Process 1 and the kernel are
/// left out. The walk stops at a process that has ended.
std::vector<ProcessNode> ancestors(std::int32_t pid, const ProcessTable& table, int limit = defaultLimit);

/// The same chain without applications. It looks up executables as far as the nearest process that is one of
/// `names` (isNamed), where the process's own name does not decide.
std::vector<ProcessNode> ancestorsWithAgent(std::span<const std::string_view> names, std::int32_t pid,
                                            const ProcessTable& table, int limit = defaultLimit);

/// The same chain, but only as far as that process. That is enough to find the agent.
std::vector<ProcessNode> ancestorsUpTo(std::span<const std::string_view> names, std::int32_t pid,
                                       const ProcessTable& table, int limit = defaultLimit);

/// Whether a process has one of `names`: as its own name or, if that is not a shell's, as the name of its
/// executable.
bool isNamed(const ProcessNode& node, std::span<const std::string_view> names);

/// Whether a name is that of a shell. Agents start their hooks through shells.
bool isShell(std::string_view name);

/// The parent of a process, or nullopt.
std::optional<std::int32_t> parent(std::int32_t pid, const ProcessTable& table);

/// The short name of a process, or its long name if the short one is empty.
std::optional<std::string> name(std::int32_t pid, const ProcessTable& table);

/// The path of a process's controlling terminal, such as "/dev/ttys004", or nullopt if it has none.
std::optional<std::string> tty(std::int32_t pid, const ProcessTable& table);

}  // namespace ProcessTree

}  // namespace tavrin
