#pragma once

// Part of TavrinTerminal, which is not installed. Needs libuv and the standard library.

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinCore/Servers/LocalServer.hpp"
#include "TavrinTerminal/System/EventLoop.hpp"

namespace tavrin {

/// Finds out whether local web servers answer: one HEAD request each (RFC 9110, 9.3.2), and any answer that
/// begins as HTTP does counts. It waits on the loop and blocks nothing.
class HealthProbe {
 public:
  /// How long a server has for its answer, connecting included.
  static constexpr std::chrono::milliseconds patience{300};
  /// The most servers that are asked at the same time; others wait for their turn.
  static constexpr std::size_t mostAtOnce = 16;

  /// Takes the id of a server and what was found.
  using Found = std::function<void(const std::string& id, ServerHealth health)>;

  HealthProbe(EventLoop& loop, Found found);
  /// Closes every connection; nothing is called afterwards.
  ~HealthProbe();
  HealthProbe(const HealthProbe&) = delete;
  HealthProbe& operator=(const HealthProbe&) = delete;

  /// The loopback addresses to try for a server, in order: none unless it is known to serve web pages and
  /// listens on an address of this machine alone, or on all of them ("localhost").
  static std::vector<std::string> addressesOf(const LocalServer& server);

  /// The request that a server is sent.
  static std::string requestFor(const LocalServer& server);

  /// Asks a server, unless it is being asked already or has no address to ask.
  void ask(const LocalServer& server);

 private:
  class Request;

  void startNext();
  void ended(const std::string& id, ServerHealth health);

  EventLoop& loop_;
  Found found_;
  std::deque<LocalServer> waiting_;
  std::map<std::string, std::unique_ptr<Request>> running_;
};

}  // namespace tavrin
