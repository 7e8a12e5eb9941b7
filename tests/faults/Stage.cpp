#include "tests/faults/Stage.hpp"

#include <gtest/gtest.h>

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <sstream>

namespace tavrin::test {

namespace {

namespace fs = std::filesystem;

const std::string recordFile = "Application Support/Tavrin/sessions/s.json";
const std::string lockFile = "Application Support/Tavrin/sessions/.s.lock";
const std::string logName = "Logs/Tavrin/hook.log";
const std::string titlesFile = "Application Support/Claude/claude-code-sessions/account/local_s.json";

constexpr std::string_view homeWord = "{home}";

constexpr std::string_view oldLine = "2025-01-31T09:15:02Z claude s PreToolUse Bash#call-0 \u2192 working\n";

std::string fullLog() {
  std::string text(1'000'000, '\n');
  text += oldLine;
  return text;
}

// The value in a line `  "key" : value,` differs from run to run.
bool isOfOneRun(std::string_view line) {
  for (const std::string_view key : {"\"updatedAt\" : ", "\"stateSince\" : ", "\"attentionId\" : "})
    if (line.find(key) != std::string_view::npos) return true;
  return false;
}

// The line is about processes that did not exist before the run.
bool isOfProcesses(std::string_view line) {
  if (line.find("\"agentPid\" : ") != std::string_view::npos) return true;
  for (const auto& [key, known] : {std::pair<std::string_view, std::string_view>{"\"hostPid\" : ", "612"},
                                   {"\"hostBundleId\" : ", "\"com.anthropic.claudefordesktop\""},
                                   {"\"tty\" : ", "\"\\/dev\\/ttys004\""}}) {
    const std::size_t found = line.find(key);
    if (found != std::string_view::npos && !line.substr(found + key.size()).starts_with(known)) return true;
  }
  return false;
}

std::string replaced(std::string text, std::string_view part, std::string_view by) {
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size()))
    text.replace(at, part.size(), by);
  return text;
}

std::string comparable(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    if (isOfProcesses(line)) continue;
    if (isOfOneRun(line)) line.resize(line.find(" : "));
    result += line + "\n";
  }
  return result;
}

}  // namespace

// The session belongs to the Claude desktop app, so the run searches its files for a title.
Session goodSession() {
  Session session;
  session.sessionId = "s";
  session.state = SessionState::working;
  session.inFlight = {"call-0"};
  session.cwd = "/Users/dev/src/app";
  session.repoRoot = "/Users/dev/src/app";
  session.transcriptPath = "/Users/dev/.claude/projects/app/s.jsonl";
  session.hostPid = 612;
  session.hostBundleId = "com.anthropic.claudefordesktop";
  session.tty = "/dev/ttys004";
  session.title = "Old title";
  return session;
}

Situation Situation::with(std::string name, const std::string& record) {
  return {.name = std::move(name),
          .files = {{recordFile, record},
                    {lockFile, ""},
                    {logName, std::string(oldLine)},
                    {titlesFile, R"({"sessionId":"local_s","title":"New title"})"}}};
}

std::vector<Situation> Situation::starts() {
  const std::string good = goodSession().encode();
  return {{.name = "no record", .files = {}},
          with("a good record", good),
          with("a damaged record", good.substr(0, good.size() / 2))};
}

std::vector<Situation> Situation::rare() {
  Situation end = starts().at(1);
  end.name = "a record at its end";
  end.isEnd = true;
  Situation full = starts().at(1);
  full.name = "a full log";
  full.files[logName] = fullLog();
  return {end, full};
}

Stage::Stage() : ScratchHome(directoryInMemory()) {
  setSurroundings(Repository::linkedWorkTree, true);
}

void Stage::set(const Files& files) const {
  const fs::path library = path() / "Library";
  fs::remove_all(library);
  for (const auto& [name, text] : files) {
    if (text) {
      writeFile(library / name, here(*text));
    } else {
      fs::create_directories(library / name);
    }
  }
}

Files Stage::files() const {
  Files files;
  const fs::path library = path() / "Library";
  if (!fs::exists(library)) return files;
  for (const auto& entry : fs::recursive_directory_iterator(library)) {
    std::optional<std::string>& text = files[fs::relative(entry.path(), library).string()];
    if (entry.is_regular_file()) text = anywhere(readFile(entry.path()));
  }
  return files;
}

std::string Stage::event(const Situation& situation) const {
  boost::json::object event = {{"session_id", "s"}};
  if (situation.isEnd) {
    event["hook_event_name"] = "SessionEnd";
  } else {
    event["hook_event_name"] = "PreToolUse";
    event["tool_name"] = "AskUserQuestion";
    event["tool_use_id"] = "ask-1";
    event["cwd"] = (path() / "repository/src").string();
    event["transcript_path"] = (path() / "transcript.jsonl").string();
  }
  return boost::json::serialize(event);
}

