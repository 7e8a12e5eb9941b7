#include "TavrinCore/Panel/PanelLayout.hpp"

#include <algorithm>

namespace tavrin {

std::optional<double> PanelLayout::glassHeight(PanelScreen screen,
                                               const std::map<PanelScreen, double>& heights, double cap) {
  const auto found = heights.find(screen);
  // NaN is not above 0 either.
  if (found == heights.end() || !(found->second > 0)) return std::nullopt;
  return cap > 0 && cap < found->second ? cap : found->second;
}

PanelLayout::Point PanelLayout::origin(Size panel, const Rectangle& buttonFrame,
                                       const Rectangle& visibleFrame, double gap) {
  double x = buttonFrame.maxX() - panel.width;
  x = std::max(x, visibleFrame.minX());
  x = std::min(x, std::max(visibleFrame.minX(), visibleFrame.maxX() - panel.width));

  double y = buttonFrame.minY() - gap - panel.height;
  y = std::max(y, visibleFrame.minY());
  // Unlike x, y has no lower bound, so the top of a panel that is too tall stays in sight.
  y = std::min(y, visibleFrame.maxY() - panel.height);
  return {.x = x, .y = y};
}

double PanelLayout::contentCap(const Rectangle& visibleFrame, double gap, double margin) {
  return std::max(0.0, visibleFrame.size.height - gap - margin);
}

}  // namespace tavrin
