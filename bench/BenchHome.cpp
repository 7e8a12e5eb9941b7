#include "bench/BenchHome.hpp"

#include "TavrinCore/Sessions/SessionFileStore.hpp"

namespace tavrin::bench {

Session sessionUnderWay(std::string_view id) {
  Session session;
  session.sessionId = id;
  session.state = SessionState::working;
  session.updatedAt = session.stateSince = *Iso8601::parse("2026-07-11T08:03:12Z");
  session.cwd = "/Users/dev/src/app";
  session.repoRoot = "/Users/dev/src/app";
  session.transcriptPath = "/Users/dev/.claude/projects/-Users-dev-src-app/" + session.sessionId + ".jsonl";
  session.agentPid = 4711;
  session.tty = "/dev/pts/4";
  session.hostPid = 612;
  session.hostBundleId = "org.example.Terminal";
  return session;
}

BenchHome::BenchHome(std::string_view sessionId, const std::filesystem::path& parent)
    : ScratchHome(parent), sessionId_(sessionId) {
  resetSession();
  test::writeFile(sessions() / ("." + sessionId_ + ".lock"), "");
  test::writeFile(logFile(), "");
}

void BenchHome::resetSession() const {
  test::writeFile(sessionFile(sessionId_), sessionUnderWay(sessionId_).encode());
}

void BenchHome::forgetHost() const {
  Session session = sessionUnderWay(sessionId_);
  session.hostPid.reset();
  session.hostBundleId.reset();
  test::writeFile(sessionFile(sessionId_), session.encode());
}

std::optional<Session> BenchHome::session() const {
  return SessionFileStore(sessions().string()).load(sessionId_);
}

void BenchHome::addSessions(std::size_t count) const {
  for (std::size_t i = 0; i < count; ++i) {
    const std::string id = "0198c2a4-7d31-7c60-9a1f-" + std::to_string(100'000'000'000 + i);
    test::writeFile(sessionFile(id), sessionUnderWay(id).encode());
    test::writeFile(sessions() / ("." + id + ".lock"), "");
  }
}

void BenchHome::fillLog(std::size_t bytes) const {
  constexpr std::string_view line =
      "2026-07-11T08:03:12Z claude ba7fd3a0 PreToolUse Write#bbc977 \u2192 working\n";
  std::string text;
  while (text.size() + line.size() <= bytes) text += line;
  test::writeFile(logFile(), text);
}

}  // namespace tavrin::bench
