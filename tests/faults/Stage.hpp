#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/process/ProcessSupport.hpp"

namespace tavrin::test {

/// Files below a home's directory "Library", by their paths from there: texts, or nullopt for a directory. A
/// placeholder stands for the home in the texts, so that the files fit any home.
using Files = std::map<std::string, std::optional<std::string>>;

/// The files that a run finds, and the event that it gets.
struct Situation {
  std::string name;
  Files files;
  bool isEnd = false;  ///< the event ends the session; otherwise it asks the user something

  /// A record, the lock, the log, and the titles of an application.
  static Situation with(std::string name, const std::string& record);

  /// No record, a good one, or a damaged one.
  static std::vector<Situation> starts();

  /// Two less common ways through a run: a record that is removed, and a log that is full.
  static std::vector<Situation> rare();
};

/// The record in the situation "a good record".
Session goodSession();

/// A record in a form that can be compared, without what differs from run to run: times, identifiers and the
/// current processes. nullopt if there is no file.
using Record = std::optional<std::string>;

/// A home directory on which runs of tavrin-hook fail, one after the other. Besides the library it has a
/// repository and a transcript, which the events refer to. A check that finds something wrong fails the test.
class Stage : public ScratchHome {
 public:
  Stage();

  /// Replaces the library's files by these. `files` returns the present ones.
  void set(const Files& files) const;
  Files files() const;

  std::string event(const Situation& situation) const;

  /// The record as it is on disk, and in the form that can be compared.
  std::optional<std::string> recordText() const;
  Record record() const;

  /// The record's text at the start of a situation.
  std::optional<std::string> oldRecordText(const Situation& situation) const;

  /// The record after a run on the situation's files in which nothing fails.
  const Record& cleanRecord(const Situation& situation);

  /// The records after runs that find less than there is: no record, no transcript, a repository that is
  /// missing or cannot be read, no titles. Whatever cannot be read counts as missing.
  const std::set<Record>& poorerRecords(const Situation& situation);

  /// The log's lines that are not in the log of `before`, without their time stamps. They must be whole.
  std::vector<std::string> newLogLines(const Files& before) const;

  /// The number of temporaries that are not in `before`.
  std::size_t newTemporaries(const Files& before) const;

  /// A further event of the same session, and a check that it was handled as if nothing had happened before.
  static std::string nextEvent();
  void expectNextEventIsHandled() const;

  /// Runs the next event and checks the result.
  void expectNextEventWorks() const;

 private:
  enum class Repository { linkedWorkTree, ordinary, none };
  void setSurroundings(Repository repository, bool hasTranscript) const;

  // Puts this home's name in the place of the placeholder, and the other way round.
  std::string here(std::string text) const;
  std::string anywhere(std::string text) const;

  // The record after a clean run on `files`.
  Record recordAfter(const Files& files, const Situation& situation) const;

  std::map<std::string, Record> clean_;             // by the situation's name
  std::map<std::string, std::set<Record>> poorer_;  // by the situation's name
};

/// The log line of a clean run, and whether a line says why the record stayed as it was.
std::string cleanLine(const Situation& situation);
bool isErrorLine(std::string_view line);

}  // namespace tavrin::test
