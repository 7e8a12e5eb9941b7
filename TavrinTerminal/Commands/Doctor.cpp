#include "TavrinTerminal/Commands/Doctor.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>
#include <utility>

#include "TavrinCore/Agents/CodexActivation.hpp"
#include "TavrinCore/Agents/SettingsFile.hpp"
#include "TavrinCore/Hook/HookLog.hpp"
#include "TavrinCore/Monitor/MonitorFiles.hpp"
#include "TavrinCore/Servers/ServerUptime.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinTerminal/AgentSurvey.hpp"
#include "TavrinTerminal/Commands/SettingsReport.hpp"
#include "TavrinTerminal/HookPath.hpp"
#include "TavrinTerminal/JsonObject.hpp"
#include "TavrinTerminal/ShellWord.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/StaleFiles.hpp"
#include "TavrinTerminal/System/CodexServer.hpp"
#include "TavrinTerminal/System/DirectoryWatch.hpp"
#include "TavrinTerminal/System/Executables.hpp"

namespace tavrin::Doctor {

namespace {

std::string connectCommand(Agent agent) {
  return "tavrin connect " + std::string(rawValue(agent));
}

// The version that tavrin-hook carries as a text, "tavrin-hook 0.2.0".
std::optional<std::string> versionOfHook(const std::string& path) {
  constexpr std::size_t largest = 64'000'000;
  constexpr std::string_view name = "tavrin-hook ";
  const std::optional<std::string> bytes = File::contents(path, largest);
  if (!bytes) return std::nullopt;
  for (std::size_t at = bytes->find(name); at != std::string::npos; at = bytes->find(name, at + 1)) {
    constexpr std::size_t longest = 32;
    const std::string text = bytes->substr(at + name.size(), longest);
    if (text.front() < '0' || text.front() > '9') continue;
    if (const auto version = AgentVersion::parse(text.c_str())) return version->text();
  }
  return std::nullopt;
}

class Examination {
 public:
  Examination(const Surroundings& surroundings, const Connect::Machine& machine)
      : surroundings_(surroundings),
        machine_(machine),
        originals_(SettingsFile::defaultOriginals(surroundings.home)) {}

  Report report() {
    checkHook();
    readLogs();
    const std::vector<Agent> all(allAgents.begin(), allAgents.end());
    for (const SurveyedAgent& agent :
         surveyed(all, surroundings_, placesFor(surroundings_, machine_.prefixes)))
      checkAgent(agent);
    if (!isAnyConnected_) find("no agent is connected", "", "tavrin connect");
    checkOriginals();
    checkOwners();
    checkFileSystem();
    checkFiles();
    return std::move(report_);
  }

 private:
  void find(std::string_view what, std::string_view where, std::string fix) {
    report_.findings.push_back(
        {.what = ShownText::clean(what), .where = std::string(where), .fix = std::move(fix)});
  }

  void checkHook() {
    const HookPath::Choice choice = HookPath::choose(machine_.hookCandidates);
    hook_ = choice.path;
    if (hook_.empty()) {
      const std::string place = machine_.hookCandidates.empty() ? "" : machine_.hookCandidates.front();
      find("tavrin-hook is missing, cannot be executed, or is at a path that settings cannot name", place,
           "install Tavrin again");
      return;
    }
    const std::string version = versionOfHook(hook_).value_or("unknown");
    report_.facts.push_back("tavrin-hook " + version + ": " +
                            SettingsReport::shownPath(hook_, surroundings_.home));
    if (version != TAVRIN_VERSION) {
      find("tavrin-hook has the version " + version + " and tavrin has " TAVRIN_VERSION, hook_,
           "install Tavrin again");
    }
    // An agent takes whatever it prints as an answer.
    std::error_code noPlace;
    std::string scratch = std::filesystem::temp_directory_path(noPlace) / "tavrin-doctor-XXXXXX";
    if (noPlace || ::mkdtemp(scratch.data()) == nullptr) return;
    const ChildOutcome outcome = ChildProcess::run(
        {.words = {hook_}, .input = "{}", .environment = std::vector<std::string>{"HOME=" + scratch}});
    std::error_code ignored;
    std::filesystem::remove_all(scratch, ignored);
    if (!outcome.succeeded() || !outcome.output.empty() || !outcome.error.empty())
      find("tavrin-hook is not silent when it is tried", hook_, "install Tavrin again");
  }

