#include "TavrinCore/Panel/PanelLayout.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tavrin {
namespace {

using PanelLayout::Point;
using PanelLayout::Rectangle;
using PanelLayout::Size;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

constexpr Rectangle screen = {.origin = {.x = 100, .y = 50}, .size = {.width = 1000, .height = 700}};

Rectangle button(double x, double y = 750) {
  return {.origin = {.x = x, .y = y}, .size = {.width = 30, .height = 24}};
}

TEST(PanelLayout, TheHeightIsCapped) {
  const struct {
    double height;
    double cap;
    std::optional<double> result;
  } cases[] = {
      {600, 400, 400}, {600, 0, 600},  {600, 800, 600},      {600, 600, 600},       {600, -1, 600},
      {0, 400, {}},    {-5, 400, {}},  {0.5, 0.25, 0.25},    {infinity, 400, 400},  {600, infinity, 600},
      {600, nan, 600}, {nan, 400, {}}, {-infinity, 400, {}}, {600, -infinity, 600},
  };
  for (const auto& [height, cap, result] : cases) {
    EXPECT_EQ(PanelLayout::glassHeight(PanelScreen::sessions, {{PanelScreen::sessions, height}}, cap), result)
        << height << " " << cap;
  }
}

TEST(PanelLayout, AScreenThatWasNotMeasuredHasNoHeight) {
  EXPECT_EQ(PanelLayout::glassHeight(PanelScreen::sessions, {}, 400), std::nullopt);
  EXPECT_EQ(PanelLayout::glassHeight(PanelScreen::sessions, {{PanelScreen::settings, 600}}, 400),
            std::nullopt);
  EXPECT_EQ(PanelLayout::glassHeight(PanelScreen::settings, {{PanelScreen::settings, 600}}, 400), 400);
}

TEST(PanelLayout, ThePanelHangsBelowItsButtonRightEdgesInLine) {
  EXPECT_EQ(PanelLayout::origin({.width = 300, .height = 400}, button(600), screen, 8),
            (Point{.x = 330, .y = 342}));
}

TEST(PanelLayout, AButtonAtTheEdgePutsThePanelAtTheEdge) {
  const Size panel = {.width = 300, .height = 400};
  EXPECT_EQ(PanelLayout::origin(panel, button(1070), screen, 8).x, 800);
  EXPECT_EQ(PanelLayout::origin(panel, button(1090), screen, 8).x, 800);
  EXPECT_EQ(PanelLayout::origin(panel, button(5000), screen, 8).x, 800);
  EXPECT_EQ(PanelLayout::origin(panel, button(100), screen, 8).x, 100);
  EXPECT_EQ(PanelLayout::origin(panel, button(-5000), screen, 8).x, 100);
}

TEST(PanelLayout, APanelThatIsTooWideStartsAtTheLeft) {
  EXPECT_EQ(PanelLayout::origin({.width = 1001, .height = 400}, button(600), screen, 8).x, 100);
  EXPECT_EQ(PanelLayout::origin({.width = 1000, .height = 400}, button(600), screen, 8).x, 100);
}

TEST(PanelLayout, APanelStaysAboveTheBottom) {
  EXPECT_EQ(PanelLayout::origin({.width = 300, .height = 695}, button(600), screen, 8).y, 50);
  EXPECT_EQ(PanelLayout::origin({.width = 300, .height = 700}, button(600), screen, 8).y, 50);
}

TEST(PanelLayout, APanelThatIsTooTallReachesBelowTheBottom) {
  EXPECT_EQ(PanelLayout::origin({.width = 300, .height = 900}, button(600), screen, 8).y, -150);
}

TEST(PanelLayout, AButtonAboveTheVisibleFramePutsThePanelAtItsTop) {
  EXPECT_EQ(PanelLayout::origin({.width = 300, .height = 400}, button(600, 2000), screen, 8).y, 350);
}

TEST(PanelLayout, TheContentFitsBetweenGapAndMargin) {
  EXPECT_EQ(PanelLayout::contentCap(screen, 8, 12), 680);
  EXPECT_EQ(PanelLayout::contentCap(screen, 400, 300), 0);
  EXPECT_EQ(PanelLayout::contentCap(screen, 400, 301), 0);
  EXPECT_EQ(PanelLayout::contentCap(screen, -8, 0), 708);
  EXPECT_EQ(PanelLayout::contentCap({}, 0, 0), 0);
}

TEST(PanelLayout, NanInfinityAndHugeNumbersAreAccepted) {
  for (const double odd : {nan, infinity, -infinity, 1e308, -1e308}) {
    const Rectangle frame = {.origin = {.x = odd, .y = odd}, .size = {.width = odd, .height = odd}};
    PanelLayout::origin({.width = odd, .height = odd}, frame, screen, odd);
    PanelLayout::origin({.width = odd, .height = odd}, button(0), frame, odd);
    EXPECT_GE(PanelLayout::contentCap(frame, odd, odd), 0) << odd;
    EXPECT_GE(PanelLayout::contentCap(screen, odd, 0), 0) << odd;
  }
  EXPECT_EQ(PanelLayout::contentCap(screen, nan, 0), 0);
}

TEST(PanelLayout, ThePanelStaysOnTheScreenWhereItFits) {
  int placed = 0;
  for (double width = 0; width <= 1000; width += 125) {
    for (double height = 0; height <= 700; height += 100) {
      for (double x = -300; x <= 1500; x += 90) {
        for (double y = -200; y <= 1000; y += 120) {
          const Point origin =
              PanelLayout::origin({.width = width, .height = height}, button(x, y), screen, 8);
          EXPECT_GE(origin.x, screen.minX());
          EXPECT_LE(origin.x + width, screen.maxX());
          EXPECT_GE(origin.y, screen.minY());
          EXPECT_LE(origin.y + height, screen.maxY());
          ++placed;
        }
      }
    }
  }
  EXPECT_EQ(placed, 9 * 8 * 21 * 11);
}

}  // namespace
}  // namespace tavrin
