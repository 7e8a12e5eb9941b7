#include "TavrinTerminal/System/TerminalFocus.hpp"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <map>
#include <utility>

#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinTerminal/System/Executables.hpp"

namespace tavrin {

namespace json = boost::json;

namespace {

using Kind = TerminalFocus::Result::Kind;
using Variables = ProcessEnvironment::Variables;

std::string valueOf(const Variables& variables, std::string_view name) {
  const auto found = variables.find(name);
  return found == variables.end() ? "" : found->second;
}

std::vector<std::string> with(std::string program, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), std::move(program));
  return arguments;
}

// Calls `take` with each object in the array under `key`.
template <class Take>
void forEachAt(const json::object& object, std::string_view key, Take take) {
  const json::array* const list = Json::objectsAt(object, key);
  if (list == nullptr) return;
  for (const json::value& element : *list) take(element.get_object());
}

// The id of the kitty window in which `isWanted` holds for a process: "kitty @ ls" lists system windows,
// their tabs, the windows in these, and the processes in front of each.
template <class IsWanted>
std::optional<std::int64_t> kittyWindow(std::string_view output, IsWanted isWanted) {
  const std::optional<json::value> document = Json::parse(output);
  const json::array* const systemWindows = document ? Json::objects(*document) : nullptr;
  std::optional<std::int64_t> found;
  if (systemWindows == nullptr) return found;
  for (const json::value& systemWindow : *systemWindows) {
    forEachAt(systemWindow.get_object(), "tabs", [&](const json::object& tab) {
      forEachAt(tab, "windows", [&](const json::object& window) {
        const json::value* const id = window.if_contains("id");
        if (found || id == nullptr || !id->is_int64()) return;
        const auto look = [&](const json::object& process) {
          const json::value* const pid = process.if_contains("pid");
          if (pid != nullptr && pid->is_int64() && isWanted(pid->get_int64())) found = id->get_int64();
        };
        look(window);
        forEachAt(window, "foreground_processes", look);
      });
    });
  }
  return found;
}

// The pane with the terminal `tty`: "wezterm cli list --format json" lists panes.
std::optional<std::int64_t> wezTermPane(std::string_view output, std::string_view tty) {
  const std::optional<json::value> document = Json::parse(output);
  const json::array* const panes = document ? Json::objects(*document) : nullptr;
  if (panes == nullptr) return std::nullopt;
  for (const json::value& pane : *panes) {
    const json::value* const id = pane.get_object().if_contains("pane_id");
    if (id != nullptr && id->is_int64() && Json::textAt(pane.get_object(), "tty_name") == tty)
      return id->get_int64();
  }
  return std::nullopt;
}

// The pane of a terminal. A linked window's pane is in several sessions. One that a client shows is best.
const TmuxServer::Pane* paneOf(const std::vector<TmuxServer::Pane>& panes, std::string_view tty) {
  const TmuxServer::Pane* best = nullptr;
  for (const TmuxServer::Pane& pane : panes) {
    if (pane.tty == tty && (best == nullptr || (pane.isAttached && !best->isAttached))) best = &pane;
  }
  return best;
}

// The client to show a session in: one that shows it already, else any. Among several, the one with the
// keyboard, else the one that was used last.
const TmuxServer::Client* clientFor(const std::vector<TmuxServer::Client>& clients,
                                    std::string_view session) {
  const auto rank = [&](const TmuxServer::Client& client) {
    return std::tuple(client.session == session, client.isFocused, client.activity);
  };
  const auto best = std::ranges::max_element(clients, {}, rank);
  return best == clients.end() ? nullptr : &*best;
}

std::string tmuxPlace(const TmuxServer::Pane& pane) {
  return "tmux:" + pane.place;
}

}  // namespace

TerminalFocus TerminalFocus::ofThisSystem(const Surroundings& surroundings) {
  const std::string path = surroundings.environment("PATH").value_or("");
  Tools tools{.executable = [path](std::string_view name) { return Executables::find(name, path); },
              .environment = ProcessEnvironment::of,
              .processes = surroundings.processes,
              .run = [](const ChildCommand& command) { return ChildProcess::run(command); }};
#ifdef __APPLE__
  tools.isMac = true;
#endif
  return TerminalFocus(std::move(tools));
}

std::optional<TmuxServer> TerminalFocus::tmuxServer(std::string_view variable) const {
  std::optional<std::string> socket = TmuxServer::socketIn(variable);
  std::optional<std::string> program = socket ? tools_.executable("tmux") : std::nullopt;
  if (!program) return std::nullopt;
  return TmuxServer(*std::move(program), *std::move(socket), tools_.run);
}

