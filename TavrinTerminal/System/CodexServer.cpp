#include "TavrinTerminal/System/CodexServer.hpp"

#include <uv.h>

#include <string_view>
#include <system_error>
#include <utility>

#include "TavrinTerminal/ShownText.hpp"
#include "TavrinTerminal/System/ChildProcess.hpp"
#include "TavrinTerminal/System/CodexConversation.hpp"

namespace tavrin {

namespace {

using Problem = CodexAnswer::Problem;

std::string lastLine(std::string_view text) {
  while (text.ends_with('\n')) text.remove_suffix(1);
  const std::size_t start = text.rfind('\n');
  return std::string(start == std::string_view::npos ? text : text.substr(start + 1));
}

// The problem, if the server ends before it has answered everything.
void takeEnd(CodexConversation& conversation, const ChildOutcome& outcome) {
  switch (outcome.end) {
    case ChildOutcome::End::notStarted:
      conversation.stop(Problem::notStarted, std::generic_category().message(outcome.status));
      return;
    case ChildOutcome::End::timedOut:
      conversation.stop(Problem::timedOut);
      return;
    case ChildOutcome::End::overflowed:
      conversation.stop(Problem::garbled);
      return;
    case ChildOutcome::End::exited:
    case ChildOutcome::End::signalled:
    case ChildOutcome::End::interrupted:
      conversation.stop(Problem::endedEarly, lastLine(outcome.error));
      return;
  }
}

CodexAnswer held(const CodexServer& server, bool mayTrust) {
  uv_loop_t loop;
  uv_loop_init(&loop);
  struct Talk {
    ChildProcess* child = nullptr;
    CodexConversation conversation;

    // The server ends at the end of its input. The signal is for a server that does not.
    void endChildIfOver() const {
      if (!conversation.isOver()) return;
      if (conversation.answer().hooks) child->closeInput();
      child->end(ChildOutcome::End::exited);
    }
  } talk{.conversation = CodexConversation(
             server, mayTrust, [&talk](std::string_view request) { talk.child->write(request); })};

  uv_poll_t interruption;
  const bool canInterrupt =
      server.interrupt >= 0 && uv_poll_init(&loop, &interruption, server.interrupt) == 0;
  if (canInterrupt) {
    interruption.data = &talk;
    uv_poll_start(&interruption, UV_READABLE, [](uv_poll_t* poll, int, int) {
      auto& interrupted = *static_cast<Talk*>(poll->data);
      interrupted.conversation.stop(Problem::interrupted);
      interrupted.endChildIfOver();
    });
  }
  {
    ChildProcess child(
        loop, {.words = {server.executable, "app-server"}, .input = "", .timeout = server.timeout},
        [&](const ChildOutcome& outcome) {
          takeEnd(talk.conversation, outcome);
          if (canInterrupt) uv_close(reinterpret_cast<uv_handle_t*>(&interruption), nullptr);
        },
        [&](std::string_view bytes) {
          if (talk.conversation.isOver()) return;
          talk.conversation.hear(bytes);
          talk.endChildIfOver();
        });
    talk.child = &child;
    talk.conversation.begin();
    uv_run(&loop, UV_RUN_DEFAULT);
  }
  uv_loop_close(&loop);
  return talk.conversation.answer();
}

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
  return held(*this, false);
}

CodexAnswer CodexServer::activate() const {
  return held(*this, true);
}

}  // namespace tavrin
