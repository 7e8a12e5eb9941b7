#include "TavrinTerminal/CommandTable.hpp"

#include <algorithm>
#include <array>
#include <utility>
#include <variant>

#include "TavrinTerminal/Commands/Completions.hpp"
#include "TavrinTerminal/Commands/Connect.hpp"
#include "TavrinTerminal/Commands/Disconnect.hpp"
#include "TavrinTerminal/Commands/Doctor.hpp"
#include "TavrinTerminal/Commands/Focus.hpp"
#include "TavrinTerminal/Commands/Help.hpp"
#include "TavrinTerminal/Commands/List.hpp"
#include "TavrinTerminal/Commands/Panel.hpp"
#include "TavrinTerminal/Commands/Servers.hpp"
#include "TavrinTerminal/Commands/Status.hpp"
#include "TavrinTerminal/Commands/Wait.hpp"
#include "TavrinTerminal/Commands/Watch.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/Notifier.hpp"
#include "TavrinTerminal/System/TerminalFocus.hpp"

namespace tavrin::CommandTable {

namespace {

constexpr std::array<std::string_view, 3> colourChoices = {"auto", "always", "never"};

constexpr std::array<OptionDescription, 3> common = {{
    {.name = "--color",
     .value = "WHEN",
     .help = "colours the output: auto, always or never",
     .kind = WordKind::choice,
     .choices = colourChoices},
    {.name = "--help", .help = "prints the help of the command"},
    {.name = "--version", .help = "prints the version"},
}};

constexpr ArgumentDescription agents = {
    .name = "AGENT",
    .help = "claude, codex, gemini, copilot or grok; without AGENT, all of them",
    .kind = WordKind::agent,
    .isRepeated = true};
constexpr std::array<OptionDescription, 3> connectOptions = {{
    {.name = "--dry-run", .help = "shows what would change as a diff, and changes nothing"},
    {.name = "--yes", .help = "does not ask before files are written; needed without a terminal"},
    {.name = "--here", .help = "moves the hooks of another installation of Tavrin to this one"},
}};
constexpr std::string_view connectDetails =
    R"(Without AGENT it connects every agent on this machine. It adds entries to the agent's settings and changes nothing else in them. It leaves out what the installed version would not accept. Codex is also asked to trust the hooks.

The settings as they were before are kept in "Library/Application Support/Tavrin/originals" below your home directory, until you disconnect. An agent that was never started has no folder for settings yet: start it once, then connect.
)";

constexpr std::array<OptionDescription, 2> disconnectOptions = {{
    {.name = "--dry-run", .help = "shows what would change as a diff, and changes nothing"},
    {.name = "--yes", .help = "does not ask before files are written; needed without a terminal"},
}};

constexpr std::array<OptionDescription, 2> doctorOptions = {{
    {.name = "--json", .help = "prints one JSON document with the findings"},
    {.name = "--fix", .help = "removes leftover files and records of dead agents that are older than a day"},
}};

constexpr std::array<OptionDescription, 1> focusOptions = {{
    {.name = "--next", .help = "goes to the session that has waited for you longest"},
}};
constexpr std::string_view focusDetails =
    R"(Without SESSION it goes to the session that has waited for you longest, or to the only one. It can go to panes of tmux, windows of kitty, panes of WezTerm, and tabs of iTerm2 and Terminal. Where it cannot go, it prints the session's terminal, process and folder.

To bind it to a key in tmux, put this into ~/.tmux.conf:

  bind-key g run-shell "tavrin focus --next"
)";

constexpr std::string_view panelDetails =
    R"(On a terminal, you can leave out the command: tavrin opens the panel. It shows the most important keys. Press ? to see all of them. Rows keep their order until you press r. If no agent is connected and there are no sessions, the panel first shows the list of agents. Press Enter there to see what connecting an agent would change. Press c to see this list at any time. The panel asks the web servers of this machine whether they answer. On a dumb terminal and in a pipe it prints what tavrin list prints.
)";

constexpr std::array<OptionDescription, 2> listOptions = {{
    {.name = "--json", .help = "prints one JSON document"},
    {.name = "--all", .help = "also lists sessions that an application started for itself"},
}};

constexpr std::array<std::string_view, 4> formats = {"plain", "json", "tmux", "waybar"};
constexpr std::array<OptionDescription, 2> statusOptions = {{
    {.name = "--format",
     .value = "FORMAT",
     .help = "prints the line as plain, json, tmux or waybar; plain if this option is missing",
     .kind = WordKind::choice,
     .choices = formats},
    {.name = "--follow", .help = "prints a new line whenever the line changes, until its reader is gone"},
}};
constexpr std::string_view statusDetails =
    R"(For tmux, put this into ~/.tmux.conf:

  set -g status-right '#(tavrin status --format tmux)'
  set -g status-interval 5