std::string TerminalFocus::tmuxVariableOf(std::int32_t pid) const {
  // A tmux inside another is started without the variable, but not by a shell without it.
  constexpr int mostAncestors = 16;
  for (int i = 0; i < mostAncestors && pid > 1; ++i) {
    if (std::string value = valueOf(tools_.environment(pid), "TMUX"); !value.empty()) return value;
    const std::optional<ProcessFact> process = tools_.processes.process(pid);
    if (!process) break;
    pid = process->parent;
  }
  return "";
}

TerminalFocus::Result TerminalFocus::focus(const Session& session) const {
  return focus({.pid = session.agentPid,
                .tty = session.tty.value_or(""),
                .bundleId = session.hostBundleId.value_or("")},
               0);
}

TerminalFocus::Result TerminalFocus::focus(const Target& target, int depth) const {
  constexpr int mostNested = 8;
  const Variables environment = tools_.environment(target.pid);
  if (const std::string tmux = tmuxVariableOf(target.pid); !tmux.empty() && depth < mostNested) {
    if (std::optional<Result> result = focusInTmux(target, tmux, depth)) return *std::move(result);
  }
  if (focusInKitty(target, environment)) return {.kind = Kind::front, .place = "kitty", .advice = ""};
  if (focusInWezTerm(target, environment)) return {.kind = Kind::shown, .place = "WezTerm", .advice = ""};
  if (tools_.isMac) {
    if (std::optional<Result> result = focusOnMac(target)) return *std::move(result);
  }
  return {.kind = Kind::unreachable, .place = target.tty, .advice = ""};
}

std::optional<TerminalFocus::Result> TerminalFocus::focusInTmux(const Target& target,
                                                                const std::string& variable,
                                                                int depth) const {
  const std::optional<TmuxServer> server = tmuxServer(variable);
  if (!server) return std::nullopt;
  const std::vector<TmuxServer::Pane> panes = server->panes();
  const TmuxServer::Pane* const pane = paneOf(panes, target.tty);
  if (pane == nullptr) return std::nullopt;  // the variable was inherited from a terminal around it
  const std::vector<TmuxServer::Client> clients = server->clients();
  const TmuxServer::Client* const client = clientFor(clients, pane->session);
  if (client == nullptr) {
    // Nothing shows the session, but this makes it the pane that shows at the next attach.
    server->select(pane->id, "");
    return Result{.kind = Kind::unreachable,
                  .place = tmuxPlace(*pane),
                  .advice = "No terminal shows it. Run: " + server->attachCommand(pane->sessionName)};
  }
  if (!server->select(pane->id, client->tty)) return std::nullopt;
  Result around = focus({.pid = client->pid, .tty = client->tty, .bundleId = target.bundleId}, depth + 1);
  if (around.kind == Kind::unreachable) around.kind = Kind::shown;
  around.place = tmuxPlace(*pane);
  return around;
}

bool TerminalFocus::focusInKitty(const Target& target, const Variables& environment) const {
  const std::string socket = valueOf(environment, "KITTY_LISTEN_ON");
  const std::optional<std::string> program = socket.empty() ? std::nullopt : tools_.executable("kitty");
  if (!program) return false;
  const auto ask = [&](std::vector<std::string> words) {
    constexpr std::chrono::seconds timeout(2);
    words.insert(words.begin(), {"@", "--to", socket});
    return tools_.run({.words = with(*program, std::move(words)), .input = "", .timeout = timeout});
  };
  const ChildOutcome list = ask({"ls"});
  if (!list.succeeded()) return false;
  const auto window = kittyWindow(list.output, [&](std::int64_t pid) {
    const auto process = tools_.processes.process(static_cast<std::int32_t>(pid));
    return process && !target.tty.empty() && process->terminal == target.tty;
  });
  return window && ask({"focus-window", "--match", "id:" + std::to_string(*window)}).succeeded();
}

