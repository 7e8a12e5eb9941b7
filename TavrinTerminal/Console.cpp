#include "TavrinTerminal/Console.hpp"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "TavrinCore/Support/Text.hpp"

namespace tavrin {

namespace {

bool isSet(const std::optional<std::string>& variable) {
  return variable && !variable->empty();
}

std::optional<std::string> environmentVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

// Select Graphic Rendition (ECMA-48, 8.3.117), one for each colour.
constexpr std::array<std::string_view, 6> sequences = {"",         "\033[31m", "\033[32m",
                                                       "\033[33m", "\033[2m",  "\033[1m"};
constexpr std::string_view reset = "\033[0m";

// The descriptor may be non-blocking, because it is shared with the program that started us.
bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      pollfd writable = {.fd = descriptor, .events = POLLOUT, .revents = 0};
      ::poll(&writable, 1, -1);
    } else if (count < 0 && errno != EINTR) {
      return false;
    }
  }
  return true;
}

std::optional<std::string> readLine(int descriptor) {
  std::string line;
  char next = 0;
  for (;;) {
    const ssize_t count = ::read(descriptor, &next, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return line.empty() ? std::nullopt : std::optional(line);
    if (next == '\n') return line;
    line += next;
  }
}

int widthOf(int descriptor) {
  constexpr int usual = 80;
  winsize size{};
  return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

}  // namespace

bool usesColour(const ColourFacts& facts) {
  if (facts.choice != ColourChoice::automatic) return facts.choice == ColourChoice::always;
  if (isSet(facts.noColor)) return false;
  if (isSet(facts.cliColorForce) && facts.cliColorForce != "0") return true;
  return facts.isTerminal && facts.term != "dumb" && !isSet(facts.ci);
}

std::string Console::painted(std::string_view text, Colour in) const {
  if (!colour || in == Colour::plain || text.empty()) return std::string(text);
  std::string painted(sequences[static_cast<std::size_t>(in)]);
  painted += text;
  painted += reset;
  return painted;
}

bool Console::confirms(std::string_view question) const {
  error(std::string(question) + " [y/N] ");
  const std::optional<std::string> answer = readLine();
  if (!answer) error("\n");
  const std::string word = Text::lowerCased(Text::trimmed(answer.value_or("")));
  return word == "y" || word == "yes";
}

Console Console::real(ColourChoice choice) {
  Console console;
  const auto problem = std::make_shared<int>(0);
  console.out = [problem](std::string_view bytes) {
    const bool isWritten = writeAll(STDOUT_FILENO, bytes);
    if (!isWritten) *problem = errno;
    return isWritten;
  };
  console.outProblem = [problem] { return *problem; };
  console.error = [](std::string_view bytes) { return writeAll(STDERR_FILENO, bytes); };
  console.readLine = [] { return tavrin::readLine(STDIN_FILENO); };
  console.inputIsTerminal = ::isatty(STDIN_FILENO) == 1;
  console.outputIsTerminal = ::isatty(STDOUT_FILENO) == 1;
  console.errorIsTerminal = ::isatty(STDERR_FILENO) == 1;
  if (console.outputIsTerminal) console.width = widthOf(STDOUT_FILENO);
  console.outDescriptor = STDOUT_FILENO;
  console.colour = usesColour({.choice = choice,
                               .noColor = environmentVariable("NO_COLOR"),
                               .cliColorForce = environmentVariable("CLICOLOR_FORCE"),
                               .term = environmentVariable("TERM"),
                               .ci = environmentVariable("CI"),
                               .isTerminal = console.outputIsTerminal});
  return console;
}

}  // namespace tavrin
