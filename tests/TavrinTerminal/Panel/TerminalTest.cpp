#include "TavrinTerminal/Panel/Terminal.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <stdexcept>

#include "TavrinTerminal/Panel/ScreenWriter.hpp"
#include "tests/TavrinTerminal/Panel/PanelScene.hpp"

namespace tavrin::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// A pseudo-terminal, whose other end is the person.
class Pty {
 public:
  Pty() : person_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (!person_.isOpen() || ::grantpt(person_.number()) != 0 || ::unlockpt(person_.number()) != 0)
      throw std::runtime_error("no pseudo-terminal");
    terminal_ = FileDescriptor::open(::ptsname(person_.number()), O_RDWR | O_NOCTTY);
    const winsize size{.ws_row = 5, .ws_col = 40, .ws_xpixel = 0, .ws_ypixel = 0};
    ::ioctl(person_.number(), TIOCSWINSZ, &size);
    ::fcntl(person_.number(), F_SETFL, O_RDWR | O_NONBLOCK);
  }

  int descriptor() const { return terminal_.number(); }
  void hangUp() { person_.close(); }
  void type(std::string_view bytes) const { File::writeAll(person_.number(), bytes); }
  std::string seen() const {
    std::string all;
    std::array<char, 4096> bytes{};
    for (ssize_t count = 1; count > 0;) {
      count = File::read(person_.number(), bytes.data(), bytes.size());
      if (count > 0) all.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return all;
  }
  std::string modes() const {
    termios modes{};
    ::tcgetattr(descriptor(), &modes);
    return {reinterpret_cast<const char*>(&modes), sizeof modes};
  }

 private:
  FileDescriptor person_;
  FileDescriptor terminal_;
};

constexpr std::string_view undone = "\033[?1006l\033[?1000l\033[0m\033[?25h\033[?1049l";

class TerminalOnAPty : public testing::Test {
 protected:
  std::unique_ptr<Terminal> open() {
    return std::make_unique<Terminal>(loop, pty.descriptor(), TerminalTraits(), true,
                                      Terminal::Callbacks{.key =
                                                              [this](const Key& key) {
                                                                keys.push_back(key);
                                                                if (keys.size() == awaited) loop.stop();
                                                              },
                                                          .gone =
                                                              [this] {
                                                                isGone = true;
                                                                loop.stop();
                                                              }});
  }

  Pty pty;
  EventLoop loop;
  std::vector<Key> keys;
  std::size_t awaited = 1;
  bool isGone = false;
};

TEST_F(TerminalOnAPty, IsPutBackAtTheEnd) {
  const std::string before = pty.modes();
  const int flags = ::fcntl(pty.descriptor(), F_GETFL);
  std::unique_ptr<Terminal> terminal = open();
  EXPECT_EQ(terminal->size(), (ScreenSize{40, 5}));
  EXPECT_NE(pty.modes(), before);
  EXPECT_EQ(::fcntl(pty.descriptor(), F_GETFL), flags);
  EXPECT_EQ(pty.seen(), "\033[?1049h\033[?1000h\033[?1006h");
  terminal.reset();
  EXPECT_EQ(pty.modes(), before);
  EXPECT_EQ(::fcntl(pty.descriptor(), F_GETFL), flags);
  EXPECT_EQ(pty.seen(), undone);
}

TEST_F(TerminalOnAPty, IsPutBackWhenSomethingThrows) {
  const std::string before = pty.modes();
  try {
    const std::unique_ptr<Terminal> terminal = open();
    throw std::runtime_error("something");
  } catch (const std::runtime_error&) {
    EXPECT_EQ(pty.modes(), before);
    EXPECT_THAT(pty.seen(), EndsWith(undone));
  }
}

TEST_F(TerminalOnAPty, ALoneEscapeTakesTwentyFiveMilliseconds) {
  const std::unique_ptr<Terminal> terminal = open();
  pty.type("\033");
  loop.run();
  EXPECT_THAT(keys, ElementsAre(Key{.kind = Key::Kind::escape}));
  EXPECT_FALSE(isGone);
}

TEST_F(TerminalOnAPty, ReadsAllThatCameAtOnce) {
  const std::unique_ptr<Terminal> terminal = open();
  awaited = 3;
  pty.type("\033[Aj\r");
  loop.run();
  EXPECT_THAT(keys, ElementsAre(Key{.kind = Key::Kind::up}, Key{.kind = Key::Kind::character, .text = "j"},
                                Key{.kind = Key::Kind::enter}));
}

