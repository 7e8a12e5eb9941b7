#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "TavrinTerminal/Panel/PanelLine.hpp"
#include "tests/support/SanitizerOptions.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/Subprocess.hpp"

namespace tavrin::test {

/// A shell in a tmux server of its own, with nothing of the environment or the settings of whoever runs the
/// tests. The home directory is `home`.
class TmuxPane {
 public:
  struct Options {
    ScreenSize size = {.columns = 80, .rows = 24};
    std::string term = "tmux-256color";
    std::string locale = "C.UTF-8";
    std::vector<std::string> variables = {};  ///< more of them, as "NAME=value"
  };

  static bool isAvailable() { return std::filesystem::exists(tmux()); }
  static std::string tmux() { return "/usr/bin/tmux"; }

  TmuxPane(const ScratchHome& home, const Options& options)
      : socket_((home.path() / ("tmux" + std::to_string(next_++))).string()) {
    std::vector<std::string> words = {"/usr/bin/env",       "-i",
                                      "PATH=/usr/bin:/bin", "HOME=" + home.string(),
                                      "LC_ALL=C.UTF-8",     "SHELL=/bin/sh"};
    words.push_back("ASAN_OPTIONS=" + std::string(leaveSignalsAlone));
    words.push_back("UBSAN_OPTIONS=" + std::string(leaveSignalsAlone));
    words.insert(words.end(),
                 {tmux(), "-S", socket_, "-f", "/dev/null", "new-session", "-d", "-x",
                  std::to_string(options.size.columns), "-y", std::to_string(options.size.rows)});
    words.insert(words.end(), {"exec env LC_ALL=" + options.locale + " TERM=" + options.term +
                                   joined(options.variables) + " PS1='$ ' sh -i",
                               ";", "set", "-g", "status", "off"});
    run(words);
    tell({"resize-window", "-x", std::to_string(options.size.columns), "-y",
          std::to_string(options.size.rows)});
    waitFor([this] { return screen().find("$") != std::string::npos; });
  }
  ~TmuxPane() { tell({"kill-server"}); }
  TmuxPane(const TmuxPane&) = delete;
  TmuxPane& operator=(const TmuxPane&) = delete;

  /// What tmux prints when it is told something.
  std::string tell(std::vector<std::string> words) const {
    words.insert(words.begin(), {tmux(), "-S", socket_});
    return run(words, "", {{"LC_ALL", "C.UTF-8"}}).output;
  }

  /// What is to be seen.
  std::string screen() const { return tell({"capture-pane", "-p", "-t", ":0"}); }

  /// A value of the pane, as "#{alternate_on}".
  std::string value(const std::string& format) const {
    return tell({"display-message", "-p", "-t", ":0", format});
  }

  /// Bytes, as if they were typed.
  void type(const std::string& bytes) const { tell({"send-keys", "-t", ":0", "-l", bytes}); }

  /// A key by the name that tmux has for it.
  void press(const std::string& key) const { tell({"send-keys", "-t", ":0", key}); }

  /// Asks again and again until it holds; false when it does not within 20 s.
  static bool waitFor(const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!holds()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
    }
    return true;
  }

  bool shows(const std::string& text) const {
    return waitFor([&] { return screen().find(text) != std::string::npos; });
  }
  bool hides(const std::string& text) const {
    return waitFor([&] { return screen().find(text) == std::string::npos; });
  }

 private:
  static std::string joined(const std::vector<std::string>& words) {
    std::string all;
    for (const std::string& word : words) all += " " + word;
    return all;
  }

  inline static int next_ = 0;  // a server that ends keeps its socket for a while
  std::string socket_;
};

}  // namespace tavrin::test
