#include "TavrinTerminal/System/CodexServer.hpp"

#include <uv.h>

#include <boost/json/serialize.hpp>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "TavrinCore/Support/Json/Json.hpp"
#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/ChildProcess.hpp"

namespace tavrin {

namespace json = boost::json;

namespace {

using Problem = CodexAnswer::Problem;

std::string lastLine(std::string_view text) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  const std::size_t start = text.rfind('\n');
  return std::string(start == std::string_view::npos ? text : text.substr(start + 1));
}

// One conversation: each answer leads to the next request. Steps are named after what they wait for.
class Conversation {
 public:
  Conversation(const CodexServer& server, bool mayTrust) : server_(server), mayTrust_(mayTrust) {}

  CodexAnswer hold() {
    uv_loop_t loop;
    uv_loop_init(&loop);
    uv_poll_t interruption;
    const bool canInterrupt =
        server_.interrupt >= 0 && uv_poll_init(&loop, &interruption, server_.interrupt) == 0;
    if (canInterrupt) {
      interruption.data = this;
      uv_poll_start(&interruption, UV_READABLE, [](uv_poll_t* poll, int, int) {
        static_cast<Conversation*>(poll->data)->stop(Problem::interrupted);
      });
    }
    {
      ChildProcess child(
          loop, {.words = {server_.executable, "app-server"}, .input = "", .timeout = server_.timeout},
          [&](const ChildOutcome& outcome) {
            ended(outcome);
            if (canInterrupt) uv_close(reinterpret_cast<uv_handle_t*>(&interruption), nullptr);
          },
          [&](std::string_view bytes) { hear(bytes); });
      child_ = &child;
      ask(CodexActivation::initializeRequest(++id_, server_.version));
      uv_run(&loop, UV_RUN_DEFAULT);
    }
    uv_loop_close(&loop);
    return std::move(answer_);
  }

 private:
  enum class Step : std::uint8_t { initialized, listed, trusted, listedAgain, over };

  void ask(const json::object& request) { child_->write(json::serialize(request) + "\n"); }

  void askForHooks() { ask(CodexActivation::hooksListRequest(++id_, {server_.directory})); }

  void hear(std::string_view bytes) {
    heard_ += bytes;
    for (std::size_t end = 0; step_ != Step::over && (end = heard_.find('\n')) != std::string::npos;) {
      const std::string line = heard_.substr(0, end);
      heard_.erase(0, end + 1);
      if (!line.empty()) take(line);
    }
    constexpr std::size_t longestLine = std::size_t{16} << 20U;
    if (heard_.size() > longestLine) stop(Problem::garbled);
  }

  void take(const std::string& line) {
    const std::optional<json::value> value = Json::parse(line);
    const json::object* const message = value ? value->if_object() : nullptr;
    if (message == nullptr) {
      stop(Problem::garbled);
      return;
    }
    const json::value* const id = message->if_contains("id");
    // Notifications have no id; requests of the server's own have a method.
    if (id == nullptr || message->contains("method")) return;
    // The server could not read a request when it answers to none (JSON-RPC 2.0, "Response object").
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

  void advance(const json::value& response) {
    switch (step_) {
      case Step::initialized:
        step_ = Step::listed;
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
        ask(CodexActivation::trustRequest(++id_, updates));
        return;
      }
      case Step::trusted:
        answer_.trusted = asked_;
        step_ = Step::listedAgain;
        askForHooks();
        return;
      case Step::listedAgain:
        finish(CodexActivation::parseHooks(response));
        return;
      case Step::over:
        return;
    }
  }

  void finish(std::vector<CodexActivation::Hook> hooks) {
    step_ = Step::over;
    answer_.hooks = std::move(hooks);
    child_->closeInput();  // the server ends when its input does
    child_->end(ChildOutcome::End::exited);
  }

  void stop(Problem problem, std::string detail = {}) {
    if (step_ == Step::over) return;
    step_ = Step::over;
    answer_.problem = problem;
    answer_.detail = std::move(detail);
    child_->end(ChildOutcome::End::exited);
  }

  void ended(const ChildOutcome& outcome) {
    if (step_ == Step::over) return;
    step_ = Step::over;
    switch (outcome.end) {
      case ChildOutcome::End::notStarted:
        answer_.problem = Problem::notStarted;
        answer_.detail = std::generic_category().message(outcome.status);
        return;
      case ChildOutcome::End::timedOut:
        answer_.problem = Problem::timedOut;
        return;
      case ChildOutcome::End::overflowed:
        answer_.problem = Problem::garbled;
        return;
      case ChildOutcome::End::exited:
      case ChildOutcome::End::signalled:
      case ChildOutcome::End::interrupted:
        answer_.problem = Problem::endedEarly;
        answer_.detail = lastLine(outcome.error);
        return;
    }
  }

  const CodexServer& server_;
  const bool mayTrust_;
  ChildProcess* child_ = nullptr;
  Step step_ = Step::initialized;
  std::int64_t id_ = 0;  // of the request that waits for its answer
  std::size_t asked_ = 0;
  std::string heard_;
  CodexAnswer answer_;
};

}  // namespace

std::string CodexAnswer::sentence() const {
  constexpr std::size_t mostColumns = 200;
  const std::string said = detail.empty() ? "" : ": " + ShownText::cut(ShownText::clean(detail), mostColumns);
  switch (problem) {
    case Problem::none:
      return "";
    case Problem::notStarted:
      return "Codex\u2019s app server could not be started" + said + ".";
    case Problem::timedOut:
      return "Codex\u2019s app server did not answer in time.";
    case Problem::endedEarly:
      return "Codex\u2019s app server ended before it had answered" + said + ".";
    case Problem::garbled:
      return "Codex\u2019s app server answered with something that is not an answer.";
    case Problem::refused:
      return "Codex\u2019s app server answered with an error" + said + ".";
    case Problem::interrupted:
      return "You interrupted the conversation with Codex\u2019s app server.";
  }
  return "";
}

CodexAnswer CodexServer::list() const {
  return Conversation(*this, false).hold();
}

CodexAnswer CodexServer::activate() const {
  return Conversation(*this, true).hold();
}

}  // namespace tavrin
