#include "TavrinTerminal/System/TmuxServer.hpp"

#include <array>
#include <charconv>

#include "TavrinTerminal/ShellWord.hpp"

namespace tavrin {

namespace {

// Fields that cannot hold a space, and last the one that can. Without "-u" tmux would write "_" for tabs.
constexpr std::string_view paneFormat =
    "#{pane_id} #{pane_tty} #{session_id} #{window_index}.#{pane_index} "
    "#{&&:#{window_active},#{pane_active}} #{session_attached} #{session_name}";
constexpr std::string_view clientFormat =
    "#{client_pid} #{client_tty} #{session_id} #{pane_id} #{client_activity} #{client_flags}";

template <std::size_t Count>
std::optional<std::array<std::string_view, Count>> fieldsOf(std::string_view line) {
  std::array<std::string_view, Count> fields;
  for (std::size_t i = 0; i < Count; ++i) {
    const std::size_t end = i + 1 == Count ? line.size() : line.find(' ');
    if (end == std::string_view::npos) return std::nullopt;
    fields[i] = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
  }
  return fields;
}

template <class Take>
void forEachLine(std::string_view text, Take take) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    take(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

template <class Number>
Number numberIn(std::string_view text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// Whether `flags`, words with commas between them, hold `word`.
bool hasFlag(std::string_view flags, std::string_view word) {
  return ("," + std::string(flags) + ",").find("," + std::string(word) + ",") != std::string::npos;
}

}  // namespace

std::optional<std::string> TmuxServer::socketIn(std::string_view variable) {
  // tmux itself takes what is before the first comma.
  const std::size_t comma = variable.find(',');
  if (comma == std::string_view::npos) return std::nullopt;
  variable = variable.substr(0, comma);
  if (!variable.starts_with('/')) return std::nullopt;
  return std::string(variable);
}

std::vector<TmuxServer::Pane> TmuxServer::parsePanes(std::string_view output) {
  std::vector<Pane> panes;
  forEachLine(output, [&](std::string_view line) {
    const auto fields = fieldsOf<7>(line);
    if (!fields) return;
    const auto& [id, tty, session, place, active, attached, name] = *fields;
    panes.push_back({.id = std::string(id),
                     .tty = std::string(tty),
                     .session = std::string(session),
                     .place = std::string(place),
                     .isActive = active == "1",
                     .isAttached = attached != "0",
                     .sessionName = std::string(name)});
  });
  return panes;
}

std::vector<TmuxServer::Client> TmuxServer::parseClients(std::string_view output) {
  std::vector<Client> clients;
  forEachLine(output, [&](std::string_view line) {
    const auto fields = fieldsOf<6>(line);
    if (!fields || hasFlag((*fields)[5], "control-mode")) return;
    const auto& [pid, tty, session, pane, activity, flags] = *fields;
    if (!tty.starts_with('/')) return;
    clients.push_back({.pid = numberIn<std::int32_t>(pid),
                       .tty = std::string(tty),
                       .session = std::string(session),
                       .pane = std::string(pane),
                       .isFocused = hasFlag(flags, "focused"),
                       .activity = numberIn<std::int64_t>(activity)});
  });
  return clients;
}

ChildOutcome TmuxServer::ask(std::vector<std::string> words) const {
  words.insert(words.begin(), {executable_, "-u", "-S", socket_});
  constexpr std::chrono::seconds timeout(2);
  return run_({.words = std::move(words), .input = "", .timeout = timeout});
}

std::vector<TmuxServer::Pane> TmuxServer::panes() const {
  const ChildOutcome outcome = ask({"list-panes", "-a", "-F", std::string(paneFormat)});
  return outcome.succeeded() ? parsePanes(outcome.output) : std::vector<Pane>();
}

std::vector<TmuxServer::Client> TmuxServer::clients() const {
  const ChildOutcome outcome = ask({"list-clients", "-F", std::string(clientFormat)});
  return outcome.succeeded() ? parseClients(outcome.output) : std::vector<Client>();
}

bool TmuxServer::select(const std::string& pane, const std::string& client) const {
  if (client.empty()) return ask({"select-window", "-t", pane, ";", "select-pane", "-t", pane}).succeeded();
  return ask({"switch-client", "-c", client, "-t", pane}).succeeded();
}

std::string TmuxServer::attachCommand(const std::string& sessionName) const {
  return "tmux -S " + shellWord(socket_) + " attach -t " + shellWord("=" + sessionName);
}

}  // namespace tavrin
