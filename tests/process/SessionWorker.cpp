// Plays another process that uses a session.
//
//   session-worker hold DIRECTORY SESSION    takes the lock, prints "held", and keeps it until its input ends

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "TavrinCore/Sessions/SessionFileStore.hpp"
#include "tests/support/Input.hpp"

namespace {

using tavrin::SessionFileStore;

void hold(const SessionFileStore& store, const std::string& session) {
  store.withLock(session, [] {
    std::puts("held");
    std::fflush(stdout);
    tavrin::test::waitForEndOfInput();
  });
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::vector<std::string> words(argv, argv + argc);
    if (words.at(1) != "hold") return 1;
    hold(SessionFileStore(words.at(2)), words.at(3));
  } catch (const std::exception& error) {
    std::puts(error.what());
    return 1;
  }
}
