#pragma once

// Part of TavrinTerminal, which is not installed. Needs Boost.JSON and the standard library.

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "TavrinTerminal/System/CodexServer.hpp"

namespace tavrin {

/// A conversation with Codex's app server, in which each answer leads to the next request. It starts no
/// process and never waits.
class CodexConversation {
 public:
  /// Takes a request for the server, with a line feed at its end.
  using Send = std::function<void(std::string_view request)>;

  /// With `mayTrust`, Codex is asked to trust those of Tavrin's hooks that it does not trust yet.
  CodexConversation(const CodexServer& server, bool mayTrust, Send send);

  /// Sends the first request.
  void begin();

  /// Takes what the server wrote, cut anywhere. Nothing is taken once the conversation is over.
  void hear(std::string_view bytes);

  /// Ends it with a problem, unless it is over.
  void stop(CodexAnswer::Problem problem, std::string detail = {});

  /// Whether nothing is left to ask, or a problem ended it.
  bool isOver() const { return step_ == Step::over; }

  /// The result so far.
  const CodexAnswer& answer() const { return answer_; }

 private:
  // Each is named after what it waits for.
  enum class Step : std::uint8_t { initialized, listed, trusted, listedAgain, over };

  void ask(const boost::json::object& request);
  void askForHooks();
  void take(const std::string& line);
  void advance(const boost::json::value& response);
  void tellStep(const std::string& step) const;
  void finish(std::vector<CodexActivation::Hook> hooks);

  const CodexServer& server_;
  bool mayTrust_;
  Send send_;
  Step step_ = Step::initialized;
  std::int64_t id_ = 0;  // of the request that waits for its answer
  std::size_t asked_ = 0;
  std::string heard_;
  CodexAnswer answer_;
};

}  // namespace tavrin
