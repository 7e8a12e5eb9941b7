#include "TavrinTerminal/Panel/PanelGrid.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TavrinCore/Support/Text.hpp"
#include "tests/TavrinTerminal/Panel/PanelScene.hpp"
#include "tests/support/Scratch.hpp"
#include "tests/support/TestData.hpp"

namespace tavrin::test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::array<ScreenSize, 3> sizes = {{{20, 5}, {80, 24}, {200, 60}}};

struct ScreenCase {
  ScreenSize size;
  std::size_t sessions = 0;
  std::string name() const {
    return std::to_string(size.columns) + "x" + std::to_string(size.rows) + "-" + std::to_string(sessions);
  }
};

std::vector<ScreenCase> screenCases() {
  std::vector<ScreenCase> cases;
  for (const ScreenSize size : sizes) {
    for (const std::size_t sessions : {0U, 1U, 40U, 10'000U})
      cases.push_back({.size = size, .sessions = sessions});
  }
  return cases;
}

class PanelScreens : public testing::TestWithParam<ScreenCase> {};

TEST_P(PanelScreens, AreTheKeptOnes) {
  const ScreenCase& screen = GetParam();
  const std::string text = gridOf(scene(screen.sessions, screen.size), screen.size).text();
  const std::filesystem::path made = std::filesystem::path("panel-screens") / (screen.name() + ".txt");
  std::filesystem::create_directories(made.parent_path());
  writeFile(made, text);
  EXPECT_EQ(text, readFile(dataDirectory() / made))
      << "If the new screen is right, copy it from " << std::filesystem::absolute(made);
}

INSTANTIATE_TEST_SUITE_P(All, PanelScreens, testing::ValuesIn(screenCases()), [](const auto& of) {
  std::string name = of.param.name();
  std::ranges::replace(name, '-', '_');
  return "Of" + name;
});

PanelLines lineOf(std::string text, int column = 0, int width = 10) {
  PanelLines lines;
  lines.lines.push_back({.texts = {{.column = column, .width = width, .text = std::move(text)}}});
  return lines;
}

TEST(PanelGrid, OfAnyOtherSizeIsClipped) {
  for (int columns = 0; columns <= 30; ++columns) {
    for (int rows = 0; rows <= 8; ++rows) {
      const ScreenSize size = {.columns = columns, .rows = rows};
      for (const PanelModel& model : {scene(40, {20, 5}), scene(40, size), scene(0, size)}) {
        const PanelGrid grid = gridOf(model, size);
        EXPECT_EQ(grid.size(), size);
        EXPECT_EQ(std::ranges::count(grid.text(), '\n'), rows);
      }
    }
  }
}

TEST(PanelGrid, EveryRowFillsItsColumnsWhateverItsNamesAre) {
  for (const ScreenSize size : sizes) {
    const PanelGrid grid = gridOf(scene(40, size), size);
    for (int row = 0; row < size.rows; ++row) {
      std::size_t columns = 0;
      for (int column = 0; column < size.columns; ++column) {
        const PanelGrid::Cell& cell = grid.at(row, column);
        columns += ShownText::width(cell.text);
        EXPECT_EQ(ShownText::width(cell.text), cell.text.empty() ? 0U : cell.isWide ? 2U : 1U);
      }
      EXPECT_EQ(columns, static_cast<std::size_t>(size.columns));
    }
  }
}

TEST(PanelGrid, AWideCharacterIsCutWhole) {
  EXPECT_EQ(PanelGrid(lineOf("日本語", 0, 5), {5, 1}).text(), "日本…\n");
  EXPECT_EQ(PanelGrid(lineOf("日本語", 0, 4), {4, 1}).text(), "日…\n");
  EXPECT_EQ(PanelGrid(lineOf("日本", 1, 4), {4, 1}).text(), " 日…\n");
}

TEST(PanelGrid, ACharacterThatTerminalsDisagreeOnIsDrawnByItsFirstCodePoint) {
  EXPECT_EQ(PanelGrid(lineOf("👩‍👩‍👧‍👦x"), {10, 1}).text(), "👩x\n");
  EXPECT_EQ(PanelGrid(lineOf("❤️x"), {10, 1}).text(), "❤ x\n");
  EXPECT_EQ(PanelGrid(lineOf("e\u0301x"), {10, 1}).text(), "e\u0301x\n");
}

TEST(PanelGrid, AMarkThatNothingCarriesTakesNoCell) {
  EXPECT_EQ(PanelGrid(lineOf("\u0301ab"), {4, 1}).text(), "ab\n");
}

TEST(PanelGrid, ATextOnTheRightEndsAtItsLastColumn) {
  PanelLines lines = lineOf("2m", 1, 5);
  lines.lines[0].texts[0].isRightAligned = true;
  EXPECT_EQ(PanelGrid(lines, {8, 1}).text(), "    2m\n");
}

TEST(PanelGrid, WithoutUnicodeEverythingIsAscii) {
  const ScreenSize size = {80, 24};
  const std::string text = gridOf(scene(40, size), size, false).text();
  for (const char c : text) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~'));
  EXPECT_THAT(text, HasSubstr(">plain"));
  EXPECT_THAT(text, HasSubstr("--------"));
}

TEST(PanelGrid, HostileTextLeavesNoControlInACell) {
  const ScreenSize size = {80, 24};
  const std::string text = gridOf(scene(40, size), size).text();
  EXPECT_THAT(text, HasSubstr("evil"));
  for (const char* control : {"\033", "\007", "\u202E"}) EXPECT_THAT(text, Not(HasSubstr(control)));
}

}  // namespace
}  // namespace tavrin::test
