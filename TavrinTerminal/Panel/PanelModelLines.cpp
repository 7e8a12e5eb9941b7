// How the panel's rows, keys and messages become lines.
#include <algorithm>
#include <array>
#include <utility>

#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/Panel/PanelModel.hpp"
#include "TavrinTerminal/Panel/PanelTexts.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/UnseenPorts.hpp"

namespace tavrin {

namespace {

using PanelTexts::gap;
using PanelTexts::KeyHint;
using PanelTexts::widthOf;
using PanelTexts::wrapped;

constexpr int linesAround = 4;  // the summary, the keys, and a rule beside each
constexpr std::string_view otherServers = "Other servers";
constexpr std::string_view noAnswer = "no answer";
constexpr std::string_view connectHint = "No agent is connected. Press c to connect one.";

// The columns of the longest name, state and age.
constexpr int agentWidth = 7;
constexpr int stateWidth = 9;
constexpr int ageWidth = 7;
constexpr int leastLabel = 8;
constexpr int mostTool = 16;
constexpr int mostPlace = 12;
constexpr int mostServer = 24;

PanelRole roleOf(SessionState state) {
  switch (state) {
    case SessionState::needsYou:
      return PanelRole::needsYou;
    case SessionState::working:
      return PanelRole::working;
    case SessionState::idle:
      break;
  }
  return PanelRole::idle;
}

bool isInSeconds(std::string_view age) {
  return age.ends_with('s');
}

}  // namespace

std::vector<std::string> PanelModel::footerTexts() const {
  constexpr int enoughRows = 8;
  const auto most = size_.rows < enoughRows ? std::size_t{1} : std::size_t{3};
  std::string text = message_;
  if (const LocalServer* const server = selectedServer(); mode_ == Mode::confirm && server != nullptr)
    text = "Stop " + ShownText::clean(server->displayName()) + " on port " + std::to_string(server->port()) +
           "? (y/n)";
  if (mode_ == Mode::confirmKill)
    text = stubborn_ + " did not stop within 5 s. Kill it? What it has not saved is lost. (y/n)";
  std::vector<std::string> lines = wrapped(text, size_.columns - 1);
  if (lines.size() > most) {
    // What does not fit ends the last line, where it is cut.
    for (std::size_t i = most; i < lines.size(); ++i) lines[most - 1] += " " + lines[i];
    lines.resize(most);
  }
  return lines;
}

int PanelModel::bodyHeight() const {
  const int footer = std::max(1, static_cast<int>(footerTexts().size()));
  return std::max(size_.rows - linesAround - footer + 1, 1);
}

PanelLine PanelModel::headerLine() const {
  PanelLine line;
  if (mode_ == Mode::agents || mode_ == Mode::change)
    return PanelTexts::line(connect_.title(), PanelRole::strong, size_.columns);
  std::string summary = summary_.statusLine();
  if (hidesIdle_ && hiddenIdle_ > 0) summary += " (hidden)";
  const int width = widthOf(summary);
  line.texts.push_back(
      {.column = 1, .width = size_.columns - 1, .text = std::move(summary), .role = PanelRole::strong});
  if (!filter_.empty() && mode_ != Mode::filter) {
    line.texts.push_back({.column = 1 + width + gap,
                          .width = size_.columns - 1 - width - gap,
                          .text = "/" + filter_,
                          .role = PanelRole::faint});
  }
  return line;
}

PanelLine PanelModel::sessionLine(const SessionRow& row, Date now, bool& showsSeconds) const {
  // The state is always there. Other columns give way to the label when the screen is narrow: the place, the
  // tool, the agent, and the age at last.
  int room = size_.columns - 1 - stateWidth - gap - leastLabel;
  const auto take = [&](int width) {
    const bool hasRoom = width > 0 && room >= width + gap;
    if (hasRoom) room -= width + gap;
    return hasRoom ? width : 0;
  };
  const int age = take(ageWidth);
  const int agent = take(agentWidth);
  const int tool = take(std::min(widths_.tool, mostTool));
  const int place = take(std::min(widths_.place, mostPlace));
  const int labelWidth = std::min(std::max(widths_.label, leastLabel), leastLabel + room);

  PanelLine line;
  int column = 1;
  const auto add = [&](int width, std::string text, PanelRole role, bool right = false) {
    if (width == 0) return;
    line.texts.push_back(
        {.column = column, .width = width, .text = std::move(text), .role = role, .isRightAligned = right});
    column += width + gap;
  };
  const SessionState state = row.session.state;
  const std::string ageText = ageOf(row.session, now);
  showsSeconds = showsSeconds || (age > 0 && isInSeconds(ageText));
  add(labelWidth, row.label, state == SessionState::idle ? PanelRole::plain : PanelRole::strong);
  add(agent, std::string(displayName(row.session.record->agent)), PanelRole::plain);
  add(stateWidth, std::string(label(state)), roleOf(state));
  add(tool, row.tool, PanelRole::plain);
  add(age, ageText, PanelRole::plain, true);
  add(place, row.terminal, PanelRole::faint);
  return line;
}

PanelLine PanelModel::serverLine(const Item& item, Date now, bool& showsSeconds) const {
  constexpr int indent = 3;
  const LocalServer& server = shownServers_[item.index];
  const ServerWidths& widths = item.isOther ? widths_.others : widths_.placed;
  PanelLine line;
  const int room = std::max(size_.columns - indent, 0);
  const int port = std::min(widths.port, room);
  const int name = std::max(std::min({widths.name, mostServer, room - port - gap}), 0);
  const int age = room - name - gap - port >= gap + ageWidth ? ageWidth : 0;
  const std::string up = server.uptimeLabel(now).value_or("");
  showsSeconds = showsSeconds || (age > 0 && isInSeconds(up));
  line.texts.push_back({.column = indent,
                        .width = name,
                        .text = ShownText::clean(server.displayName()),
                        .role = PanelRole::plain});
  line.texts.push_back({.column = indent + name + gap,
                        .width = port,
                        .text = server.portLabel(false),
                        .role = PanelRole::strong});
  line.texts.push_back({.column = indent + name + gap + port + gap,
                        .width = age,
                        .text = up,
                        .role = PanelRole::faint,
                        .isRightAligned = true});
  const auto health = health_.find(server.id());
  const int column = indent + name + gap + port + gap + age + gap;
  if (health != health_.end() && health->second == ServerHealth::notResponding)
    line.texts.push_back({.column = column,
                          .width = size_.columns - column,
                          .text = std::string(noAnswer),
                          .role = PanelRole::alert});
  return line;
}

PanelLine PanelModel::unseenPortsLine() const {
  constexpr int indent = 3;
  PanelLine line;
  const int width = std::max(size_.columns - indent, 0);
  line.texts.push_back({.column = indent,
                        .width = width,
                        .text = UnseenPorts::sentence(unseenPorts_, static_cast<std::size_t>(width)),
                        .role = PanelRole::faint});
  return line;
}

std::vector<PanelLine> PanelModel::emptyLines() const {
  if (!filter_.empty())
    return {PanelTexts::line("Nothing matches the filter.", PanelRole::plain, size_.columns)};
  const ActivityEmptyContent content = {
      .agents = agents_, .localhost = localhost_, .hiddenIdleCount = hiddenIdle_};
  std::vector<PanelLine> lines = {
      PanelTexts::line(std::string(content.title()), PanelRole::strong, size_.columns)};
  const std::string subtitle = content.subtitle().value_or("");
  for (std::string_view rest = subtitle; !rest.empty();) {
    const std::size_t end = rest.find('\n');
    lines.push_back(PanelTexts::line(std::string(rest.substr(0, end)), PanelRole::faint, size_.columns));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  if (agents_.kind() == ActivityEmptyContent::Agents::Kind::off)
    lines.push_back(PanelTexts::line(std::string(connectHint), PanelRole::faint, size_.columns));
  if (!unseenPorts_.empty()) {
    lines.emplace_back();
    lines.push_back(PanelTexts::line(std::string(otherServers), PanelRole::faint, size_.columns));
    lines.push_back(unseenPortsLine());
  }
  return lines;
}

std::vector<PanelLine> PanelModel::helpLines() const {
  constexpr int keyWidth = 12;
  constexpr std::array<std::pair<std::string_view, std::string_view>, 16> keys = {
      {{"\u2191 \u2193, k j", "move up and down"},
       {"PgUp, PgDn", "move by a screen"},
       {"g, G", "go to the first and the last row"},
       {"\u21B5", "go to the terminal of a session, or open a server"},
       {"d", "show all that is known of a row, with the reason of its state"},
       {"o", "open a server in the browser"},
       {"s", "stop a server, after asking"},
       {"i", "hide or show idle sessions"},
       {"/", "show only what matches"},
       {"c", "connect and disconnect agents"},
       {"Esc", "leave the filter, the details, the agents or this help"},
       {"r", "sort rows anew and look for servers"},
       {"Mouse", "select; click again to go there or open; scroll"},
       {"Ctrl-L", "draw the screen anew"},
       {"?", "show or leave this help"},
       {"q", "quit"}}};
  std::vector<PanelLine> lines;
  for (const auto& [key, does] : keys) {
    PanelLine line;
    line.texts.push_back({.column = 1, .width = keyWidth, .text = std::string(key), .role = PanelRole::key});
    line.texts.push_back({.column = 1 + keyWidth,
                          .width = size_.columns - 1 - keyWidth,
                          .text = std::string(does),
                          .role = PanelRole::plain});
    lines.push_back(std::move(line));
  }
  return lines;
}

std::vector<PanelLine> PanelModel::detailLines(Date now, bool& showsSeconds) const {
  constexpr int nameWidth = 10;
  std::vector<PanelLine> lines;
  const auto add = [&](std::string_view name, std::string_view value, PanelRole role = PanelRole::plain) {
    if (value.empty()) return;
    const int width = std::max(size_.columns - 1 - nameWidth, 2);
    bool isFirst = true;
    for (std::string& text : PanelTexts::broken(ShownText::clean(value), width)) {
      PanelLine& line = lines.emplace_back();
      if (std::exchange(isFirst, false))
        line.texts.push_back(
            {.column = 1, .width = nameWidth, .text = std::string(name), .role = PanelRole::faint});
      line.texts.push_back({.column = 1 + nameWidth, .width = width, .text = std::move(text), .role = role});
    }
  };
  const auto timed = [&](std::string_view age) {
    showsSeconds = showsSeconds || isInSeconds(age);
    return std::string(age);
  };
  if (const SessionRow* const row = selectedSession(); row != nullptr) {
    const Session& record = *row->session.record;
    const SessionState state = row->session.state;
    add("Session", row->label, PanelRole::strong);
    add("Agent", AgentDefinition::definition(record.agent).name);
    add("State", std::string(label(state)) + " for " + timed(ageOf(row->session, now)), roleOf(state));
    add("Reason", row->session.reason.empty() ? "as its hooks report" : row->session.reason);
    add("Tool", row->tool);
    add("Title", record.title.value_or(""));
    add("Terminal",
        row->terminal + (row->terminal.empty() || row->reachable ? "" : " (cannot be brought to the front)"));
    add("Folder", record.cwd);
    add("Work tree", record.worktreeName.value_or(""));
    if (record.agentPid > 0) add("Process", std::to_string(record.agentPid));
    add("Id", record.sessionId);
  } else if (const LocalServer* const server = selectedServer(); server != nullptr) {
    add("Server", server->displayName(), PanelRole::strong);
    add("Ports", server->allPortsLabel());
    add("URL", server->url());
    const auto health = health_.find(server->id());
    if (health != health_.end() && health->second != ServerHealth::unknown)
      add("Answers", health->second == ServerHealth::responding ? "yes" : "not within 300 ms");
    add("Up", timed(server->uptimeLabel(now).value_or("")));
    if (!server->repo.root.empty()) add("Project", server->repo.displayName());
    add("Folder", server->cwd);
    add("Command", server->command);
    add("Process", std::to_string(server->pid));
  }
  return lines;
}

PanelLine PanelModel::keysLine() const {
  std::vector<KeyHint> hints;
  if (mode_ == Mode::help || mode_ == Mode::details) {
    hints = {{mode_ == Mode::help ? "?" : "d", "back", 0}, {"q", "quit", 1}};
    if (lastTop() > 0) hints.push_back({"\u2191 \u2193", "scroll", 2});
  } else if (mode_ == Mode::agents || mode_ == Mode::change) {
    hints = connect_.hints();
  } else {
    if (selectedSession() != nullptr) hints.push_back({"\u21B5", "go there", 2});
    if (selectedServer() != nullptr) {
      hints.push_back({"o", "open", 2});
      hints.push_back({"s", "stop", 3});
    }
    if (hidesIdle_ || summary_.idle > 0) hints.push_back({"i", "idle", 6});
    if (!items_.empty() || !filter_.empty()) hints.push_back({"/", "filter", 5});
    if (items_.empty() && filter_.empty()) hints.push_back({"c", "connect agents", 2});
    if (selection_) hints.push_back({"d", "details", 7});
    hints.push_back({"?", "help", 1});
    hints.push_back({"q", "quit", 0});
  }
  return PanelTexts::keys(std::move(hints), size_.columns);
}

std::vector<PanelLine> PanelModel::pageLines(Date now, bool& showsSeconds) const {
  if (mode_ == Mode::help) return helpLines();
  return mode_ == Mode::change ? connect_.change() : detailLines(now, showsSeconds);
}

std::vector<PanelLine> PanelModel::rowLines(Date now, bool& showsSeconds) const {
  const std::optional<std::size_t> selected = selectedItem();
  const std::size_t end = std::min(items_.size(), top_ + static_cast<std::size_t>(bodyHeight()));
  std::vector<PanelLine> lines;
  for (std::size_t i = top_; i < end; ++i) {
    const Item& item = items_[i];
    switch (item.kind) {
      case Item::Kind::session:
        lines.push_back(sessionLine(sessions_[item.index], now, showsSeconds));
        break;
      case Item::Kind::server:
        lines.push_back(serverLine(item, now, showsSeconds));
        break;
      case Item::Kind::heading:
        lines.push_back(PanelTexts::line(std::string(otherServers), PanelRole::faint, size_.columns));
        break;
      case Item::Kind::unseenPorts:
        lines.push_back(unseenPortsLine());
        break;
    }
    lines.back().isSelected = selected == i;
  }
  return lines;
}

// The lines between the rules. There may be more than the screen has room for.
std::vector<PanelLine> PanelModel::bodyLines(Date now, bool& showsSeconds) const {
  std::vector<PanelLine> lines;
  std::size_t top = 0;
  if (isPage()) {
    lines = pageLines(now, showsSeconds);
    top = std::min(pageTop_, lastTop());
  } else if (mode_ == Mode::agents) {
    lines = connect_.rows(size_.columns);
    top =
        connect_.selectedRow() - std::min(connect_.selectedRow(), static_cast<std::size_t>(bodyHeight()) - 1);
  } else {
    return items_.empty() ? emptyLines() : rowLines(now, showsSeconds);
  }
  lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(top));
  return lines;
}

PanelModel::Screen PanelModel::screen(Date now) const {
  Screen screen;
  std::vector<PanelLine>& lines = screen.lines.lines;
  lines.push_back(headerLine());
  lines.push_back({.texts = {}, .isRule = true});
  std::vector<PanelLine> body = bodyLines(now, screen.showsSeconds);
  body.resize(static_cast<std::size_t>(bodyHeight()));
  const auto selected = std::ranges::find_if(body, &PanelLine::isSelected);
  if (selected != body.end())
    screen.lines.cursor = {.row = static_cast<int>(lines.size()) + static_cast<int>(selected - body.begin()),
                           .column = 0};
  std::ranges::move(body, std::back_inserter(lines));
  lines.push_back({.texts = {}, .isRule = true});
  const std::vector<std::string> texts = footerTexts();
  if (mode_ == Mode::filter) {
    const std::string typed = "/" + filter_;
    const int column = std::min(1 + widthOf(typed), size_.columns - 1);
    // What was typed last is what the person looks at.
    std::string_view tail = typed;
    while (1 + widthOf(tail) > size_.columns - 1) tail.remove_prefix(Text::firstCharacters(tail, 1).size());
    screen.lines.cursor = {.row = static_cast<int>(lines.size()), .column = column};
    lines.push_back(PanelTexts::line(std::string(tail), PanelRole::plain, size_.columns));
  } else if (texts.empty()) {
    lines.push_back(keysLine());
  } else {
    for (const std::string& text : texts)
      lines.push_back(PanelTexts::line(text, PanelRole::plain, size_.columns));
  }
  return screen;
}

}  // namespace tavrin
