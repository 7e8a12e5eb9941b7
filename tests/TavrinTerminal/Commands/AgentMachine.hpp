#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/Commands/Connect.hpp"
#include "TavrinTerminal/Commands/Disconnect.hpp"
#include "tests/TavrinTerminal/TestTerminal.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {

/// A machine made up of a home directory with stand-ins for agents, and an installation of Tavrin in it.
class AgentMachine {
 public:
  AgentMachine() {
    program("Tavrin/bin/tavrin-hook", "exit 0");
    environment["PATH"] = at("bin") + ":/usr/bin:/bin";
    surroundings.home = home.string();
    surroundings.now = [] { return testTime; };
    surroundings.environment = [this](std::string_view name) -> std::optional<std::string> {
      const auto found = environment.find(std::string(name));
      return found == environment.end() ? std::nullopt : std::optional(found->second);
    };
    surroundings.processes = ProcessFacts::ofThisSystem();
    machine.hookCandidates = {at("Tavrin/bin/tavrin-hook")};
  }

  std::string at(std::string_view path) const { return (home / path).string(); }
  void folder(std::string_view path) const { std::filesystem::create_directories(home / path); }
  void program(std::string_view path, std::string_view script) const {
    writeFile(home / path, "#!/bin/sh\n" + std::string(script) + "\n");
    ::chmod(at(path).c_str(), 0755);
  }
  /// A client that prints `version`, and leaves a note that it was asked.
  void client(Agent agent, std::string_view version) const {
    const std::string name(rawValue(agent));
    program("bin/" + name,
            "echo asked >> '" + at("asked-" + name) + "'\necho '" + std::string(version) + "'");
  }
  bool wasAsked(Agent agent) const {
    return std::filesystem::exists(home / ("asked-" + std::string(rawValue(agent))));
  }

  /// Codex with an app server that behaves as `mode` says; see stand-ins/codex-app-server.py.
  void codex(std::string_view mode, std::string_view version = "0.169.0") const {
    program("bin/codex", "if [ \"$1\" = --version ]; then echo codex-cli " + std::string(version) +
                             "; exit; fi\nexec python3 '" TAVRIN_STAND_INS "/codex-app-server.py' '" +
                             std::string(mode) + "' '" + (dataDirectory() / "rpc").string() + "' '" +
                             at("codex-log") + "' \"$@\"");
  }

  Outcome connect(Connect::Options options = {}) {
    options.yes = true;
    return connectAsking(std::move(options), {}, false);
  }
  Outcome connectAsking(const Connect::Options& options, std::vector<std::string> answers, bool isTerminal) {
    screen.answers = std::move(answers);
    return Connect::run(options, surroundings, screen.console(isTerminal), machine);
  }
  Outcome disconnect(Disconnect::Options options = {}) {
    options.yes = true;
    return Disconnect::run(options, surroundings, screen.console(false));
  }

  /// Every path below the home directory with what it is: mode and bytes, or where a link leads.
  std::map<std::string, std::string> tree() const {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path())) {
      struct stat status {};
      ::lstat(entry.path().c_str(), &status);
#ifdef __APPLE__
      const timespec& modified = status.st_mtimespec;
#else
      const timespec& modified = status.st_mtim;
#endif
      std::string& what = found[entry.path().lexically_relative(home.path()).string()];
      what = std::to_string(status.st_mode) + " " + std::to_string(modified.tv_sec) + "." +
             std::to_string(modified.tv_nsec) + " ";
      if (entry.is_symlink()) {
        what += std::filesystem::read_symlink(entry.path()).string();
      } else if (entry.is_regular_file()) {
        what += readFile(entry.path());
      }
    }
    return found;
  }

  ScratchHome home;
  std::map<std::string, std::string> environment;
  Surroundings surroundings;
  Connect::Machine machine;
  TestConsole screen;
};

}  // namespace tavrin::test