TEST_F(TerminalOnAPty, LearnsThatNobodyIsThere) {
  const std::unique_ptr<Terminal> terminal = open();
  pty.hangUp();
  loop.run();
  EXPECT_TRUE(isGone);
  terminal->show(PanelGrid(ScreenSize{40, 5}));
}

TEST_F(TerminalOnAPty, DrawsNothingWhileItIsGivenBack) {
  const std::unique_ptr<Terminal> terminal = open();
  terminal->giveBack();
  EXPECT_THAT(pty.seen(), EndsWith(undone));
  terminal->show(gridOf(scene(1, {40, 5}), {40, 5}));
  EXPECT_EQ(pty.seen(), "");
  terminal->take();
  terminal->show(gridOf(scene(1, {40, 5}), {40, 5}));
  EXPECT_THAT(pty.seen(), HasSubstr("plain"));
}

TEST_F(TerminalOnAPty, ASlowTerminalIsShownTheLastScreen) {
  const std::unique_ptr<Terminal> terminal = open();
  constexpr ScreenSize size = {200, 60};
  for (int i = 0; i < 200; ++i) {
    PanelModel model = scene(40, size);
    model.say("message-" + std::to_string(i) + "-end");
    terminal->forget();
    terminal->show(gridOf(model, size));
  }
  // The person reads on.
  std::string seen;
  while (seen.find("message-199-end") == std::string::npos) {
    const std::string more = pty.seen();
    ASSERT_FALSE(seen.size() > 10'000'000);
    seen += more;
    uv_run(&loop.native(), UV_RUN_NOWAIT);
  }
  EXPECT_THAT(seen, Not(HasSubstr("message-100-end")));
}

TEST(TerminalTraits, ComeFromTheEnvironment) {
  using Variables = std::map<std::string, std::string, std::less<>>;
  const auto of = [](const Variables& variables) {
    return TerminalTraits::of([&](std::string_view name) -> std::optional<std::string> {
      const auto found = variables.find(name);
      return found == variables.end() ? std::nullopt : std::optional(found->second);
    });
  };
  EXPECT_TRUE(of({}).isDumb);
  EXPECT_TRUE(of({{"TERM", "dumb"}}).isDumb);
  EXPECT_FALSE(of({{"TERM", "xterm"}}).isDumb);
  EXPECT_TRUE(of({{"TERM", "xterm"}}).hasAlternate);
  EXPECT_FALSE(of({{"TERM", "linux"}}).hasAlternate);
  EXPECT_FALSE(of({{"LANG", "C"}}).hasUnicode);
  EXPECT_TRUE(of({{"LANG", "de_DE.UTF-8"}}).hasUnicode);
  EXPECT_TRUE(of({{"LANG", "C"}, {"LC_ALL", "C.utf8"}}).hasUnicode);
  EXPECT_FALSE(of({{"LANG", "C.UTF-8"}, {"LC_CTYPE", "POSIX"}}).hasUnicode);
  EXPECT_TRUE(of({{"LANG", "C.UTF-8"}, {"LC_ALL", ""}}).hasUnicode);
  EXPECT_EQ(of({}).escapeDelay, std::chrono::milliseconds(25));
  EXPECT_EQ(of({{"ESCDELAY", "100"}}).escapeDelay, std::chrono::milliseconds(100));
  for (const char* other : {"-1", "x", "99999", ""})
    EXPECT_EQ(of({{"ESCDELAY", other}}).escapeDelay, std::chrono::milliseconds(25));
}

TEST(ScreenWriter, WritesOnlyWhatDiffers) {
  constexpr ScreenSize size = {40, 5};
  const PanelGrid before = gridOf(scene(1, size), size);
  PanelModel model = scene(1, size);
  EXPECT_EQ(ScreenWriter::difference(before, before, true), "");
  model.takeSessions({sceneRow("s0", "plaim", SessionState::needsYou)});
  const std::string bytes = ScreenWriter::difference(before, gridOf(model, size), true);
  EXPECT_THAT(bytes, HasSubstr("\033[3;6H"));
  EXPECT_LT(bytes.size(), 60U);
}

TEST(ScreenWriter, WithoutColourItWritesNone) {
  constexpr ScreenSize size = {80, 24};
  const PanelGrid grid = gridOf(scene(40, size), size);
  EXPECT_THAT(ScreenWriter::whole(grid, true), HasSubstr(";33m"));
  for (const char* colour : {";31m", ";32m", ";33m", ";2m"})
    EXPECT_THAT(ScreenWriter::whole(grid, false), Not(HasSubstr(colour)));
}

}  // namespace
}  // namespace tavrin::test
