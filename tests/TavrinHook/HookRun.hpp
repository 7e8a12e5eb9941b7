#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinHook/HookCommand.hpp"
#include "tests/TavrinCore/Context/FakeProcesses.hpp"
#include "tests/support/FakeFiles.hpp"
#include "tests/support/Scratch.hpp"

namespace tavrin::test {

/// Runs the command in surroundings that a test controls: a scratch home directory, a clock that stands
/// still, identifiers "ID-1", "ID-2" and so on, one repository at /Users/dev/app, and a hook started by
///
///     300 "sh"  <-  200 "claude", on /dev/ttys004  <-  100 "Terminal", com.apple.Terminal  <-  1
class HookRun : public ::testing::Test {
 protected:
  HookRun() {
    processes.processes[300] = {.parent = 200, .name = "sh"};
    processes.processes[200] = {.parent = 100, .name = "claude", .terminal = "/dev/ttys004"};
    processes.processes[100] = {
        .parent = 1,
        .name = "Terminal",
        .application = ProcessTable::Application{.bundleId = "com.apple.Terminal", .isRegular = true}};
    files.directories = {"/Users/dev/app/.git"};
  }

  /// An event of the session "s1" in /Users/dev/app. `more` holds further members, such as R"("a":1,"b":2)".
  static std::string event(std::string_view name, std::string_view more = "") {
    return R"({"session_id":"s1","hook_event_name":")" + std::string(name) + R"(","cwd":"/Users/dev/app")" +
           (more.empty() ? "" : ",") + std::string(more) + "}";
  }

  /// Runs the command with `payload` coming through a pipe.
  void run(std::string_view payload, std::vector<std::string_view> arguments = {}) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    std::thread writer([&] {
      File::writeAll(writing.number(), payload);
      writing.close();
    });
    runOn(reading.number(), std::move(arguments));
    writer.join();
  }

  /// Runs the command with this descriptor as its input.
  void runOn(int input, std::vector<std::string_view> arguments = {}) {
    arguments.insert(arguments.begin(), "tavrin-hook");
    HookCommand::run(arguments, {.input = input,
                                 .home = home.string(),
                                 .parentPid = parentPid,
                                 .processes = processes.table(),
                                 .files = files.probes(),
                                 .now = [this] { return now; },
                                 .makeId = [this] { return "ID-" + std::to_string(++idsMade); }});
  }

  SessionFileStore store() const { return SessionFileStore(home.sessions().string()); }
  std::optional<Session> stored(std::string_view id = "s1") const { return store().load(id); }

  /// The stored record of "s1", which must exist.
  Session record() const {
    const std::optional<Session> session = stored();
    EXPECT_TRUE(session.has_value());
    return session.value_or(Session());
  }

  /// The last message in the log, without its time.
  std::string lastMessage() const {
    const std::string messages = home.logMessages();
    if (messages.empty()) return "";
    const std::size_t before = messages.rfind('\n', messages.size() - 2);
    return messages.substr(before + 1, messages.size() - before - 2);
  }

  bool homeIsUntouched() const { return std::filesystem::is_empty(home.path()); }

  /// The record after a first event in these surroundings.
  Session usualRecord(SessionState state) const {
    Session session;
    session.sessionId = "s1";
    session.agent = Agent::claude;
    session.state = state;
    session.updatedAt = now;
    session.stateSince = now;
    session.cwd = "/Users/dev/app";
    session.agentPid = 200;
    session.tty = "/dev/ttys004";
    session.hostPid = 100;
    session.hostBundleId = "com.apple.Terminal";
    session.repoRoot = "/Users/dev/app";
    return session;
  }

  ScratchHome home;
  FakeProcesses processes;
  FakeFiles files;
  std::int32_t parentPid = 300;
  Date now = dateFromSeconds(1'738'314'902);  // 2025-01-31T09:15:02Z
  int idsMade = 0;
};

}  // namespace tavrin::test
