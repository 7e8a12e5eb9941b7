// What tavrin reads that others write. The first byte says which: "c" for the words of its own command line
// with a zero byte between them; "t", "k" and "w" for what tmux, kitty and WezTerm print; "s" and "S" for the
// lines of Codex's app server, in a conversation that lists and one that trusts; "e" for a process's
// environment as macOS has it.
#include <algorithm>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "TavrinTerminal/Command.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/CodexConversation.hpp"
#include "TavrinTerminal/System/ProcessEnvironment.hpp"
#include "TavrinTerminal/System/TerminalFocus.hpp"
#include "TavrinTerminal/System/TmuxServer.hpp"
#include "fuzz/Laws.hpp"

using namespace tavrin;        // NOLINT(google-build-using-namespace)
using namespace tavrin::fuzz;  // NOLINT(google-build-using-namespace)

namespace {

using CommandTable::OptionDescription;

const OptionDescription* optionOf(const CommandTable::CommandDescription& command, std::string_view name) {
  for (const auto& options : {command.options, CommandTable::commonOptions()}) {
    const auto found = std::ranges::find(options, name, &OptionDescription::name);
    if (found != options.end()) return &*found;
  }
  return nullptr;
}

void checkInvocation(const Command::Invocation& invocation) {
  require(invocation.command != nullptr, "an invocation has a command");
  const auto isOneOf = [](std::span<const std::string_view> choices, const std::string& word) {
    return choices.empty() || std::ranges::find(choices, word) != choices.end();
  };
  for (const auto& [name, value] : invocation.words.options) {
    const OptionDescription* const option = optionOf(*invocation.command, name);
    require(option != nullptr, "the command has the option");
    require(option->value.empty() == value.empty(), "an option has a value if it takes one");
    require(option->value.empty() || isOneOf(option->choices, value), "a value is one of the choices");
  }
  const CommandTable::ArgumentDescription& argument = invocation.command->argument;
  const std::vector<std::string>& arguments = invocation.words.arguments;
  require(arguments.empty() || !argument.name.empty(), "only some commands take arguments");
  require(arguments.size() < 2 || argument.isRepeated, "and only some more than one");
  require(!arguments.empty() || !argument.isRequired, "a required argument is there");
  for (const std::string& word : arguments) require(isOneOf(argument.choices, word), "it is a choice");
}

void checkCommandLine(std::string_view text) {
  std::vector<std::string> words;
  if (!text.empty()) {
    for (const std::string_view word : split(text, '\0')) words.emplace_back(word);
  }
  for (const bool outputIsTerminal : {false, true}) {
    const auto parsed = Command::parse(words, outputIsTerminal);
    if (const auto* const invocation = std::get_if<Command::Invocation>(&parsed)) {
      checkInvocation(*invocation);
      continue;
    }
    const auto& outcome = std::get<Outcome>(parsed);
    const bool isHelp = outcome.status == ExitStatus::done && !outcome.output.empty();
    const bool isWrong =
        outcome.status == ExitStatus::usage && outcome.error.starts_with("nothing was done. ");
    require(isHelp != isWrong, "it is a command, its help, or wrong usage");
    require(ShownText::clean(outcome.error) == outcome.error, "an error has no control characters");
  }
}

void checkTmux(std::string_view output) {
  std::string again;
  const std::vector<TmuxServer::Pane> panes = TmuxServer::parsePanes(output);
  for (const TmuxServer::Pane& pane : panes) {
    for (const std::string& field : {pane.id, pane.tty, pane.session, pane.place})
      require(field.find_first_of(" \n") == std::string::npos, "a field is one word");
    again += pane.id + " " + pane.tty + " " + pane.session + " " + pane.place +
             (pane.isActive ? " 1" : " 0") + (pane.isAttached ? " 1 " : " 0 ") + pane.sessionName + "\n";
  }
  require(TmuxServer::parsePanes(again) == panes, "panes come back from their fields");
  for (const TmuxServer::Client& client : TmuxServer::parseClients(output))
    require(client.tty.starts_with('/'), "a client has a terminal");
}

// The command that brings the terminal /dev/pts/1 of process 100 to the front, after `output`; none when
// nothing was found in it.
std::vector<std::string> focused(std::string_view program, std::string_view variable,
                                 std::string_view output) {
  std::vector<std::vector<std::string>> ran;
  ProcessFacts processes;
  processes.process = [](std::int32_t pid) -> std::optional<ProcessFact> {
    if (pid != 100) return std::nullopt;
    return ProcessFact{.parent = 1, .name = "agent", .startedAt = {}, .terminal = "/dev/pts/1"};
  };
  const TerminalFocus focus({.executable = [&](std::string_view name) -> std::optional<std::string> {
                               return name == program ? std::optional("/bin/" + std::string(name))
                                                      : std::nullopt;
                             },
                             .environment =
                                 [&](std::int32_t) {
                                   return ProcessEnvironment::Variables{{std::string(variable), "/x"}};
                                 },
                             .processes = processes,
                             .run =
                                 [&](const ChildCommand& command) {
                                   ran.push_back(command.words);
                                   ChildOutcome outcome;
                                   outcome.end = ChildOutcome::End::exited;
                                   outcome.status = 0;
                                   outcome.output = output;
                                   return outcome;
                                 }});
  Session session;
  session.agentPid = 100;
  session.tty = "/dev/pts/1";
  const bool isFound = focus.focus(session).kind != TerminalFocus::Result::Kind::unreachable;
  require(ran.size() == (isFound ? 2 : 1), "one call asks, and one more follows if there is such a window");
  return isFound ? ran.back() : std::vector<std::string>();
}

// Its last word ends with a number that the output has.
void checkTerminal(const std::vector<std::string>& command, std::string_view output) {
  if (command.empty()) return;
  const std::string& word = command.back();
  const std::size_t start = word.find_first_of("0123456789");
  require(start != std::string::npos, "a window has a number");
  require(output.find(word.substr(start)) != std::string_view::npos, "which is in the answer");
}

struct Held {
  CodexAnswer answer;
  std::vector<std::string> requests;
  bool operator==(const Held&) const = default;
};

Held held(std::string_view lines, std::size_t pieceSize, bool mayTrust) {
  const CodexServer server = {.executable = "/bin/codex", .version = "1.0.0", .directory = "/h"};
  Held result;
  CodexConversation conversation(server, mayTrust,
                                 [&](std::string_view request) { result.requests.emplace_back(request); });
  conversation.begin();
  for (std::size_t start = 0; start < lines.size(); start += pieceSize) {
    const bool wasOver = conversation.isOver();
    const std::size_t asked = result.requests.size();
    conversation.hear(lines.substr(start, pieceSize));
    require(!wasOver || asked == result.requests.size(), "nothing is asked when it is over");
  }
  result.answer = conversation.answer();
  const bool hasProblem = result.answer.problem != CodexAnswer::Problem::none;
  require(conversation.isOver() == (hasProblem || result.answer.hooks.has_value()),
          "it is over with the hooks or with a problem");
  require(!hasProblem || !result.answer.hooks, "and not with both");
  return result;
}

void checkCodex(std::string_view lines, bool mayTrust) {
  const Held whole = held(lines, std::max<std::size_t>(lines.size(), 1), mayTrust);
  require(whole == held(lines, 7, mayTrust), "it does not matter where the lines are cut");
  require(whole.requests.size() <= (mayTrust ? 4U : 2U), "there are four requests at most");
  for (const std::string& request : whole.requests)
    require(request.find('\n') == request.size() - 1, "a request is a line");
  require(mayTrust || whole.answer.trusted == 0, "listing trusts nothing");
  const std::string sentence = whole.answer.sentence();
  require(ShownText::clean(sentence) == sentence, "the sentence has no control characters");
}

void checkEnvironment(std::string_view bytes) {
  for (const auto& variables : {ProcessEnvironment::parse(bytes), ProcessEnvironment::parseProcArgs(bytes)}) {
    for (const auto& [name, value] : variables) {
      require(!name.empty() && name.find('=') == std::string::npos, "a variable has a name");
      require(bytes.find(name + "=" + value) != std::string_view::npos, "which is there with its value");
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text = textOf(data, size);
  if (text.empty()) return 0;
  const char kind = text.front();
  text.remove_prefix(1);
  if (kind == 'c') checkCommandLine(text);
  if (kind == 't') checkTmux(text);
  if (kind == 'k') checkTerminal(focused("kitty", "KITTY_LISTEN_ON", text), text);
  if (kind == 'w') checkTerminal(focused("wezterm", "WEZTERM_UNIX_SOCKET", text), text);
  if (kind == 's' || kind == 'S') checkCodex(text, kind == 'S');
  if (kind == 'e') checkEnvironment(text);
  return 0;
}
