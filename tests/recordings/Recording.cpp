#include "tests/recordings/Recording.hpp"

#include <sys/stat.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <boost/json/serialize.hpp>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "TavrinCore/Monitor/AgentEvidence.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin::recordings {

namespace json = boost::json;

namespace {

const std::string sessions = std::string(Machine::home) + "/Library/Application Support/Tavrin/sessions";

double numberAt(const json::object& event, std::string_view key) {
  const json::value* const value = event.if_contains(key);
  return value == nullptr || !value->is_number() ? 0 : value->to_number<double>();
}

std::string textAt(const json::object& event, std::string_view key) {
  return std::string(Json::textAt(event, key).value_or(""));
}

bool isTrue(const json::object& event, std::string_view key) {
  const json::value* const value = event.if_contains(key);
  return value != nullptr && value->is_bool() && value->get_bool();
}

std::optional<std::string> optionalAt(const json::object& event, std::string_view key) {
  const auto text = Json::textAt(event, key);
  return text ? std::optional(std::string(*text)) : std::nullopt;
}

std::vector<std::string> words(const std::string& command) {
  std::istringstream in(command);
  std::vector<std::string> found;
  for (std::string word; in >> word;) found.push_back(word);
  return found;
}

}  // namespace

std::string unzipped(const std::string& path) {
  const std::unique_ptr<gzFile_s, int (*)(gzFile)> file(::gzopen(path.c_str(), "rb"), ::gzclose);
  if (!file) throw std::runtime_error(path + " cannot be opened");
  std::string text;
  std::array<char, 65'536> buffer{};
  for (;;) {
    const int count = ::gzread(file.get(), buffer.data(), buffer.size());
    if (count < 0) throw std::runtime_error(path + " is not compressed by gzip");
    if (count == 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

std::vector<json::object> eventsIn(const std::string& path) {
  std::vector<json::object> events;
  std::istringstream in(unzipped(path));
  for (std::string line; std::getline(in, line);) {
    if (line.empty()) continue;
    // A recorder that was stopped may leave half a line.
    auto document = Json::parse(line);
    if (document && document->is_object() && document->get_object().contains("t"))
      events.push_back(std::move(document->get_object()));
  }
  if (events.empty()) throw std::runtime_error(path + " holds no events");
  std::ranges::stable_sort(events, {}, [](const json::object& event) { return numberAt(event, "t"); });
  return events;
}

Machine::Machine(std::string scratch, const std::vector<json::object>& events, double hookTime)
    : scratch_(std::move(scratch)), hookTime_(hookTime) {
  std::filesystem::create_directories(real(sessions));
  std::filesystem::create_directories(real(std::string(home) + "/src/app"));
  if (!events.empty()) start_ = numberAt(events.front(), "t");
  now_ = lookedAt_ = foundAt_ = start_;
  for (const json::object& event : events) {
    hasLocks_ = hasLocks_ || textAt(event, "kind") == "lock";
    const json::object* const record = Json::objectAt(event, "r");
    const std::string folder = record == nullptr ? "" : textAt(*record, "cwd");
    if (!folder.empty()) std::filesystem::create_directories(real(folder));
  }
}

std::string Machine::real(const std::string& path) const {
  return scratch_ + path;
}

void Machine::play(const json::object& event) {
  now_ = numberAt(event, "t");
  const std::string kind = textAt(event, "kind");
  // Whatever one look of the recorder found has one time.
  if ((kind == "record" || kind == "transcript") && now_ > foundAt_)
    lookedAt_ = std::exchange(foundAt_, now_);
  if (kind == "hook") {
    if (const auto input = Json::parse(textAt(event, "stdin")); input && input->is_object()) {
      const json::object& object = input->get_object();
      std::string id = textAt(object, "session_id");
      if (id.empty()) id = textAt(object, "sessionId");
      hookAt_[id] = now_;
    }
  }
  if (kind == "record" || kind == "removed") playRecord(event);
  if (kind == "transcript" && event.contains("path")) playTranscript(event);
  if (kind == "proc") playProcess(event);
  if (kind == "agent") playAgent(event);
  if (kind == "lock") {
    const std::string path = std::string(home) + "/" + textAt(event, "path");
    if (isTrue(event, "held"))
      holders_[path] = static_cast<std::int32_t>(numberAt(event, "pid"));
    else
      holders_.erase(path);
    changedFiles_.insert(path);
  }
}

void Machine::playRecord(const json::object& event) {
  const std::string path = sessions + "/" + textAt(event, "file");
  if (textAt(event, "kind") == "removed") {
    remove(path);
    return;
  }
  // The hook wrote after it was called, and after the recorder's last look at the files.
  const json::object* const found = Json::objectAt(event, "r");
  if (found == nullptr) return;
  const json::object& record = *found;
  const auto called = hookAt_.find(textAt(record, "sessionId"));
  const double at = std::clamp(called == hookAt_.end() ? now_ : called->second, lookedAt_, now_);
  write(path, json::serialize(record), std::nullopt, at + hookTime_);
}

void Machine::playTranscript(const json::object& event) {
  const std::string path = std::string(home) + "/" + textAt(event, "path");
  if (isTrue(event, "removed")) {
    remove(path);
    holders_.erase(path);
    return;
  }
  const bool isNew = !std::filesystem::exists(real(path));
  const bool isWhole = isNew || isTrue(event, "rewritten");
  const auto offset = static_cast<std::uint64_t>(numberAt(event, "offset"));
  write(path, textAt(event, "text"), isWhole && offset == 0 ? std::nullopt : std::optional(offset), now_);
  if (!hasLocks_ && isWhole && path.ends_with(".lock")) {
    if (const auto holder = likelyHolder()) holders_[path] = *holder;
  }
}

void Machine::playProcess(const json::object& event) {
  const auto pid = static_cast<std::int32_t>(numberAt(event, "pid"));
  if (!isTrue(event, "alive")) {
    end(pid);
    return;
  }
  const bool isNew = !processes_.contains(pid);
  Process& process = processes_[pid];
  if (isNew) process.fact.startedAt = dateFromSeconds(now_);
  process.fact.parent = static_cast<std::int32_t>(numberAt(event, "ppid"));
  process.fact.name = textAt(event, "comm");
  process.fact.terminal = optionalAt(event, "tty");
  process.command = textAt(event, "cmd");
}

void Machine::playAgent(const json::object& event) {
  const auto pid = static_cast<std::int32_t>(numberAt(event, "pid"));
  if (!isTrue(event, "alive")) {
    end(pid);
    return;
  }
  const bool isNew = !processes_.contains(pid);
  Process& process = processes_[pid];
  if (isNew) {
    process.fact.startedAt = dateFromSeconds(now_ - 0.1);
    process.fact.name = textAt(event, "comm");
  }
  process.fact.terminal = optionalAt(event, "tty");
}

void Machine::end(std::int32_t pid) {
  processes_.erase(pid);
  endedProcesses_.insert(pid);
  std::erase_if(holders_, [&](const auto& entry) { return entry.second == pid; });
}

void Machine::touch(const std::string& path, bool isEntryChanged) {
  changedFiles_.insert(path);
  if (!isEntryChanged) return;
  const std::string parent(Path::parent(path));
  modifiedAt_[parent] = now_;
  changedFiles_.insert(parent);
}

void Machine::write(const std::string& path, const std::string& text, std::optional<std::uint64_t> offset,
                    double at) {
  const std::filesystem::path file = real(path);
  for (std::string parent(Path::parent(path));
       parent.size() > home.size() && !std::filesystem::exists(real(parent));
       parent = std::string(Path::parent(parent)))
    touch(parent, true);
  std::filesystem::create_directories(file.parent_path());
  const bool isNew = !std::filesystem::exists(file);
  if (!offset || isNew) {
    const std::filesystem::path temporary = scratch_ + "/temporary";
    std::ofstream(temporary, std::ios::binary) << text;
    std::filesystem::rename(temporary, file);
  } else {
    const std::uint64_t size = std::filesystem::file_size(file);
    if (*offset < size) std::filesystem::resize_file(file, *offset);
    // What the recorder left out in between is filled with empty lines, so that offsets stay right.
    const std::string leftOut(*offset > size ? *offset - size : 0, '\n');
    std::ofstream(file, std::ios::binary | std::ios::app) << leftOut << text;
  }
  modifiedAt_[path] = at;
  touch(path, !offset || isNew);
}

void Machine::remove(const std::string& path) {
  std::filesystem::remove(real(path));
  modifiedAt_.erase(path);
  touch(path, true);
}

// Older recordings do not say who holds a lock. If there is a daemon, it does. Otherwise it is the client
// that started last.
std::optional<std::int32_t> Machine::likelyHolder() const {
  std::optional<std::int32_t> found;
  bool isDaemon = false;
  Date startedAt;
  for (const auto& [pid, process] : processes_) {
    if (process.fact.name != "codex") continue;
    const bool serves = process.command.find("app-server") != std::string::npos;
    const auto parent = processes_.find(process.fact.parent);
    const bool isChild = parent != processes_.end() && parent->second.fact.name == "codex";
    if (!serves && (isDaemon || isChild)) continue;
    // The daemon starts helpers after itself. Of the clients, the last one opens a session now.
    const bool isLater = process.fact.startedAt > startedAt;
    if (found && serves == isDaemon && isLater == serves) continue;
    found = pid;
    isDaemon = serves;
    startedAt = process.fact.startedAt;
  }
  return found;
}

MonitorFiles Machine::files() {
  const MonitorFiles system = MonitorFiles::ofThisSystem();
  const auto modifiedAt = [this](const std::string& path) {
    const auto at = modifiedAt_.find(path);
    return dateFromSeconds(at == modifiedAt_.end() ? start_ : at->second);
  };
  return {.status = [this, system, modifiedAt](const std::string& path) -> std::optional<FileStatus> {
            std::optional<FileStatus> status = system.status(real(path));
            if (status) status->modifiedAt = modifiedAt(path);
            return status;
          },
          .read = [this, system](const std::string& path, std::uint64_t offset,
                                 std::size_t most) { return system.read(real(path), offset, most); },
          .contents = [this, system, modifiedAt](const std::string& path,
                                                 std::size_t most) -> std::optional<FileContents> {
            std::optional<FileContents> contents = system.contents(real(path), most);
            if (contents) contents->status.modifiedAt = modifiedAt(path);
            return contents;
          },
          .list = [this, system](const std::string& path) { return system.list(real(path)); }};
}

ProcessFacts Machine::processes() {
  const auto find = [this](std::int32_t pid) -> const Process* {
    const auto at = processes_.find(pid);
    return at == processes_.end() ? nullptr : &at->second;
  };
  return {.process = [find](std::int32_t pid) -> std::optional<ProcessFact> {
            const Process* const process = find(pid);
            return process == nullptr ? std::nullopt : std::optional(process->fact);
          },
          .executable = [](std::int32_t) -> std::optional<std::string> { return std::nullopt; },
          .folder = [find](std::int32_t pid) -> std::optional<std::string> {
            return find(pid) == nullptr ? std::nullopt : std::optional(std::string(home) + "/src/app");
          },
          .arguments =
              [find](std::int32_t pid) {
                const Process* const process = find(pid);
                return process == nullptr ? std::vector<std::string>() : words(process->command);
              },
          .children =
              [this](std::int32_t pid) {
                std::vector<std::int32_t> found;
                for (const auto& [child, process] : processes_)
                  if (process.fact.parent == pid) found.push_back(child);
                return found;
              },
          .all =
              [this] {
                std::vector<std::int32_t> found;
                for (const auto& [pid, process] : processes_) found.push_back(pid);
                return found;
              },
          .lockHolder = [this](const std::string& path) -> std::optional<std::int32_t> {
            const auto at = holders_.find(path);
            return at == holders_.end() ? std::nullopt : std::optional(at->second);
          },
          .bootedAt = [this] { return dateFromSeconds(start_ - 1000); }};
}

std::vector<Change> play(const std::vector<json::object>& events, const std::string& scratch,
                         const Playing& how) {
  Machine machine(scratch, events, how.hookTime);
  SessionWatcher::Surroundings surroundings{
      .sessionsDirectory = sessions, .homes = {}, .files = machine.files(), .processes = machine.processes()};
  for (const Agent agent : allAgents) surroundings.homes.push_back(AgentHome::standard(agent, Machine::home));
  SessionWatcher watcher(std::move(surroundings));

  std::vector<Change> changes;
  std::map<std::string, std::string> shown;
  SessionWatcher::Look last;
  const auto look = [&](double at) {
    last = watcher.look(dateFromSeconds(at));
    std::map<std::string, std::string> states;
    for (const ObservedSession& session : last.sessions)
      states[session.record->sessionId] = std::string(rawValue(session.state));
    for (const auto& [session, state] : shown)
      if (!states.contains(session)) changes.push_back({at, session, "gone"});
    for (const auto& [session, state] : states)
      if (!shown.contains(session) || shown[session] != state) changes.push_back({at, session, state});
    shown = std::move(states);
  };

  // When to look because of a change, or to start.
  std::optional<double> due = std::max(how.from, events.empty() ? 0 : numberAt(events.front(), "t"));
  const auto lookUntil = [&](double at) {
    for (;;) {
      const double planned = last.next ? secondsOf(*last.next) : at;
      const double next = std::min(planned, due.value_or(at));
      if (next >= at) return;
      due.reset();
      look(next);
    }
  };
  for (const json::object& event : events) {
    const double at = numberAt(event, "t");
    lookUntil(at);
    if (how.hide && how.hide(textAt(event, "path"))) continue;
    machine.play(event);
    const std::set<std::string> changedFiles = machine.changedFiles();
    const std::set<std::int32_t> endedProcesses = machine.endedProcesses();
    bool isWoken = false;
    for (const std::string& path : changedFiles)
      isWoken = isWoken || std::ranges::find(last.files, path) != last.files.end();
    for (const std::int32_t pid : endedProcesses) {
      if (std::ranges::find(last.processes, pid) == last.processes.end()) continue;
      watcher.processEnded(pid);
      isWoken = true;
    }
    if (due && *due > at) continue;
    if (isWoken && how.delay == 0) look(at);
    if (isWoken && how.delay > 0) due = at + how.delay;
  }
  return changes;
}

}  // namespace tavrin::recordings
