#include "TavrinCore/Context/ProcFormats.hpp"

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tavrin {
namespace {

using ProcFormats::Stat;
using Text = std::optional<std::string>;

constexpr std::string_view session = "0::/user.slice/user-1000.slice/user@1000.service/app.slice/";

// The application of a process whose unit in the user's session has this name.
Text idOf(std::string_view unit) {
  return ProcFormats::applicationId(std::string(session) + std::string(unit) + "\n");
}

// A text of /proc/PID/stat with this text between its parentheses.
std::string statOf(const std::string& name) {
  return "4242 (" + name +
         ") S 4241 4242 4000 34819 4242 4194304 1052 0 0 0 1 0 0 0 20 0 1 0 88345 2949120 448 "
         "18446744073709551615\n";
}

std::uint32_t device(std::uint32_t majorNumber, std::uint32_t minorNumber) {
  return static_cast<std::uint32_t>(makedev(majorNumber, minorNumber));
}

TEST(ProcFormats, AStatLineHoldsNameParentAndTerminal) {
  EXPECT_EQ(ProcFormats::parseStat(statOf("claude")),
            (Stat{.name = "claude", .parent = 4241, .terminal = 34'819}));
}

TEST(ProcFormats, AProcessWithoutATerminalHasTheNumberZero) {
  EXPECT_EQ(ProcFormats::parseStat("7 (kworker/0:1) I 2 0 0 0 -1 69238880 0\n"),
            (Stat{.name = "kworker/0:1", .parent = 2, .terminal = 0}));
  EXPECT_EQ(ProcFormats::parseStat("1 (systemd) S 0 1 1 0 -1 4194560\n"),
            (Stat{.name = "systemd", .parent = 0, .terminal = 0}));
}

TEST(ProcFormats, ANameMayHoldAnyBytes) {
  int count = 0;
  for (const std::string name : {"a b",
                                 "tmux: server",
                                 "(sd-pam)",
                                 ")",
                                 "(",
                                 "((",
                                 "))",
                                 ") S 1 1 1 1 1",
                                 "a) R 7 7 7 7 (b",
                                 "new\nline",
                                 "\n",
                                 "",
                                 " ",
                                 "a)",
                                 "(a",
                                 "\xff\xfe",
                                 "\t",
                                 ") (",
                                 "4242 (x) S 1 2 3 4 5",
                                 "123456789012345"}) {
    EXPECT_EQ(ProcFormats::parseStat(statOf(name)), (Stat{.name = name, .parent = 4241, .terminal = 34'819}))
        << name;
    ++count;
  }
  EXPECT_EQ(count, 20);
}

TEST(ProcFormats, ATerminalNumberIsSignedInTheLineOnly) {
  const auto stat = ProcFormats::parseStat("1 (a) S 2 3 4 -1013505 5\n");
  ASSERT_TRUE(stat.has_value());
  EXPECT_EQ(stat->terminal, 0xfff088ffU);
  EXPECT_EQ(ProcFormats::terminalPath(stat->terminal), "/dev/pts/1048575");
}

TEST(ProcFormats, TheFieldsThatAreUsedAreEnough) {
  EXPECT_EQ(ProcFormats::parseStat("1 (a) S 2 3 4 5"), (Stat{.name = "a", .parent = 2, .terminal = 5}));
  EXPECT_EQ(ProcFormats::parseStat("1 (a) S 2 3 4 5 "), (Stat{.name = "a", .parent = 2, .terminal = 5}));
}

TEST(ProcFormats, AStatLineHoldsStateAndStart) {
  EXPECT_EQ(ProcFormats::parseLifetime(statOf("a) Z (b")),
            (ProcFormats::Lifetime{.state = 'S', .startTicks = 88345}));
  for (const char* const text :
       {"", "1 (a", "1 (a) S 2 3 4 5", "1 (a) SS 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 5",
        "1 (a) S 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 x"})
    EXPECT_EQ(ProcFormats::parseLifetime(text), std::nullopt) << text;
}

TEST(ProcFormats, ArgumentsEndWithZeroBytes) {
  using Words = std::vector<std::string>;
  EXPECT_EQ(ProcFormats::arguments(std::string_view("a\0b c\0\0", 7)), (Words{"a", "b c", ""}));
  EXPECT_EQ(ProcFormats::arguments("cut off"), Words{"cut off"});
  EXPECT_EQ(ProcFormats::arguments(""), Words{});
}

TEST(ProcFormats, ProcessIdsAreSeparatedBySpaces) {
  EXPECT_EQ(ProcFormats::processIds("12 345 "), (std::vector<std::int32_t>{12, 345}));
  EXPECT_EQ(ProcFormats::processIds("12 x 99999999999 7"), (std::vector<std::int32_t>{12, 7}));
  EXPECT_TRUE(ProcFormats::processIds("").empty());
}

TEST(ProcFormats, OnlyHeldLocksOfFlockCount) {
  const auto locks = ProcFormats::fileLocks(
      "1: FLOCK  ADVISORY  WRITE 4242 fd:01:1311 0 EOF\n"
      "1: -> FLOCK  ADVISORY  WRITE 4243 fd:01:1311 0 EOF\n"
      "2: POSIX  ADVISORY  READ 7 fd:01:5 0 EOF\n"
      "3: FLOCK  ADVISORY  READ 0 fd:01:6 0 EOF\n"
      "4: FLOCK  ADVISORY  READ 8 fd:01 0 EOF\n"
      "5: FLOCK  ADVISORY  READ 9 fd:xx:6 0 EOF\n"
      "6: FLOCK  ADVISORY\n");
  EXPECT_EQ(locks, (std::vector<ProcFormats::FileLock>{
                       {.pid = 4242, .majorNumber = 0xfd, .minorNumber = 1, .inode = 1311}}));
}

TEST(ProcFormats, ALineThatIsNotAStatLineIsNullopt) {
  for (const char* const text : {"",
                                 "\n",
                                 "4242",
                                 "4242 (a",
                                 "4242 a) S 2 3 4 5 6",
                                 "4242 )a( S 2 3 4 5 6",
                                 ")(",
                                 "()",
                                 "1 (a)",
                                 "1 (a) ",
                                 "1 (a) S",
                                 "1 (a) S 2",
                                 "1 (a) S 2 3 4",
                                 "1 (a) S 2 3 4 ",
                                 "1 (a) S x 3 4 5 6",
                                 "1 (a) S 2x 3 4 5 6",
                                 "1 (a) S  2 3 4 5 6",
                                 "1 (a) S 2 3 4 x 6",
                                 "1 (a) S 99999999999 3 4 5 6",
                                 "1 (a) S 2 3 4 99999999999 6",
                                 "1 (a) S +2 3 4 5 6",
                                 "1 (a) S 0x2 3 4 5 6",
                                 "1 (a)S 2 3 4 5"}) {
    EXPECT_EQ(ProcFormats::parseStat(text), std::nullopt) << text;
  }
}

// memrchr(3) must not get a null pointer, not even with a length of 0. UndefinedBehaviorSanitizer notices.
TEST(ProcFormats, AViewOfNothingIsNotAStatLine) {
  EXPECT_EQ(ProcFormats::parseStat({}), std::nullopt);
  EXPECT_EQ(ProcFormats::parseLifetime({}), std::nullopt);
}

TEST(ProcFormats, AScopeNamesItsApplicationBetweenLauncherAndRandom) {
  for (const auto& [unit, id] : std::vector<std::pair<std::string_view, Text>>{
           {"app-org.kde.konsole-3f0a9e2b1c.scope", "org.kde.konsole"},
           {"app-gnome-org.gnome.Terminal-4242.scope", "org.gnome.Terminal"},
           {"app-gnome-code-12345.scope", "code"},
           {"app-flatpak-com.visualstudio.code-23456.scope", "com.visualstudio.code"},
           {"app-code-7.scope", "code"},
           {"app-gnome-firefox\\x2desr-99.scope", "firefox-esr"},
           {"app-a_b-1.scope", "a_b"},
           {"app-A.B-ZZZ.scope", "A.B"},
           {"app-org.gnome.Console\\x40x-1.scope", "org.gnome.Console@x"}}) {
    EXPECT_EQ(idOf(unit), id) << unit;
  }
}

TEST(ProcFormats, AServiceNamesItsApplicationBeforeTheInstance) {
  for (const auto& [unit, id] : std::vector<std::pair<std::string_view, Text>>{
           {"app-org.kde.konsole@3f0a9e2b1c.service", "org.kde.konsole"},
           {"app-gnome-org.gnome.Terminal@1a2b.service", "org.gnome.Terminal"},
           {"app-firefox@autostart.service", "firefox"},
           {"app-firefox.service", "firefox"},
           {"app-gnome-firefox.service", "firefox"},
           {"app-org.example.One@a.b.c.service", "org.example.One"},
           {"app-org.example.One@a-b-c-d.service", "org.example.One"},
           {"app-org.example.One@a@b.service", "org.example.One"},
           {"app-visual\\x2dstudio.service", "visual-studio"}}) {
    EXPECT_EQ(idOf(unit), id) << unit;
  }
}

TEST(ProcFormats, ASliceNamesItsApplicationWithOrWithoutARandomEnd) {
  for (const auto& [unit, id] : std::vector<std::pair<std::string_view, Text>>{
           {"app-org.gnome.Terminal.slice", "org.gnome.Terminal"},
           {"app-org.gnome.Terminal-4242.slice", "org.gnome.Terminal"},
           {"app-gnome-face.slice", "face"},
           {"app-gnome-org.gnome.Terminal.slice", "org.gnome.Terminal"},
           {"app-gnome-org.gnome.Terminal-4242.slice", "org.gnome.Terminal"},
           {"app-flatpak-org.example.One-9f.slice", "org.example.One"},
           {"app-dbus\\x2d:1.2\\x2dorg.gnome.Nautilus.slice", "dbus-:1.2-org.gnome.Nautilus"}}) {
    EXPECT_EQ(idOf(unit), id) << unit;
  }
}

TEST(ProcFormats, OtherUnitsNameNoApplication) {
  for (const char* const unit : {"",
                                 "app.slice",
                                 "dbus.service",
                                 "session-2.scope",
                                 "vte-spawn-1.scope",
                                 "app-",
                                 "app-.scope",
                                 "app--1.scope",
                                 "app-code.scope",
                                 "app-a-b-c-1.scope",
                                 "app-a-b-c.service",
                                 "app-a-b-c-d.slice",
                                 "app-.service",
                                 "app-@1.service",
                                 "app-gnome-@1.service",
                                 "app-.slice",
                                 "app-code-7",
                                 "app-code-7.mount",
                                 "app-code-7.scope.d",
                                 "app-code-7.Scope",
                                 "App-code-7.scope",
                                 "xapp-code-7.scope",
                                 "app_code-7.scope",
                                 "app-code-7.scope (deleted)",
                                 "appcode-7.scope",
                                 "app-\\xff-1.scope",
                                 "app-\xff-1.scope",
                                 "app-\\xed\\xa0\\x80-1.scope"}) {
    EXPECT_EQ(idOf(unit), std::nullopt) << unit;
  }
}

TEST(ProcFormats, EscapesInAUnitsNameAreUndone) {
  for (const auto& [unit, id] :
       std::vector<std::pair<std::string_view, Text>>{{"app-\\x2d-1.scope", "-"},
                                                      {"app-a\\x2Db\\x2dc-1.scope", "a-b-c"},
                                                      {"app-caf\\xc3\\xa9-1.scope", "caf\u00e9"},
                                                      {"app-caf\u00e9-1.scope", "caf\u00e9"},
                                                      {"app-a\\x5cx2d-1.scope", "a\\x2d"},
                                                      {"app-a\\x20b-1.scope", "a b"}}) {
    EXPECT_EQ(idOf(unit), id) << unit;
  }
}

TEST(ProcFormats, AnIncompleteEscapeStaysAsItIs) {
  for (const char* const id :
       {"a\\", "a\\x", "a\\x2", "a\\xzz", "a\\x2z", "a\\x+2", "\\y2d", "a\\X2d", "a\\x 2"}) {
    EXPECT_EQ(idOf("app-" + std::string(id) + "-1.scope"), id) << id;
  }
}

TEST(ProcFormats, TheInnermostApplicationWins) {
  EXPECT_EQ(idOf("app-org.gnome.Terminal.slice/vte-spawn-9c8b.scope"), "org.gnome.Terminal");
  EXPECT_EQ(idOf("app-gnome-org.gnome.Terminal-1.scope/nested/app-code-7.scope"), "code");
  EXPECT_EQ(idOf("app-code-7.scope/app-gnome-org.gnome.Terminal-1.scope"), "org.gnome.Terminal");
  EXPECT_EQ(idOf("app-code-7.scope/app-.scope/x"), "code");
  EXPECT_EQ(idOf("app-org.example.One.slice/app-org.example.One-1.scope"), "org.example.One");
}

TEST(ProcFormats, AllHierarchiesOfTheFirstVersionAreLookedAt) {
  EXPECT_EQ(
      ProcFormats::applicationId("12:pids:/user.slice/user-1000.slice/session-2.scope\n"
                                 "5:cpu,cpuacct:/\n"
                                 "1:name=systemd:/user.slice/user-1000.slice/user@1000.service/app.slice/"
                                 "app-org.kde.konsole-42.scope\n"
                                 "0::/user.slice/user-1000.slice/session-2.scope\n"),
      "org.kde.konsole");
}

TEST(ProcFormats, APathMayHoldColonsAndLackItsLineFeed) {
  EXPECT_EQ(ProcFormats::applicationId("0::/app.slice/app-a:b:c-1.scope"), "a:b:c");
  EXPECT_EQ(ProcFormats::applicationId("1:name=systemd:/app-x-1.scope/y:z"), "x");
}

TEST(ProcFormats, TextsWithoutAPathNameNoApplication) {
  for (const char* const text :
       {"", "\n", "0", "0:", "0::", "0::/", "0::/\n\n", "app-code-7.scope", "/app-code-7.scope",
        "0:app-code-7.scope", ":/app-code-7.scope", "0::/init.scope\n", "0::/system.slice/ssh.service\n",
        "0::/docker/0123456789abcdef\n"}) {
    EXPECT_EQ(ProcFormats::applicationId(text), std::nullopt) << text;
  }
}

TEST(ProcFormats, TerminalsWithFixedNamesAreKnownByTheirNumbers) {
  for (const auto& [number, path] :
       std::vector<std::pair<std::uint32_t, Text>>{{1025, "/dev/tty1"},
                                                   {34'816, "/dev/pts/0"},
                                                   {34'819, "/dev/pts/3"},
                                                   {35'071, "/dev/pts/255"},
                                                   {1'083'392, "/dev/pts/256"},
                                                   {device(4, 0), "/dev/tty0"},
                                                   {device(4, 63), "/dev/tty63"},
                                                   {device(4, 64), "/dev/ttyS0"},
                                                   {device(4, 255), "/dev/ttyS191"},
                                                   {device(136, 4'095), "/dev/pts/4095"},
                                                   {device(137, 5), "/dev/pts/261"},
                                                   {device(143, 255), "/dev/pts/2047"}}) {
    EXPECT_EQ(ProcFormats::terminalPath(number), path) << number;
  }
}

TEST(ProcFormats, ApplicationsAreLookedForBelowTheUsersManagerAndInTheirUnits) {
  for (const char* const text :
       {"0::/user.slice/user-1000.slice/user@1000.service/init.scope\n",
        "0::/user.slice/user-1000.slice/user@1000.service/tmux-spawn-1.scope\n",
        "2:pids:/\n1:name=systemd:/user.slice/user-1000.slice/user@1000.service/app.slice/x.service\n",
        "0::/app-org.example.Terminal-1.scope\n"}) {
    EXPECT_TRUE(ProcFormats::mayBeOfApplication(text)) << text;
  }
  for (const char* const text :
       {"", "0::/\n", "0::/user.slice/user-1000.slice/session-3.scope\n", "0::/system.slice/ssh.service\n",
        "0::/docker/0123456789abcdef\n", "2:pids:/\n1:name=systemd:/lxc/box\n0::/\n"}) {
    EXPECT_FALSE(ProcFormats::mayBeOfApplication(text)) << text;
  }
}

TEST(ProcFormats, OtherDevicesHaveNoFixedName) {
  for (const auto& [majorNumber, minorNumber] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
           {0, 0}, {0, 1}, {3, 0}, {5, 0}, {5, 1}, {135, 0}, {144, 0}, {188, 0}, {204, 64}, {255, 0}}) {
    EXPECT_EQ(ProcFormats::terminalPath(device(majorNumber, minorNumber)), std::nullopt) << majorNumber;
  }
}

TEST(ProcFormats, MajorNumbersHaveTwelveBits) {
  // Dynamically assigned numbers count down from 511 and share their low bits with others.
  for (const std::uint32_t majorNumber : {256U + 4U, 256U + 136U, 256U + 143U, 511U, 2'048U + 4U, 4'095U}) {
    EXPECT_EQ(ProcFormats::terminalPath(device(majorNumber, 1)), std::nullopt) << majorNumber;
  }
}

}  // namespace
}  // namespace tavrin
