// play-recording RECORDING.jsonl.gz: what the monitor sees while a recorded session runs. It prints one line
// of JSON at each change: the time, the session and its state.
#include <cstdio>
#include <exception>
#include <filesystem>

#include "tests/recordings/Recording.hpp"
#include "tests/support/Scratch.hpp"

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("usage: play-recording RECORDING.jsonl.gz\n", stderr);
    return 64;
  }
  try {
    const tavrin::test::ScratchDirectory scratch(tavrin::test::directoryInMemory());
    for (const auto& change :
         tavrin::recordings::play(tavrin::recordings::eventsIn(arguments[1]), scratch.string()))
      std::printf("{\"t\": %.3f, \"session\": \"%s\", \"state\": \"%s\"}\n", change.at,
                  change.session.c_str(), change.state.c_str());
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "play-recording: %s\n", error.what());
    return 1;
  }
}
