#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TavrinCore/Agents/Agent.hpp"
#include "TavrinCore/Monitor/FollowedFile.hpp"
#include "TavrinCore/Monitor/SessionFact.hpp"

namespace tavrin {

/// The facts of the present turn in one of an agent's files, read as it grows.
class FollowedFacts {
 public:
  /// `isSubagents` is true for a sub-agent's file: its questions and results count for the session, but its
  /// turns do not. `start` is the offset to start from, if one is known.
  FollowedFacts(std::string path, Agent agent, bool isSubagents,
                std::optional<std::uint64_t> start = std::nullopt)
      : file_(std::move(path), start), agent_(agent), isSubagents_(isSubagents) {}

  const std::string& path() const { return file_.path(); }

  /// Reads what is new. Returns whether the facts changed.
  bool look(const MonitorFiles& files);

  /// The oldest first.
  const std::vector<SessionFact>& facts() const { return facts_; }

  /// Ids of sub-agents that the file names, so far.
  const std::set<std::string>& subagents() const { return subagents_; }

  /// Lines of a kind that no reader knows, so far.
  std::uint64_t unknown() const { return unknown_; }

 private:
  void take(std::string_view line);
  void add(SessionFact fact);
  void addOfSubagent(SessionFact fact);
  void shorten();

  FollowedFile file_;
  Agent agent_;
  bool isSubagents_;
  std::uint64_t firstOwnLine_ = 0;
  std::vector<SessionFact> facts_;
  std::uint64_t added_ = 0;           // facts so far, also those that are forgotten
  std::optional<Date> runningSince_;  // the start of the turn that has not ended
  std::set<std::string> subagents_;
  std::uint64_t unknown_ = 0;
};

}  // namespace tavrin
