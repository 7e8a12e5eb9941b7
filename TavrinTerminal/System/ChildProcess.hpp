#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv, POSIX and the standard library.

#include <sys/types.h>
#include <uv.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

/// What to run, and how long it may take.
struct ChildCommand {
  std::vector<std::string> words;  ///< the executable's absolute path and its arguments; no shell reads them
  std::string input;               ///< written to its standard input, which is then closed
  std::optional<std::vector<std::string>> environment =
      std::nullopt;                         ///< "NAME=value"; this process's own without
  std::string directory = {};               ///< where it starts; this process's own when empty
  std::chrono::milliseconds timeout{5000};  ///< until it is asked to end (SIGTERM)
  std::chrono::milliseconds grace{500};     ///< from then until it is killed (SIGKILL)
  std::size_t outputLimit = std::size_t{1}
                            << 20U;  ///< most bytes kept of each stream; beyond it, it is ended
  bool mayLeaveChildren = false;  ///< whether its own children may outlive it, as a browser does xdg-open(1)
};

/// What became of a child.
struct ChildOutcome {
  enum class End : std::uint8_t {
    exited,       ///< with `status`
    signalled,    ///< by `signal`, which was not this process's
    timedOut,     ///< it ran longer than its time-out and was ended
    overflowed,   ///< it wrote more than its limit and was ended
    interrupted,  ///< the person interrupted the wait and it was ended
    notStarted,   ///< `status` is the errno value that says why
  };

  End end = End::notStarted;
  int status = -1;
  int signal = 0;
  std::string output;  ///< what it wrote on standard output, up to the limit
  std::string error;   ///< what it wrote on standard error, up to the limit

  bool succeeded() const { return end == End::exited && status == 0; }

  bool operator==(const ChildOutcome&) const = default;
};

/// A child process under way on a libuv loop.
///
/// It starts clean: in a session of its own without a terminal, no signal of the first 31 blocked or ignored,
/// no descriptor but its three standard ones. It is the head of a process group, and whatever ends it is sent
/// to the group. Nobody of the group outlives it or this process, even one that is killed: see ChildGuard.
///
/// Starting the first child has this process ignore SIGPIPE, because a child may end before it reads its
/// input.
class ChildProcess {
 public:
  using Ended = std::function<void(ChildOutcome outcome)>;
  using Output = std::function<void(std::string_view bytes)>;

  /// Starts the child. `ended` is called once from the loop, after its streams have ended; never from here.
  /// With `output`, bytes of standard output go there as they come instead of into the outcome, and the
  /// input stays open after `command.input` until closeInput().
  ChildProcess(uv_loop_t& loop, const ChildCommand& command, Ended ended, Output output = {});

  /// Kills what still runs. Nothing is called afterwards. The loop must run until it is empty before it is
  /// closed: the child is waited for and its handles are closed there.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// The head of its process group; 0 when it could not be started.
  pid_t pid() const;

  /// Writes to its standard input. Bytes for a child that is gone or has closed its input are dropped.
  void write(std::string_view bytes);
  void closeInput();

  /// Asks the child to end, and kills it after its grace. `ended` reports `reason`.
  void end(ChildOutcome::End reason);

  /// Runs all commands at the same time and waits for the end of each; the outcomes are in the order of the
  /// commands. When `interrupt` is a descriptor that becomes readable, all are ended and report
  /// `interrupted`.
  static std::vector<ChildOutcome> runAll(std::span<const ChildCommand> commands, int interrupt = -1);

  /// The same for one.
  static ChildOutcome run(const ChildCommand& command, int interrupt = -1);

 private:
  struct State;
  std::shared_ptr<State> state_;  // shared with the loop, until that has closed the handles
};

}  // namespace tavrin
