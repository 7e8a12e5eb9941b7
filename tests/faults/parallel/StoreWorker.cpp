// Plays the processes that share a session's record. Tests start many of them at once.
//
//   store-worker TASK DIRECTORY SESSION TIMES
//
// Writers wait for the end of their input, so that all begin together. Then they add one to the record's
// counter, its agentPid, TIMES times:
//
//   count           each time under the session's lock
//   count-unlocked  without it
//   count-replaced  under a lock of the record itself, a file that each write replaces
//
// Readers must find a record each time, and its counter must never go back:
//
//   watch           reads it and lists the directory, at least TIMES times, until the input ends
//   read            reads it at least TIMES times, and until a thousandth of the reads found a new one
//   write           adds one under the session's lock until its input ends, and prints how often
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "TavrinCore/Support/File.hpp"
#include "tests/support/Input.hpp"

namespace {

using tavrin::FileDescriptor;
using tavrin::Session;
using tavrin::SessionFileStore;

bool hasInputEnded(int milliseconds) {
  pollfd request{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
  return ::poll(&request, 1, milliseconds) > 0;
}

// One process that works on one session.
class Worker {
 public:
  Worker(const std::string& directory, std::string session, int times)
      : store_(directory), session_(std::move(session)), times_(times) {}

  void count() const {
    tavrin::test::waitForEndOfInput();
    for (int i = 0; i < times_; ++i) addOneLocked();
  }

  void countUnlocked() const {
    tavrin::test::waitForEndOfInput();
    for (int i = 0; i < times_; ++i) addOne();
  }

  void countReplaced() const {
    tavrin::test::waitForEndOfInput();
    for (int i = 0; i < times_; ++i) {
      const FileDescriptor record = FileDescriptor::open(store_.fileURL(session_), O_RDWR);
      if (!record.lock()) throw std::runtime_error("no lock");
      addOne();
    }
  }

  void write() const {
    int written = 0;
    for (; !hasInputEnded(0); ++written) addOneLocked();
    std::printf("%d\n", written);
  }

  void watch() const {
    // Each rename of a writer changes the directory, so a reader that listed it without a pause would hold
    // the writers up.
    constexpr int pause = 1;
    std::int32_t newest = 0;
    for (int reads = 0; !hasInputEnded(pause) || reads < times_; ++reads) {
      notBefore(newest, load());
      const SessionFileStore::Loaded all = store_.loadAll();
      if (!all.corrupt.empty()) throw std::runtime_error("corrupt");
      for (const Session& session : all.sessions) notBefore(newest, session);
    }
    std::printf("%d\n", newest);
  }

  void read() const {
    std::int32_t newest = -1;
    int different = 0;
    for (int reads = 0; reads < times_ || different < times_ / 1000; ++reads) {
      const Session session = load();
      if (session.agentPid != newest) ++different;
      notBefore(newest, session);
    }
  }

 private:
  void addOne() const {
    Session session = load();
    ++session.agentPid;
    store_.save(session);
  }
  void addOneLocked() const {
    store_.withLock(session_, [&] { addOne(); });
  }

  Session load() const {
    if (auto session = store_.load(session_)) return *std::move(session);
    throw std::runtime_error("no record");
  }

  static void notBefore(std::int32_t& newest, const Session& session) {
    if (session.agentPid < newest) throw std::runtime_error("stepped back");
    newest = session.agentPid;
  }

  SessionFileStore store_;
  std::string session_;
  int times_;
};

const std::map<std::string, std::function<void(const Worker&)>> tasks = {
    {"count", &Worker::count}, {"count-unlocked", &Worker::countUnlocked},
    {"write", &Worker::write}, {"count-replaced", &Worker::countReplaced},
    {"watch", &Worker::watch}, {"read", &Worker::read},
};

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::vector<std::string> words(argv, argv + argc);
    const Worker worker(words.at(2), words.at(3), std::stoi(words.at(4)));
    tasks.at(words.at(1))(worker);
  } catch (const std::exception& error) {
    std::puts(error.what());
    return 1;
  }
}
