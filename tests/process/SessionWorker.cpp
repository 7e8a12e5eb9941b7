// Plays the processes that share a session's record or the log. Tests start many of them at once.
//
//   session-worker count DIRECTORY SESSION TIMES    adds one to the record's counter TIMES times, each under
//   the lock session-worker race DIRECTORY SESSION TIMES     the same without the lock session-worker watch
//   DIRECTORY SESSION          reads the record over and over, until its input ends session-worker hold
//   DIRECTORY SESSION           takes the lock, says "held", and keeps it until its input ends session-worker
//   log FILE NAME TIMES WIDTH        writes TIMES numbered messages of WIDTH bytes
//
// Writers begin when their input ends, so that all of them begin together. The counter is the record's
// agentPid.
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "TavrinCore/Hook/HookLog.hpp"
#include "TavrinCore/Sessions/SessionFileStore.hpp"

namespace {

using tavrin::HookLog;
using tavrin::Session;
using tavrin::SessionFileStore;

void waitForEndOfInput() {
  std::array<char, 64> ignored{};
  while (::read(STDIN_FILENO, ignored.data(), ignored.size()) > 0) {
  }
}

// Whether input ends within a moment. A reader that went on without a pause would keep the writers from the
// directory, which each file that they rename changes.
bool hasInputEnded() {
  constexpr int milliseconds = 1;
  pollfd request{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
  return ::poll(&request, 1, milliseconds) > 0;
}

int complain(const std::string& text) {
  std::puts(text.c_str());
  return 1;
}

void addOne(const SessionFileStore& store, const std::string& id) {
  Session session = store.load(id).value();
  ++session.agentPid;
  store.save(session);
}

int count(const SessionFileStore& store, const std::string& id, int times) {
  waitForEndOfInput();
  for (int i = 0; i < times; ++i) store.withLock(id, [&] { addOne(store, id); });
  return 0;
}

int race(const SessionFileStore& store, const std::string& id, int times) {
  waitForEndOfInput();
  for (int i = 0; i < times; ++i) addOne(store, id);
  return 0;
}

// Reads the record in both ways; each time there must be one, and its counter must not have stepped back.
int watch(const SessionFileStore& store, const std::string& id) {
  constexpr int fewest = 1000;
  std::int32_t newest = 0;
  int reads = 0;
  for (; !hasInputEnded() || reads < fewest; ++reads) {
    const std::optional<Session> session = store.load(id);
    if (!session) return complain("no record at read " + std::to_string(reads));
    const SessionFileStore::Loaded all = store.loadAll();
    if (!all.corrupt.empty()) return complain("corrupt at read " + std::to_string(reads));
    std::vector<Session> seen = all.sessions;
    seen.insert(seen.begin(), *session);
    for (const Session& one : seen) {
      if (one.agentPid < newest) return complain("stepped back at read " + std::to_string(reads));
      newest = one.agentPid;
    }
  }
  std::printf("%d\n", newest);
  return 0;
}

int hold(const SessionFileStore& store, const std::string& id) {
  store.withLock(id, [] {
    std::puts("held");
    std::fflush(stdout);
    waitForEndOfInput();
  });
  return 0;
}

int log(const HookLog& file, const std::string& name, int times, std::size_t width) {
  waitForEndOfInput();
  for (int i = 0; i < times; ++i) {
    std::string message = name + " " + std::to_string(i) + " ";
    message.resize(width, name.front());
    file.write(message);
  }
  return 0;
}

int work(const std::vector<std::string>& words) {
  const std::string& task = words.at(1);
  const SessionFileStore store(words.at(2));
  const std::string& name = words.at(3);
  if (task == "count") return count(store, name, std::stoi(words.at(4)));
  if (task == "race") return race(store, name, std::stoi(words.at(4)));
  if (task == "watch") return watch(store, name);
  if (task == "hold") return hold(store, name);
  if (task == "log") return log(HookLog(words.at(2)), name, std::stoi(words.at(4)), std::stoul(words.at(5)));
  return complain("no such task");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return work(std::vector<std::string>(argv, argv + argc));
  } catch (const std::exception& error) {
    return complain(error.what());
  }
}