  // A log that was full is kept beside the new one. The last event of an agent may be only in that.
  void readLogs() {
    const std::string log = HookLog::defaultURL(surroundings_.home);
    readLog(Path::replacingExtension(log, "1.log"));
    readLog(log);
  }

  // The time of each agent's last line. Lines read "TIME AGENT SESSION EVENT …".
  void readLog(const std::string& path) {
    constexpr std::size_t largest = 4'000'000;
    const std::string text = File::contents(path, largest).value_or("");
    for (std::size_t start = 0; start < text.size();) {
      const std::size_t end = std::min(text.find('\n', start), text.size());
      const std::string line = text.substr(start, end - start);
      start = end + 1;
      const std::size_t space = line.find(' ');
      if (space == std::string::npos) continue;
      const std::size_t wordEnd = std::min(line.find(' ', space + 1), line.size());
      const std::optional<Agent> agent = agentFromRawValue(line.substr(space + 1, wordEnd - space - 1));
      const std::optional<Date> time = Iso8601::parse(line.substr(0, space));
      if (agent && time) lastEvents_[*agent] = *time;
    }
  }

  void checkAgent(const SurveyedAgent& agent) {
    const std::string name(agent.definition->name);
    const Agent which = agent.definition->agent;
    std::string fact = name + ": ";
    if (!agent.isPresent()) {
      report_.facts.push_back(fact + "not on this machine");
      return;
    }
    fact += foundProgram(agent) + ", ";
    const AgentVersions::Fit fit = agent.fit();
    const SettingsFile file(agent.home, originals_);
    const SettingsFile::State state = file.state(hook_, fit.definition);
    seen_.insert(file.path());
    if (state.trouble)
      find(*state.trouble, file.path(), "correct the file, then run \"" + connectCommand(which) + "\"");
    if (fit.refusal && !state.entries.empty()) {
      find(*fit.refusal, file.path(), "tavrin disconnect " + std::string(rawValue(which)));
    }
    const bool isConnected = !state.entries.empty();
    isAnyConnected_ = isAnyConnected_ || isConnected;
    fact += isConnected ? "connected" : "not connected";
    if (isConnected) checkEntries(agent, fit, file, state);
    if (const auto last = lastEvents_.find(which); last != lastEvents_.end()) {
      fact += ", last event " + ServerUptime::label(last->second, surroundings_.now()) + " ago";
    } else if (isConnected) {
      fact += ", no event in the log";
    }
    report_.facts.push_back(std::move(fact));
  }

  static std::string foundProgram(const SurveyedAgent& agent) {
    if (const auto version = agent.version()) return version->text();
    return agent.installations.empty() ? "program not found" : "version unknown";
  }

  // Some clients come with an editor, in a folder that is not searched. Their events show that they work.
  void checkMissingProgram(const std::string& name, Agent agent) {
    constexpr std::chrono::hours lately(7 * 24);
    const std::string what = name + " is connected, but its program was not found, and ";
    const std::string disconnect = "tavrin disconnect " + std::string(rawValue(agent));
    const auto last = lastEvents_.find(agent);
    if (last == lastEvents_.end()) {
      find(what + "the log has no event of it", "",
           "start " + name + " and give it a prompt, or run \"" + disconnect + "\"");
    } else if (last->second + lately <= surroundings_.now()) {
      find(what + "its last event was " + ServerUptime::label(last->second, surroundings_.now()) + " ago", "",
           disconnect);
    }
  }

  // How the registered events differ from what they should be; "" if they are right.
  static std::string differenceOf(const std::vector<SettingsText::Entry>& entries, const SurveyedAgent& agent,
                                  const AgentVersions::Fit& fit) {
    std::vector<std::string> missing;
    for (const auto& event : fit.definition.events) {
      if (std::ranges::find(entries, event.name, &SettingsText::Entry::event) == entries.end())
        missing.emplace_back(event.name);
    }
    const std::string name(agent.definition->name);
    const std::optional<AgentVersion> version = agent.oldestVersion();
    if (missing.empty()) return "the hooks of " + name + " are not those that its version accepts";
    return name + (version ? " " + version->text() : "") + " also reports " +
           SettingsReport::listOf(missing) + ", for which there " +
           (missing.size() == 1 ? "is no hook" : "are no hooks");
  }

