#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Context/ProcessTree.hpp"

namespace tavrin::test {

/// The processes of a made-up machine, and a list of what was asked about them. It must outlive the table.
struct FakeProcesses {
  struct Process {
    std::int32_t parent = 0;
    std::string name = {};
    std::optional<std::string> longName = {};
    std::optional<std::string> terminal = {};
    std::optional<ProcessTable::Application> application = {};
    std::optional<std::string> executable = {};
  };

  std::map<std::int32_t, Process> processes;
  std::vector<std::string> asked;  ///< one line per question, as "record 100", in order

  ProcessTable table() {
    using Record = ProcessTable::Record;
    return {.record = [this](std::int32_t pid) -> std::optional<Record> {
              const Process* const process = ask("record", pid);
              if (process == nullptr) return std::nullopt;
              return Record{.parent = process->parent, .name = process->name};
            },
            .longName = [this](std::int32_t pid) -> std::optional<std::string> {
              const Process* const process = ask("longName", pid);
              return process == nullptr ? std::nullopt : process->longName;
            },
            .terminal = [this](std::int32_t pid) -> std::optional<std::string> {
              const Process* const process = ask("terminal", pid);
              return process == nullptr ? std::nullopt : process->terminal;
            },
            .application = [this](std::int32_t pid) -> std::optional<ProcessTable::Application> {
              const Process* const process = ask("application", pid);
              return process == nullptr ? std::nullopt : process->application;
            }};
  }

  /// The table of a system where short names are those of threads.
  ProcessTable tableOfThreads() {
    ProcessTable table = this->table();
    table.executable = [this](std::int32_t pid) -> std::optional<std::string> {
      const Process* const process = ask("executable", pid);
      return process == nullptr ? std::nullopt : process->executable;
    };
    return table;
  }

  /// How often a question was asked, about any process.
  std::size_t countOf(const std::string& question) const {
    return static_cast<std::size_t>(std::ranges::count_if(
        asked, [&](const std::string& line) { return line.starts_with(question + " "); }));
  }

 private:
  const Process* ask(const std::string& question, std::int32_t pid) {
    asked.push_back(question + " " + std::to_string(pid));
    const auto found = processes.find(pid);
    return found == processes.end() ? nullptr : &found->second;
  }
};

}  // namespace tavrin::test
