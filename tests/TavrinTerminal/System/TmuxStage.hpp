#pragma once

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinTerminal/System/ChildProcess.hpp"
#include "TavrinTerminal/System/Executables.hpp"
#include "tests/support/Scratch.hpp"

/// A real tmux for tests: servers with sockets of their own, and clients on pseudo-terminals.
namespace tavrin::test::tmux {

/// Where tmux is looked for.
inline const char* path() {
  return "/usr/local/bin:/opt/homebrew/bin:/usr/bin:/bin";
}

/// A process on a pseudo-terminal of its own, as a terminal's window has it. It is killed with its owner.
class Window {
 public:
  explicit Window(const std::vector<std::string>& words) {
    master_ = FileDescriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!master_.isOpen() || ::grantpt(master_.number()) != 0 || ::unlockpt(master_.number()) != 0)
      throw std::runtime_error("no pseudo-terminal");
    tty_ = ::ptsname(master_.number());
    const winsize size{.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
    ::ioctl(master_.number(), TIOCSWINSZ, &size);
    pid_ = ::fork();
    if (pid_ != 0) return;
    ::setsid();
    const int terminal = ::open(tty_.c_str(), O_RDWR);  // becomes the controlling one
    for (int number = 0; number < 3; ++number) ::dup2(terminal, number);
    std::vector<char*> argv;
    for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    ::setenv("TERM", "xterm-256color", 1);
    ::unsetenv("TMUX");
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ~Window() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  const std::string& tty() const { return tty_; }
  pid_t pid() const { return pid_; }

  // What a terminal reports when it gets or loses the keyboard (xterm, "FocusIn/FocusOut").
  void type(std::string_view bytes) const { File::writeAll(master_.number(), bytes); }

 private:
  FileDescriptor master_;
  std::string tty_;
  pid_t pid_ = -1;
};

/// A server without the user's configuration. It ends with its owner.
class Server {
 public:
  explicit Server(const ScratchDirectory& directory, const std::string& name)
      : directory_(directory),
        socket_((directory / name).string()),
        tmux_(*Executables::find("tmux", path())) {}
  ~Server() { tell({"kill-server"}); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::string tell(std::vector<std::string> words) const {
    words.insert(words.begin(), {tmux_, "-u", "-f", "/dev/null", "-S", socket_});
    return ChildProcess::run({.words = std::move(words),
                              .input = "",
                              .environment = std::vector<std::string>{"TERM=xterm-256color", "SHELL=/bin/sh",
                                                                      "HOME=" + directory_.string(),
                                                                      std::string("PATH=") + path()},
                              .timeout = std::chrono::seconds(60)})
        .output;
  }

  // A session whose only pane runs `command`, by default an agent that waits.
  std::string newSession(const std::string& name, const std::string& command = "") const {
    return newPane({"new-session", "-d", "-s", name}, command);
  }
  std::string newWindow(const std::string& session) const {
    return newPane({"new-window", "-d", "-t", session}, "");
  }
  std::string ask(const std::string& target, const std::string& format) const {
    return trimmed(tell({"display-message", "-p", "-t", target, format}));
  }
  // An agent's record as its hook would have written it in that pane.
  Session agentIn(const std::string& pane) const {
    Session session;
    session.agentPid = std::atoi(ask(pane, "#{pane_pid}").c_str());
    session.tty = ask(pane, "#{pane_tty}");
    return session;
  }

  // A terminal's window that shows a session. It is attached once tmux has told this channel.
  std::unique_ptr<Window> attach(const std::string& session) const {
    tell({"set-hook", "-g", "client-attached", "wait-for -S attached"});
    auto window = std::make_unique<Window>(words({"attach", "-t", session}));
    tell({"wait-for", "attached"});
    return window;
  }
  std::vector<std::string> words(std::vector<std::string> rest) const {
    rest.insert(rest.begin(), {tmux_, "-u", "-f", "/dev/null", "-S", socket_});
    return rest;
  }
  std::string attachCommand(const std::string& session) const {
    return "TMUX= TERM=xterm-256color '" + tmux_ + "' -u -f /dev/null -S '" + socket_ + "' attach -t " +
           session;
  }

  // The pane that the client on a terminal shows.
  std::string paneShownOn(const std::string& tty) const {
    const std::string lines = "\n" + tell({"list-clients", "-F", "#{client_tty} #{pane_id}"});
    const std::size_t start = lines.find("\n" + tty + " ");
    if (start == std::string::npos) return "no such client";
    const std::size_t pane = start + tty.size() + 2;
    return lines.substr(pane, lines.find('\n', pane) - pane);
  }

 private:
  static std::string trimmed(std::string text) {
    while (text.ends_with('\n')) text.pop_back();
    return text;
  }

  // Comes back when the pane's process runs, with the environment that tmux gives it.
  std::string newPane(std::vector<std::string> words, const std::string& command) const {
    words.insert(words.end(),
                 {"-P", "-F", "#{pane_id}",
                  "'" + tmux_ + "' wait-for -S runs; " + (command.empty() ? "exec sleep 1000" : command)});
    std::string pane = trimmed(tell(std::move(words)));
    tell({"wait-for", "runs"});
    return pane;
  }

  const ScratchDirectory& directory_;
  std::string socket_;
  std::string tmux_;
};

}  // namespace tavrin::test::tmux
