#include "bench/PeerCheck.hpp"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bench/BenchHome.hpp"
#include "bench/EventPayload.hpp"

namespace tavrin::bench {

namespace {

const std::filesystem::path recorded = TAVRIN_TEST_DATA "/events/claude/p01-plain";

std::string systemsOwn(const std::string& program) {
  for (const char* folder : {"/usr/local/bin/", "/usr/bin/", "/bin/"}) {
    if (::access((folder + program).c_str(), X_OK) == 0) return folder + program;
  }
  throw std::runtime_error(program + " is missing");
}

// The session's files: a repository with a folder, a folder outside any repository, and a transcript.
class Workplace : public test::ScratchDirectory {
 public:
  Workplace() {
    test::writeFile(*this / "src/app/.git/HEAD", "ref: refs/heads/main\n");
    std::filesystem::create_directories(*this / "src/app/lib");
    std::filesystem::create_directories(*this / "notes");
    test::writeFile(transcript(), "");
  }

  // The path that the recorded events name.
  std::filesystem::path transcript() const {
    return *this / (".claude/projects/-Users-dev-src-app/" + std::string(recordedSession) + ".jsonl");
  }

  void addToTranscript() const { std::ofstream(transcript(), std::ios::app) << "a line\n"; }
};

// `text` with the recorded user's paths replaced by those of the workplace.
std::string placed(std::string text, const Workplace& place) {
  constexpr std::string_view home = "/Users/dev";
  const std::string here = place.string();
  for (std::size_t at = text.find(home); at != std::string::npos; at = text.find(home, at + here.size()))
    text.replace(at, home.size(), here);
  return text;
}

// A session with parallel calls, permissions and questions, in several folders, and an end.
std::vector<std::string> events(const Workplace& place) {
  const auto made = [&place](const std::string& rest, const std::string& folder = "src/app") {
    return R"({"session_id":")" + std::string(recordedSession) + R"(","transcript_path":")" +
           place.transcript().string() + R"(","cwd":")" + (place / folder).string() +
           R"(","hook_event_name":)" + rest + "}";
  };
  const auto read = [&place](const std::string& name) {
    return placed(test::readFile(recorded / (name + ".json")), place);
  };
  std::vector<std::string> events = {
      read("003-PreToolUse"),
      read("004-PostToolUse"),
      read("005-PreToolUse"),
      made(R"("PermissionRequest","tool_name":"Bash")"),
      made(R"("Notification","notification_type":"permission_prompt")"),
      read("007-PreToolUse"),
      made(R"("Notification","notification_type":"idle_prompt")"),
      made(R"("Notification","notification_type":"elicitation_dialog")"),
      made(R"("PreToolUse","tool_name":"Read","tool_use_id":"toolu_inner","agent_id":"a7f3c2d1")"),
      read("006-PostToolUse"),
      read("008-PostToolUse"),
      made(R"("PreToolUse","tool_name":"AskUserQuestion","tool_use_id":"toolu_asked")"),
      made(R"("PostToolUse","tool_name":"AskUserQuestion","tool_use_id":"toolu_asked")"),
      made(R"("PreToolUse","tool_name":"Bash","tool_use_id":"toolu_below")", "src/app/lib"),
      made(R"("PermissionRequest","tool_name":"Bash")", "notes"),
      made(R"("PostToolUse","tool_name":"Bash","tool_use_id":"toolu_below")"),
  };
  for (const std::size_t size : payloadSizes) events.push_back(eventPayload(size));
  events.push_back(read("011-Stop"));
  events.push_back(made(R"("SessionEnd","reason":"other")"));
  return events;
}

// The stored record as text, without what differs from run to run.
std::string stored(const BenchHome& home) {
  std::optional<Session> session = home.session();
  if (!session) return "no record";
  session->updatedAt = session->stateSince = Date();
  if (session->attentionId) session->attentionId = "an identifier";
  return session->encode();
}

std::string lastLine(const BenchHome& home) {
  std::string messages = home.logMessages();
  if (!messages.empty()) messages.pop_back();
  return messages.substr(messages.rfind('\n') + 1);
}

}  // namespace

std::vector<Program> handWrittenHooks() {
  return {{.name = "bash and jq", .words = {systemsOwn("bash"), TAVRIN_BENCH_PEERS "/hook.sh"}},
          {.name = "Python", .words = {systemsOwn("python3"), TAVRIN_BENCH_PEERS "/hook.py"}},
          {.name = "Node", .words = {systemsOwn("node"), TAVRIN_BENCH_PEERS "/hook.mjs"}}};
}

void checkPeers(const Program& hook, const std::vector<Program>& peers) {
  for (const Program& peer : peers) {
    const BenchHome ours(recordedSession);
    const BenchHome theirs(recordedSession);
    const Workplace place;
    std::size_t number = 0;
    for (const std::string& event : events(place)) {
      ++number;
      place.addToTranscript();
      run(hook, ours.path(), event);
      run(peer, theirs.path(), event);
      const std::string expected = stored(ours) + "\n" + lastLine(ours);
      const std::string actual = stored(theirs) + "\n" + lastLine(theirs);
      if (expected != actual) {
        throw std::runtime_error(peer.name + " differs at event " + std::to_string(number) + ":\n" + actual +
                                 "\ninstead of\n" + expected);
      }
    }
    if (ours.session() || ours.logMessages() != theirs.logMessages()) {
      throw std::runtime_error(peer.name + " has another log");
    }
  }
}

}  // namespace tavrin::bench
