#include "TavrinTerminal/Panel/ListingSchedule.hpp"

#include <utility>

namespace tavrin {

bool ListingSchedule::begins(Time now) {
  if (isListing_) return false;
  hasStopped_ = now - lastKey_ > patience;
  isListing_ = !hasStopped_;
  return isListing_;
}

bool ListingSchedule::pressed(Time now) {
  lastKey_ = now;
  return std::exchange(hasStopped_, false);
}

}  // namespace tavrin
