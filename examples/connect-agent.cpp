// Connects an agent to tavrin-hook the way a panel does it, and disconnects it again.
//
//   connect-agent AGENT HELPER            writes the hooks that run HELPER into the agent's settings file
//   connect-agent codex HELPER ANSWERS    and has Codex trust them; ANSWERS is a folder with the answers
//                                         of an app server, "01-response.json" to the request with the id 1
//   connect-agent AGENT --disconnect      takes them out again
//
// HELPER is where tavrin-hook is installed, a path that ends in "/Tavrin/bin/tavrin-hook". The home directory
// is $HOME.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Agents/AgentDefinition.hpp"
#include "TavrinCore/Agents/AgentPresence.hpp"
#include "TavrinCore/Agents/CodexActivation.hpp"
#include "TavrinCore/Agents/HookSettings.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinCore/Support/Path.hpp"
#include "TavrinCore/Support/PosixError.hpp"
#include "TavrinCore/Support/Uuid.hpp"

namespace {

namespace json = boost::json;

using namespace tavrin;

void say(const std::string& line) {
  std::puts(line.c_str());
}

// A settings file as it was found.
struct SettingsFile {
  std::string path;
  std::optional<std::string> bytes;  // nothing when there is no file yet
  json::object document;
};

// The file that `path` names in the end, as settings are often links into a folder under version control. It
// need not be there.
std::string linkTarget(const std::string& path) {
  std::filesystem::path target = path;
  constexpr int mostLinks = 40;
  for (int i = 0; i < mostLinks; ++i) {
    if (!std::filesystem::is_symlink(target)) return target.string();
    target = target.parent_path() / std::filesystem::read_symlink(target);
  }
  throwPosixError(ELOOP, "follow", path);
}

// A file that is there and cannot be read, or is no JSON object, is left to its user.
SettingsFile readSettings(const std::string& configURL) {
  SettingsFile file{.path = linkTarget(configURL), .bytes = File::contents(configURL), .document = {}};
  if (!file.bytes) {
    if (File::exists(configURL)) throw std::runtime_error("cannot read " + configURL);
    return file;
  }
  std::optional<json::value> document = Json::parse(*file.bytes);
  if (!document || !document->is_object()) throw std::runtime_error("no JSON object in " + configURL);
  file.document = std::move(document->get_object());
  return file;
}

// Puts `text` in the place of the file: readers see the old file or the new one, and what somebody else wrote
// there meanwhile is not overwritten. On failure the file is what it was.
void replace(const SettingsFile& file, std::string_view text) {
  const std::string directory(Path::parent(file.path));
  if (!File::makeDirectories(directory)) throwPosixError(errno, "make directory", directory);

  struct stat status {};
  const mode_t mode = ::stat(file.path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0600U;
  const std::string temporary = Path::joined(directory, "." + Uuid::random() + ".tmp");
  FileDescriptor output = FileDescriptor::open(temporary, O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (!output.isOpen()) throwPosixError(errno, "open", temporary);
  const bool isWritten = File::writeAll(output.number(), text) && ::fchmod(output.number(), mode) == 0 &&
                         ::fsync(output.number()) == 0 && output.closeWritten();
  int code = isWritten ? 0 : errno;
  if (code == 0 && File::contents(file.path) != file.bytes) code = EAGAIN;
  if (code == 0 && std::rename(temporary.c_str(), file.path.c_str()) != 0) code = errno;
  if (code == 0) return;
  ::unlink(temporary.c_str());
  throwPosixError(code, "replace", file.path);
}

void connect(const AgentDefinition& definition, const std::string& helperPath) {
  const SettingsFile file = readSettings(definition.configURL());
  json::object document;
  if (definition.format == HookConfigFormat::hooksBlock) {
    document = HookSettings::merged(file.document, helperPath, definition);
  } else {
    if (file.bytes && !HookSettings::isOwnFile(file.document))
      throw std::runtime_error("somebody else's hooks are in " + file.path);
    document = HookSettings::ownFileDocument(helperPath, definition);
  }
  if (file.bytes && document == file.document) {
    say(std::string(definition.name) + " was connected already");
    return;
  }
  replace(file, Json::print(document));
  say(std::string(definition.name) + " is connected through " + std::string(definition.subtitle));
}

void disconnect(const AgentDefinition& definition) {
  const SettingsFile file = readSettings(definition.configURL());
  if (definition.format == HookConfigFormat::hooksBlock) {
    const json::object document = HookSettings::removed(file.document);
    if (document != file.document) replace(file, Json::print(document));
  } else if (HookSettings::isOwnFile(file.document)) {
    if (::unlink(file.path.c_str()) != 0 && errno != ENOENT) throwPosixError(errno, "remove", file.path);
  }
  say(std::string(definition.name) + " is not connected");
}

// Sends a request to the app server and waits for the answer with its id; nothing when none came. Between
// answers the server sends notifications, which have no id, and it must find its standard input open until it
// has given the last answer.
using Ask = std::function<std::optional<json::value>(const json::object& request)>;

// Stands in for a connection to the app server.
Ask recordedAnswers(const std::string& folder) {
  return [folder](const json::object& request) -> std::optional<json::value> {
    const std::string id = std::to_string(request.at("id").as_int64());
    const std::string number = id.size() < 2 ? "0" + id : id;
    const std::optional<std::string> answer = File::contents(Path::joined(folder, number + "-response.json"));
    return answer ? Json::parse(*answer) : std::nullopt;
  };
}

// Nothing when the server could not be asked, or answered with an error.
std::optional<std::vector<CodexActivation::Hook>> listHooks(const Ask& ask, std::int64_t id) {
  const std::optional<json::value> answer =
      ask(CodexActivation::hooksListRequest(id, {"/Users/dev/src/app"}));
  const json::object* const object = answer ? answer->if_object() : nullptr;
  if (object == nullptr || Json::objectAt(*object, "result") == nullptr) return std::nullopt;
  return CodexActivation::parseHooks(*answer);
}

AgentReadiness activateCodex(const Ask& ask, bool installed) {
  std::int64_t id = 1;
  ask(CodexActivation::initializeRequest(id++, "1.0"));
  std::optional<std::vector<CodexActivation::Hook>> hooks = listHooks(ask, id++);
  if (hooks) {
    const std::vector<CodexActivation::TrustUpdate> updates = CodexActivation::needingTrust(*hooks);
    if (!updates.empty()) {
      say("trusting " + std::to_string(updates.size()) + " hooks");
      ask(CodexActivation::trustRequest(id++, updates));
      hooks = listHooks(ask, id++);
    }
  }
  return CodexActivation::readiness(installed, /*binaryFound=*/true, hooks);
}

std::string shown(const AgentReadiness& readiness) {
  switch (readiness.kind()) {
    case AgentReadiness::Kind::inactive:
      return readiness.reason() + (readiness.fixable() ? " (can be fixed here)" : "");
    case AgentReadiness::Kind::notInstalled:
      return "not connected";
    case AgentReadiness::Kind::checking:
      return "checking";
    case AgentReadiness::Kind::active:
      return "active";
  }
  return {};
}

int run(const std::vector<std::string>& arguments) {
  const std::optional<Agent> agent = arguments.empty() ? std::nullopt : agentFromRawValue(arguments.front());
  if (!agent || arguments.size() < 2 || arguments.size() > 3) {
    say("usage: connect-agent AGENT HELPER [ANSWERS] | connect-agent AGENT --disconnect");
    return 2;
  }
  const AgentDefinition& definition = AgentDefinition::definition(*agent);
  const std::string& helperPath = arguments[1];
  // An agent that was uninstalled may have left its settings.
  if (helperPath == "--disconnect") {
    disconnect(definition);
    return 0;
  }
  if (!AgentPresence::isPresent(definition)) {
    say(AgentPresence::absentLine({std::string(definition.name)}).value_or(""));
    return 1;
  }
  connect(definition, helperPath);
  if (definition.activation == AgentActivation::codexTrust && arguments.size() == 3) {
    const json::object written = readSettings(definition.configURL()).document;
    const bool installed = HookSettings::isInstalled(written, helperPath, definition);
    say("Codex: " + shown(activateCodex(recordedAnswers(arguments[2]), installed)));
  }
  return 0;
}

}  // namespace

int main(int count, char** words) {
  try {
    return run(std::vector<std::string>(words + 1, words + count));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "connect-agent: %s\n", error.what());
    return 1;
  }
}