  void checkEntries(const SurveyedAgent& agent, const AgentVersions::Fit& fit, const SettingsFile& file,
                    const SettingsFile::State& state) {
    const std::string name(agent.definition->name);
    const Agent which = agent.definition->agent;
    const auto isMissing = [](const SettingsText::Entry& entry) {
      return !Executables::isExecutable(entry.helperPath);
    };
    const auto missing = std::ranges::find_if(state.entries, isMissing);
    if (missing != state.entries.end()) {
      find(name + " runs a tavrin-hook that does not exist", missing->helperPath, connectCommand(which));
    } else if (!file.state(state.entries.front().helperPath, fit.definition).isConnected) {
      find(differenceOf(state.entries, agent, fit), file.path(), connectCommand(which));
    }
    if (agent.installations.empty()) checkMissingProgram(name, which);
    if (const std::string deafness = agent.deafness(); !deafness.empty()) {
      find(deafness, agent.installations.front().executable, "update " + name);
    } else if (agent.needsTrust()) {
      checkTrust(agent, file);
    }
  }

  // Whether a hook of this agent has run since its settings were last written.
  bool hasReportedSince(Agent agent, const std::string& settings) const {
    const auto last = lastEvents_.find(agent);
    const auto status = MonitorFiles::ofThisSystem().status(settings);
    return last != lastEvents_.end() && status && last->second > status->modifiedAt;
  }

  void checkTrust(const SurveyedAgent& agent, const SettingsFile& file) {
    if (agent.installations.empty()) {
      // Codex may be started by another program than "codex". It runs only hooks that it trusts.
      if (hasReportedSince(Agent::codex, file.path())) return;
      find("it is not known whether Codex trusts the hooks, because there is no program \"codex\" to ask",
           file.path(),
           "start Codex and trust the hooks on its screen \"Hooks need review\", or install \"codex\" and "
           "run \"" +
               connectCommand(Agent::codex) + "\"");
      return;
    }
    const std::string& executable = agent.installations.front().executable;
    const CodexAnswer answer =
        CodexServer{.executable = executable, .version = TAVRIN_VERSION, .directory = surroundings_.home}
            .list();
    if (!answer.hooks) {
      find(answer.sentence(), executable, connectCommand(Agent::codex));
    } else if (CodexActivation::tavrinHooks(*answer.hooks).empty()) {
      find("Codex does not list the hooks, so it does not run them", file.path(),
           connectCommand(Agent::codex));
    } else if (!CodexActivation::needingTrust(*answer.hooks).empty()) {
      find("Codex does not trust the hooks, so it does not run them", executable,
           connectCommand(Agent::codex));
    }
  }

  // Files that were connected when the environment was another.
  void checkOriginals() {
    for (const SettingsFile::Original& original : SettingsFile::originalsIn(originals_)) {
      if (seen_.contains(original.path)) continue;
      const SettingsFile file(original.agent, original.path, originals_);
      const SettingsFile::State state = file.state(hook_, AgentDefinition::definition(original.agent));
      const std::string fix = "tavrin disconnect " + std::string(rawValue(original.agent));
      if (state.trouble) {
        find(*state.trouble, original.path, "correct the file, then run \"" + fix + "\"");
      } else if (std::ranges::any_of(state.entries, [](const SettingsText::Entry& entry) {
                   return !Executables::isExecutable(entry.helperPath);
                 })) {
        find("a file that was connected runs a tavrin-hook that does not exist", original.path, fix);
      }
    }
  }

  // A run under sudo leaves files that hooks can no longer write.
  void checkOwners() {
    const std::string sessions = surroundings_.sessionsDirectory();
    const std::string log = HookLog::defaultURL(surroundings_.home);
    for (const std::string& folder : {std::string(Path::parent(sessions)), std::string(Path::parent(log))}) {
      std::error_code error;
      std::filesystem::recursive_directory_iterator entries(folder, error);
      bool isForeign = !isOwn(folder);
      for (; !error && !isForeign && entries != std::filesystem::recursive_directory_iterator();
           entries.increment(error))
        isForeign = !isOwn(entries->path().string());
      if (isForeign) {
        find("files here belong to another user, so hooks cannot write them", folder,
             "sudo chown -R " + std::to_string(::geteuid()) + " " + shellWord(folder));
      }
    }
  }

  static bool isOwn(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 || status.st_uid == ::geteuid();
  }

