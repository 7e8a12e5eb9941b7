#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <stdexcept>

namespace tavrin {

/// An ordered list of at most `Capacity` values that constant tables are made of. A longer one is refused by
/// the compiler in a constant, and throws std::length_error elsewhere.
template <class T, std::size_t Capacity>
class FixedList {
 public:
  constexpr FixedList() = default;
  constexpr FixedList(std::initializer_list<T> values) : size_(values.size()) {
    if (size_ > Capacity) throw std::length_error("a list longer than its capacity");
    std::copy(values.begin(), values.end(), values_.begin());
  }

  constexpr void push_back(const T& value) {
    if (size_ == Capacity) throw std::length_error("a list longer than its capacity");
    values_[size_++] = value;
  }

  constexpr const T* begin() const { return values_.data(); }
  constexpr const T* end() const { return values_.data() + size_; }
  constexpr std::size_t size() const { return size_; }
  constexpr bool empty() const { return size_ == 0; }
  constexpr const T& operator[](std::size_t index) const { return values_[index]; }

  constexpr bool contains(const T& value) const { return std::find(begin(), end(), value) != end(); }

  friend constexpr bool operator==(const FixedList& a, const FixedList& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
  }

 private:
  std::array<T, Capacity> values_{};
  std::size_t size_ = 0;
};

}  // namespace tavrin
