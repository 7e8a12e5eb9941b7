#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

namespace tavrin {

/// The ports of a server. It is never empty: an empty list becomes the single port 0. (Only a list that was
/// moved from is empty.)
class PortList {
 public:
  PortList() = default;
  PortList(std::initializer_list<int> ports) : PortList(std::vector<int>(ports)) {}
  PortList(std::vector<int> ports) {
    if (!ports.empty()) ports_ = std::move(ports);
  }

  int front() const { return ports_.empty() ? 0 : ports_.front(); }
  std::size_t size() const { return ports_.size(); }
  std::vector<int>::const_iterator begin() const { return ports_.begin(); }
  std::vector<int>::const_iterator end() const { return ports_.end(); }

  bool operator==(const PortList&) const = default;

 private:
  std::vector<int> ports_ = {0};
};

}  // namespace tavrin
