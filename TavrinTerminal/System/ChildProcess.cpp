#include "TavrinTerminal/System/ChildProcess.hpp"

#include <unistd.h>

#include <array>
#include <csignal>
#include <utility>

#include "TavrinTerminal/System/ChildGuard.hpp"
#include "TavrinTerminal/System/InheritedDescriptors.hpp"

namespace tavrin {

struct ChildProcess::State {
  uv_process_t process{};
  uv_pipe_t input{};
  uv_pipe_t output{};
  uv_pipe_t error{};
  uv_timer_t timer{};
  std::array<char, 65536> received{};  // just now, from either stream

  std::shared_ptr<State> self;  // held while the loop knows the handles
  int openHandles = 0;
  int openStreams = 0;  // of output and error
  bool hasExited = false;
  bool isFinished = false;

  ChildOutcome outcome;
  std::optional<ChildOutcome::End> reason;  // why this process ended it
  Ended ended;
  Output onOutput;
  std::chrono::milliseconds grace{};
  std::size_t outputLimit = 0;
  bool mayLeaveChildren = false;
  ChildGuard::Place place = 0;

  void start(uv_loop_t& loop, const ChildCommand& command);
  int spawn(uv_loop_t& loop, const ChildCommand& command);
  void write(std::string_view bytes);
  void closeInput();
  void end(ChildOutcome::End why);
  void sendToGroup(int signal) const;
  void read(uv_stream_t* stream, ssize_t count, const char* bytes);
  void timeIsUp();
  void exited(std::int64_t status, int signal);
  void finishIfDone();
  void finish();
  void close(uv_handle_t* handle);

  // What the loop calls. Each handle's `data` is its State.
  template <class Handle>
  static State& of(Handle* handle) {
    return *static_cast<State*>(handle->data);
  }
};

namespace {

struct Write {
  uv_write_t request{};
  std::string bytes;
};

uv_stream_t* streamOf(uv_pipe_t& pipe) {
  return reinterpret_cast<uv_stream_t*>(&pipe);
}

uv_handle_t* handleOf(auto& handle) {
  return reinterpret_cast<uv_handle_t*>(&handle);
}

// The two ends of a pipe, both closed on exec. uv_pipe(3) leaves the ends for the child blocking.
struct Pipe {
  std::array<uv_file, 2> ends = {-1, -1};

