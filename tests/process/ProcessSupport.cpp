#include "tests/process/ProcessSupport.hpp"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <sstream>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/Path.hpp"

namespace tavrin::test {

std::string sessionWorker() {
  return TAVRIN_SESSION_WORKER;
}

std::string confined() {
  return TAVRIN_CONFINED;
}

Running start(const std::vector<std::string>& words, const Subprocess::Environment& environment) {
  return std::make_unique<Subprocess>(words, environment);
}

Running startHook(const ScratchHome& home) {
  return start({hookExecutable().string()}, {{"HOME", home.string()}});
}

std::string toolStart(std::string_view sessionId, std::string_view toolUseId, std::string_view cwd) {
  boost::json::object event = {{"session_id", sessionId},
                               {"hook_event_name", "PreToolUse"},
                               {"tool_name", "Bash"},
                               {"tool_use_id", toolUseId}};
  if (!cwd.empty()) event["cwd"] = cwd;
  return boost::json::serialize(event);
}

std::optional<Session> stored(const ScratchHome& home, std::string_view sessionId) {
  return SessionFileStore(home.sessions().string()).load(sessionId);
}

std::vector<std::string> temporaries(const std::filesystem::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().extension() == ".tmp") names.push_back(entry.path().filename());
  }
  return names;
}

std::vector<std::string> logLines(const ScratchHome& home) {
  std::istringstream messages(home.logMessages());
  std::vector<std::string> lines;
  for (std::string line; std::getline(messages, line);) lines.push_back(line);
  return lines;
}

bool isStamped(std::string_view line) {
  constexpr std::string_view form = "dddd-dd-ddTdd:dd:ddZ ";
  if (line.size() < form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool isDigit = line[i] >= '0' && line[i] <= '9';
    if (form[i] == 'd' ? !isDigit : line[i] != form[i]) return false;
  }
  return true;
}

}  // namespace tavrin::test
