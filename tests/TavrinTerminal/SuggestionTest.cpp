#include "TavrinTerminal/Suggestion.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TavrinTerminal/CommandTable.hpp"

namespace tavrin {
namespace {

using Suggestion::nearest;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string_view> commandNames() {
  std::vector<std::string_view> names;
  for (const CommandTable::CommandDescription& command : CommandTable::commands())
    names.push_back(command.name);
  return names;
}

std::vector<std::string_view> nearCommands(std::string_view word) {
  return nearest(word, commandNames());
}

TEST(Suggestion, FindsAWordWithAMissingExtraOtherOrSwappedLetter) {
  EXPECT_THAT(nearCommands("stats"), ElementsAre("status"));
  EXPECT_THAT(nearCommands("lisst"), ElementsAre("list"));
  EXPECT_THAT(nearCommands("fokus"), ElementsAre("focus"));
  EXPECT_THAT(nearCommands("hlep"), ElementsAre("help"));
  EXPECT_THAT(nearCommands("wiat"), ElementsAre("wait"));
  EXPECT_THAT(nearCommands("lst"), ElementsAre("list"));
}

TEST(Suggestion, AllowsMoreWrongLettersInLongerWords) {
  EXPECT_THAT(nearCommands("severs"), ElementsAre("servers"));
  EXPECT_THAT(nearCommands("sevrres"), ElementsAre("servers"));
  EXPECT_THAT(nearCommands("compeltiosn"), ElementsAre("completions"));
}

TEST(Suggestion, FindsTheWordsThatBeginWithTheMistypedOne) {
  EXPECT_THAT(nearCommands("disc"), ElementsAre("disconnect"));
  EXPECT_THAT(nearCommands("st"), ElementsAre("status", "stop"));
  EXPECT_THAT(nearCommands("s"), IsEmpty());  // status, servers and stop are too many
}

TEST(Suggestion, FindsNothingForAWordThatIsFarFromAll) {
  for (const std::string_view word : {"frob", "show", "start", "ls", "kill", "", "-", "--"})
    EXPECT_THAT(nearCommands(word), IsEmpty()) << word;
  EXPECT_THAT(nearCommands(std::string(1'000'000, 'l')), IsEmpty());
}

TEST(Suggestion, IgnoresCaseAndTheNumberOfDashes) {
  EXPECT_THAT(nearCommands("LIST"), ElementsAre("list"));
  EXPECT_THAT(nearest("-JSON", {"--json", "--fix"}), ElementsAre("--json"));
  EXPECT_THAT(nearest("-j", {"--json", "--fix"}), ElementsAre("--json"));
}

TEST(Suggestion, NamesOnlyTheNearestWords) {
  EXPECT_THAT(nearest("abcdef", {"abcdxx", "abcdex"}), ElementsAre("abcdex"));
  EXPECT_THAT(nearest("abcdef", {"abcdex", "abcdxx"}), ElementsAre("abcdex"));
  EXPECT_THAT(nearest("bat", {"cat", "hat"}), ElementsAre("cat", "hat"));
  EXPECT_THAT(nearest("bat", {"cat", "hat", "rat"}), IsEmpty());
}

TEST(Suggestion, SaysWhatDoesNotExistAndWhatMayHaveBeenMeant) {
  EXPECT_EQ(Suggestion::noneOf("command", "stats", {"status"}),
            R"(There is no command "stats". Did you mean "status"?)");
  EXPECT_EQ(Suggestion::noneOf("word", "bat", {"cat", "hat"}),
            R"(There is no word "bat". Did you mean "cat" or "hat"?)");
  EXPECT_EQ(Suggestion::noneOf("option", "--frob", {"--json"}), R"(There is no option "--frob".)");
}

}  // namespace
}  // namespace tavrin