With --follow each change shows at once, after a first line that takes tmux up to one interval:

  set -g status-right '#(tavrin status --format tmux --follow)'
  set -g status-interval 5

For waybar, put this into its configuration, and "custom/tavrin" into one of its lists of modules:

  "custom/tavrin": {
    "exec": "tavrin status --format waybar --follow",
    "return-type": "json"
  }

Its class is needsYou, working, idle or none.

For polybar, put this into its configuration, and tavrin into one of its lists of modules:

  [module/tavrin]
  type = custom/script
  exec = tavrin status --follow
  tail = true

For starship, put this into ~/.config/starship.toml:

  [custom.tavrin]
  command = "tavrin status"
  when = true

tavrin changes none of these files itself.
)";

constexpr std::array<std::string_view, 2> waysToNotify = {"desktop", "bell"};
constexpr std::array<OptionDescription, 3> watchOptions = {{
    {.name = "--json", .help = "prints JSON Lines: one object for each change"},
    {.name = "--notify",
     .value = "HOW",
     .help = "notifies you when a session starts to wait for you: desktop (the default) or bell",
     .kind = WordKind::choice,
     .choices = waysToNotify,
     .isValueOptional = true},
    {.name = "--exec",
     .value = "COMMAND",
     .help = "runs a command line in /bin/sh for each change",
     .kind = WordKind::program},
}};
constexpr std::string_view watchDetails =
    R"(It begins with the sessions that are there, and ends when nobody reads its output any more.

--notify shows a desktop notification, or rings the bell if that is not possible. --notify bell always rings the bell of the session's own terminal, and tmux then marks its window. You are not notified about the tmux pane that you are looking at.

The command of --exec runs once for each change after the first look, one at a time, for at most 60 s. Its input is the change as JSON. Its environment holds TAVRIN_CHANGE (appeared, changed or gone), TAVRIN_SESSION, TAVRIN_AGENT, TAVRIN_STATE (needsYou, working or idle) and TAVRIN_LABEL. What it prints goes to standard error.

  tavrin watch --exec '[ "$TAVRIN_STATE" != needsYou ] || paplay bell.wav'
)";

constexpr std::array<std::string_view, 3> awaited = {"needsYou", "idle", "gone"};
constexpr std::array<OptionDescription, 2> waitOptions = {{
    {.name = "--for",
     .value = "STATE",
     .help = "waits for needsYou, idle or gone; for needsYou or idle if this option is missing",
     .kind = WordKind::choice,
     .choices = awaited},
    {.name = "--timeout",
     .value = "TIME",
     .help = "waits no longer than this: a number of seconds, or a number with s, m or h",
     .kind = WordKind::duration},
}};
constexpr std::string_view waitDetails =
    R"(It prints the state that was reached. If SESSION is in the state already, it returns at once. Without SESSION it waits for the next session that comes into the state, and prints the id and the label of that session too, separated by tabs. The status is 1 if SESSION is gone and you did not wait for that, and 3 if the time is up.

  tavrin wait shop --for idle --timeout 10m && make deploy
)";

constexpr std::array<OptionDescription, 1> serversOptions = {{
    {.name = "--json", .help = "prints one JSON document"},
}};
constexpr std::array<OptionDescription, 1> stopOptions = {{
    {.name = "--yes", .help = "does not ask before the server is stopped; needed without a terminal"},
}};
constexpr std::string_view stopDetails =
    R"(The server is asked to end with SIGTERM. If it still runs after 5 s, you are asked whether to kill it. Nothing is signalled if its process is not the one that was listed. Servers in containers are not stopped. Use docker.
)";

constexpr std::array<std::string_view, 3> shells = {"bash", "zsh", "fish"};
constexpr std::array<std::string_view, 3> liveWords = {"sessions", "servers", "agents"};
constexpr std::array<OptionDescription, 1> completionsOptions = {{
    {.name = "--words",
     .value = "KIND",
     .help = "prints the words of a kind instead, one per line: sessions, servers or agents",
     .kind = WordKind::choice,
     .choices = liveWords},
}};
constexpr std::string_view completionsDetails =
    R"~(An installed tavrin has its completions where the shells look for them. For a tavrin that you built yourself:

  bash: eval "$(tavrin completions bash)"     in ~/.bashrc
  zsh:  eval "$(tavrin completions zsh)"      in ~/.zshrc, after compinit
  fish: tavrin completions fish | source      in ~/.config/fish/config.fish
)~";

