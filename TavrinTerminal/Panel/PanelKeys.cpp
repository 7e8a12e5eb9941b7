#include "TavrinTerminal/Panel/PanelKeys.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace tavrin::PanelKeys {

namespace {

using Kind = Key::Kind;

PanelAction movement(const Key& key) {
  switch (key.kind) {
    case Kind::up:
    case Kind::wheelUp:
      return PanelAction::up;
    case Kind::down:
    case Kind::wheelDown:
      return PanelAction::down;
    case Kind::pageUp:
      return PanelAction::pageUp;
    case Kind::pageDown:
      return PanelAction::pageDown;
    case Kind::home:
      return PanelAction::first;
    case Kind::end:
      return PanelAction::last;
    case Kind::redraw:
      return PanelAction::redraw;
    default:
      return PanelAction::nothing;
  }
}

using Letters = std::pair<std::string_view, PanelAction>;

template <std::size_t count>
PanelAction ofLetter(const std::array<Letters, count>& letters, const Key& key) {
  if (key.kind != Kind::character) return PanelAction::nothing;
  const auto* const found = std::ranges::find(letters, key.text, &Letters::first);
  return found == letters.end() ? PanelAction::nothing : found->second;
}

constexpr std::array<Letters, 14> listLetters = {{{"k", PanelAction::up},
                                                  {"j", PanelAction::down},
                                                  {"g", PanelAction::first},
                                                  {"G", PanelAction::last},
                                                  {"o", PanelAction::open},
                                                  {"s", PanelAction::askToStop},
                                                  {"c", PanelAction::toggleAgents},
                                                  {"d", PanelAction::toggleDetails},
                                                  {"i", PanelAction::toggleIdle},
                                                  {"/", PanelAction::startFilter},
                                                  {"?", PanelAction::toggleHelp},
                                                  {"h", PanelAction::toggleHelp},
                                                  {"r", PanelAction::refresh},
                                                  {"q", PanelAction::quit}}};
constexpr std::array<Letters, 6> helpLetters = {{{"k", PanelAction::up},
                                                 {"j", PanelAction::down},
                                                 {"g", PanelAction::first},
                                                 {"G", PanelAction::last},
                                                 {"?", PanelAction::toggleHelp},
                                                 {"q", PanelAction::quit}}};
constexpr std::array<Letters, 8> detailLetters = {{{"k", PanelAction::up},
                                                   {"j", PanelAction::down},
                                                   {"g", PanelAction::first},
                                                   {"G", PanelAction::last},
                                                   {"d", PanelAction::toggleDetails},
                                                   {"o", PanelAction::open},
                                                   {"?", PanelAction::toggleHelp},
                                                   {"q", PanelAction::quit}}};
constexpr std::array<Letters, 9> agentLetters = {{{"k", PanelAction::up},
                                                  {"j", PanelAction::down},
                                                  {"g", PanelAction::first},
                                                  {"G", PanelAction::last},
                                                  {"c", PanelAction::toggleAgents},
                                                  {"d", PanelAction::askToDisconnect},
                                                  {"r", PanelAction::refresh},
                                                  {"?", PanelAction::toggleHelp},
                                                  {"q", PanelAction::quit}}};
constexpr std::array<Letters, 9> changeLetters = {{{"k", PanelAction::up},
                                                   {"j", PanelAction::down},
                                                   {"g", PanelAction::first},
                                                   {"G", PanelAction::last},
                                                   {"y", PanelAction::change},
                                                   {"Y", PanelAction::change},
                                                   {"n", PanelAction::endQuestion},
                                                   {"N", PanelAction::endQuestion},
                                                   {"q", PanelAction::endQuestion}}};
constexpr std::array<Letters, 2> confirmLetters = {{{"y", PanelAction::stop}, {"Y", PanelAction::stop}}};

PanelAction inList(const Key& key) {
  if (key.kind == Kind::enter) return PanelAction::activate;
  if (key.kind == Kind::press) return PanelAction::pick;
  if (key.kind == Kind::escape) return PanelAction::dropFilter;
  const PanelAction letter = ofLetter(listLetters, key);
  return letter == PanelAction::nothing ? movement(key) : letter;
}

PanelAction inFilter(const Key& key) {
  switch (key.kind) {
    case Kind::character:
      return PanelAction::typeFilter;
    case Kind::backspace:
      return PanelAction::eraseFilter;
    case Kind::enter:
      return PanelAction::keepFilter;
    case Kind::escape:
      return PanelAction::dropFilter;
    default:
      return movement(key);
  }
}

PanelAction inHelp(const Key& key) {
  if (key.kind == Kind::escape || key.kind == Kind::enter) return PanelAction::toggleHelp;
  const PanelAction letter = ofLetter(helpLetters, key);
  return letter == PanelAction::nothing ? movement(key) : letter;
}

PanelAction inDetails(const Key& key) {
  if (key.kind == Kind::escape) return PanelAction::toggleDetails;
  if (key.kind == Kind::enter) return PanelAction::activate;
  const PanelAction letter = ofLetter(detailLetters, key);
  return letter == PanelAction::nothing ? movement(key) : letter;
}

PanelAction inAgents(const Key& key) {
  if (key.kind == Kind::escape) return PanelAction::toggleAgents;
  if (key.kind == Kind::enter) return PanelAction::askToConnect;
  if (key.kind == Kind::press) return PanelAction::pick;
  const PanelAction letter = ofLetter(agentLetters, key);
  return letter == PanelAction::nothing ? movement(key) : letter;
}

PanelAction inChange(const Key& key) {
  if (key.kind == Kind::escape) return PanelAction::endQuestion;
  const PanelAction letter = ofLetter(changeLetters, key);
  return letter == PanelAction::nothing ? movement(key) : letter;
}

// Anything but a yes is a no. A click or a wheel is neither.
PanelAction inQuestion(const Key& key, PanelAction yes) {
  if (key.kind == Kind::redraw) return PanelAction::redraw;
  if (key.kind == Kind::press || key.kind == Kind::wheelUp || key.kind == Kind::wheelDown)
    return PanelAction::nothing;
  return ofLetter(confirmLetters, key) == PanelAction::stop ? yes : PanelAction::endQuestion;
}

}  // namespace

PanelAction action(PanelModel::Mode mode, const Key& key) {
  switch (mode) {
    case PanelModel::Mode::list:
      return inList(key);
    case PanelModel::Mode::filter:
      return inFilter(key);
    case PanelModel::Mode::help:
      return inHelp(key);
    case PanelModel::Mode::confirm:
      return inQuestion(key, PanelAction::stop);
    case PanelModel::Mode::confirmKill:
      return inQuestion(key, PanelAction::kill);
    case PanelModel::Mode::details:
      return inDetails(key);
    case PanelModel::Mode::agents:
      return inAgents(key);
    case PanelModel::Mode::change:
      return inChange(key);
  }
  return PanelAction::nothing;
}

}  // namespace tavrin::PanelKeys
