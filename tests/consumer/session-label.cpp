// Prints what a panel's row says of the session in a file: session-label SESSION-FILE

#include <cstdio>
#include <optional>
#include <string>

#include "TavrinCore/Sessions/Session.hpp"
#include "TavrinCore/Sessions/SessionLabels.hpp"
#include "TavrinCore/Sessions/SessionRowText.hpp"
#include "TavrinCore/Support/File.hpp"

int main(int argc, char** argv) {
  using namespace tavrin;

  const std::optional<std::string> text = File::contents(argc > 1 ? argv[1] : "");
  const std::optional<Session> session = text ? Session::decode(*text) : std::nullopt;
  if (!session) {
    std::fprintf(stderr, "This file holds no session.\n");
    return 1;
  }
  const auto labels = SessionLabels::display({*session});
  std::printf("%s\n", SessionRowText::title(*session, labels.at(session->sessionId)).c_str());
  return 0;
}
