// How the panel's rows, keys and messages become lines.
#include <algorithm>
#include <array>
#include <utility>

#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/Panel/PanelModel.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin {

namespace {

constexpr int gap = 2;
constexpr int linesAround = 4;  // the summary, the keys, and a rule beside each
constexpr std::string_view otherServers = "Other servers";
constexpr std::string_view connectHint = "No agent is connected. Run \"tavrin connect\".";

// The columns of the longest name, state and age.
constexpr int agentWidth = 7;
constexpr int stateWidth = 9;
constexpr int ageWidth = 7;
constexpr int leastLabel = 8;
constexpr int mostTool = 16;
constexpr int mostPlace = 12;
constexpr int mostServer = 24;

int widthOf(std::string_view text) {
  return static_cast<int>(ShownText::width(text));
}

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

// A text broken at spaces into lines of at most `columns`. A longer word is left to be cut.
std::vector<std::string> wrapped(std::string_view text, int columns) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find(' ');
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!lines.empty() && widthOf(lines.back()) + 1 + widthOf(word) <= columns) {
      lines.back() += ' ';
      lines.back() += word;
    } else {
      lines.emplace_back(word);
    }
  }
  return lines;
}

struct KeyHint {
  std::string_view key;
  std::string_view does;
  int rank;  // those with the highest give way first
};

PanelLine textLine(std::string text, PanelRole role, int columns) {
  PanelLine line;
  line.texts.push_back({.column = 1, .width = columns - 1, .text = std::move(text), .role = role});
  return line;
}

}  // namespace

std::vector<std::string> PanelModel::footerTexts() const {
  constexpr int enoughRows = 8;
  const auto most = size_.rows < enoughRows ? std::size_t{1} : std::size_t{3};
  std::string text = message_;
  if (const LocalServer* const server = selectedServer(); mode_ == Mode::confirm && server != nullptr)
    text = "Stop " + ShownText::clean(server->displayName()) + " on port " + std::to_string(server->port()) +
           "? (y/n)";
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
  add(agent, std::string(displayName(row.session.record.agent)), PanelRole::plain);
  add(stateWidth, std::string(label(state)), roleOf(state));
  add(tool, row.tool, PanelRole::plain);
  add(age, ageText, PanelRole::plain, true);
  add(place, row.terminal, PanelRole::faint);
  return line;
}

PanelLine PanelModel::serverLine(const LocalServer& server, Date now, bool& showsSeconds) const {
  constexpr int indent = 3;
  PanelLine line;
  const int room = std::max(size_.columns - indent, 0);
  const int port = std::min(widths_.port, room);
  const int name = std::max(std::min({widths_.server, mostServer, room - port - gap}), 0);
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
  return line;
}

std::vector<PanelLine> PanelModel::emptyLines() const {
  if (!filter_.empty()) return {textLine("Nothing matches the filter.", PanelRole::plain, size_.columns)};
  const ActivityEmptyContent content = {
      .agents = agents_, .localhost = localhost_, .hiddenIdleCount = hiddenIdle_};
  std::vector<PanelLine> lines = {textLine(std::string(content.title()), PanelRole::strong, size_.columns)};
  const std::string subtitle = content.subtitle().value_or("");
  for (std::string_view rest = subtitle; !rest.empty();) {
    const std::size_t end = rest.find('\n');
    lines.push_back(textLine(std::string(rest.substr(0, end)), PanelRole::faint, size_.columns));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  if (agents_.kind() == ActivityEmptyContent::Agents::Kind::off)
    lines.push_back(textLine(std::string(connectHint), PanelRole::faint, size_.columns));
  return lines;
}

std::vector<PanelLine> PanelModel::helpLines() const {
  constexpr int keyWidth = 12;
  constexpr std::array<std::pair<std::string_view, std::string_view>, 13> keys = {
      {{"\u2191 \u2193, k j", "move up and down"},
       {"PgUp, PgDn", "move by a screen"},
       {"g, G", "go to the first and the last row"},
       {"\u21B5", "go to the terminal of a session, or open a server"},
       {"o", "open a server in the browser"},
       {"s", "stop a server, after asking"},
       {"i", "hide or show idle sessions"},
       {"/", "show only what matches"},
       {"Esc", "leave the filter or this help"},
       {"r", "sort rows anew and look for servers"},
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

PanelLine PanelModel::keysLine() const {
  std::vector<KeyHint> hints;
  if (mode_ == Mode::help) {
    hints = {{"?", "back", 0}, {"q", "quit", 1}};
  } else {
    if (selectedSession() != nullptr) hints.push_back({"\u21B5", "go there", 2});
    if (selectedServer() != nullptr) {
      hints.push_back({"o", "open", 2});
      hints.push_back({"s", "stop", 3});
    }
    if (hidesIdle_ || summary_.idle > 0) hints.push_back({"i", "idle", 5});
    if (!items_.empty() || !filter_.empty()) hints.push_back({"/", "filter", 4});
    hints.push_back({"?", "help", 1});
    hints.push_back({"q", "quit", 0});
  }
  constexpr int between = 3;
  const auto total = [&] {
    int width = 1 - between;
    for (const KeyHint& hint : hints) width += widthOf(hint.key) + 1 + widthOf(hint.does) + between;
    return width;
  };
  while (hints.size() > 1 && total() > size_.columns)
    hints.erase(std::ranges::max_element(hints, {}, &KeyHint::rank));
  PanelLine line;
  int column = 1;
  for (const KeyHint& hint : hints) {
    const int keyWidth = widthOf(hint.key);
    const int width = widthOf(hint.does);
    line.texts.push_back(
        {.column = column, .width = keyWidth, .text = std::string(hint.key), .role = PanelRole::key});
    line.texts.push_back({.column = column + keyWidth + 1,
                          .width = width,
                          .text = std::string(hint.does),
                          .role = PanelRole::plain});
    column += keyWidth + 1 + width + between;
  }
  return line;
}

PanelModel::Screen PanelModel::screen(Date now) const {
  Screen screen;
  std::vector<PanelLine>& lines = screen.lines.lines;
  lines.push_back(headerLine());
  lines.push_back({.texts = {}, .isRule = true});
  const auto height = static_cast<std::size_t>(bodyHeight());
  std::vector<PanelLine> body;
  if (mode_ == Mode::help) {
    body = helpLines();
    body.erase(body.begin(), body.begin() + static_cast<std::ptrdiff_t>(helpTop_));
  } else if (items_.empty()) {
    body = emptyLines();
  } else {
    const std::optional<std::size_t> selected = selectedItem();
    for (std::size_t i = top_; i < std::min(items_.size(), top_ + height); ++i) {
      const Item& item = items_[i];
      switch (item.kind) {
        case Item::Kind::session:
          body.push_back(sessionLine(sessions_[item.index], now, screen.showsSeconds));
          break;
        case Item::Kind::server:
          body.push_back(serverLine(shownServers_[item.index], now, screen.showsSeconds));
          break;
        case Item::Kind::heading:
          body.push_back(textLine(std::string(otherServers), PanelRole::faint, size_.columns));
          break;
      }
      body.back().isSelected = selected == i;
      if (selected == i)
        screen.lines.cursor = {.row = static_cast<int>(lines.size() + body.size()) - 1, .column = 0};
    }
  }
  body.resize(height);
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
    lines.push_back(textLine(std::string(tail), PanelRole::plain, size_.columns));
  } else if (texts.empty()) {
    lines.push_back(keysLine());
  } else {
    for (const std::string& text : texts) lines.push_back(textLine(text, PanelRole::plain, size_.columns));
  }
  return screen;
}

}  // namespace tavrin
