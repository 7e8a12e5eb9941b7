#pragma once

#include <boost/json/object.hpp>
#include <string>
#include <vector>

#include "tests/recordings/Recording.hpp"

namespace tavrin::recordings {

/// What a person looking at the terminal would have said.
struct Truth {
  std::string session;
  double from = 0;
  double to = 0;
  std::string state;     ///< "working", "needsYou", "idle", "failed" or "gone"
  bool isGhost = false;  ///< a sub-agent's id, which has no terminal
};

/// The truth of one recording, from "truth.jsonl" beside it.
std::vector<Truth> truthOf(const std::string& recording);

/// How long a view of a recording was wrong, in seconds.
struct Score {
  double judged = 0;
  double wrong = 0;
  double ghosts = 0;                ///< how long sub-agents were shown as sessions
  std::vector<std::string> missed;  ///< changes of over 1 s that were not followed within 2 s, in words
};

/// Compares a view with the truth. A failed session may be shown as idle, because it is ready for a prompt.
/// The time before a session's id first occurs in the recording is not judged.
Score scoreOf(const std::vector<Change>& view, const std::vector<Truth>& truth,
              const std::vector<boost::json::object>& events);

/// The view of the hook's records alone.
std::vector<Change> hookAlone(const std::vector<boost::json::object>& events);

}  // namespace tavrin::recordings
