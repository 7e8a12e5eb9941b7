#include "TavrinTerminal/Panel/PanelKeys.hpp"

#include <gtest/gtest.h>

#include "tests/TavrinTerminal/Panel/PanelScene.hpp"

namespace tavrin::test {
namespace {

using Kind = Key::Kind;
using Mode = PanelModel::Mode;

PanelAction of(Mode mode, std::string_view character) {
  return PanelKeys::action(mode, {.kind = Kind::character, .text = std::string(character)});
}

TEST(PanelKeys, ArrowsAndLettersMoveTheSameWay) {
  EXPECT_EQ(of(Mode::list, "k"), PanelKeys::action(Mode::list, {.kind = Kind::up}));
  EXPECT_EQ(of(Mode::list, "j"), PanelKeys::action(Mode::list, {.kind = Kind::down}));
  EXPECT_EQ(of(Mode::list, "g"), PanelKeys::action(Mode::list, {.kind = Kind::home}));
  EXPECT_EQ(of(Mode::list, "G"), PanelKeys::action(Mode::list, {.kind = Kind::end}));
}

TEST(PanelKeys, LettersAreTextWhileTheFilterIsTyped) {
  for (const char* letter : {"q", "j", "s", "?", "/", "y", "語"})
    EXPECT_EQ(of(Mode::filter, letter), PanelAction::typeFilter) << letter;
}

TEST(PanelKeys, OnlyAYesStops) {
  EXPECT_EQ(of(Mode::confirm, "y"), PanelAction::stop);
  EXPECT_EQ(of(Mode::confirmKill, "y"), PanelAction::kill);
  for (const char* letter : {"n", "q", "s"})
    EXPECT_EQ(of(Mode::confirmKill, letter), PanelAction::endQuestion);
  for (const char* letter : {"n", "q", "s", "o", "j"})
    EXPECT_EQ(of(Mode::confirm, letter), PanelAction::endQuestion);
  EXPECT_EQ(PanelKeys::action(Mode::confirm, {.kind = Kind::enter}), PanelAction::endQuestion);
  EXPECT_EQ(PanelKeys::action(Mode::confirm, {.kind = Kind::escape}), PanelAction::endQuestion);
  EXPECT_EQ(PanelKeys::action(Mode::confirm, {.kind = Kind::press}), PanelAction::nothing);
  for (const Mode mode : {Mode::list, Mode::filter, Mode::help, Mode::details, Mode::agents})
    EXPECT_NE(of(mode, "y"), PanelAction::stop);
}

TEST(PanelKeys, OnlyARedrawIsPossibleWhileAQuestionWaitsForItsAnswer) {
  for (const Mode mode : {Mode::confirm, Mode::confirmKill}) {
    EXPECT_EQ(PanelKeys::action(mode, {.kind = Kind::redraw}), PanelAction::redraw);
    for (const Kind kind : {Kind::press, Kind::wheelUp, Kind::wheelDown})
      EXPECT_EQ(PanelKeys::action(mode, {.kind = kind}), PanelAction::nothing);
  }
}

TEST(PanelKeys, EscapeLeavesWhatIsOpen) {
  const auto leaves = [](Mode mode) { return PanelKeys::action(mode, {.kind = Kind::escape}); };
  EXPECT_EQ(leaves(Mode::filter), PanelAction::dropFilter);
  EXPECT_EQ(leaves(Mode::help), PanelAction::toggleHelp);
  EXPECT_EQ(leaves(Mode::details), PanelAction::toggleDetails);
  EXPECT_EQ(leaves(Mode::agents), PanelAction::toggleAgents);
}

TEST(PanelKeys, EnterAndAClickDoWhatTheModeIsFor) {
  const auto enter = [](Mode mode) { return PanelKeys::action(mode, {.kind = Kind::enter}); };
  EXPECT_EQ(enter(Mode::list), PanelAction::activate);
  EXPECT_EQ(enter(Mode::details), PanelAction::activate);
  EXPECT_EQ(enter(Mode::filter), PanelAction::keepFilter);
  EXPECT_EQ(enter(Mode::help), PanelAction::toggleHelp);
  EXPECT_EQ(enter(Mode::agents), PanelAction::askToConnect);
  for (const Mode mode : {Mode::list, Mode::agents})
    EXPECT_EQ(PanelKeys::action(mode, {.kind = Kind::press}), PanelAction::pick);
}

TEST(PanelKeys, TheWheelMovesWhereverThereAreRows) {
  for (const Mode mode : {Mode::list, Mode::filter, Mode::help, Mode::details, Mode::agents}) {
    EXPECT_EQ(PanelKeys::action(mode, {.kind = Kind::wheelUp}), PanelAction::up);
    EXPECT_EQ(PanelKeys::action(mode, {.kind = Kind::wheelDown}), PanelAction::down);
  }
}

// Each key that the screen names does something in that mode.
TEST(PanelKeys, EveryKeyOnTheScreenDoesSomething) {
  constexpr ScreenSize size = {.columns = 80, .rows = 24};
  for (const Mode mode : {Mode::list, Mode::help, Mode::details, Mode::agents}) {
    PanelModel model = scene(3, size);
    if (mode == Mode::help) model.toggleHelp();
    if (mode == Mode::details) model.toggleDetails();
    if (mode == Mode::agents) model.toggleAgents();
    // The help is about the list.
    const Mode shown = mode == Mode::help ? Mode::list : mode;
    for (const PanelLine& line : model.screen(sceneTime).lines.lines) {
      for (const PanelText& text : line.texts) {
        if (text.role != PanelRole::key || text.text.size() != 1) continue;
        EXPECT_NE(of(shown, text.text), PanelAction::nothing) << text.text;
      }
    }
  }
}

}  // namespace
}  // namespace tavrin::test
