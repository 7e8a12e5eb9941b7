#include "TavrinTerminal/Panel/PanelModel.hpp"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

#include "TavrinCore/Panel/NameOrder.hpp"
#include "TavrinCore/Panel/PanelRows.hpp"
#include "TavrinCore/Panel/ServerPlacement.hpp"
#include "TavrinCore/Support/IndexTable.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/ShownText.hpp"

namespace tavrin {

namespace {

constexpr std::size_t longestFilter = 200;  // bytes

bool contains(const std::string& text, const std::string& lowered) {
  return lowered.empty() || Text::lowerCased(text).find(lowered) != std::string::npos;
}

bool fits(const SessionRow& row, const std::string& lowered) {
  if (lowered.empty()) return true;
  const Session& record = *row.session.record;
  std::string text = row.label;
  for (const std::string_view part : {displayName(record.agent), label(row.session.state),
                                      std::string_view(row.tool), std::string_view(row.terminal)}) {
    text += '\n';
    text += part;
  }
  if (record.title) text += '\n' + *record.title;
  return contains(text, lowered);
}

bool fits(const LocalServer& server, const std::string& lowered) {
  return contains(server.displayName() + '\n' + server.allPortsLabel() + '\n' + server.repo.displayName(),
                  lowered);
}

}  // namespace

void PanelModel::takeSessions(std::vector<SessionRow> sessions) {
  if (!sessions_.empty()) sessions = inHeldOrder(std::move(sessions));
  sessions_ = std::move(sessions);
  count();
  rebuild();
}

// Puts each row in the place of its session, and the new ones at the bottom.
std::vector<SessionRow> PanelModel::inHeldOrder(std::vector<SessionRow> sessions) const {
  TextIndex ids(sessions_.size());
  for (const SessionRow& row : sessions_) ids.add(row.session.record->sessionId);
  std::vector<SessionRow*> held(ids.texts().size());
  std::vector<SessionRow*> added;
  for (SessionRow& row : sessions) {
    if (const auto place = ids.find(row.session.record->sessionId)) {
      held[*place] = &row;
    } else {
      added.push_back(&row);
    }
  }
  std::vector<SessionRow> inOrder;
  inOrder.reserve(sessions.size());
  for (SessionRow* const row : held) {
    if (row != nullptr) inOrder.push_back(std::move(*row));
  }
  for (SessionRow* const row : added) inOrder.push_back(std::move(*row));
  return inOrder;
}

void PanelModel::updateSessions(const std::vector<SessionRow>& changed) {
  TextIndex ids(changed.size());
  for (const SessionRow& row : changed) ids.add(row.session.record->sessionId);
  for (SessionRow& row : sessions_) {
    if (const auto place = ids.find(row.session.record->sessionId)) row = changed[*place];
  }
  count();
  rebuild();
}

void PanelModel::count() {
  std::vector<SessionState> states;
  states.reserve(sessions_.size());
  for (const SessionRow& row : sessions_) states.push_back(row.session.state);
  summary_ = SessionAggregator::summaryOfStates(states);
}

void PanelModel::takeServers(std::optional<std::vector<LocalServer>> servers, std::vector<int> unseenPorts) {
  localhost_ =
      servers ? ActivityEmptyContent::Localhost::quiet : ActivityEmptyContent::Localhost::unavailable;
  servers_ = std::move(servers);
  unseenPorts_ = std::move(unseenPorts);
  rebuild();
}

void PanelModel::takeHealth(const std::map<std::string, ServerHealth>& health) {
  health_ = health;
}

void PanelModel::resize(ScreenSize size) {
  size_ = size;
  reveal();
}

void PanelModel::sortAnew() {
  std::vector<PanelRows::Shown> rows;
  rows.reserve(sessions_.size());
  for (const SessionRow& row : sessions_)
    rows.push_back({.session = &*row.session.record, .state = row.session.state});
  sessions_ = NameOrder::arranged(std::move(sessions_), PanelRows::shownOrder(rows));
  rebuild();
}

void PanelModel::rebuild() {
  const std::string lowered = Text::lowerCased(filter_);
  items_.clear();
  shownServers_.clear();
  widths_ = {};
  hiddenIdle_ = 0;
  std::vector<std::size_t> shown;
  PanelRows::Rows rows;
  for (std::size_t i = 0; i < sessions_.size(); ++i) {
    const bool isHidden = hidesIdle_ && sessions_[i].session.state == SessionState::idle;
    hiddenIdle_ += isHidden ? 1 : 0;
    if (isHidden || !fits(sessions_[i], lowered)) continue;
    shown.push_back(i);
    if (servers_ && !servers_->empty()) rows.push_back(&*sessions_[i].session.record);
  }
  ServerPlacement::Placed placed;
  if (servers_ && !servers_->empty()) placed = PanelRows::place(*servers_, rows);

  const auto widen = [](int& width, std::string_view text) {
    width = std::max(width, static_cast<int>(ShownText::width(text)));
  };
  const auto addServer = [&](LocalServer server, bool isOther) {
    ServerWidths& widths = isOther ? widths_.others : widths_.placed;
    widen(widths.name, ShownText::clean(server.displayName()));
    widen(widths.port, server.portLabel(false));
    items_.push_back({.kind = Item::Kind::server, .index = shownServers_.size(), .isOther = isOther});
    shownServers_.push_back(std::move(server));
  };
  for (const std::size_t i : shown) {
    const SessionRow& row = sessions_[i];
    widen(widths_.label, row.label);
    widen(widths_.tool, row.tool);
    widen(widths_.place, row.terminal);
    const std::string& id = row.session.record->sessionId;
    items_.push_back({.kind = Item::Kind::session, .index = i, .isOther = false});
    const auto servers = placed.bySession.find(id);
    if (servers == placed.bySession.end()) continue;
    for (LocalServer& server : servers->second) addServer(std::move(server), false);
  }
  std::erase_if(placed.orphans, [&](const LocalServer& server) { return !fits(server, lowered); });
  // On a panel without rows the ports are named by emptyLines().
  const bool namesPorts =
      !unseenPorts_.empty() && filter_.empty() && (!items_.empty() || !placed.orphans.empty());
  const auto addLine = [this](Item::Kind kind) {
    items_.push_back({.kind = kind, .index = 0, .isOther = true});
  };
  if (!placed.orphans.empty() || namesPorts) addLine(Item::Kind::heading);
  for (LocalServer& server : placed.orphans) addServer(std::move(server), true);
  if (namesPorts) addLine(Item::Kind::unseenPorts);

  // A row that is gone leaves the selection where it was on the screen.
  if (selection_ && !itemOf(*selection_)) selection_.reset();
  if (!selection_ && !items_.empty()) {
    select(selectableFrom(std::min(lastItem_, items_.size() - 1), PanelNavigation::Direction::down));
  }
  const bool isWithoutRow =
      (mode_ == Mode::confirm && selectedServer() == nullptr) || (mode_ == Mode::details && !selection_);
  if (isWithoutRow) mode_ = Mode::list;
  reveal();
}

std::optional<std::size_t> PanelModel::itemOf(const PanelFocus& element) const {
  const auto found = std::ranges::find_if(items_, [&](const Item& item) { return isAt(item, element); });
  if (found == items_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - items_.begin());
}

std::optional<PanelFocus> PanelModel::elementOf(const Item& item) const {
  if (item.kind == Item::Kind::session)
    return PanelFocus::session(sessions_[item.index].session.record->sessionId);
  if (item.kind != Item::Kind::server) return std::nullopt;
  const LocalServer& server = shownServers_[item.index];
  return PanelFocus::server(server.pid, server.port());
}

bool PanelModel::isAt(const Item& item, const PanelFocus& element) const {
  if (item.kind == Item::Kind::session) {
    const std::string* const id = element.sessionId();
    return id != nullptr && *id == sessions_[item.index].session.record->sessionId;
  }
  return item.kind == Item::Kind::server && element.server() != nullptr && elementOf(item) == element;
}

// The item itself, or the nearest in the direction that can be selected, or else the nearest in the other.
// Where there are items, one of them can be.
std::size_t PanelModel::selectableFrom(std::size_t item, PanelNavigation::Direction direction) const {
  const auto at = items_.begin() + static_cast<std::ptrdiff_t>(item);
  const auto below = std::find_if(at, items_.end(), std::mem_fn(&Item::isRow));
  const auto above = std::find_if(std::make_reverse_iterator(at), items_.rend(), std::mem_fn(&Item::isRow));
  const bool goesDown = below != items_.end() && (direction == PanelNavigation::Direction::down ||
                                                  below == at || above == items_.rend());
  return static_cast<std::size_t>((goesDown ? below : above.base() - 1) - items_.begin());
}

std::optional<std::size_t> PanelModel::selectedItem() const {
  return selection_ ? itemOf(*selection_) : std::nullopt;
}

void PanelModel::select(std::size_t item) {
  selection_ = elementOf(items_[item]);
  lastItem_ = item;
}

const SessionRow* PanelModel::selectedSession() const {
  const auto item = selectedItem();
  return item && items_[*item].kind == Item::Kind::session ? &sessions_[items_[*item].index] : nullptr;
}

const LocalServer* PanelModel::selectedServer() const {
  const auto item = selectedItem();
  return item && items_[*item].kind == Item::Kind::server ? &shownServers_[items_[*item].index] : nullptr;
}

// Scrolls as little as needed to have the selected row, and as many rows as fit, on the screen.
void PanelModel::reveal() {
  const auto height = static_cast<std::size_t>(bodyHeight());
  const auto item = selectedItem();
  if (item) {
    lastItem_ = *item;
    // The heading above the first of the other servers comes with it.
    const bool hasHeading = *item > 0 && !items_[*item - 1].isRow() && height > 1;
    top_ = std::min(top_, hasHeading ? *item - 1 : *item);
    // The lines below the last row come with it, too.
    const auto next = std::find_if(items_.begin() + static_cast<std::ptrdiff_t>(*item) + 1, items_.end(),
                                   std::mem_fn(&Item::isRow));
    const std::size_t last = next == items_.end() ? std::min(items_.size() - 1, *item + height - 1) : *item;
    if (last >= top_ + height) top_ = last + 1 - height;
  }
  top_ = std::min(top_, items_.size() - std::min(items_.size(), height));
}

void PanelModel::setMode(Mode mode) {
  mode_ = mode;
  pageTop_ = 0;
  if (mode != Mode::change) connect_.endQuestion();
  say("");
}

void PanelModel::say(std::string message) {
  message_ = std::move(message);
  reveal();
}

// The first line of a page when its last line is on the screen.
std::size_t PanelModel::lastTop() const {
  bool ignored = false;
  const std::size_t all = pageLines(Date(), ignored).size();
  return all - std::min(all, static_cast<std::size_t>(bodyHeight()));
}

void PanelModel::move(PanelNavigation::Direction direction) {
  const bool down = direction == PanelNavigation::Direction::down;
  if (isPage()) {
    pageTop_ = down ? std::min(pageTop_ + 1, lastTop()) : pageTop_ - std::min<std::size_t>(pageTop_, 1);
    return;
  }
  if (mode_ == Mode::agents) {
    connect_.move(direction);
    return;
  }
  std::vector<PanelFocus> elements;
  for (const Item& item : items_) {
    if (auto element = elementOf(item)) elements.push_back(*std::move(element));
  }
  selection_ = PanelNavigation::next(selection_, elements, direction);
  reveal();
}

void PanelModel::movePage(PanelNavigation::Direction direction) {
  const bool down = direction == PanelNavigation::Direction::down;
  const auto item = selectedItem();
  const auto page = static_cast<std::size_t>(bodyHeight());
  if (isPage()) {
    pageTop_ = down ? std::min(pageTop_ + page, lastTop()) : pageTop_ - std::min(pageTop_, page);
  } else if (mode_ == Mode::agents) {
    connect_.moveToEnd(direction);
  } else if (item) {
    const std::size_t target =
        down ? std::min(*item + page, items_.size() - 1) : *item - std::min(*item, page);
    select(selectableFrom(target, direction));
    reveal();
  }
}

void PanelModel::moveToEnd(PanelNavigation::Direction direction) {
  const bool down = direction == PanelNavigation::Direction::down;
  if (isPage()) {
    pageTop_ = down ? lastTop() : 0;
  } else if (mode_ == Mode::agents) {
    connect_.moveToEnd(direction);
  } else if (!items_.empty()) {
    select(down ? selectableFrom(items_.size() - 1, PanelNavigation::Direction::up)
                : selectableFrom(0, PanelNavigation::Direction::down));
    reveal();
  }
}

std::optional<bool> PanelModel::selectAt(int screenRow) {
  constexpr int above = 2;
  const bool hasRows = mode_ == Mode::list || mode_ == Mode::agents;
  if (!hasRows || screenRow < above || screenRow >= above + bodyHeight()) return std::nullopt;
  if (mode_ == Mode::agents) {
    const auto height = static_cast<std::size_t>(bodyHeight());
    const std::size_t top = connect_.selectedRow() - std::min(connect_.selectedRow(), height - 1);
    return connect_.select(top + static_cast<std::size_t>(screenRow - above));
  }
  const std::size_t item = top_ + static_cast<std::size_t>(screenRow - above);
  if (item >= items_.size() || !items_[item].isRow()) return std::nullopt;
  const bool wasSelected = selection_ == elementOf(items_[item]);
  select(item);
  return wasSelected;
}

void PanelModel::toggleIdle() {
  hidesIdle_ = !hidesIdle_;
  rebuild();
}

void PanelModel::typeFilter(std::string_view character) {
  if (filter_.size() + character.size() > longestFilter) return;
  filter_ += character;
  rebuild();
}

void PanelModel::eraseFilter() {
  if (filter_.empty()) {
    endFilter(false);
    return;
  }
  filter_.resize(filter_.size() - Text::lastCharacters(filter_, 1).size());
  rebuild();
}

void PanelModel::endFilter(bool keep) {
  if (!keep) filter_.clear();
  setMode(Mode::list);
  rebuild();
}

void PanelModel::askToStop() {
  if (selectedServer() != nullptr) setMode(Mode::confirm);
}

void PanelModel::askToKill(std::string name) {
  if (mode_ != Mode::list) {
    say(name + " still runs, because it ignores SIGTERM. It was not killed.");
    return;
  }
  stubborn_ = std::move(name);
  setMode(Mode::confirmKill);
}

void PanelModel::askAbout(ConnectScreen::Question question) {
  if (mode_ != Mode::agents) return;
  setMode(Mode::change);
  connect_.ask(std::move(question));
}

void PanelModel::endQuestion() {
  setMode(mode_ == Mode::change ? Mode::agents : Mode::list);
}

void PanelModel::toggleHelp() {
  if (mode_ == Mode::help) {
    setMode(before_);
    return;
  }
  before_ = mode_ == Mode::agents ? Mode::agents : Mode::list;
  setMode(Mode::help);
}

void PanelModel::toggleDetails() {
  const bool canOpen = mode_ == Mode::list && selection_;
  setMode(canOpen ? Mode::details : Mode::list);
}

}  // namespace tavrin
