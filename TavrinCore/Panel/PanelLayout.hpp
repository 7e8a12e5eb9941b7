#pragma once

// Part of Tavrin::Panel. Needs nothing but the standard library.

#include <cstdint>
#include <map>
#include <optional>

namespace tavrin {

/// The panel's two screens.
enum class PanelScreen : std::uint8_t { sessions, settings };

/// Where the panel hangs and how tall it is, in points, with y pointing up.
namespace PanelLayout {

/// A place on the screen.
struct Point {
  double x = 0;
  double y = 0;

  bool operator==(const Point&) const = default;
};

/// An extent on the screen.
struct Size {
  double width = 0;
  double height = 0;

  bool operator==(const Size&) const = default;
};

/// `origin` is the corner at the bottom left.
struct Rectangle {
  Point origin;
  Size size;

  double minX() const { return origin.x; }
  double minY() const { return origin.y; }
  double maxX() const { return origin.x + size.width; }
  double maxY() const { return origin.y + size.height; }

  bool operator==(const Rectangle&) const = default;
};

/// The measured height of `screen`, at most `cap` if that is above 0. Returns nullopt if the height is not
/// known yet: missing, 0 or below, or NaN.
std::optional<double> glassHeight(PanelScreen screen, const std::map<PanelScreen, double>& heights,
                                  double cap);

/// The bottom left corner of a panel that hangs `gap` below the button, aligned with the button's right edge,
/// inside `visibleFrame`. A panel that is too wide starts at the frame's left edge. A panel that is too tall
/// starts at the frame's top edge and extends below the frame.
Point origin(Size panel, const Rectangle& buttonFrame, const Rectangle& visibleFrame, double gap);

/// How tall the panel's content may be within `visibleFrame`; never below 0.
double contentCap(const Rectangle& visibleFrame, double gap, double margin);

}  // namespace PanelLayout

}  // namespace tavrin