  int open(int readFlags, int writeFlags) { return uv_pipe(ends.data(), readFlags, writeFlags); }
  uv_file& readEnd() { return ends[0]; }
  uv_file& writeEnd() { return ends[1]; }
  ~Pipe() {
    for (const uv_file end : ends) {
      if (end >= 0) ::close(end);
    }
  }
};

// Hands one end to a handle, which closes it from then on.
int give(uv_pipe_t& handle, uv_file& end) {
  const int code = uv_pipe_open(&handle, end);
  if (code == 0) end = -1;
  return code;
}

std::vector<char*> pointersTo(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

void ChildProcess::State::start(uv_loop_t& loop, const ChildCommand& command) {
  grace = command.grace;
  outputLimit = command.outputLimit;
  mayLeaveChildren = command.mayLeaveChildren;
  uv_timer_init(&loop, &timer);
  for (uv_pipe_t* pipe : {&input, &output, &error}) uv_pipe_init(&loop, pipe, 0);
  const std::array handles = {handleOf(timer), handleOf(input), handleOf(output), handleOf(error)};
  for (uv_handle_t* handle : handles) handle->data = this;
  process.data = this;
  openHandles = static_cast<int>(handles.size());

  const int code = spawn(loop, command);
  if (code != 0) {
    outcome.end = ChildOutcome::End::notStarted;
    outcome.status = -code;  // libuv's codes are negative errno values
    // From the loop, as if it had ended at once.
    uv_timer_start(
        &timer, [](uv_timer_t* handle) { of(handle).finish(); }, 0, 0);
    return;
  }
  uv_timer_start(
      &timer, [](uv_timer_t* handle) { of(handle).timeIsUp(); },
      static_cast<std::uint64_t>(command.timeout.count()), 0);
  const auto allocate = [](uv_handle_t* handle, std::size_t, uv_buf_t* buffer) {
    State& state = of(handle);
    *buffer = uv_buf_init(state.received.data(), static_cast<unsigned>(state.received.size()));
  };
  for (uv_pipe_t* pipe : {&output, &error}) {
    ++openStreams;
    uv_read_start(streamOf(*pipe), allocate, [](uv_stream_t* stream, ssize_t count, const uv_buf_t* buffer) {
      of(stream).read(stream, count, buffer->base);
    });
  }
  if (!command.input.empty()) write(command.input);
  if (!onOutput) closeInput();
}

int ChildProcess::State::spawn(uv_loop_t& loop, const ChildCommand& command) {
  std::signal(SIGPIPE, SIG_IGN);
  InheritedDescriptors::closeOnExecFrom(STDERR_FILENO + 1);

  Pipe toInput;
  Pipe fromOutput;
  Pipe fromError;
  int code = toInput.open(0, UV_NONBLOCK_PIPE);
  if (code == 0) code = fromOutput.open(UV_NONBLOCK_PIPE, 0);
  if (code == 0) code = fromError.open(UV_NONBLOCK_PIPE, 0);
  if (code == 0) code = give(input, toInput.writeEnd());
  if (code == 0) code = give(output, fromOutput.readEnd());
  if (code == 0) code = give(error, fromError.readEnd());

  std::array<uv_stdio_container_t, 3> streams{};
  const std::array ends = {toInput.readEnd(), fromOutput.writeEnd(), fromError.writeEnd()};
  for (std::size_t i = 0; i < streams.size(); ++i) {
    streams[i].flags = UV_INHERIT_FD;
    streams[i].data.fd = ends[i];
  }
  std::vector<char*> words = pointersTo(command.words);
  std::vector<char*> environment;
  if (command.environment) environment = pointersTo(*command.environment);
  uv_process_options_t options{};
  options.file = words.front();
  options.args = words.data();
  options.env = command.environment ? environment.data() : nullptr;
  options.cwd = command.directory.empty() ? nullptr : command.directory.c_str();
  options.flags = UV_PROCESS_DETACHED;  // a session and a group of its own (setsid(2))
#ifdef __APPLE__
  // ChildGuard needs fork(2). libuv would use posix_spawn(2), which cannot change the group. It stays the
  // same.
  options.flags |= UV_PROCESS_SETGID;
  options.gid = ::getgid();
#endif
  options.stdio = streams.data();
  options.stdio_count = static_cast<int>(streams.size());
  options.exit_cb = [](uv_process_t* handle, std::int64_t status, int signal) {
    of(handle).exited(status, signal);
  };
  // Only a path: uv_spawn would look for a bare name in PATH, and find it in a relative folder there too.
  if (code == 0 && (command.words.empty() || !command.words.front().starts_with('/'))) code = UV_ENOENT;
  if (code != 0) return code;
  ++openHandles;  // uv_spawn initialises the handle also when it fails
  ChildGuard::Starting starting;
  code = uv_spawn(&loop, &process, &options);
  if (code == 0) place = starting.started(process.pid);
  return code;
}

void ChildProcess::State::write(std::string_view bytes) {
  if (uv_is_closing(handleOf(input)) != 0 || bytes.empty()) return;
  auto request = std::make_unique<Write>();
  request->bytes = bytes;
  request->request.data = request.get();
  const uv_buf_t buffer = uv_buf_init(request->bytes.data(), static_cast<unsigned>(request->bytes.size()));
  const int code = uv_write(&request->request, streamOf(input), &buffer, 1, [](uv_write_t* done, int) {
    const std::unique_ptr<Write> written(static_cast<Write*>(done->data));
  });
  if (code == 0) static_cast<void>(request.release());  // the callback has it now
}

void ChildProcess::State::closeInput() {
  if (uv_is_closing(handleOf(input)) != 0) return;
  // What is still queued goes out first.
  auto* const request = new uv_shutdown_t{};
  const int code = uv_shutdown(request, streamOf(input), [](uv_shutdown_t* done, int) {
    State& state = of(done->handle);
    delete done;
    state.close(handleOf(state.input));
  });
  if (code == 0) return;
  delete request;
  close(handleOf(input));
}

void ChildProcess::State::sendToGroup(int signal) const {
  if (process.pid > 0) ::kill(-process.pid, signal);
}

void ChildProcess::State::end(ChildOutcome::End why) {
  if (hasExited || isFinished || reason) return;
  reason = why;
  sendToGroup(SIGTERM);
  uv_timer_start(
      &timer, [](uv_timer_t* handle) { of(handle).timeIsUp(); }, static_cast<std::uint64_t>(grace.count()),
      0);
}

void ChildProcess::State::timeIsUp() {
  if (hasExited) {
    finish();  // somebody else holds its streams open
  } else if (reason) {
    sendToGroup(SIGKILL);
  } else {
    end(ChildOutcome::End::timedOut);
  }
}

void ChildProcess::State::read(uv_stream_t* stream, ssize_t count, const char* bytes) {
  if (count == 0) return;
  if (count < 0) {
    --openStreams;
    close(reinterpret_cast<uv_handle_t*>(stream));
    finishIfDone();
    return;
  }
  const std::string_view text(bytes, static_cast<std::size_t>(count));
  const bool isOutput = stream == streamOf(output);
  if (isOutput && onOutput) {
    onOutput(text);
    return;
  }
  std::string& kept = isOutput ? outcome.output : outcome.error;
  const std::size_t room = outputLimit - kept.size();
  kept += text.substr(0, room);
  if (text.size() > room) end(ChildOutcome::End::overflowed);
}

void ChildProcess::State::exited(std::int64_t status, int signal) {
  hasExited = true;
  if (!mayLeaveChildren || reason) sendToGroup(SIGKILL);
  ChildGuard::remove(place);
  outcome.end = signal == 0 ? ChildOutcome::End::exited : ChildOutcome::End::signalled;
  outcome.status = signal == 0 ? static_cast<int>(status) : -1;
  outcome.signal = signal;
  if (reason) outcome.end = *reason;
  uv_timer_start(
      &timer, [](uv_timer_t* handle) { of(handle).timeIsUp(); }, static_cast<std::uint64_t>(grace.count()),
      0);
  finishIfDone();
}

void ChildProcess::State::finishIfDone() {
  if (hasExited && openStreams == 0) finish();
}

void ChildProcess::State::finish() {
  if (isFinished) return;
  isFinished = true;
  close(handleOf(timer));
  for (uv_pipe_t* pipe : {&input, &output, &error}) close(handleOf(*pipe));
  if (process.type == UV_PROCESS) close(handleOf(process));
  if (!ended) return;
  const Ended report = std::exchange(ended, {});
  report(std::move(outcome));
}

void ChildProcess::State::close(uv_handle_t* handle) {
  if (uv_is_closing(handle) != 0) return;
  uv_close(handle, [](uv_handle_t* closed) {
    State& state = of(closed);
    if (--state.openHandles == 0) state.self.reset();
  });
}

ChildProcess::ChildProcess(uv_loop_t& loop, const ChildCommand& command, Ended ended, Output output)
    : state_(std::make_shared<State>()) {
  state_->self = state_;
  state_->ended = std::move(ended);
  state_->onOutput = std::move(output);
  state_->start(loop, command);
}

ChildProcess::~ChildProcess() {
  state_->ended = {};
  if (state_->onOutput) state_->onOutput = [](std::string_view) {};
  if (state_->isFinished || state_->hasExited) return;
  if (!state_->reason) state_->reason = ChildOutcome::End::interrupted;
  state_->sendToGroup(SIGKILL);
}

pid_t ChildProcess::pid() const {
  return state_->process.pid;
}

void ChildProcess::write(std::string_view bytes) {
  state_->write(bytes);
}

void ChildProcess::closeInput() {
  state_->closeInput();
}

void ChildProcess::end(ChildOutcome::End reason) {
  state_->end(reason);
}

std::vector<ChildOutcome> ChildProcess::runAll(std::span<const ChildCommand> commands, int interrupt) {
  std::vector<ChildOutcome> outcomes(commands.size());
  if (commands.empty()) return outcomes;
  uv_loop_t loop;
  uv_loop_init(&loop);

  struct Children {
    std::vector<std::unique_ptr<ChildProcess>> all;
    uv_poll_t interruption{};
  } children;
  std::size_t running = commands.size();
  const bool canInterrupt = interrupt >= 0 && uv_poll_init(&loop, &children.interruption, interrupt) == 0;
  const auto closeInterruption = [&] {
    if (canInterrupt) uv_close(handleOf(children.interruption), nullptr);
  };
  if (canInterrupt) {
    children.interruption.data = &children;
    uv_poll_start(&children.interruption, UV_READABLE, [](uv_poll_t* poll, int, int) {
      uv_poll_stop(poll);
      for (const auto& child : static_cast<Children*>(poll->data)->all)
        child->end(ChildOutcome::End::interrupted);
    });
  }
  children.all.reserve(commands.size());
  for (std::size_t i = 0; i < commands.size(); ++i) {
    children.all.push_back(std::make_unique<ChildProcess>(loop, commands[i], [&, i](ChildOutcome outcome) {
      outcomes[i] = std::move(outcome);
      if (--running == 0) closeInterruption();
    }));
  }
  uv_run(&loop, UV_RUN_DEFAULT);
  uv_loop_close(&loop);
  return outcomes;
}

ChildOutcome ChildProcess::run(const ChildCommand& command, int interrupt) {
  return runAll({&command, 1}, interrupt).front();
}

}  // namespace tavrin
