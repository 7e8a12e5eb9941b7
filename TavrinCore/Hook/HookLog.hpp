#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "TavrinCore/Support/Date.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Home.hpp"

namespace tavrin {

/// The log of all hooks: a text file with one line per run, which many processes append to at once. A log
/// over 1,000,000 bytes is renamed to "hook.1.log", which replaces the one before, and a new log begins.
class HookLog {
 public:
  explicit HookLog(std::string url = defaultURL(Home::directory()),
                   std::function<Date()> now = std::chrono::system_clock::now,
                   AfterUse afterUse = AfterUse::close)
      : url_(std::move(url)), now_(std::move(now)), afterUse_(afterUse) {}

  /// "Library/Logs/Tavrin/hook.log" under the home directory.
  static std::string defaultURL(std::string_view home = Home::directory());

  const std::string& url() const { return url_; }

  /// Appends the time, a space, `message` and a line feed in one write, while holding a lock on the log. The
  /// line ends before the first zero byte. Makes the directory if it is missing. A line that cannot be
  /// written is lost without an error. Nothing is escaped: a line feed in an event's name starts a new line.
  void write(std::string_view message) const;

 private:
  std::string url_;
  std::function<Date()> now_;
  AfterUse afterUse_;
};

}  // namespace tavrin
