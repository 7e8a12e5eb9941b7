#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Panel/ActivityEmptyContent.hpp"
#include "TavrinCore/Panel/PanelFocus.hpp"
#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinTerminal/Panel/ConnectScreen.hpp"
#include "TavrinTerminal/Panel/PanelLine.hpp"
#include "TavrinTerminal/SessionRows.hpp"

namespace tavrin {

/// What the panel shows and where the person is in it. It asks nothing of the system: sessions, servers, the
/// size and the time are handed in, lines come out.
///
/// Rows keep their order while the panel is open, so that none moves away from under the person; new sessions
/// go to the bottom. `sortAnew` puts the most urgent first again.
class PanelModel {
 public:
  enum class Mode : std::uint8_t {
    list,
    filter,  ///< the person types what to look for
    help,
    details,      ///< all that is known of the selected row
    confirm,      ///< the person is asked whether to stop the selected server
    confirmKill,  ///< the person is asked whether to kill a server that did not stop
    agents,       ///< the connect screen
    change,       ///< the person is asked about a change that the connect screen shows
  };

  /// The lines of a screen, and whether an age among them is in seconds, so that it is wrong a second later.
  struct Screen {
    PanelLines lines;
    bool showsSeconds = false;
  };

  explicit PanelModel(ScreenSize size = {}) : size_(size) {}

  /// The sessions as they are now, in the order of inShownOrder().
  void takeSessions(std::vector<SessionRow> sessions);
  /// Rows that have changed, of sessions that the panel has; the others are as they were. An id that the
  /// panel does not have is passed over.
  void updateSessions(const std::vector<SessionRow>& changed);
  /// The servers as they are now; nullopt when they could not be listed. Ports whose processes are not
  /// visible are named below the other servers, unless rows are filtered.
  void takeServers(std::optional<std::vector<LocalServer>> servers, std::vector<int> unseenPorts = {});
  /// What is known of the health of servers, by their ids.
  void takeHealth(const std::map<std::string, ServerHealth>& health);
  /// How far the monitoring of agents is, for a panel without rows.
  void takeAgents(ActivityEmptyContent::Agents agents) { agents_ = agents; }
  /// What the connect screen shows.
  void takeStandings(std::vector<AgentStanding> agents) { connect_.takeAgents(std::move(agents)); }
  void resize(ScreenSize size);

  Mode mode() const { return mode_; }
  const std::optional<PanelFocus>& selection() const { return selection_; }
  /// Null unless such a row is selected.
  const SessionRow* selectedSession() const;
  const LocalServer* selectedServer() const;
  const ConnectScreen& connectScreen() const { return connect_; }
  /// All sessions that the panel has, those that it hides included, in held order.
  const std::vector<SessionRow>& sessions() const { return sessions_; }

  void move(PanelNavigation::Direction direction);
  void movePage(PanelNavigation::Direction direction);
  void moveToEnd(PanelNavigation::Direction direction);
  /// Selects the row on a line of the screen. Returns whether it was selected already; nullopt when there is
  /// no row.
  std::optional<bool> selectAt(int screenRow);

  void toggleIdle();
  void sortAnew();
  /// Opens the help, or leaves it for where the person was.
  void toggleHelp();
  /// Opens all that is known of the selected row, if there is one, or leaves it.
  void toggleDetails();
  /// Opens the connect screen, or leaves it.
  void toggleAgents() { setMode(mode_ == Mode::agents ? Mode::list : Mode::agents); }
  void startFilter() { setMode(Mode::filter); }
  void typeFilter(std::string_view character);
  /// Removes the last character; without one the filter ends.
  void eraseFilter();
  /// Goes back to the list; `keep` says whether it stays filtered.
  void endFilter(bool keep);
  const std::string& filter() const { return filter_; }
  /// Asks whether to stop the selected server, if there is one.
  void askToStop();
  /// Asks whether to kill a server that SIGTERM did not stop, unless the person is at something else.
  void askToKill(std::string name);
  /// Shows a change of an agent's settings and asks about it, unless the person has left the connect screen.
  void askAbout(ConnectScreen::Question question);
  /// Goes back to where the question came from.
  void endQuestion();

  /// Shows a message in place of the keys, until the next one or "".
  void say(std::string message);

  Screen screen(Date now) const;

 private:
  // A row of the list.
  struct Item {
    enum class Kind : std::uint8_t { session, server, heading, unseenPorts };
    Kind kind = Kind::session;
    std::size_t index = 0;  // in sessions_ or shownServers_
    bool isOther = false;   // a server that belongs to no shown session

    // Whether the person can go there.
    bool isRow() const { return kind == Kind::session || kind == Kind::server; }
  };
  // The columns that the servers of a group take.
  struct ServerWidths {
    int name = 0;
    int port = 0;
  };
  // The columns that texts of the shown rows take.
  struct Widths {
    int label = 0;
    int tool = 0;
    int place = 0;
    ServerWidths placed;
    ServerWidths others;  // apart, so that they do not move those of sessions
  };

  void setMode(Mode mode);
  std::vector<SessionRow> inHeldOrder(std::vector<SessionRow> sessions) const;
  void count();
  void rebuild();
  void reveal();
  void select(std::size_t item);
  std::optional<std::size_t> selectedItem() const;
  std::optional<std::size_t> itemOf(const PanelFocus& element) const;
  std::optional<PanelFocus> elementOf(const Item& item) const;
  bool isAt(const Item& item, const PanelFocus& element) const;
  std::size_t selectableFrom(std::size_t item, PanelNavigation::Direction direction) const;
  int bodyHeight() const;
  std::vector<std::string> footerTexts() const;
  bool isPage() const { return mode_ == Mode::help || mode_ == Mode::details || mode_ == Mode::change; }
  std::size_t lastTop() const;

  PanelLine sessionLine(const SessionRow& row, Date now, bool& showsSeconds) const;
  PanelLine serverLine(const Item& item, Date now, bool& showsSeconds) const;
  PanelLine headerLine() const;
  PanelLine unseenPortsLine() const;
  PanelLine keysLine() const;
  std::vector<PanelLine> emptyLines() const;
  std::vector<PanelLine> helpLines() const;
  std::vector<PanelLine> detailLines(Date now, bool& showsSeconds) const;
  std::vector<PanelLine> pageLines(Date now, bool& showsSeconds) const;
  std::vector<PanelLine> rowLines(Date now, bool& showsSeconds) const;
  std::vector<PanelLine> bodyLines(Date now, bool& showsSeconds) const;

  ScreenSize size_;
  std::vector<SessionRow> sessions_;  // in held order
  std::optional<std::vector<LocalServer>> servers_;
  std::vector<LocalServer> shownServers_;
  std::vector<int> unseenPorts_;
  ActivityEmptyContent::Agents agents_ = ActivityEmptyContent::Agents::checking();
  ActivityEmptyContent::Localhost localhost_ = ActivityEmptyContent::Localhost::checking;
  SessionSummary summary_;
  std::int64_t hiddenIdle_ = 0;
  ConnectScreen connect_;
  std::map<std::string, ServerHealth> health_;

  Mode mode_ = Mode::list;
  std::string filter_;
  std::string message_;
  bool hidesIdle_ = false;
  std::vector<Item> items_;
  Widths widths_;
  std::optional<PanelFocus> selection_;
  std::size_t lastItem_ = 0;  // where the selection was
  std::size_t top_ = 0;       // the first item on the screen
  std::size_t pageTop_ = 0;   // the first line of a page on the screen
  Mode before_ = Mode::list;  // what the help was opened from
  std::string stubborn_;      // the server that did not stop
};

}  // namespace tavrin