constexpr std::array<OptionDescription, 1> helpOptions = {{
    {.name = "--man", .help = "prints the source of the manual page tavrin(1)"},
}};

constexpr ArgumentDescription optionalSession = {
    .name = "SESSION",
    .help = "an id, the beginning of one, or the name of a project that only one session has",
    .kind = WordKind::session};
constexpr ArgumentDescription requiredServer = {
    .name = "SERVER", .help = "a port, or PID:PORT", .kind = WordKind::server, .isRequired = true};

// The agents that the arguments name, each once.
std::variant<std::vector<Agent>, Outcome> agentsNamed(const ParsedWords& words) {
  std::vector<Agent> named;
  for (const std::string& word : words.arguments) {
    const std::optional<Agent> agent = agentFromRawValue(word);
    if (!agent) {
      return Outcome::usage("nothing was changed. \"" + ShownText::clean(word) +
                            "\" is not an agent. Name claude, codex, gemini, copilot or grok.");
    }
    if (std::ranges::find(named, *agent) == named.end()) named.push_back(*agent);
  }
  return named;
}

Outcome runConnect(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  auto named = agentsNamed(words);
  if (auto* const wrong = std::get_if<Outcome>(&named)) return *wrong;
  return Connect::run({.agents = std::get<std::vector<Agent>>(std::move(named)),
                       .dryRun = words.has("--dry-run"),
                       .yes = words.has("--yes"),
                       .here = words.has("--here")},
                      surroundings, console);
}

Outcome runDisconnect(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  auto named = agentsNamed(words);
  if (auto* const wrong = std::get_if<Outcome>(&named)) return *wrong;
  return Disconnect::run({.agents = std::get<std::vector<Agent>>(std::move(named)),
                          .dryRun = words.has("--dry-run"),
                          .yes = words.has("--yes")},
                         surroundings, console);
}

Outcome runDoctor(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  return Doctor::run({.json = words.has("--json"), .fix = words.has("--fix")}, surroundings, console);
}

Outcome runFocus(const ParsedWords& words, const Surroundings& surroundings, const Console&) {
  if (words.has("--next") && words.argument())
    return Outcome::usage(
        R"(nothing was brought to the front. Name a session or use --next, not both. See "tavrin help focus".)");
  return Focus::run({.session = words.argument(), .next = words.has("--next")}, surroundings);
}

// With the terminals of this system to ask where sessions are shown. Refers to `surroundings`.
Surroundings withPlaces(const Surroundings& surroundings) {
  Surroundings asking = surroundings;
  if (!asking.places) {
    asking.places = [&surroundings](const std::vector<Session>& sessions) {
      return TerminalFocus::ofThisSystem(surroundings).places(sessions);
    };
  }
  return asking;
}

Outcome runList(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  return List::run({.json = words.has("--json"), .all = words.has("--all")}, withPlaces(surroundings),
                   console);
}

// Lists the sessions where there is no terminal for the panel.
Outcome runPanel(const ParsedWords&, const Surroundings& surroundings, const Console& console) {
  return Panel::run(withPlaces(surroundings), console);
}

Outcome runStatus(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  using StatusLine::Format;
  const auto index = std::ranges::find(formats, words.value("--format").value_or("plain")) - formats.begin();
  return StatusLine::run({.format = static_cast<Format>(index), .follow = words.has("--follow")},
                         surroundings, console);
}

Outcome runWatch(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  Surroundings withNotifier = surroundings;
  if (!withNotifier.makeNotifier) {
    const auto way = words.value("--notify") == "bell" ? Notifier::Way::bell : Notifier::Way::desktop;
    withNotifier.makeNotifier = [&surroundings, way](EventLoop& loop) {
      return Notifier::ofThisSystem(loop, surroundings, way);
    };
  }
  return Watch::run(
      {.json = words.has("--json"), .exec = words.value("--exec"), .notify = words.has("--notify")},
      withNotifier, console);
}

Outcome runWait(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  Wait::Options options = {.session = words.argument(), .what = Wait::For::you, .timeout = {}};
  const std::string state = words.value("--for").value_or("");
  if (state == "needsYou") options.what = Wait::For::needsYou;
  if (state == "idle") options.what = Wait::For::idle;
  if (state == "gone") options.what = Wait::For::gone;
  if (const auto time = words.value("--timeout")) {
    options.timeout = Wait::durationOf(*time);
    if (!options.timeout)
      return Outcome::usage("nothing was waited for. \"" + ShownText::clean(*time) +
                            R"(" is not a time such as 30, 30s, 5m or 2h. See "tavrin help wait".)");
  }
  return Wait::run(options, surroundings, console);
}

