#include "TavrinTerminal/System/CodexConversation.hpp"

#include <boost/json/serialize.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "TavrinCore/Support/Json/Json.hpp"

namespace tavrin {

namespace json = boost::json;

using Problem = CodexAnswer::Problem;

CodexConversation::CodexConversation(const CodexServer& server, bool mayTrust, Send send)
    : server_(server), mayTrust_(mayTrust), send_(std::move(send)) {}

void CodexConversation::begin() {
  tellStep("starting its app server");
  ask(CodexActivation::initializeRequest(++id_, server_.version));
}

void CodexConversation::ask(const json::object& request) {
  send_(json::serialize(request) + "\n");
}

void CodexConversation::askForHooks() {
  ask(CodexActivation::hooksListRequest(++id_, {server_.directory}));
}

void CodexConversation::hear(std::string_view bytes) {
  if (isOver()) return;
  heard_ += bytes;
  for (std::size_t end = 0; !isOver() && (end = heard_.find('\n')) != std::string::npos;) {
    const std::string line = heard_.substr(0, end);
    heard_.erase(0, end + 1);
    if (!line.empty()) take(line);
  }
  constexpr std::size_t longestLine = std::size_t{16} << 20U;
  if (heard_.size() > longestLine) stop(Problem::garbled);
}

void CodexConversation::take(const std::string& line) {
  const std::optional<json::value> value = Json::parse(line);
  const json::object* const message = value ? value->if_object() : nullptr;
  if (message == nullptr) {
    stop(Problem::garbled);
    return;
  }
  const json::value* const id = message->if_contains("id");
  // Notifications have no id; requests of the server's own have a method.
  if (id == nullptr || message->contains("method")) return;
  // An error with a null id means that the server could not read a request (JSON-RPC 2.0, "Response object").
  const bool isOurs = id->is_int64() && id->get_int64() == id_;
  if (!isOurs && !(id->is_null() && message->contains("error"))) return;
  if (const json::object* const error = Json::objectAt(*message, "error")) {
    stop(Problem::refused, std::string(Json::textAt(*error, "message").value_or("")));
  } else if (Json::objectAt(*message, "result") == nullptr) {
    stop(Problem::garbled);
  } else {
    advance(*value);
  }
}

void CodexConversation::advance(const json::value& response) {
  switch (step_) {
    case Step::initialized:
      step_ = Step::listed;
      tellStep("listing its hooks");
      askForHooks();
      return;
    case Step::listed: {
      std::vector<CodexActivation::Hook> hooks = CodexActivation::parseHooks(response);
      const std::vector<CodexActivation::TrustUpdate> updates = CodexActivation::needingTrust(hooks);
      if (!mayTrust_ || updates.empty()) {
        finish(std::move(hooks));
        return;
      }
      asked_ = updates.size();
      step_ = Step::trusted;
      tellStep(asked_ == 1 ? "trusting 1 hook" : "trusting " + std::to_string(asked_) + " hooks");
      ask(CodexActivation::trustRequest(++id_, updates));
      return;
    }
    case Step::trusted:
      answer_.trusted = asked_;
      step_ = Step::listedAgain;
      tellStep("listing its hooks again");
      askForHooks();
      return;
    case Step::listedAgain:
      finish(CodexActivation::parseHooks(response));
      return;
    case Step::over:
      return;
  }
}

void CodexConversation::tellStep(const std::string& step) const {
  if (server_.progress) server_.progress("Codex: " + step);
}

void CodexConversation::finish(std::vector<CodexActivation::Hook> hooks) {
  step_ = Step::over;
  answer_.hooks = std::move(hooks);
}

void CodexConversation::stop(Problem problem, std::string detail) {
  if (isOver()) return;
  step_ = Step::over;
  answer_.problem = problem;
  answer_.detail = std::move(detail);
}

}  // namespace tavrin
