#include "TavrinTerminal/Panel/KeyParser.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tavrin::test {
namespace {

using Kind = Key::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<Key> keysOf(std::string_view bytes) {
  KeyParser parser;
  std::vector<Key> keys = parser.take(bytes);
  for (Key& key : parser.giveUp()) keys.push_back(std::move(key));
  return keys;
}

Key character(std::string text) {
  return {.kind = Kind::character, .text = std::move(text)};
}

TEST(KeyParser, ReadsTheKeysOfEitherCursorMode) {
  for (const char* up : {"\033[A", "\033OA", "\033[1;5A", "\020"})
    EXPECT_THAT(keysOf(up), ElementsAre(Key{.kind = Kind::up})) << up;
  for (const char* down : {"\033[B", "\033OB", "\016"})
    EXPECT_THAT(keysOf(down), ElementsAre(Key{.kind = Kind::down})) << down;
  for (const char* home : {"\033[H", "\033OH", "\033[1~", "\033[7~"})
    EXPECT_THAT(keysOf(home), ElementsAre(Key{.kind = Kind::home})) << home;
  for (const char* end : {"\033[F", "\033OF", "\033[4~", "\033[8~"})
    EXPECT_THAT(keysOf(end), ElementsAre(Key{.kind = Kind::end})) << end;
  EXPECT_THAT(keysOf("\033[5~\033[6~"), ElementsAre(Key{.kind = Kind::pageUp}, Key{.kind = Kind::pageDown}));
  for (const char* enter : {"\r", "\n", "\033OM"})
    EXPECT_THAT(keysOf(enter), ElementsAre(Key{.kind = Kind::enter})) << enter;
  for (const char* backspace : {"\b", "\177"})
    EXPECT_THAT(keysOf(backspace), ElementsAre(Key{.kind = Kind::backspace})) << backspace;
}

TEST(KeyParser, ReadsCharactersOfEveryLength) {
  EXPECT_THAT(keysOf("aé語🚀"), ElementsAre(character("a"), character("é"), character("語"), character("🚀")));
}

TEST(KeyParser, DropsWhatIsNoCharacter) {
  EXPECT_THAT(keysOf("a\x80\xff\xc3z\xc0\xaf\xed\xa0\x80\u202E\u009b\x01"),
              ElementsAre(character("a"), character("z")));
}

TEST(KeyParser, ALoneEscapeIsAKeyOnceNothingFollows) {
  KeyParser parser;
  EXPECT_THAT(parser.take("\033"), IsEmpty());
  EXPECT_TRUE(parser.isWaiting());
  EXPECT_THAT(parser.giveUp(), ElementsAre(Key{.kind = Kind::escape}));
  EXPECT_FALSE(parser.isWaiting());
  EXPECT_THAT(keysOf("\033[A\033"), ElementsAre(Key{.kind = Kind::up}, Key{.kind = Kind::escape}));
  EXPECT_THAT(keysOf("\033\033[A"), ElementsAre(Key{.kind = Kind::escape}, Key{.kind = Kind::up}));
}

TEST(KeyParser, ReadsTheMouse) {
  EXPECT_THAT(keysOf("\033[<0;3;5M"), ElementsAre(Key{.kind = Kind::press, .column = 2, .row = 4}));
  EXPECT_THAT(keysOf("\033[<64;1;1M"), ElementsAre(Key{.kind = Kind::wheelUp}));
  EXPECT_THAT(keysOf("\033[<65;1;1M"), ElementsAre(Key{.kind = Kind::wheelDown}));
  for (const char* other :
       {"\033[<0;3;5m", "\033[<2;3;5M", "\033[<0;3M", "\033[<0;3;5;7M", "\033[<0;0;1M",
        "\033[<99999999999;1;1M", "\033[<;;M", "\033[<-1;2;3M", "\033[<0:3;5M", "\033[<0;1;0M"})
    EXPECT_THAT(keysOf(other), IsEmpty()) << other;
}

TEST(KeyParser, UnknownSequencesAreDroppedWhole) {
  EXPECT_THAT(keysOf("\033[?62;1;4c\033[200~x\033OPy\033[15~z\033[Iw"),
              ElementsAre(character("x"), character("y"), character("z"), character("w")));
  EXPECT_THAT(keysOf("\033[" + std::string(5000, '1') + "~x"), ElementsAre(character("x")));
}

TEST(KeyParser, AKeyAfterABrokenSequenceIsRead) {
  for (const char* broken : {"\033[1;\r", "\033O\r", "\033[\r"})
    EXPECT_THAT(keysOf(broken), ElementsAre(Key{.kind = Kind::enter})) << broken;
  EXPECT_THAT(keysOf("\033[1;\033[A"), ElementsAre(Key{.kind = Kind::up}));
}

TEST(KeyParser, WhereTheBytesAreCutDoesNotMatter) {
  const std::string bytes = "a\033[A\033[<0;10;20M語\033OB\033[5~\033[" + std::string(70, '9') + "~é\rq";
  const std::vector<Key> whole = keysOf(bytes);
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    KeyParser parser;
    std::vector<Key> keys = parser.take(std::string_view(bytes).substr(0, cut));
    for (Key& key : parser.take(std::string_view(bytes).substr(cut))) keys.push_back(std::move(key));
    EXPECT_EQ(keys, whole) << cut;
  }
}

}  // namespace
}  // namespace tavrin::test