  void checkFileSystem() {
    const std::string folder = surroundings_.sessionsDirectory();
    const FileDescriptor open = FileDescriptor::open(folder, O_RDONLY | O_DIRECTORY);
    if (!open.isOpen()) {
      if (errno == EACCES && isOwn(folder))
        find("you may not read this folder, so no sessions are shown", folder,
             "chmod u+rwx " + shellWord(folder));
      return;
    }
    if (::flock(open.number(), LOCK_SH | LOCK_NB) != 0 && errno != EWOULDBLOCK) {
      find("this file system has no locks, so records of one session may be lost", folder,
           "keep the home directory on a file system with flock(2)");
    }
    if (isOnRemoteFileSystem(folder)) {
      find(
          "this file system does not report changes that other machines make, so tavrin looks every 10 "
          "seconds",
          folder, "keep the home directory on this machine");
    }
  }

  void checkFiles() {
    for (const StaleFile& file : StaleFiles::find(surroundings_)) {
      switch (file.kind) {
        case StaleFile::Kind::unreadable:
          if (::faccessat(AT_FDCWD, file.path.c_str(), R_OK, AT_EACCESS) != 0) {
            find("you may not read this file, so its session is not shown", file.path,
                 "chmod u+rw " + shellWord(file.path));
          } else {
            find("this file holds no record of a session", file.path, "rm " + shellWord(file.path));
          }
          break;
        case StaleFile::Kind::temporary:
          find("a writer that was killed left this file", file.path, "tavrin doctor --fix");
          break;
        case StaleFile::Kind::deadRecord:
          if (file.isOld) find("the agent of this record is gone", file.path, "tavrin doctor --fix");
          break;
      }
    }
  }

  const Surroundings& surroundings_;
  const Connect::Machine& machine_;
  std::string originals_;
  std::string hook_;
  std::map<Agent, Date> lastEvents_;
  std::set<std::string> seen_;
  bool isAnyConnected_ = false;
  Report report_;
};

std::string jsonOf(const std::vector<Finding>& findings) {
  std::vector<std::string> objects;
  for (const Finding& finding : findings) {
    JsonObject object;
    object.text("what", finding.what);
    if (!finding.where.empty()) object.text("where", finding.where);
    object.text("fix", finding.fix);
    objects.push_back(object.finish());
  }
  JsonObject document;
  document.number("version", 1);
  document.list("findings", objects);
  return document.finish() + "\n";
}

std::string textOf(const Report& report, const Surroundings& surroundings, const Console& console) {
  std::string text;
  for (const std::string& fact : report.facts) text += fact + "\n";
  for (const Finding& finding : report.findings) {
    text += "\n" + console.painted("finding: ", Colour::yellow) + finding.what + "\n";
    if (!finding.where.empty())
      text += "  where: " + SettingsReport::shownPath(finding.where, surroundings.home) + "\n";
    text += "  fix: " + ShownText::clean(finding.fix) + "\n";
  }
  if (report.findings.empty()) text += "\nEverything is as it should be\n";
  return text;
}

}  // namespace

Report examine(const Surroundings& surroundings, const Connect::Machine& machine) {
  return Examination(surroundings, machine).report();
}

Outcome run(const Options& options, const Surroundings& surroundings, const Console& console,
            const Connect::Machine& machine) {
  constexpr std::string_view nothing = "nothing was checked";
  if (!surroundings.hasHome())
    return Outcome::failed(std::string(nothing) + ", because " + std::string(noHomeSentence));
  std::string fixed;
  Outcome outcome;
  if (options.fix) {
    if (surroundings.isForeignHome)
      return Outcome::failed(foreignHomeSentence(surroundings, "nothing was fixed"));
    for (const StaleFile& file : StaleFiles::find(surroundings)) {
      if (file.kind == StaleFile::Kind::unreadable || !file.isOld) continue;
      const std::string path = SettingsReport::shownPath(file.path, surroundings.home);
      const std::string reason = StaleFiles::remove(file, surroundings);
      if (reason.empty()) {
        fixed += "removed ";
        fixed += path;
        fixed += '\n';
        continue;
      }
      if (!outcome.error.empty()) outcome.error += '\n';
      outcome.error += path;
      outcome.error += " was not removed: ";
      outcome.error += reason;
      outcome.error += '.';
    }
  }
  const Report report = examine(surroundings, machine);
  if (!report.findings.empty() || !outcome.error.empty()) outcome.status = ExitStatus::failed;
  outcome.output = options.json ? jsonOf(report.findings) : fixed + textOf(report, surroundings, console);
  return outcome;
}

Outcome run(const Options& options, const Surroundings& surroundings, const Console& console) {
  return run(options, surroundings, console, Connect::Machine::ofThisSystem());
}

}  // namespace tavrin::Doctor
