#include "TavrinTerminal/Panel/Terminal.hpp"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include "TavrinCore/Support/Integer.hpp"
#include "TavrinCore/Support/PosixError.hpp"
#include "TavrinCore/Support/Text.hpp"
#include "TavrinTerminal/Panel/ScreenWriter.hpp"
#include "TavrinTerminal/Panel/TerminalUndo.hpp"

namespace tavrin {

namespace {

// Private modes of xterm (XTerm Control Sequences): the alternate screen, and the mouse in SGR form.
constexpr std::string_view enterAlternate = "\033[?1049h";
constexpr std::string_view leaveAlternate = "\033[?1049l";
constexpr std::string_view mouseOn = "\033[?1000h\033[?1006h";
constexpr std::string_view mouseOff = "\033[?1006l\033[?1000l";
constexpr std::string_view clearScreen = "\033[H\033[2J";
constexpr std::string_view plainLooks = "\033[0m";
constexpr std::string_view showCursor = "\033[?25h";

std::string enteringBytes(const TerminalTraits& traits) {
  std::string bytes;
  if (traits.hasAlternate) bytes += enterAlternate;
  if (traits.hasMouse) bytes += mouseOn;
  return bytes;
}

std::string leavingBytes(const TerminalTraits& traits) {
  std::string bytes;
  if (traits.hasMouse) bytes += mouseOff;
  bytes += plainLooks;
  if (!traits.hasAlternate) bytes += clearScreen;
  bytes += showCursor;
  if (traits.hasAlternate) bytes += leaveAlternate;
  return bytes;
}

FileDescriptor openedAnew(int descriptor) {
  std::array<char, 256> name{};
  const int error = ::ttyname_r(descriptor, name.data(), name.size());
  if (error != 0) throwPosixError(error, "find the terminal", "");
  FileDescriptor tty = FileDescriptor::open(name.data(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  if (!tty.isOpen()) throwPosixError(errno, "open", name.data());
  return tty;
}

}  // namespace

TerminalTraits TerminalTraits::of(
    const std::function<std::optional<std::string>(std::string_view name)>& variable) {
  TerminalTraits traits;
  const std::string term = variable("TERM").value_or("");
  traits.isDumb = term.empty() || term == "dumb";
  const bool isConsole = term == "linux" || term.starts_with("vt");
  traits.hasAlternate = !isConsole;
  traits.hasMouse = !isConsole;
  std::string locale;
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    locale = variable(name).value_or("");
    if (!locale.empty()) break;
  }
  locale = Text::lowerCased(locale);
  traits.hasUnicode = locale.find("utf-8") != std::string::npos || locale.find("utf8") != std::string::npos;
  constexpr int longestDelay = 1000;
  const auto delay = Integer::int32(variable("ESCDELAY").value_or(""));
  if (delay && *delay >= 0 && *delay <= longestDelay) traits.escapeDelay = std::chrono::milliseconds(*delay);
  return traits;
}

// Waits for keys, and for room for bytes while there are some to write.
class Terminal::Watch {
 public:
  Watch(EventLoop& loop, Terminal& terminal) : terminal_(terminal) {
    auto handle = std::make_unique<uv_poll_t>();
    const int error = uv_poll_init(&loop.native(), handle.get(), terminal.tty_.number());
    if (error < 0) throwPosixError(-error, "wait for keys", "");
    handle_ = OwnedHandle<uv_poll_t>(handle.release());
    handle_->data = this;
    waitFor(false);
  }
  ~Watch() { uv_poll_stop(handle_.get()); }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  void waitFor(bool room) {
    const int events = UV_READABLE | (room ? UV_WRITABLE : 0);
    uv_poll_start(handle_.get(), events, [](uv_poll_t* handle, int status, int ready) {
      Terminal& terminal = static_cast<Watch*>(handle->data)->terminal_;
      if (status >= 0 && (ready & UV_WRITABLE) != 0) terminal.writable();
      // An error is found out by reading.
      if (status < 0 || (ready & UV_READABLE) != 0) terminal.readable();
    });
  }

