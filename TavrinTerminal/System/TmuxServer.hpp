#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/System/ChildProcess.hpp"

namespace tavrin {

/// A tmux server, known by its socket, and what it shows (tmux(1)).
class TmuxServer {
 public:
  using Runner = std::function<ChildOutcome(const ChildCommand& command)>;

  /// One pane as one session has it; a pane of a linked window comes once for each session.
  struct Pane {
    std::string id;           ///< "%3"
    std::string tty;          ///< "/dev/pts/4"
    std::string session;      ///< "$1"
    std::string place;        ///< window and pane, "3.1"
    bool isActive = false;    ///< the active pane of its session's current window
    bool isAttached = false;  ///< whether a client shows the session
    std::string sessionName;  ///< as people know it

    bool operator==(const Pane&) const = default;
  };

  /// A terminal that shows a session of the server.
  struct Client {
    std::int32_t pid = 0;
    std::string tty;
    std::string session;        ///< "$1"
    std::string pane;           ///< the active pane that it shows, "%3"
    bool isFocused = false;     ///< whether its terminal has the keyboard, where that reports it
    std::int64_t activity = 0;  ///< when it was last used, in seconds since 1970

    bool operator==(const Client&) const = default;
  };

  /// `executable` is the path of tmux, `socket` that of the server's socket.
  TmuxServer(std::string executable, std::string socket, Runner run)
      : executable_(std::move(executable)), socket_(std::move(socket)), run_(std::move(run)) {}

  /// The socket in a value of TMUX, "SOCKET,PID,SESSION"; nullopt when that is not an absolute path.
  static std::optional<std::string> socketIn(std::string_view variable);

  const std::string& socket() const { return socket_; }

  /// All panes; none when the server cannot be asked.
  std::vector<Pane> panes() const;

  /// All clients with a terminal of their own; control clients (tmux(1), "CONTROL MODE") are left out.
  std::vector<Client> clients() const;

  /// Makes `pane` the active one of its window and session, and has `client`, the name of a terminal, show
  /// it; with "" no client is moved. Returns whether tmux did it.
  bool select(const std::string& pane, const std::string& client) const;

  /// The command line that attaches a terminal to a session, for a person to paste.
  std::string attachCommand(const std::string& sessionName) const;

  static std::vector<Pane> parsePanes(std::string_view output);
  static std::vector<Client> parseClients(std::string_view output);

 private:
  ChildOutcome ask(std::vector<std::string> words) const;

  std::string executable_;
  std::string socket_;
  Runner run_;
};

}  // namespace tavrin
