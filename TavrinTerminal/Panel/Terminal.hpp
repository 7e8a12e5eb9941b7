#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv, POSIX and the standard library.

#include <termios.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/Panel/KeyParser.hpp"
#include "TavrinTerminal/Panel/PanelGrid.hpp"
#include "TavrinTerminal/System/EventLoop.hpp"

namespace tavrin {

/// How a terminal is spoken to.
struct TerminalTraits {
  bool isDumb = false;       ///< it has no screen to draw on
  bool hasAlternate = true;  ///< it keeps what was on the screen before
  bool hasMouse = true;      ///< it reports the mouse
  bool hasUnicode = true;
  std::chrono::milliseconds escapeDelay{25};  ///< how long a lone Escape waits for the rest of a key

  /// From TERM, ESCDELAY and the locale's LC_ALL, LC_CTYPE and LANG, of which the first that is set counts.
  static TerminalTraits of(const std::function<std::optional<std::string>(std::string_view name)>& variable);
};

/// The terminal as a screen to draw on and keys to read. While it lives, the terminal has modes of its own
/// and its other screen; its end puts back what was there before, and so does a crash. There is one at a
/// time.
///
/// It opens the terminal anew by its name: descriptors that are shared with a shell keep their flags.
class Terminal {
 public:
  struct Callbacks {
    std::function<void(const Key& key)> key;
    std::function<void()> gone;  ///< nobody is at the terminal any more
  };

  /// Throws std::system_error when `descriptor` is no terminal that can be opened.
  Terminal(EventLoop& loop, int descriptor, TerminalTraits traits, bool colour, Callbacks callbacks);
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  /// The size now; 80 x 24 for a terminal that does not know.
  ScreenSize size() const;

  /// Shows a screen, as soon as the terminal takes it. Of several that wait, only the last is shown.
  void show(const PanelGrid& screen);

  /// Draws everything with the next screen, because nobody knows what the terminal shows.
  void forget() { shown_.reset(); }

  /// Gives the terminal back, and takes it again. In between nothing is drawn or read. `take` first waits, as
  /// a stopped job, until the shell has put this process into the foreground.
  void giveBack();
  void take();

 private:
  class Watch;

  bool isForeground() const;
  void readable();
  void writable();
  void write(std::string_view bytes);
  void press(const std::vector<Key>& keys);

  FileDescriptor tty_;
  TerminalTraits traits_;
  bool colour_;
  Callbacks callbacks_;
  KeyParser parser_;
  Timer escape_;
  termios before_{};
  bool isTaken_ = false;
  std::string pending_;               // bytes that the terminal has not taken yet
  std::optional<PanelGrid> shown_;    // what it shows once it has taken them
  std::optional<PanelGrid> waiting_;  // what is to be shown then
  std::unique_ptr<Watch> watch_;
};

}  // namespace tavrin
