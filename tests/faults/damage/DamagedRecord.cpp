#include "tests/faults/damage/DamagedRecord.hpp"

#include <stdexcept>

namespace tavrin::test {

Session wholeRecord() {
  constexpr std::size_t size = 2048;
  Session session;
  session.sessionId = "s1";
  session.agent = Agent::claude;
  session.state = SessionState::needsYou;
  session.needsYouTool = "Bash";
  session.attentionId = "6F1C0F0E-6A43-4E0B-9C59-0B1D7D7B2E11";
  session.attentionTranscriptOffset = 18'446'744'073'709'551'615U;
  for (int i = 10; i < 36; ++i)
    session.inFlight.push_back("toolu_0184573f55a0884b11a339" + std::to_string(i));
  session.waitingOn = {session.inFlight.front(), session.inFlight.back()};
  session.transcriptPath = "/Users/dev/.claude/projects/app/s1.jsonl";
  session.updatedAt = dateFromSeconds(1'738'314'800);
  session.stateSince = dateFromSeconds(1'738'314'700);
  session.cwd = "/Users/dev/app";
  session.agentPid = 4711;
  session.tty = "/dev/ttys007";
  session.hostPid = 612;
  session.hostBundleId = "com.example.terminal";
  session.repoRoot = "/Users/dev/app";
  session.worktreeName = "feature";
  session.title = "A \"title\" with \\ and \u00e9 and \U0001F600\n";
  const std::size_t missing = size - session.encode().size();
  *session.title += std::string(missing, '.');
  if (session.encode().size() != size) throw std::logic_error("the record has another size");
  return session;
}

void forEachCut(const std::string& text, const std::function<void(const Damage&)>& body) {
  for (std::size_t offset = 0; offset < text.size(); ++offset)
    body({.name = "cut:" + std::to_string(offset), .text = text.substr(0, offset)});
}

void forEachFlip(const std::string& text, const std::function<void(const Damage&)>& body) {
  constexpr unsigned bits = 8;
  for (std::size_t offset = 0; offset < text.size(); ++offset) {
    for (unsigned bit = 0; bit < bits; ++bit) {
      std::string flipped = text;
      flipped[offset] = static_cast<char>(static_cast<unsigned char>(flipped[offset]) ^ (1U << bit));
      body({.name = "flip:" + std::to_string(offset) + ":" + std::to_string(bit), .text = flipped});
    }
  }
}

int fieldsThatDiffer(const Session& one, const Session& other) {
  const auto differs = [&](auto field) { return one.*field == other.*field ? 0 : 1; };
  return differs(&Session::sessionId) + differs(&Session::agent) + differs(&Session::state) +
         differs(&Session::needsYouTool) + differs(&Session::attentionId) +
         differs(&Session::attentionTranscriptOffset) + differs(&Session::inFlight) +
         differs(&Session::waitingOn) + differs(&Session::transcriptPath) + differs(&Session::updatedAt) +
         differs(&Session::stateSince) + differs(&Session::cwd) + differs(&Session::agentPid) +
         differs(&Session::tty) + differs(&Session::hostPid) + differs(&Session::hostBundleId) +
         differs(&Session::repoRoot) + differs(&Session::worktreeName) + differs(&Session::title);
}

}  // namespace tavrin::test
