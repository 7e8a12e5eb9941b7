#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "TavrinCore/Support/Date.hpp"
#include "TavrinCore/Support/File.hpp"
#include "TavrinCore/Support/Home.hpp"

namespace tavrin {

/// The one place where hooks say what they did: a text file with a time-stamped line per run, appended to by
/// many processes at once. It keeps itself to two generations of about 1,000,000 bytes, the older one beside
/// it as "hook.1.log".
class HookLog {
 public:
  explicit HookLog(std::string url = defaultURL(Home::directory()),
                   std::function<Date()> now = std::chrono::system_clock::now,
                   AfterUse afterUse = AfterUse::close)
      : url_(std::move(url)), now_(std::move(now)), afterUse_(afterUse) {}

  /// "Library/Logs/Tavrin/hook.log" under the home directory.
  static std::string defaultURL(std::string_view home = Home::directory());

  const std::string& url() const { return url_; }

  /// Appends the time, a blank, `message` and a line feed in one write, up to a zero byte if there is one,
  /// while no other process appends. Makes the directory when it is missing. A line that cannot be written is
  /// lost, and nobody is told. What agents send goes in as it is: a line feed in an event's name makes two
  /// lines of one.
  void write(std::string_view message) const;

 private:
  std::string url_;
  std::function<Date()> now_;
  AfterUse afterUse_;
};

}  // namespace tavrin