bool TerminalFocus::focusInWezTerm(const Target& target, const Variables& environment) const {
  const std::string socket = valueOf(environment, "WEZTERM_UNIX_SOCKET");
  const std::optional<std::string> program = socket.empty() ? std::nullopt : tools_.executable("wezterm");
  if (!program || target.tty.empty()) return false;
  const auto ask = [&](std::vector<std::string> words) {
    constexpr std::chrono::seconds timeout(2);
    // Only these variables, because others of this process may name another server.
    Variables variables;
    for (const std::string_view name : {"HOME", "PATH", "XDG_RUNTIME_DIR", "WEZTERM_UNIX_SOCKET"}) {
      if (const std::string value = valueOf(environment, name); !value.empty())
        variables.emplace(name, value);
    }
    std::vector<std::string> settings;
    settings.reserve(variables.size());
    for (const auto& [name, value] : variables) {
      std::string& setting = settings.emplace_back(name);
      setting.append("=").append(value);
    }
    return tools_.run({.words = with(*program, std::move(words)),
                       .input = "",
                       .environment = std::move(settings),
                       .timeout = timeout});
  };
  const ChildOutcome list = ask({"cli", "list", "--format", "json"});
  const auto pane = list.succeeded() ? wezTermPane(list.output, target.tty) : std::nullopt;
  return pane && ask({"cli", "activate-pane", "--pane-id", std::to_string(*pane)}).succeeded();
}

std::optional<TerminalFocus::Result> TerminalFocus::focusOnMac(const Target& target) const {
  const auto script = [&](std::vector<std::string> arguments) {
    const std::optional<std::string> program = tools_.executable("osascript");
    if (!program || !target.tty.starts_with("/dev/")) return false;
    constexpr std::chrono::seconds timeout(5);
    const ChildOutcome outcome =
        tools_.run({.words = with(*program, std::move(arguments)), .input = "", .timeout = timeout});
    return outcome.succeeded() && outcome.output.starts_with("found");
  };
  if (target.bundleId == "com.googlecode.iterm2" && script(AppleScripts::selectInITerm(target.tty)))
    return Result{.kind = Kind::front, .place = "iTerm2", .advice = ""};
  if (target.bundleId == "com.apple.Terminal" && script(AppleScripts::selectInTerminal(target.tty)))
    return Result{.kind = Kind::front, .place = "Terminal", .advice = ""};
  const std::optional<std::string> open = target.bundleId.empty() ? std::nullopt : tools_.executable("open");
  if (!open) return std::nullopt;
  const ChildOutcome outcome =
      tools_.run({.words = {*open, "-b", target.bundleId}, .input = "", .mayLeaveChildren = true});
  if (!outcome.succeeded()) return std::nullopt;
  return Result{.kind = Kind::application, .place = target.tty, .advice = ""};
}

std::vector<SessionPlace> TerminalFocus::places(const std::vector<Session>& sessions) const {
  std::vector<SessionPlace> places(sessions.size());
  std::map<std::string, std::vector<TmuxServer::Pane>> servers;  // by socket
  for (std::size_t i = 0; i < sessions.size(); ++i) {
    const Session& session = sessions[i];
    if (!session.tty) continue;
    const Variables environment = tools_.environment(session.agentPid);
    const std::optional<TmuxServer> server = tmuxServer(tmuxVariableOf(session.agentPid));
    if (server) {
      const auto [panes, isNew] = servers.try_emplace(server->socket());
      if (isNew) panes->second = server->panes();
      if (const TmuxServer::Pane* const pane = paneOf(panes->second, *session.tty)) {
        places[i].terminal = tmuxPlace(*pane);
        places[i].reachable = std::ranges::any_of(panes->second, &TmuxServer::Pane::isAttached);
        continue;
      }
    }
    places[i].reachable = !valueOf(environment, "KITTY_LISTEN_ON").empty() ||
                          !valueOf(environment, "WEZTERM_UNIX_SOCKET").empty() ||
                          (tools_.isMac && session.hostBundleId.has_value());
  }
  return places;
}

bool TerminalFocus::isInFront(const Session& session) const {
  // The outermost terminal decides: each tmux on the way must show the pane.
  std::int32_t pid = session.agentPid;
  std::string tty = session.tty.value_or("");
  bool isShown = false;
  constexpr int mostNested = 8;
  for (int depth = 0; depth < mostNested; ++depth) {
    const std::optional<TmuxServer> server = tmuxServer(tmuxVariableOf(pid));
    if (!server) return isShown;
    const std::vector<TmuxServer::Pane> panes = server->panes();
    const TmuxServer::Pane* const pane = paneOf(panes, tty);
    if (pane == nullptr) return isShown;
    const std::vector<TmuxServer::Client> clients = server->clients();
    const auto client = std::ranges::find_if(
        clients, [&](const TmuxServer::Client& each) { return each.isFocused && each.pane == pane->id; });
    if (client == clients.end()) return false;
    isShown = true;
    pid = client->pid;
    tty = client->tty;
  }
  return isShown;
}

}  // namespace tavrin
