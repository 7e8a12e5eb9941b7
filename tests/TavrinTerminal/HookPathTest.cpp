#include "TavrinTerminal/HookPath.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/Scratch.hpp"

namespace tavrin::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(HookPath, IsLookedForWhereItWasInstalledAndBesideTavrin) {
  EXPECT_THAT(HookPath::candidates("/opt/tavrin/Tavrin/bin/tavrin-hook", "/usr/local/bin/tavrin"),
              ElementsAre("/opt/tavrin/Tavrin/bin/tavrin-hook", "/usr/local/Tavrin/bin/tavrin-hook",
                          "/usr/local/bin/tavrin-hook"));
  EXPECT_THAT(HookPath::candidates("/usr/local/Tavrin/bin/tavrin-hook", "/usr/local/bin/tavrin"),
              ElementsAre("/usr/local/Tavrin/bin/tavrin-hook", "/usr/local/bin/tavrin-hook"));
  EXPECT_THAT(HookPath::candidates("", "tavrin"), IsEmpty());
}

TEST(HookPath, WithCharactersThatAShellWouldChangeIsRefused) {
  EXPECT_EQ(HookPath::objection("/home/dev/it's mine/\u00e9/Tavrin/bin/tavrin-hook"), "");
  for (const char* place : {"Tavrin/bin/tavrin-hook", "/usr/bin/tavrin-hook"})
    EXPECT_THAT(HookPath::objection(place), HasSubstr("does not end in")) << place;
  for (const char* folder : {"a\x7f", "a\n", "a\"b", "$HOME", "`id`", "a\\b", "\xff"}) {
    EXPECT_THAT(HookPath::objection("/" + std::string(folder) + "/Tavrin/bin/tavrin-hook"),
                HasSubstr("a character that a shell would not pass on"))
        << folder;
  }
}

TEST(HookPath, TheFirstRefusalIsReportedUnlessAnotherPathIsGood) {
  const ScratchDirectory scratch;
  const auto made = [&](const std::string& folder) {
    const std::filesystem::path path = scratch / (folder + "/Tavrin/bin/tavrin-hook");
    writeFile(path, "#!/bin/sh\n");
    ::chmod(path.c_str(), 0755);
    return path.string();
  };
  const std::vector<std::string> refused = {made("$a"), made("$b")};
  const HookPath::Choice none = HookPath::choose(refused);
  EXPECT_EQ(none.path, "");
  EXPECT_THAT(none.error, testing::StartsWith(refused[0] + " cannot be used, because its path holds"));
  EXPECT_THAT(none.error, testing::Not(HasSubstr("$b")));
  const std::string good = made("c");
  EXPECT_EQ(HookPath::choose({refused[0], good}).path, good);
  EXPECT_EQ(HookPath::choose({"/does/not/exist"}).error,
            "tavrin-hook was not found. Install Tavrin again. It was looked for at:\n  /does/not/exist");
}

}  // namespace
}  // namespace tavrin::test
