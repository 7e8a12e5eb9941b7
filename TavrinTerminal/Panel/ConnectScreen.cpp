#include "TavrinTerminal/Panel/ConnectScreen.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace tavrin {

namespace {

using PanelTexts::gap;
using PanelTexts::widthOf;

constexpr int nameWidth = 11;     // the longest name
constexpr int versionWidth = 10;  // of three numbers
constexpr int wordWidth = 25;     // the longest word

std::string_view verb(ConnectScreen::Deed deed) {
  switch (deed) {
    case ConnectScreen::Deed::connect:
      return "Connect";
    case ConnectScreen::Deed::renew:
      return "Connect again";
    case ConnectScreen::Deed::disconnect:
      return "Disconnect";
  }
  return "";
}

PanelRole roleOf(const AgentStanding& agent) {
  if (agent.readiness.isActive()) return PanelRole::working;
  if (agent.isConnected && agent.readiness.kind() == AgentReadiness::Kind::inactive && !agent.isTrustUnknown)
    return PanelRole::needsYou;
  return agent.wasStarted ? PanelRole::plain : PanelRole::faint;
}

PanelRole roleOfChange(std::string_view line) {
  if (line.starts_with("---") || line.starts_with("+++")) return PanelRole::strong;
  if (line.starts_with('+')) return PanelRole::working;
  if (line.starts_with('-')) return PanelRole::alert;
  return line.starts_with("@@") ? PanelRole::faint : PanelRole::plain;
}

}  // namespace

void ConnectScreen::takeAgents(std::vector<AgentStanding> agents) {
  if (!agents.empty()) agents_ = std::move(agents);
  selected_ = std::min(selected_, agents_.size() - 1);
}

void ConnectScreen::move(PanelNavigation::Direction direction) {
  const std::size_t count = agents_.size();
  const bool down = direction == PanelNavigation::Direction::down;
  selected_ = (selected_ + (down ? 1 : count - 1)) % count;
}

void ConnectScreen::moveToEnd(PanelNavigation::Direction direction) {
  selected_ = direction == PanelNavigation::Direction::down ? agents_.size() - 1 : 0;
}

std::optional<bool> ConnectScreen::select(std::size_t row) {
  if (row >= agents_.size()) return std::nullopt;
  return std::exchange(selected_, row) == row;
}

std::optional<ConnectScreen::Deed> ConnectScreen::deed() const {
  const AgentStanding& agent = selected();
  if (!agent.wasStarted) return std::nullopt;
  if (!agent.isConnected)
    return agent.readiness.kind() == AgentReadiness::Kind::notInstalled ? std::optional(Deed::connect)
                                                                        : std::nullopt;
  return agent.readiness.fixable() ? Deed::renew : Deed::disconnect;
}

std::string ConnectScreen::title() const {
  if (question_) {
    const auto agent = std::ranges::find(agents_, question_->agent, &AgentStanding::agent);
    return std::string(verb(question_->deed)) + " " + (agent == agents_.end() ? "" : agent->name) + "?";
  }
  const auto connected = std::ranges::count_if(agents_, &AgentStanding::isConnected);
  const auto present = std::ranges::count_if(agents_, &AgentStanding::isPresent);
  if (connected == 0) return "Connect your agents";
  return std::to_string(connected) + " of " + std::to_string(present) +
         (present == 1 ? " agent connected" : " agents connected");
}

std::string ConnectScreen::advice() const {
  const AgentStanding& agent = selected();
  switch (agent.readiness.kind()) {
    case AgentReadiness::Kind::checking:
      return "";
    case AgentReadiness::Kind::inactive:
      return agent.readiness.reason();
    case AgentReadiness::Kind::active:
      return "Its hooks are in " + agent.settings + ".";
    case AgentReadiness::Kind::notInstalled:
      break;
  }
  if (!agent.isPresent) return "Install " + agent.name + ", start it once, then connect it.";
  if (!agent.wasStarted) return "Start " + agent.name + " once, then connect it.";
  return "Enter shows what would be written to " + agent.settings + ". Nothing is written before you agree.";
}

std::vector<PanelLine> ConnectScreen::rows(int columns) const {
  std::vector<PanelLine> lines;
  // The version gives way when the screen is narrow.
  const bool hasVersions = columns >= 1 + nameWidth + gap + versionWidth + gap + wordWidth;
  for (const AgentStanding& agent : agents_) {
    PanelLine& line = lines.emplace_back();
    int column = 1;
    const auto add = [&](int width, std::string text, PanelRole role) {
      line.texts.push_back({.column = column, .width = width, .text = std::move(text), .role = role});
      column += width + gap;
    };
    add(nameWidth, agent.name, agent.wasStarted ? PanelRole::strong : PanelRole::faint);
    if (hasVersions) add(versionWidth, agent.version, PanelRole::faint);
    add(std::min(wordWidth, columns - column), std::string(agent.word()), roleOf(agent));
    line.isSelected = &agent == &selected();
  }
  lines.emplace_back();
  for (std::string& text : PanelTexts::broken(advice(), columns - 1))
    lines.push_back(PanelTexts::line(std::move(text), PanelRole::plain, columns));
  return lines;
}

std::vector<PanelLine> ConnectScreen::change() const {
  std::vector<PanelLine> lines;
  if (!question_) return lines;
  for (std::string_view rest = question_->change; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string text;
    // Tabs indent.
    for (const char c : rest.substr(0, end)) text += c == '\t' ? "    " : std::string(1, c);
    const PanelRole role = roleOfChange(text);
    lines.push_back(PanelTexts::line(text, role, std::max(widthOf(text) + 1, 1)));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return lines;
}

std::vector<PanelTexts::KeyHint> ConnectScreen::hints() const {
  if (question_) return {{"y", "yes", 0}, {"n", "no", 1}, {"\u2191 \u2193", "scroll", 2}};
  std::vector<PanelTexts::KeyHint> hints;
  if (const std::optional<Deed> what = deed()) {
    const bool isEnd = *what == Deed::disconnect;
    hints.push_back({"\u21B5", isEnd ? "disconnect" : *what == Deed::renew ? "connect again" : "connect", 2});
    if (*what == Deed::renew) hints.push_back({"d", "disconnect", 4});
  }
  hints.push_back({"Esc", "sessions", 1});
  hints.push_back({"?", "help", 3});
  hints.push_back({"q", "quit", 0});
  return hints;
}

}  // namespace tavrin
