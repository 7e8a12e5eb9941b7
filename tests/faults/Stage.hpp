#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {

/// Files below a home's directory "Library", by their paths from there: texts, or nothing for a directory.
/// Where a text names the home, there is a word for it, so that the files fit any.
using Files = std::map<std::string, std::optional<std::string>>;

/// What a run finds, and the event that it is given.
struct Situation {
  std::string name;
  Files files;
  bool isEnd = false;  ///< the event ends the session; else it asks the user something

  /// A record, the lock, the log, and the titles of an application.
  static Situation with(std::string name, const std::string& record);

  /// No record, a good one, or a damaged one.
  static std::vector<Situation> starts();

  /// Two ways that a run takes more rarely: a record that is to go, and a log that is full.
  static std::vector<Situation> rare();
};

/// The record of "a good record".
Session goodSession();

/// A record as it can be compared with others: without what differs from run to run, times and identifiers
/// and the processes that happen to be there. Nothing when there is no file.
using Record = std::optional<std::string>;

/// A home directory on which one run of tavrin-hook after the other is made to fail. Beside the library it
/// has a repository and a transcript, which the events are about. What a check finds wrong is a failure of
/// the test.
class Stage : public ScratchHome {
 public:
  Stage();

  /// The library holds these files from now on, and no others; and the same for what it holds now.
  void set(const Files& files) const;
  Files files() const;

  std::string event(const Situation& situation) const;

  /// The record as it is there, and as it can be compared.
  std::optional<std::string> recordText() const;
  Record record() const;

  /// The record's file that a situation begins with.
  std::optional<std::string> oldRecordText(const Situation& situation) const;

  /// The record after a run in which nothing fails, begun on the situation's files.
  const Record& cleanRecord(const Situation& situation);

  /// Those after runs that find less than there is: no record, no transcript, a repository that cannot be
  /// read or is not there, no titles. That something cannot be read is as if it were not there.
  const std::set<Record>& poorerRecords(const Situation& situation);

  /// The lines in the log that are not in that of `before`, without their time stamps. They must be whole.
  std::vector<std::string> newLogLines(const Files& before) const;

  /// How many temporaries there are that are not in `before`.
  std::size_t newTemporaries(const Files& before) const;

  /// A further event of the same session, and that it was handled as if nothing had happened before it.
  static std::string nextEvent();
  void expectNextEventIsHandled() const;

  /// Runs it and looks.
  void expectNextEventWorks() const;

 private:
  enum class Repository { linkedWorkTree, ordinary, none };
  void setSurroundings(Repository repository, bool hasTranscript) const;

  // A text with this home's name in the place of the word for it, and the other way round.
  std::string here(std::string text) const;
  std::string anywhere(std::string text) const;

  // The record after a clean run begun on `files`.
  Record recordAfter(const Files& files, const Situation& situation) const;

  std::map<std::string, Record> clean_;             // by the situation's name
  std::map<std::string, std::set<Record>> poorer_;  // by the situation's name
};

/// The line of the log after a clean run, and one that says why the record stayed as it was.
std::string cleanLine(const Situation& situation);
bool isErrorLine(std::string_view line);

}  // namespace tavrin::test