 private:
  Terminal& terminal_;
  OwnedHandle<uv_poll_t> handle_;
};

Terminal::Terminal(EventLoop& loop, int descriptor, TerminalTraits traits, bool colour, Callbacks callbacks)
    : tty_(openedAnew(descriptor)),
      traits_(traits),
      colour_(colour),
      callbacks_(std::move(callbacks)),
      escape_(loop, [this] { press(parser_.giveUp()); }) {
  if (::tcgetattr(tty_.number(), &before_) != 0) throwPosixError(errno, "read the modes of the terminal", "");
  watch_ = std::make_unique<Watch>(loop, *this);
  take();
}

Terminal::~Terminal() {
  watch_.reset();
  giveBack();
}

ScreenSize Terminal::size() const {
  winsize size{};
  const bool isKnown = ::ioctl(tty_.number(), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
  return isKnown ? ScreenSize{.columns = size.ws_col, .rows = size.ws_row} : ScreenSize{};
}

bool Terminal::isForeground() const {
  const pid_t group = ::tcgetpgrp(tty_.number());
  // Of a terminal that does not control this process nobody is in the foreground.
  return group < 0 || group == ::getpgrp();
}

void Terminal::giveBack() {
  if (!isTaken_) return;
  isTaken_ = false;
  pending_.clear();
  waiting_.reset();
  shown_.reset();
  escape_.stop();
  parser_.giveUp();
  // Of another job's terminal nothing is changed.
  if (isForeground()) {
    TerminalUndo::undo();
  } else {
    TerminalUndo::forget();
  }
}

void Terminal::take() {
  // The default of SIGTTOU stops a job, unless nobody could continue it.
  constexpr int mostStops = 1000;
  for (int stops = 0; !isForeground(); ++stops) {
    if (stops == mostStops) throwPosixError(EIO, "get the terminal from another job", "");
    ::raise(SIGTTOU);
  }
  if (!isTaken_) ::tcgetattr(tty_.number(), &before_);
  isTaken_ = true;
  TerminalUndo::prepare(tty_.number(), leavingBytes(traits_), before_);
  termios modes = before_;
  // Keys arrive one by one and unseen. Those that send signals still do.
  modes.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  modes.c_lflag |= static_cast<tcflag_t>(ISIG);
  modes.c_iflag &= ~static_cast<tcflag_t>(IXON | ICRNL | INLCR | IGNCR);
  modes.c_cc[VMIN] = 1;
  modes.c_cc[VTIME] = 0;
  ::tcsetattr(tty_.number(), TCSANOW, &modes);
  forget();
  write(enteringBytes(traits_));
}

void Terminal::show(const PanelGrid& screen) {
  if (!isTaken_) return;
  if (!pending_.empty()) {
    waiting_ = screen;
    return;
  }
  const bool isSameSize = shown_ && shown_->size() == screen.size();
  const std::string bytes =
      isSameSize ? ScreenWriter::difference(*shown_, screen, colour_) : ScreenWriter::whole(screen, colour_);
  shown_ = screen;
  write(bytes);
}

void Terminal::write(std::string_view bytes) {
  pending_ += bytes;
  writable();
}

void Terminal::writable() {
  while (!pending_.empty()) {
    const ssize_t count = File::write(tty_.number(), pending_);
    if (count <= 0) break;
    pending_.erase(0, static_cast<std::size_t>(count));
  }
  if (watch_) watch_->waitFor(!pending_.empty());
  if (!pending_.empty() || !waiting_) return;
  const PanelGrid next = *std::exchange(waiting_, std::nullopt);
  show(next);
}

void Terminal::readable() {
  if (!isTaken_ || !isForeground()) return;
  std::array<char, 1024> bytes{};
  for (;;) {
    const ssize_t count = File::read(tty_.number(), bytes.data(), bytes.size());
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    if (count <= 0) {
      watch_.reset();
      callbacks_.gone();
      return;
    }
    escape_.stop();
    press(parser_.take({bytes.data(), static_cast<std::size_t>(count)}));
    if (!isTaken_) return;
  }
  if (parser_.isWaiting()) escape_.start(traits_.escapeDelay);
}

void Terminal::press(const std::vector<Key>& keys) {
  for (const Key& key : keys) callbacks_.key(key);
}

}  // namespace tavrin
