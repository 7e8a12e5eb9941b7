#pragma once

// Part of Tavrin::Core. Needs nothing but the standard library.

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <stdexcept>
#include <vector>

namespace tavrin {

/// An ordered list of at most `Capacity` values, for constant tables. A longer list does not compile in a
/// constant, and throws std::length_error at run time.
template <class T, std::size_t Capacity>
class FixedList {
 public:
  constexpr FixedList() = default;
  constexpr FixedList(std::initializer_list<T> values) : size_(values.size()) { copyFrom(values.begin()); }
  /// For a list that is known only at run time.
  explicit FixedList(const std::vector<T>& values) : size_(values.size()) { copyFrom(values.begin()); }

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
  template <class Iterator>
  constexpr void copyFrom(Iterator first) {
    if (size_ > Capacity) throw std::length_error("a list longer than its capacity");
    std::copy_n(first, size_, values_.begin());
  }

  std::array<T, Capacity> values_{};
  std::size_t size_ = 0;
};

}  // namespace tavrin
