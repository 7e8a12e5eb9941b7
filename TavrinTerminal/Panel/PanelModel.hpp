#pragma once

// Part of TavrinTerminal, which is not installed. Needs nothing but the standard library.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Panel/ActivityEmptyContent.hpp"
#include "TavrinCore/Panel/PanelFocus.hpp"
#include "TavrinCore/Panel/PanelNavigation.hpp"
#include "TavrinCore/Servers/LocalServer.hpp"
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
    confirm,  ///< the person is asked whether to stop the selected server
  };

  /// The lines of a screen, and whether an age among them is in seconds, so that it is wrong a second later.
  struct Screen {
    PanelLines lines;
    bool showsSeconds = false;
  };

  explicit PanelModel(ScreenSize size = {}) : size_(size) {}

  /// The sessions as they are now, in the order of inShownOrder().
  void takeSessions(std::vector<SessionRow> sessions);
  /// The servers as they are now; nullopt when they could not be listed.
  void takeServers(std::optional<std::vector<LocalServer>> servers);
  /// How far the monitoring of agents is, for a panel without rows.
  void takeAgents(ActivityEmptyContent::Agents agents) { agents_ = agents; }
  void resize(ScreenSize size);

  Mode mode() const { return mode_; }
  const std::optional<PanelFocus>& selection() const { return selection_; }
  /// Null unless such a row is selected.
  const SessionRow* selectedSession() const;
  const LocalServer* selectedServer() const;

  void move(PanelNavigation::Direction direction);
  void movePage(PanelNavigation::Direction direction);
  void moveToEnd(PanelNavigation::Direction direction);
  /// Selects the row on a line of the screen. Returns whether it was selected already; nullopt when there is
  /// no row.
  std::optional<bool> selectAt(int screenRow);

  void toggleIdle();
  void sortAnew();
  void toggleHelp() { setMode(mode_ == Mode::help ? Mode::list : Mode::help); }
  void startFilter() { setMode(Mode::filter); }
  void typeFilter(std::string_view character);
  /// Removes the last character; without one the filter ends.
  void eraseFilter();
  /// Goes back to the list; `keep` says whether it stays filtered.
  void endFilter(bool keep);
  const std::string& filter() const { return filter_; }
  /// Asks whether to stop the selected server, if there is one.
  void askToStop();
  /// Goes back to the list.
  void endQuestion() { setMode(Mode::list); }

  /// Shows a message in place of the keys, until the next one or "".
  void say(std::string message);

  Screen screen(Date now) const;

 private:
  // A row of the list.
  struct Item {
    enum class Kind : std::uint8_t { session, server, heading };
    Kind kind = Kind::session;
    std::size_t index = 0;  // in sessions_ or shownServers_
    std::optional<PanelFocus> element;
  };
  // The columns that texts of the shown rows take.
  struct Widths {
    int label = 0;
    int tool = 0;
    int place = 0;
    int server = 0;
    int port = 0;
  };

  void setMode(Mode mode);
  void rebuild();
  void reveal();
  void select(std::size_t item);
  std::optional<std::size_t> selectedItem() const;
  std::optional<std::size_t> itemOf(const PanelFocus& element) const;
  int bodyHeight() const;
  std::vector<std::string> footerTexts() const;

  PanelLine sessionLine(const SessionRow& row, Date now, bool& showsSeconds) const;
  PanelLine serverLine(const LocalServer& server, Date now, bool& showsSeconds) const;
  PanelLine headerLine() const;
  PanelLine keysLine() const;
  std::vector<PanelLine> emptyLines() const;
  std::vector<PanelLine> helpLines() const;

  ScreenSize size_;
  std::vector<SessionRow> sessions_;  // in held order
  std::vector<std::string> sorted_;   // their ids in the order of urgency
  std::optional<std::vector<LocalServer>> servers_;
  std::vector<LocalServer> shownServers_;
  ActivityEmptyContent::Agents agents_ = ActivityEmptyContent::Agents::checking();
  ActivityEmptyContent::Localhost localhost_ = ActivityEmptyContent::Localhost::checking;
  SessionSummary summary_;
  std::int64_t hiddenIdle_ = 0;

  Mode mode_ = Mode::list;
  std::string filter_;
  std::string message_;
  bool hidesIdle_ = false;
  std::vector<Item> items_;
  Widths widths_;
  std::optional<PanelFocus> selection_;
  std::size_t lastItem_ = 0;  // where the selection was
  std::size_t top_ = 0;       // the first item on the screen
  std::size_t helpTop_ = 0;
};

}  // namespace tavrin