Outcome runServers(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  return Servers::list({.json = words.has("--json")}, surroundings, console);
}

Outcome runOpen(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  return Servers::open(*words.argument(), surroundings, console);
}

Outcome runStop(const ParsedWords& words, const Surroundings& surroundings, const Console& console) {
  return Servers::stop({.server = *words.argument(), .yes = words.has("--yes")}, surroundings, console);
}

Outcome runCompletions(const ParsedWords& words, const Surroundings& surroundings, const Console&) {
  if (const auto kind = words.value("--words")) return Completions::words(*kind, surroundings);
  if (const auto shell = words.argument()) return Completions::script(*shell);
  return Outcome::usage(
      "nothing was printed. Name a shell: bash, zsh or fish. See \"tavrin help completions\".");
}

Outcome runHelp(const ParsedWords& words, const Surroundings&, const Console&) {
  if (words.has("--man")) return Outcome::done(Help::manualPage());
  return Help::run(words.argument());
}

constexpr std::array<CommandDescription, 14> table = {{
    {.name = "panel",
     .summary = "shows sessions and servers on the full screen",
     .details = panelDetails,
     .run = runPanel},
    {.name = "connect",
     .summary = "writes the hooks into agents' settings",
     .details = connectDetails,
     .argument = agents,
     .options = connectOptions,
     .run = runConnect},
    {.name = "disconnect",
     .summary = "takes the hooks out of agents' settings",
     .details =
         "Without AGENT it disconnects all agents. It also visits every file that was connected before, "
         "wherever the agents keep their settings now.\n",
     .argument = agents,
     .options = disconnectOptions,
     .run = runDisconnect},
    {.name = "list",
     .summary = "lists sessions, the most urgent first",
     .details = "In a pipe it prints a line for each session, its fields separated by tabs and never "
                "coloured: state, time in that state, project, agent, tool and terminal.\n",
     .options = listOptions,
     .run = runList},
    {.name = "status",
     .summary = "prints the number of sessions in each state, in one line",
     .details = statusDetails,
     .options = statusOptions,
     .run = runStatus},
    {.name = "watch",
     .summary = "prints a line for each change of a session as it happens",
     .details = watchDetails,
     .options = watchOptions,
     .run = runWatch},
    {.name = "wait",
     .summary = "returns when a session needs you, is idle or is gone",
     .details = waitDetails,
     .argument = optionalSession,
     .options = waitOptions,
     .run = runWait},
    {.name = "doctor",
     .summary = "checks every agent and file, and names a command that fixes each finding",
     .details = "The status is 1 if there are findings.\n",
     .options = doctorOptions,
     .run = runDoctor},
    {.name = "focus",
     .summary = "brings a session's terminal to the front",
     .details = focusDetails,
     .argument = optionalSession,
     .options = focusOptions,
     .run = runFocus},
    {.name = "servers",
     .summary = "lists the local servers",
     .details =
         "On a terminal a last line names the ports whose processes you cannot see. In a pipe it prints "
         "a line for each server, its fields separated by tabs and never coloured: name, ports, project, "
         "process id and time since its start.\n",
     .options = serversOptions,
     .run = runServers},
    {.name = "open", .summary = "opens a server in the browser", .argument = requiredServer, .run = runOpen},
    {.name = "stop",
     .summary = "stops a server after asking",
     .details = stopDetails,
     .argument = requiredServer,
     .options = stopOptions,
     .run = runStop},
    {.name = "completions",
     .summary = "prints a completion script for a shell",
     .details = completionsDetails,
     .argument = {.name = "SHELL", .help = "bash, zsh or fish", .kind = WordKind::choice, .choices = shells},
     .options = completionsOptions,
     .run = runCompletions},
    {.name = "help",
     .summary = "explains tavrin or one of its commands",
     .argument = {.name = "COMMAND", .help = "the command to explain", .kind = WordKind::command},
     .options = helpOptions,
     .run = runHelp},
}};

}  // namespace

std::optional<std::string> ParsedWords::value(std::string_view option) const {
  const auto found = options.find(option);
  return found == options.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> ParsedWords::argument(std::size_t index) const {
  return index < arguments.size() ? std::optional(arguments[index]) : std::nullopt;
}

std::span<const CommandDescription> commands() {
  return table;
}

const CommandDescription* command(std::string_view name) {
  const auto found = std::ranges::find(table, name, &CommandDescription::name);
  return found == table.end() ? nullptr : &*found;
}

std::span<const OptionDescription> commonOptions() {
  return common;
}

}  // namespace tavrin::CommandTable
