#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <boost/json/object.hpp>

#include "TavrinCore/Context/ProcessFacts.hpp"
#include "TavrinCore/Monitor/MonitorFiles.hpp"
#include "TavrinCore/Monitor/SessionWatcher.hpp"

namespace tavrin::recordings {

/// A session's state as the monitor saw it from `at` on. "gone" stands for a session that it does not show.
struct Change {
  double at = 0;
  std::string session;
  std::string state;
};

/// The events of a recording, "NAME.jsonl.gz", in order of time. Throws std::runtime_error if it cannot be
/// read.
std::vector<boost::json::object> eventsIn(const std::string& path);

/// The text of a file compressed by gzip.
std::string unzipped(const std::string& path);

/// The machine of a recording as it was at each moment: files under a scratch directory, and processes.
class Machine {
 public:
  /// The home directory that recordings name.
  static constexpr std::string_view home = "/Users/dev";

  /// `scratch` is an empty directory. A hook saves its record `hookTime` seconds after it did when the
  /// session was recorded.
  Machine(std::string scratch, const std::vector<boost::json::object>& events, double hookTime = 0);

  /// Plays one event.
  void play(const boost::json::object& event);

  /// The changes since the last call that would have woken a waiting program: changed files and directories,
  /// and processes that ended.
  std::set<std::string> changedFiles() { return std::exchange(changedFiles_, {}); }
  std::set<std::int32_t> endedProcesses() { return std::exchange(endedProcesses_, {}); }

  /// Answers for the files and processes as they are now.
  MonitorFiles files();
  ProcessFacts processes();

 private:
  struct Process {
    ProcessFact fact;
    std::string command;
  };

  std::string real(const std::string& path) const;
  void playRecord(const boost::json::object& event);
  void playTranscript(const boost::json::object& event);
  void playProcess(const boost::json::object& event);
  void playAgent(const boost::json::object& event);
  void end(std::int32_t pid);
  void touch(const std::string& path, bool isEntryChanged);
  void write(const std::string& path, const std::string& text, std::optional<std::uint64_t> offset,
             double at);
  void remove(const std::string& path);
  std::optional<std::int32_t> likelyHolder() const;

  std::string scratch_;
  double hookTime_ = 0;
  double now_ = 0;
  double start_ = 0;
  double lookedAt_ = 0;  // when the recorder looked before the look that found the last event
  double foundAt_ = 0;
  bool hasLocks_ = false;
  std::map<std::string, double> modifiedAt_;
  std::map<std::int32_t, Process> processes_;
  std::map<std::string, std::int32_t> holders_;
  std::map<std::string, double> hookAt_;
  std::set<std::string> changedFiles_;
  std::set<std::int32_t> endedProcesses_;
};

/// How a recording is played.
struct Playing {
  std::function<bool(std::string_view path)> hide;  ///< names paths that the monitor cannot see
  double from = 0;                                  ///< when the monitor starts, in seconds since 1970
  double delay = 0;                                 ///< how long after a change it looks, in seconds
  double hookTime = 0;                              ///< see Machine
};

/// What the monitor sees over a whole recording.
std::vector<Change> play(const std::vector<boost::json::object>& events, const std::string& scratch,
                         const Playing& how = {});

}  // namespace tavrin::recordings