std::optional<std::string> Stage::recordText() const {
  const fs::path file = sessionFile("s");
  return fs::exists(file) ? std::optional(readFile(file)) : std::nullopt;
}

Record Stage::record() const {
  const std::optional<std::string> text = recordText();
  return text && Session::decode(*text) ? comparable(*text) : text;
}

std::optional<std::string> Stage::oldRecordText(const Situation& situation) const {
  const auto found = situation.files.find(recordFile);
  return found == situation.files.end() ? std::nullopt : std::optional(here(found->second.value()));
}

const Record& Stage::cleanRecord(const Situation& situation) {
  const auto [entry, isNew] = clean_.try_emplace(situation.name);
  if (isNew) entry->second = recordAfter(situation.files, situation);
  return entry->second;
}

const std::set<Record>& Stage::poorerRecords(const Situation& situation) {
  const auto [entry, isNew] = poorer_.try_emplace(situation.name);
  if (!isNew) return entry->second;
  for (const bool hasRecord : {true, false}) {
    for (const bool hasTitles : {true, false}) {
      Files files = situation.files;
      if (!hasRecord) files.erase(recordFile);
      if (!hasTitles) files.erase(titlesFile);
      for (const Repository repository :
           {Repository::linkedWorkTree, Repository::ordinary, Repository::none}) {
        for (const bool hasTranscript : {true, false}) {
          setSurroundings(repository, hasTranscript);
          entry->second.insert(recordAfter(files, situation));
        }
      }
    }
  }
  setSurroundings(Repository::linkedWorkTree, true);
  return entry->second;
}

void Stage::setSurroundings(Repository repository, bool hasTranscript) const {
  const fs::path mark = path() / "repository/.git";
  fs::remove_all(mark);
  fs::create_directories(path() / "repository/src");
  if (repository == Repository::linkedWorkTree)
    writeFile(mark, "gitdir: /Users/dev/src/app/.git/worktrees/topic\n");
  if (repository == Repository::ordinary) fs::create_directory(mark);
  fs::remove(path() / "transcript.jsonl");
  if (hasTranscript) writeFile(path() / "transcript.jsonl", "{}\n");
}

std::string Stage::here(std::string text) const {
  return replaced(std::move(text), homeWord, path().filename().string());
}

std::string Stage::anywhere(std::string text) const {
  return replaced(std::move(text), path().filename().string(), homeWord);
}

Record Stage::recordAfter(const Files& files, const Situation& situation) const {
  set(files);
  EXPECT_EQ(runHook(path(), event(situation)), silentSuccess);
  return record();
}

std::vector<std::string> Stage::newLogLines(const Files& before) const {
  if (!fs::exists(logFile())) return {};
  std::string text = readFile(logFile());
  const auto found = before.find(logName);
  const std::string old = found == before.end() ? "" : here(found->second.value());
  if (text.starts_with(old)) text.erase(0, old.size());
  EXPECT_TRUE(text.empty() || text.ends_with('\n')) << "the log's last line is cut off";
  std::vector<std::string> messages;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_TRUE(isStamped(line)) << line;
    messages.push_back(messageOf(line));
  }
  return messages;
}

std::size_t Stage::newTemporaries(const Files& before) const {
  std::size_t count = 0;
  for (const std::string& name : temporaries(sessions())) {
    if (!before.contains(fs::path(recordFile).parent_path() / name)) ++count;
  }
  return count;
}

std::string Stage::nextEvent() {
  return toolStart("s", "next-1");
}

void Stage::expectNextEventWorks() const {
  EXPECT_EQ(runHook(path(), nextEvent()), silentSuccess);
  expectNextEventIsHandled();
}

void Stage::expectNextEventIsHandled() const {
  const std::optional<Session> session = stored(*this, "s");
  ASSERT_TRUE(session) << "no record after the next event";
  EXPECT_EQ(session->state, SessionState::working);
  EXPECT_EQ(session->inFlight.back(), "next-1");
  EXPECT_THAT(readFile(logFile()), testing::EndsWith("Z claude s PreToolUse Bash#next-1 \u2192 working\n"));
}

std::string cleanLine(const Situation& situation) {
  return situation.isEnd ? "claude s SessionEnd  \u2192 ended"
                         : "claude s PreToolUse AskUserQuestion#ask-1 \u2192 needsYou holding 1";
}

bool isErrorLine(std::string_view line) {
  return line.starts_with("error: ") && line.ends_with(" bytes)");
}

}  // namespace tavrin::test
