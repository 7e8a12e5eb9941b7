#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <variant>

#include "TavrinCore/Support/Date.hpp"

namespace tavrin {

/// A container, and the socket of the runtime that stops it.
struct DockerTarget {
  std::string socketPath;
  std::string containerID;

  bool operator==(const DockerTarget&) const = default;

  /// Whether the socket's path is absolute and the id is a whole one: 64 digits "0" to "9" and "a" to "f".
  bool isValid() const;
};

/// What is stopped when the user stops a server.
class ServerStopTarget {
 public:
  /// A process to signal. Process ids are reused, so check the start time and the folder too.
  struct Process {
    std::int32_t pid = 0;
    Date startedAt;
    std::string cwd;

    bool operator==(const Process&) const = default;
  };

  static ServerStopTarget process(std::int32_t pid, Date startedAt, std::string cwd) {
    return ServerStopTarget(Process{.pid = pid, .startedAt = startedAt, .cwd = std::move(cwd)});
  }
  static ServerStopTarget container(DockerTarget target) { return ServerStopTarget(std::move(target)); }

  /// The process to signal, if it is one; else null.
  const Process* process() const { return std::get_if<Process>(&target_); }
  /// The container to stop, if it is one; else null.
  const DockerTarget* container() const { return std::get_if<DockerTarget>(&target_); }

  bool operator==(const ServerStopTarget&) const = default;

 private:
  using Target = std::variant<Process, DockerTarget>;

  explicit ServerStopTarget(Target target) : target_(std::move(target)) {}

  Target target_;
};

}  // namespace tavrin

/// Equal containers have equal hashes.
template <>
struct std::hash<tavrin::DockerTarget> {
  std::size_t operator()(const tavrin::DockerTarget& target) const;
};

/// Equal targets have equal hashes.
template <>
struct std::hash<tavrin::ServerStopTarget> {
  std::size_t operator()(const tavrin::ServerStopTarget& target) const;
};
