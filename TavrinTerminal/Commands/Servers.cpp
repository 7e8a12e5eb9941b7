#include "TavrinTerminal/Commands/Servers.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <utility>

#include "TavrinCore/Panel/ServerPlacement.hpp"
#include "TavrinCore/Servers/ServerScan.hpp"
#include "TavrinCore/Support/Integer.hpp"
#include "TavrinTerminal/Columns.hpp"
#include "TavrinTerminal/JsonObject.hpp"
#include "TavrinTerminal/ObservedSessions.hpp"
#include "TavrinTerminal/ServerStop.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/UnseenPorts.hpp"

namespace tavrin::Servers {

namespace {

constexpr std::chrono::seconds patience{5};

constexpr std::array<Columns::Heading, 5> headings = {{{.text = "SERVER", .mayBeCut = true},
                                                       {.text = "PORT"},
                                                       {.text = "PROJECT", .mayBeCut = true},
                                                       {.text = "PID"},
                                                       {.text = "UP"}}};

// The session that each server belongs to, by the server's id.
std::map<std::string, std::string> sessionsOf(const std::vector<LocalServer>& servers,
                                              const Surroundings& surroundings) {
  std::map<std::string, std::string> sessions;
  if (!surroundings.hasHome()) return sessions;
  const std::vector<Session> records =
      asObserved(inShownOrder(observedSessions(surroundings), surroundings.home, false));
  for (const auto& [session, placed] : ServerPlacement::place(servers, records).bySession) {
    for (const LocalServer& server : placed) sessions[server.id()] = session;
  }
  return sessions;
}

std::string jsonOf(const LocalServer& server, const std::map<std::string, std::string>& sessions) {
  std::vector<std::string> ports;
  for (const int port : server.ports) ports.push_back(std::to_string(port));
  JsonObject object;
  object.number("pid", server.pid);
  object.list("ports", ports);
  object.text("host", server.host);
  object.text("name", server.displayName());
  object.text("url", server.url());
  object.text("cwd", server.cwd);
  object.text("repoRoot", server.repo.root);
  object.optionalText("worktree", server.repo.worktree);
  if (server.startedAt) object.text("since", Iso8601::text(*server.startedAt));
  const auto session = sessions.find(server.id());
  if (session != sessions.end()) object.text("session", session->second);
  return object.finish();
}

Outcome outcomeOf(const ServerStop::Result& result) {
  if (result.step == ServerStop::Step::stopped) return Outcome::done(result.sentence + "\n");
  return Outcome::failed(result.sentence);
}

Outcome kill(const ServerStop& stop, const std::string& still, const Console& console) {
  if (!console.canAsk()) return Outcome::failed(still + " Run \"tavrin stop\" on a terminal to kill it.");
  if (!console.confirms(stop.name() + " did not stop within 5 s. Kill it? What it has not saved is lost."))
    return {.status = ExitStatus::declined, .output = {}, .error = still + " It was not killed."};
  return outcomeOf(stop.kill(patience));
}

}  // namespace

Found found(const Surroundings& surroundings) {
  ServerListing::Listing listing = surroundings.listeners();
  Found found = {
      .servers = ServerScan::servers(listing.listeners, surroundings.processes, surroundings.now()),
      .unseenPorts = std::move(listing.unseenPorts)};
  std::ranges::sort(found.servers, {},
                    [](const LocalServer& server) { return std::pair(server.port(), server.pid); });
  return found;
}

std::vector<LocalServer> running(const Surroundings& surroundings) {
  return found(surroundings).servers;
}

std::variant<LocalServer, std::string> named(std::string_view word, const std::vector<LocalServer>& servers) {
  const std::size_t colon = word.find(':');
  const auto pid = colon == std::string_view::npos ? std::nullopt : Integer::int32(word.substr(0, colon));
  const auto port = Integer::port(colon == std::string_view::npos ? word : word.substr(colon + 1));
  const std::string shown = "\"" + ShownText::clean(word) + "\"";
  if (!port || (colon != std::string_view::npos && !pid))
    return shown + " is neither a port nor PID:PORT. \"tavrin servers\" lists the servers.";
  std::vector<const LocalServer*> candidates;
  for (const LocalServer& server : servers) {
    const bool hasPort = std::find(server.ports.begin(), server.ports.end(), *port) != server.ports.end();
    if (hasPort && (!pid || server.pid == *pid)) candidates.push_back(&server);
  }
  if (candidates.size() == 1) return *candidates.front();
  if (candidates.empty()) return "there is no server " + shown + ". \"tavrin servers\" lists them.";
  std::string several = shown + " fits several servers. Use one of these:";
  for (const LocalServer* server : candidates)
    several += "\n  " + std::to_string(server->pid) + ":" + std::to_string(*port) + "  " +
               ShownText::clean(server->displayName());
  return several;
}

Outcome list(const Options& options, const Surroundings& surroundings, const Console& console) {
  const auto [servers, unseenPorts] = found(surroundings);
  if (options.json) {
    const std::map<std::string, std::string> sessions = sessionsOf(servers, surroundings);
    std::vector<std::string> objects;
    objects.reserve(servers.size());
    for (const LocalServer& server : servers) objects.push_back(jsonOf(server, sessions));
    JsonObject document;
    document.number("version", 1);
    document.list("servers", objects);
    return Outcome::done(document.finish() + "\n");
  }
  std::string unseen;
  if (console.outputIsTerminal && !unseenPorts.empty()) {
    const auto columns = static_cast<std::size_t>(std::max(console.width, 0));
    const std::string sentence = ShownText::cut(UnseenPorts::sentence(unseenPorts, columns), columns);
    unseen = console.painted(sentence, Colour::dim) + "\n";
  }
  if (servers.empty())
    return {.status = ExitStatus::done, .output = unseen, .error = "there are no local servers."};
  const Date now = surroundings.now();
  std::vector<Columns::Row> rows;
  for (const LocalServer& server : servers) {
    const std::string project = server.repo.root.empty() ? "" : server.repo.displayName();
    rows.push_back({ShownText::clean(server.displayName()), server.allPortsLabel(), ShownText::clean(project),
                    std::to_string(server.pid), server.uptimeLabel(now).value_or("")});
  }
  return Outcome::done(
      Columns::text(headings, rows, console, [](std::size_t, std::size_t) { return Colour::plain; }) +
      unseen);
}

Outcome open(std::string_view word, const Surroundings& surroundings, const Console&) {
  const auto found = named(word, running(surroundings));
  if (const auto* const error = std::get_if<std::string>(&found))
    return Outcome::failed("nothing was opened, because " + *error);
  const auto& server = std::get<LocalServer>(found);
  const std::optional<std::string> problem = surroundings.openInBrowser(server.url());
  if (!problem) return Outcome::done();
  Outcome outcome = Outcome::failed("no browser was opened, because " + *problem + " Open the URL yourself.");
  outcome.output = server.url() + "\n";
  return outcome;
}

Outcome stop(const StopOptions& options, const Surroundings& surroundings, const Console& console) {
  if (surroundings.isForeignHome)
    return Outcome::failed(foreignHomeSentence(surroundings, "nothing was stopped"));
  const auto found = named(options.server, running(surroundings));
  if (const auto* const error = std::get_if<std::string>(&found))
    return Outcome::failed("nothing was stopped, because " + *error);
  const auto& server = std::get<LocalServer>(found);
  const auto held = ServerStop::of(server, surroundings.processes);
  if (const auto* const error = std::get_if<std::string>(&held)) return Outcome::failed(*error);
  const ServerStop& stop = *std::get<std::shared_ptr<ServerStop>>(held);
  if (!options.yes) {
    if (!console.canAsk())
      return Outcome::failed(stop.name() +
                             " was not stopped, because there is no terminal to ask on. Add --yes.");
    if (!console.confirms("Stop " + stop.name() + " (process " + std::to_string(server.pid) + ")?"))
      return {.status = ExitStatus::declined, .output = {}, .error = stop.name() + " was not stopped."};
  }
  const ServerStop::Result result = stop.ask(patience);
  return result.step == ServerStop::Step::stillRuns ? kill(stop, result.sentence, console)
                                                    : outcomeOf(result);
}

}  // namespace tavrin::Servers
